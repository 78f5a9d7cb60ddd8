#include "tools/serve/HttpRoutes.h"

#include <cctype>
#include <chrono>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <regex>

#include "emulator/AgentTable.h"
#include "emulator/Entity.h"

namespace orvtool {
namespace {

using Json = nlohmann::json;
using qmemu::CallRequest;
using qmemu::CallResult;

std::string Dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameIgnoringCase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

std::string Base64(const std::string& bytes) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  std::size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    unsigned v = (static_cast<unsigned char>(bytes[i]) << 16) | (static_cast<unsigned char>(bytes[i + 1]) << 8) |
                 static_cast<unsigned char>(bytes[i + 2]);
    out += {kDigits[v >> 18], kDigits[(v >> 12) & 63], kDigits[(v >> 6) & 63], kDigits[v & 63]};
  }
  if (i + 1 == bytes.size()) {
    unsigned v = static_cast<unsigned char>(bytes[i]) << 16;
    out += {kDigits[v >> 18], kDigits[(v >> 12) & 63], '=', '='};
  } else if (i + 2 == bytes.size()) {
    unsigned v = (static_cast<unsigned char>(bytes[i]) << 16) | (static_cast<unsigned char>(bytes[i + 1]) << 8);
    out += {kDigits[v >> 18], kDigits[(v >> 12) & 63], kDigits[(v >> 6) & 63], '='};
  }
  return out;
}

// A query value that is absent (`fallback`) or one of two words; false
// when it is something else.
bool Choice(const HttpRequest& request, const char* name, const char* first, const char* second,
            const char* fallback, std::string& value) {
  value = request.HasQuery(name) ? request.Query(name) : fallback;
  return value == first || value == second;
}

// A call of the plug-in agent `agent` with the inputs named as in the agent
// table; every other parameter up to the last required one is "".
CallRequest Request(const char* agent, const std::vector<std::pair<std::string, std::string>>& inputs) {
  CallRequest call;
  call.agent = agent;
  const qmemu::AgentEntry* entry = qmemu::FindAgentEntry(agent);
  if (entry != nullptr) call.parameters = entry->Texts(inputs);
  return call;
}

Json PathJson(const ExplorerIndex& index, std::size_t at) {
  Json path = Json::array();
  for (std::size_t i : index.PathTo(at)) {
    const ExplorerEntry& e = index.entries()[i];
    path.push_back({{"modelguid", e.modelguid}, {"metaguid", e.metaguid}, {"text", e.text},
                    {"metaclassType", e.metaclassType}});
  }
  return path;
}

HttpAnswer JsonAnswer(const Json& json) { return HttpAnswer{200, Dump(json), "application/json", {}, false}; }

}  // namespace

// ---------------------------------------------------------------- helpers

std::string HttpAnswer::Header(const std::string& name) const {
  for (const auto& [key, value] : headers) {
    if (SameIgnoringCase(key, name)) return value;
  }
  return "";
}

std::string HttpRequest::Query(const std::string& name) const {
  auto it = query.find(name);
  return it == query.end() ? std::string() : it->second;
}

std::string HttpRequest::Header(const std::string& lowerName) const {
  auto it = headers.find(lowerName);
  return it == headers.end() ? std::string() : it->second;
}

HttpAnswer ErrorAnswer(int status, const std::string& message) {
  return HttpAnswer{status, Dump(Json{{"error", message}}), "application/json", {}, false};
}

HttpAnswer FailureAnswer(const CallResult& result) {
  const qmemu::Outcome& outcome = result.outcome;
  const int status = qmemu::OutcomeRowOf(outcome.kind()).httpStatus;
  Json body = {{"error", outcome.text()}};
  if (outcome.IsRefused()) body["messages"] = outcome.messages();
  if (outcome.IsBudgetSpent()) body["limit"] = outcome.kind() == qmemu::OutcomeKind::kTimeBudget ? "time" : "operations";
  return HttpAnswer{status, Dump(body), "application/json", {}, false};
}

bool ParseAgentBody(const std::string& body, std::string& context, std::vector<std::string>& parameters,
                    std::string& error) {
  context.clear();
  parameters.clear();
  if (body.find_first_not_of(" \t\r\n") == std::string::npos) return true;  // both members are optional
  Json json = Json::parse(body, nullptr, false);
  if (json.is_discarded()) {
    error = "the body is no JSON text";
    return false;
  }
  if (!json.is_object()) {
    error = "the body must be a JSON object";
    return false;
  }
  if (json.contains("context")) {
    if (!json["context"].is_string()) {
      error = "\"context\" must be a string";
      return false;
    }
    context = json["context"].get<std::string>();
  }
  if (json.contains("parameters")) {
    const Json& list = json["parameters"];
    bool strings = list.is_array();
    for (const Json& item : list) strings = strings && item.is_string();
    if (!strings) {
      error = "\"parameters\" must be an array of strings";
      return false;
    }
    for (const Json& item : list) parameters.push_back(item.get<std::string>());
  }
  return true;
}

std::string AgentRunJson(const CallResult& result) {
  Json body = {{"parameters", result.run.parameters},
               {"messages", result.run.messages},
               {"hostOperations", result.hostOperations},
               {"milliseconds", result.milliseconds}};
  return Dump(body);
}

HttpAnswer AgentTextAnswer(std::string bytes) {
  bool json = Json::accept(bytes);
  HttpAnswer answer{200, std::move(bytes), json ? "application/json" : "text/plain", {}, false};
  answer.headers.emplace_back("X-Answer-Format", json ? "json" : "text");
  return answer;
}

int BodyHeaderStatus(const HttpRequest& request, std::uint64_t maxBody, std::string& error) {
  bool chunked = request.Header("transfer-encoding").find("chunked") != std::string::npos;
  if (request.HasHeader("content-length") && !chunked) {
    std::string length = request.Header("content-length");
    bool digits = !length.empty() && length.size() <= 19 && length.find_first_not_of("0123456789") == std::string::npos;
    if (!digits) {
      error = "Content-Length must be a decimal number of bytes, not '" + length + "'";
      return 400;
    }
    if (std::stoull(length) > maxBody) {
      error = "the body of " + length + " bytes is larger than the server accepts (" + std::to_string(maxBody) +
              " bytes)";
      return 413;
    }
    return 0;
  }
  if (request.method == "POST" && !chunked) {
    error = "a POST needs a Content-Length header or a chunked body";
    return 411;
  }
  return 0;
}

std::string EntityTag(const std::string& body, std::uint64_t version) {
  std::uint64_t hash = 1469598103934665603ull;  // FNV-1a, 64 bits
  auto mix = [&hash](unsigned char c) { hash = (hash ^ c) * 1099511628211ull; };
  for (int i = 0; i < 8; ++i) mix(static_cast<unsigned char>(version >> (8 * i)));
  for (char c : body) mix(static_cast<unsigned char>(c));
  char text[24];
  std::snprintf(text, sizeof text, "\"%016llx\"", static_cast<unsigned long long>(hash));
  return text;
}

bool TagMatches(const std::string& ifNoneMatch, const std::string& tag) {
  std::size_t start = 0;
  while (start < ifNoneMatch.size()) {
    std::size_t end = ifNoneMatch.find(',', start);
    if (end == std::string::npos) end = ifNoneMatch.size();
    std::string one = ifNoneMatch.substr(start, end - start);
    std::size_t first = one.find_first_not_of(" \t"), last = one.find_last_not_of(" \t");
    one = first == std::string::npos ? "" : one.substr(first, last - first + 1);
    if (one.rfind("W/", 0) == 0) one = one.substr(2);  // weak comparison, as for GET
    if (one == "*" || one == tag) return true;
    start = end + 1;
  }
  return false;
}

std::string InlineErIcon(const std::string& svg, const std::string& gif) {
  const std::string kUri = "\"data:image/gif;base64," + Base64(gif) + "\"";
  static const std::string kName = "\"ERIcon.gif\"";
  std::string out;
  std::size_t at = 0, found;
  while ((found = svg.find(kName, at)) != std::string::npos) {
    out.append(svg, at, found - at);
    out += kUri;
    at = found + kName.size();
  }
  out.append(svg, at, std::string::npos);
  return out;
}

// ---------------------------------------------------------------- routes

enum class RouteId { kAgent, kExplorer, kSearch, kPath, kDiagrams, kLinks, kPage, kSvg, kEvents, kOpenApi,
                     kMetrics, kIcon, kUnknownApi, kStatic };

struct Router::Route {
  RouteId id;
  const char* pattern;
  const char* templateName;
  bool get, post;
};

namespace {

const Router::Route kRoutes[] = {
    {RouteId::kAgent, "/api/agents/([^/]+)", "/api/agents/{agentName}", false, true},
    {RouteId::kExplorer, "/api/explorer/children", "/api/explorer/children", true, false},
    {RouteId::kSearch, "/api/search", "/api/search", true, false},
    {RouteId::kPath, "/api/elements/([^/]+)/path", "/api/elements/{guid}/path", true, false},
    {RouteId::kDiagrams, "/api/elements/([^/]+)/diagrams", "/api/elements/{guid}/diagrams", true, false},
    {RouteId::kLinks, "/api/elements/([^/]+)/links", "/api/elements/{guid}/links", true, false},
    {RouteId::kPage, "/api/elements/([^/]+)/page", "/api/elements/{guid}/page", true, false},
    {RouteId::kSvg, "/api/diagrams/([^/]+)/svg", "/api/diagrams/{guid}/svg", true, true},
    {RouteId::kEvents, "/api/events", "/api/events", true, false},
    {RouteId::kOpenApi, "/api/openapi.json", "/api/openapi.json", true, false},
    {RouteId::kMetrics, "/metrics", "/metrics", true, false},
    {RouteId::kIcon, "/ERIcon.gif", "/ERIcon.gif", true, false},
    {RouteId::kUnknownApi, "/api(/.*)?", "static", true, false},
    {RouteId::kStatic, "/.*", "static", true, false},
};

const Router::Route* Routes(std::size_t& count) {
  count = sizeof kRoutes / sizeof kRoutes[0];
  return kRoutes;
}

const std::vector<std::regex>& RoutePatterns() {
  static const std::vector<std::regex> patterns = [] {
    std::vector<std::regex> all;
    for (const Router::Route& route : kRoutes) all.emplace_back(route.pattern);
    return all;
  }();
  return patterns;
}

// The route that takes `path`, with its captures.
const Router::Route* Match(const std::string& path, std::vector<std::string>& captures) {
  std::size_t count = 0;
  const Router::Route* routes = Routes(count);
  const std::vector<std::regex>& patterns = RoutePatterns();
  for (std::size_t i = 0; i < count; ++i) {
    std::smatch match;
    if (std::regex_match(path, match, patterns[i])) {
      captures.clear();
      for (std::size_t m = 1; m < match.size(); ++m) captures.push_back(match[m].str());
      return &routes[i];
    }
  }
  return nullptr;
}

std::string AllowOf(const Router::Route& route) {
  if (route.get && route.post) return "GET, HEAD, POST, OPTIONS";
  if (route.post) return "POST, OPTIONS";
  return "GET, HEAD, OPTIONS";
}

std::string MethodsOf(const Router::Route& route) {
  if (route.get && route.post) return "GET, HEAD, POST";
  if (route.post) return "POST";
  return "GET, HEAD";
}

}  // namespace

std::string Router::TemplateOf(const std::string& path) {
  std::vector<std::string> captures;
  const Route* route = Match(path, captures);
  return route == nullptr ? "static" : route->templateName;
}

Router::Router(qmemu::CallService& agents, const StaticFiles& files, Metrics& metrics, ModelEvents& events,
               RouterSettings settings)
    : agents_(agents), files_(files), metrics_(metrics), events_(events), settings_(std::move(settings)) {}

HttpAnswer Router::Handle(const HttpRequest& request) {
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::string> captures;
  const Route* route = Match(request.path, captures);
  HttpAnswer answer;
  if (route == nullptr) {
    answer = ErrorAnswer(404, "unknown route " + request.method + " " + request.path);
  } else {
    try {
      answer = Dispatch(request, *route, captures);
    } catch (const std::exception& e) {
      answer = ErrorAnswer(500, std::string("the server could not answer the request: ") + e.what());
    }
  }
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  metrics_.Request(route == nullptr ? "static" : route->templateName, answer.status, seconds);
  return answer;
}

HttpAnswer Router::Dispatch(const HttpRequest& request, const Route& route, const std::vector<std::string>& captures) {
  const std::string allow = AllowOf(route);
  const bool isGet = request.method == "GET" || request.method == "HEAD";
  if (request.method == "OPTIONS") {
    HttpAnswer answer{204, "", "", {{"Allow", allow}}, false};
    AddCors(request, allow, request.HasHeader("access-control-request-method"), answer);
    return answer;
  }
  if (!(isGet && route.get) && !(request.method == "POST" && route.post)) {
    HttpAnswer answer = ErrorAnswer(405, request.method + " " + request.path + ": this path serves " +
                                             MethodsOf(route) + " only");
    answer.headers.emplace_back("Allow", allow);
    AddCors(request, allow, false, answer);
    return answer;
  }
  std::string error;
  if (int status = BodyHeaderStatus(request, settings_.maxBody, error); status != 0) return ErrorAnswer(status, error);
  if (request.body.size() > settings_.maxBody) {
    return ErrorAnswer(413, "the body is larger than the server accepts (" + std::to_string(settings_.maxBody) +
                                " bytes)");
  }

  HttpAnswer answer;
  std::uint64_t version = agents_.version();
  bool modelBound = true;  // the answer depends on the model's version
  const std::string guid = captures.empty() ? "" : captures[0];
  switch (route.id) {
    case RouteId::kAgent: answer = Agent(request, guid); break;
    case RouteId::kExplorer: answer = Explorer(request); break;
    case RouteId::kSearch: answer = Search(request); break;
    case RouteId::kPath: answer = ElementPath(request, guid); break;
    case RouteId::kDiagrams: answer = Diagrams(guid); break;
    case RouteId::kLinks: answer = Links(guid); break;
    case RouteId::kPage: answer = Page(request, guid); break;
    case RouteId::kSvg: answer = Svg(request, guid); break;
    case RouteId::kEvents:
      answer = HttpAnswer{200, EventText("hello", version, ""), "text/event-stream", {}, true};
      answer.headers.emplace_back("Cache-Control", "no-store");
      break;
    case RouteId::kOpenApi:
      answer = HttpAnswer{200, settings_.openApiJson, "application/json", {}, false};
      modelBound = false;
      break;
    case RouteId::kMetrics: answer = MetricsAnswer(); break;
    case RouteId::kIcon:
      // The client's own file, but cached for a day: it never changes.
      answer = Static(request);
      if (answer.status == 200) answer.headers = {{"Cache-Control", "public, max-age=86400"}};
      modelBound = false;
      break;
    case RouteId::kUnknownApi:
      answer = ErrorAnswer(404, "unknown route " + request.method + " " + request.path);
      break;
    case RouteId::kStatic:
      answer = Static(request);
      modelBound = false;
      break;
  }
  bool tagged = (isGet && (answer.status == 200 || answer.status == 204) && !answer.eventStream &&
                 route.id != RouteId::kMetrics) ||
                (route.id == RouteId::kSvg && answer.status == 200);
  if (tagged) {
    std::string tag = EntityTag(answer.body, modelBound ? version : 0);
    answer.headers.emplace_back("ETag", tag);
    if (route.id != RouteId::kStatic && route.id != RouteId::kIcon) answer.headers.emplace_back("Cache-Control", "no-cache");
    if (isGet && request.HasHeader("if-none-match") && TagMatches(request.Header("if-none-match"), tag)) {
      HttpAnswer notModified{304, "", "", {}, false};
      for (const auto& header : answer.headers) {
        if (header.first == "ETag" || header.first == "Cache-Control") notModified.headers.push_back(header);
      }
      answer = std::move(notModified);
    }
  }
  if (route.id == RouteId::kMetrics) answer.headers.emplace_back("Cache-Control", "no-store");
  AddCors(request, allow, false, answer);
  return answer;
}

void Router::AddCors(const HttpRequest& request, const std::string& allow, bool preflight, HttpAnswer& answer) const {
  if (settings_.corsOrigins.empty() || !request.HasHeader("origin")) return;
  const std::string origin = request.Header("origin");
  bool allowed = false;
  for (const std::string& o : settings_.corsOrigins) allowed = allowed || o == origin;
  if (!allowed) return;
  answer.headers.emplace_back("Access-Control-Allow-Origin", origin);
  answer.headers.emplace_back("Vary", "Origin");
  answer.headers.emplace_back("Access-Control-Expose-Headers", "ETag, X-Answer-Format, Allow");
  if (preflight) {
    answer.headers.emplace_back("Access-Control-Allow-Methods", allow);
    answer.headers.emplace_back("Access-Control-Allow-Headers", "Content-Type, If-None-Match");
    answer.headers.emplace_back("Access-Control-Max-Age", "600");
  }
}

CallResult Router::Call(const CallRequest& request) {
  CallResult result = agents_.Call(request);
  metrics_.AgentCall(request.agent, qmemu::OutcomeRowOf(result.outcome.kind()).name, result.milliseconds / 1000,
                     result.hostOperations);
  return result;
}

bool Router::EntityExists(const std::string& guid) {
  bool exists = false;
  agents_.WithModel([&](qmemu::Model& model) { exists = !guid.empty() && model.find(guid) != nullptr; });
  return exists;
}

std::shared_ptr<const ExplorerIndex> Router::Index(CallResult& failure) {
  std::lock_guard<std::mutex> lock(indexMutex_);
  std::uint64_t version = agents_.version();
  if (index_ != nullptr && indexVersion_ == version) return index_;
  auto index = std::make_shared<ExplorerIndex>();
  failure = index->Build(
      [this](const std::string& guid, const std::string& meta) {
        return Call(Request("GetModelViewChildNodes", {{"parentGuid", guid}, {"parentMetaGuid", meta}}));
      },
      agents_.limits());
  if (!failure.outcome.IsAnswered()) return nullptr;
  index_ = index;
  indexVersion_ = version;
  return index_;
}

HttpAnswer Router::Agent(const HttpRequest& request, const std::string& agent) {
  CallRequest call;
  call.agent = agent;
  std::string error;
  if (!ParseAgentBody(request.body, call.context, call.parameters, error)) return ErrorAnswer(400, error);
  CallResult result = Call(call);
  if (!result.outcome.IsAnswered()) return FailureAnswer(result);
  return HttpAnswer{200, AgentRunJson(result), "application/json", {}, false};
}

HttpAnswer Router::Explorer(const HttpRequest& request) {
  std::string node = request.Query("node"), meta = request.Query("metaguid");
  if (!meta.empty()) {
    if (node.empty()) return ErrorAnswer(400, "metaguid '" + meta + "' needs the node it belongs to");
    if (!EntityExists(meta)) return ErrorAnswer(400, "metaguid '" + meta + "' names no meta definition");
  }
  CallRequest call = Request("GetModelViewChildNodes", {{"parentGuid", node}, {"parentMetaGuid", meta}});
  if (!node.empty()) call.entities.push_back(node);
  CallResult result = Call(call);
  if (!result.outcome.IsAnswered()) return FailureAnswer(result);
  return AgentTextAnswer(result.Answer(call.agent));
}

HttpAnswer Router::Search(const HttpRequest& request) {
  if (!request.HasQuery("q") || request.Query("q").empty() || request.Query("q").size() > 200) {
    return ErrorAnswer(400, "q must be a text of 1 to 200 bytes");
  }
  std::size_t limit = 50;
  if (request.HasQuery("limit")) {
    std::string text = request.Query("limit");
    bool digits = !text.empty() && text.size() <= 3 && text.find_first_not_of("0123456789") == std::string::npos;
    limit = digits ? std::stoul(text) : 0;
    if (limit < 1 || limit > 500) return ErrorAnswer(400, "limit must be a whole number from 1 to 500, not '" + text + "'");
  }
  CallResult failure;
  std::shared_ptr<const ExplorerIndex> index = Index(failure);
  if (index == nullptr) return FailureAnswer(failure);
  const std::string query = request.Query("q");
  bool truncated = false;
  Json results = Json::array();
  for (std::size_t at : index->Search(query, limit, truncated)) {
    const ExplorerEntry& e = index->entries()[at];
    results.push_back({{"guid", e.modelguid}, {"name", e.text}, {"kind", e.metaclassType},
                       {"path", PathJson(*index, at)}});
  }
  return JsonAnswer({{"query", query}, {"results", results}, {"truncated", truncated}});
}

HttpAnswer Router::ElementPath(const HttpRequest& request, const std::string& guid) {
  if (!EntityExists(guid)) return ErrorAnswer(404, "unknown entity '" + guid + "'");
  CallResult failure;
  std::shared_ptr<const ExplorerIndex> index = Index(failure);
  if (index == nullptr) return FailureAnswer(failure);
  const std::string meta = request.Query("metaguid");
  std::size_t at = index->Find(guid, meta);
  if (at == ExplorerEntry::kNoParent) {
    return ErrorAnswer(422, meta.empty() ? "the explorer does not show '" + guid + "'"
                                         : "the explorer shows no attribute node '" + meta + "' of '" + guid + "'");
  }
  return JsonAnswer({{"guid", guid}, {"path", PathJson(*index, at)}});
}

HttpAnswer Router::Diagrams(const std::string& guid) {
  if (!EntityExists(guid)) return ErrorAnswer(404, "unknown entity '" + guid + "'");
  CallResult failure;
  std::shared_ptr<const ExplorerIndex> index = Index(failure);
  if (index == nullptr) return FailureAnswer(failure);
  std::vector<std::pair<std::string, std::string>> diagrams;
  agents_.WithModel([&](qmemu::Model& model) {
    if (const qmemu::Entity* element = model.find(guid)) diagrams = DiagramsShowing(*element, *index);
  });
  Json list = Json::array();
  for (const auto& [diagram, name] : diagrams) list.push_back({{"guid", diagram}, {"name", name}});
  return JsonAnswer({{"guid", guid}, {"diagrams", list}});
}

HttpAnswer Router::Links(const std::string& guid) {
  CallRequest call = Request("GetNativeLinkInformation", {{"guid", guid}});
  call.entities.push_back(guid);
  CallResult result = Call(call);
  if (!result.outcome.IsAnswered()) return FailureAnswer(result);
  std::string bytes = result.Answer(call.agent);
  if (bytes.empty()) return HttpAnswer{204, "", "", {}, false};  // no links: a client tells it by the status
  return AgentTextAnswer(std::move(bytes));
}

HttpAnswer Router::Page(const HttpRequest& request, const std::string& guid) {
  std::string route;
  if (!Choice(request, "route", "controls", "transform", "controls", route)) {
    return ErrorAnswer(400, "route must be controls or transform, not '" + route + "'");
  }
  CallRequest call;
  if (route == "controls") {
    // The host's parse, walked by the plug-in.
    call = Request("GetPropertyPageControls", {{"guid", guid}});
    call.entities.push_back(guid);
  } else {
    // The library's parse: the agent runs on the entity itself.
    call = Request("TransformControlInfoToJason", {});
    call.context = guid;
  }
  CallResult result = Call(call);
  if (!result.outcome.IsAnswered()) return FailureAnswer(result);
  return AgentTextAnswer(result.Answer(call.agent));
}

HttpAnswer Router::Svg(const HttpRequest& request, const std::string& guid) {
  const bool post = request.method == "POST";
  std::string refresh = "true", standalone;
  if (post && !Choice(request, "refresh", "true", "false", "false", refresh)) {
    return ErrorAnswer(400, "refresh must be true or false, not '" + refresh + "'");
  }
  if (!Choice(request, "standalone", "true", "false", "false", standalone)) {
    return ErrorAnswer(400, "standalone must be true or false, not '" + standalone + "'");
  }
  const std::string body = post ? request.body : "";
  if (!body.empty() && !Json::accept(body)) return ErrorAnswer(400, "the body is no JSON text");
  CallRequest call =
      Request("GenerateSVGWithAnnotations", {{"clientJson", body}, {"refresh", refresh == "true" ? "t" : "f"}});
  call.context = guid;
  CallResult result = Call(call);
  if (!result.outcome.IsAnswered()) return FailureAnswer(result);
  std::string svg = result.Answer(call.agent);
  if (svg.empty()) return ErrorAnswer(422, "no SVG for '" + guid + "': it is no diagram and shows in none");
  std::string gif;
  if (standalone == "true" && !IconBytes(gif)) {
    return ErrorAnswer(500, "the web directory has no ERIcon.gif to inline");
  }
  HttpAnswer answer{200, standalone == "true" ? InlineErIcon(svg, gif) : std::move(svg), "image/svg+xml", {}, false};
  if (standalone == "true") {
    std::string name;
    for (char c : guid) name += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.') ? c : '_';
    answer.headers.emplace_back("Content-Disposition", "attachment; filename=\"" + name + ".svg\"");
  }
  return answer;
}

bool Router::IconBytes(std::string& gif) const {
  std::string file;
  return files_.Resolve("/ERIcon.gif", file) == StaticFiles::Lookup::kFound && ReadWholeFile(file, gif);
}

HttpAnswer Router::Static(const HttpRequest& request) {
  std::string file, content;
  switch (files_.Resolve(request.path, file)) {
    case StaticFiles::Lookup::kRefused: return ErrorAnswer(403, "the path leaves the web directory");
    case StaticFiles::Lookup::kNotFound: return ErrorAnswer(404, "no such file: " + request.path);
    case StaticFiles::Lookup::kFound: break;
  }
  if (!ReadWholeFile(file, content)) return ErrorAnswer(404, "cannot read " + request.path);
  // The client's files change with a new build: a browser asks again each
  // time, and the ETag makes the answer a cheap 304.
  return HttpAnswer{200, std::move(content), StaticFiles::ContentType(file), {{"Cache-Control", "no-cache"}}, false};
}

HttpAnswer Router::MetricsAnswer() {
  MetricsGauges gauges;
  gauges.modelVersion = agents_.WithModel([&](qmemu::Model& model) { gauges.modelEntities = model.entities().size(); });
  gauges.eventClients = events_.Clients();
  gauges.residentBytes = ResidentBytes();
  return HttpAnswer{200, metrics_.Text(gauges), "text/plain; version=0.0.4", {}, false};
}

}  // namespace orvtool
