#include "tools/serve/HttpRoutes.h"

#include <httplib.h>

#include <exception>
#include <nlohmann/json.hpp>


namespace orvtool {
namespace {

using Json = nlohmann::json;

std::string Dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

void Send(httplib::Response& response, const HttpAnswer& answer) {
  response.status = answer.status;
  response.set_content(answer.body, answer.contentType.c_str());
}

using qmemu::CallRequest;
using qmemu::CallResult;
using qmemu::CallService;

// A call of the plug-in agent `agent` with the inputs named as in the agent
// table; every other parameter up to the last required one is "".
CallRequest Request(const char* agent, const std::vector<std::pair<std::string, std::string>>& inputs) {
  CallRequest call;
  call.agent = agent;
  const qmemu::AgentEntry* entry = qmemu::FindAgentEntry(agent);
  if (entry != nullptr) call.parameters = entry->Texts(inputs);
  return call;
}

// Runs one agent for a client route and answers the text of its answer
// parameter (from the agent table) byte for byte with the media type `type`.
HttpAnswer AgentText(CallService& agents, const CallRequest& request, const char* type) {
  CallResult result = agents.Call(request);
  if (!result.outcome.IsAnswered()) return FailureAnswer(result);
  return HttpAnswer{200, result.Answer(request.agent), type};
}

// A query parameter that is either absent (`fallback`) or one of two words.
// False when it is something else.
bool ChoiceParameter(const httplib::Request& request, const char* name, const char* first, const char* second,
                     const char* fallback, std::string& value) {
  value = request.has_param(name) ? request.get_param_value(name) : fallback;
  return value == first || value == second;
}

void AgentRoute(CallService& agents, const httplib::Request& request, httplib::Response& response) {
  CallRequest call;
  call.agent = request.matches[1];
  std::string error;
  if (!ParseAgentBody(request.body, call.context, call.parameters, error)) {
    Send(response, ErrorAnswer(400, error));
    return;
  }
  CallResult result = agents.Call(call);
  if (!result.outcome.IsAnswered()) {
    Send(response, FailureAnswer(result));
    return;
  }
  Send(response, HttpAnswer{200, AgentRunJson(result), "application/json"});
}

void ExplorerRoute(CallService& agents, const httplib::Request& request, httplib::Response& response) {
  std::string node = request.get_param_value("node");
  CallRequest call =
      Request("GetModelViewChildNodes", {{"parentGuid", node}, {"parentMetaGuid", request.get_param_value("metaguid")}});
  if (!node.empty()) call.entities.push_back(node);
  Send(response, AgentText(agents, call, "application/json"));
}

void LinksRoute(CallService& agents, const httplib::Request& request, httplib::Response& response) {
  CallRequest call = Request("GetNativeLinkInformation", {{"guid", request.matches[1]}});
  call.entities.push_back(request.matches[1]);
  Send(response, AgentText(agents, call, "application/json"));
}

void PageRoute(CallService& agents, const httplib::Request& request, httplib::Response& response) {
  std::string route;
  if (!ChoiceParameter(request, "route", "controls", "transform", "controls", route)) {
    Send(response, ErrorAnswer(400, "route must be controls or transform, not '" + route + "'"));
    return;
  }
  std::string guid = request.matches[1];
  if (route == "controls") {
    // The host's parse, walked by the plug-in.
    CallRequest call = Request("GetPropertyPageControls", {{"guid", guid}});
    call.entities.push_back(guid);
    Send(response, AgentText(agents, call, "application/json"));
  } else {
    // The library's parse: the agent runs on the entity itself.
    CallRequest call = Request("TransformControlInfoToJason", {});
    call.context = guid;
    Send(response, AgentText(agents, call, "application/json"));
  }
}

void SvgRoute(CallService& agents, const httplib::Request& request, httplib::Response& response) {
  std::string refresh;
  if (!ChoiceParameter(request, "refresh", "true", "false", "false", refresh)) {
    Send(response, ErrorAnswer(400, "refresh must be true or false, not '" + refresh + "'"));
    return;
  }
  if (!request.body.empty() && !Json::accept(request.body)) {
    Send(response, ErrorAnswer(400, "the body is no JSON text"));
    return;
  }
  CallRequest call =
      Request("GenerateSVGWithAnnotations", {{"clientJson", request.body}, {"refresh", refresh == "true" ? "t" : "f"}});
  call.context = request.matches[1];
  HttpAnswer answer = AgentText(agents, call, "image/svg+xml");
  if (answer.status == 200 && answer.body.empty()) {
    answer = ErrorAnswer(422, "no SVG for '" + call.context + "': it is no diagram and shows in none");
  }
  Send(response, answer);
}

void StaticRoute(const StaticFiles& files, const httplib::Request& request, httplib::Response& response) {
  std::string file, content;
  switch (files.Resolve(request.path, file)) {
    case StaticFiles::Lookup::kRefused:
      Send(response, ErrorAnswer(403, "the path leaves the web directory"));
      return;
    case StaticFiles::Lookup::kNotFound:
      Send(response, ErrorAnswer(404, "no such file: " + request.path));
      return;
    case StaticFiles::Lookup::kFound:
      break;
  }
  if (!ReadWholeFile(file, content)) {
    Send(response, ErrorAnswer(404, "cannot read " + request.path));
    return;
  }
  Send(response, HttpAnswer{200, std::move(content), StaticFiles::ContentType(file)});
}

const char* ReasonOf(int status) {
  switch (status) {
    case 400: return "bad request";
    case 404: return "unknown route";
    case 405: return "method not allowed";
    case 413: return "the body is larger than the server accepts";
    case 414: return "the URL is too long";
    default: return "the request failed";
  }
}

}  // namespace

HttpAnswer ErrorAnswer(int status, const std::string& message) {
  return HttpAnswer{status, Dump(Json{{"error", message}}), "application/json"};
}

HttpAnswer FailureAnswer(const CallResult& result) {
  const int status = qmemu::OutcomeRowOf(result.outcome.kind()).httpStatus;
  if (!result.outcome.IsRefused()) return ErrorAnswer(status, result.outcome.text());
  Json body = {{"error", result.outcome.text()}, {"messages", result.outcome.messages()}};
  return HttpAnswer{status, Dump(body), "application/json"};
}

bool ParseAgentBody(const std::string& body, std::string& context, std::vector<std::string>& parameters,
                    std::string& error) {
  context.clear();
  parameters.clear();
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
    if (!list.is_array()) {
      error = "\"parameters\" must be an array of strings";
      return false;
    }
    for (const Json& item : list) {
      if (!item.is_string()) {
        error = "\"parameters\" must be an array of strings";
        parameters.clear();
        return false;
      }
      parameters.push_back(item.get<std::string>());
    }
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

void InstallRoutes(httplib::Server& server, CallService& agents, const StaticFiles& files) {
  using Request = httplib::Request;
  using Response = httplib::Response;
  server.Post(R"(/api/agents/([^/]+))", [&](const Request& q, Response& r) { AgentRoute(agents, q, r); });
  server.Get(R"(/api/explorer/children)", [&](const Request& q, Response& r) { ExplorerRoute(agents, q, r); });
  server.Get(R"(/api/elements/([^/]+)/links)", [&](const Request& q, Response& r) { LinksRoute(agents, q, r); });
  server.Get(R"(/api/elements/([^/]+)/page)", [&](const Request& q, Response& r) { PageRoute(agents, q, r); });
  server.Post(R"(/api/diagrams/([^/]+)/svg)", [&](const Request& q, Response& r) { SvgRoute(agents, q, r); });
  auto unknown = [](const Request& q, Response& r) { Send(r, ErrorAnswer(404, "unknown route " + q.method + " " + q.path)); };
  server.Get(R"(/api/.*)", unknown);
  server.Post(R"(/api/.*)", unknown);
  server.Put(R"(/api/.*)", unknown);
  server.Delete(R"(/api/.*)", unknown);
  server.Patch(R"(/api/.*)", unknown);
  server.Get(R"(/.*)", [&files](const Request& q, Response& r) { StaticRoute(files, q, r); });

  // Statuses that the library answers by itself (an oversized body, no
  // route for the method) get the same JSON error body.
  server.set_error_handler([](const Request&, Response& r) {
    if (r.body.empty()) r.set_content(Dump(Json{{"error", ReasonOf(r.status)}}), "application/json");
  });
  server.set_exception_handler([](const Request&, Response& r, std::exception_ptr) {
    Send(r, ErrorAnswer(500, "the server could not answer the request"));
  });
}

}  // namespace orvtool
