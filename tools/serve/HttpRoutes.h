// The server's HTTP API without a socket: a request in, an answer out. The
// routes of the browser client, the generic agent route, search and reveal,
// events, metrics, the contract, the external-reference icon and the
// client's static files, with the statuses, content types, ETags and CORS
// headers of docs/openapi.yaml. Every failure answers a JSON body
// {"error": "..."}; an agent call's status is that of its outcome
// (qmemu::OutcomeTable, the same table orv-host's exit statuses come from).
// Every route that runs an agent goes through one qmemu::CallService.
// HttpServer.cpp connects it to the HTTP library; the request fuzzer calls
// it directly.
#ifndef TOOLS_SERVE_HTTPROUTES_H_
#define TOOLS_SERVE_HTTPROUTES_H_

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "emulator/CallService.h"
#include "tools/serve/ExplorerIndex.h"
#include "tools/serve/Metrics.h"
#include "tools/serve/ModelEvents.h"
#include "tools/serve/StaticFiles.h"

namespace orvtool {

// What a route answers: status, body, media type and extra headers.
struct HttpAnswer {
  int status = 200;
  std::string body;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  // GET /api/events: the body is the first event; the server keeps the
  // stream open and sends the model's events after it.
  bool eventStream = false;

  // The value of header `name` (compared without case), or "".
  std::string Header(const std::string& name) const;
};

struct HttpRequest {
  std::string method;  // "GET", "POST", ... as sent
  std::string path;    // percent-decoded, without the query
  std::multimap<std::string, std::string> query;  // decoded
  // Header names in lower case.
  std::multimap<std::string, std::string> headers;
  std::string body;

  bool HasQuery(const std::string& name) const { return query.count(name) != 0; }
  std::string Query(const std::string& name) const;
  bool HasHeader(const std::string& lowerName) const { return headers.count(lowerName) != 0; }
  std::string Header(const std::string& lowerName) const;
};

// {"error": message} with `status`.
HttpAnswer ErrorAnswer(int status, const std::string& message);

// The error answer of a call that was not answered: the status of its
// outcome and its text; for a refusal the host's messages as well
// ({"error": "...", "messages": [...]}), for a spent budget the limit
// ({"error": "...", "limit": "time"} or "operations").
HttpAnswer FailureAnswer(const qmemu::CallResult& result);

// Reads the body of the generic agent route:
//   {"context": "GUID or @Path@", "parameters": ["text", ...]}
// Both members are optional (the root; no parameters), and so is the whole
// body (empty or only blanks = {}); other members are ignored. False, with
// the reason in `error`, when the body is no JSON object, "context" is no
// string or "parameters" no array of strings.
bool ParseAgentBody(const std::string& body, std::string& context, std::vector<std::string>& parameters,
                    std::string& error);

// The answer of the generic agent route for a done call:
//   {"parameters": [...], "messages": [...], "hostOperations": N, "milliseconds": M}
// Bytes that are not UTF-8 are replaced by U+FFFD, as JSON text must be UTF-8.
std::string AgentRunJson(const qmemu::CallResult& result);

// An agent's text answered byte for byte: application/json with
// X-Answer-Format: json when the bytes parse as JSON, else text/plain with
// X-Answer-Format: text.
HttpAnswer AgentTextAnswer(std::string bytes);

// The checks on a request's body headers that come before its body is
// read: 0 when fine, else 400 (a Content-Length that is no decimal number),
// 413 (longer than `maxBody`) or 411 (a POST with neither Content-Length
// nor chunked transfer), with the reason in `error`.
int BodyHeaderStatus(const HttpRequest& request, std::uint64_t maxBody, std::string& error);

// A strong entity tag of `body` and `version`: "\"<16 hex digits>\"".
std::string EntityTag(const std::string& body, std::uint64_t version);

// True when an If-None-Match value ("a", "a, b", W/"a", *) matches `tag`.
bool TagMatches(const std::string& ifNoneMatch, const std::string& tag);

// Replaces every "ERIcon.gif" reference of an SVG text by a data: URI of
// `gif` (the icon's bytes), so that it renders outside the server.
std::string InlineErIcon(const std::string& svg, const std::string& gif);

struct RouterSettings {
  std::vector<std::string> corsOrigins;  // empty: no CORS headers at all
  std::uint64_t maxBody = 16u << 20;
  std::string openApiJson;               // the contract as JSON
};

class Router {
 public:
  // None of the references are owned; all must outlive the router.
  Router(qmemu::CallService& agents, const StaticFiles& files, Metrics& metrics, ModelEvents& events,
         RouterSettings settings);

  // Answers one request, whose body has been read whole. Never throws for
  // anything in the request; records the request in the metrics.
  HttpAnswer Handle(const HttpRequest& request);

  // The path template of the contract that takes `path` ("static" for
  // files), for the metrics.
  static std::string TemplateOf(const std::string& path);

  struct Route;  // one entry of the route table

 private:
  HttpAnswer Dispatch(const HttpRequest& request, const Route& route, const std::vector<std::string>& captures);
  HttpAnswer Explorer(const HttpRequest& request);
  HttpAnswer Search(const HttpRequest& request);
  HttpAnswer ElementPath(const HttpRequest& request, const std::string& guid);
  HttpAnswer Diagrams(const std::string& guid);
  HttpAnswer Links(const std::string& guid);
  HttpAnswer Page(const HttpRequest& request, const std::string& guid);
  HttpAnswer Svg(const HttpRequest& request, const std::string& guid);
  HttpAnswer Agent(const HttpRequest& request, const std::string& agent);
  HttpAnswer Static(const HttpRequest& request);
  HttpAnswer MetricsAnswer();
  void AddCors(const HttpRequest& request, const std::string& allow, bool preflight, HttpAnswer& answer) const;

  // One agent call, counted in the metrics.
  qmemu::CallResult Call(const qmemu::CallRequest& request);
  // The explorer index of the current model, built on first use; null with
  // the failure in `failure` when its walk was cut off.
  std::shared_ptr<const ExplorerIndex> Index(qmemu::CallResult& failure);
  // The icon's bytes from the web directory; false when it has none.
  bool IconBytes(std::string& gif) const;
  bool EntityExists(const std::string& guid);

  qmemu::CallService& agents_;
  const StaticFiles& files_;
  Metrics& metrics_;
  ModelEvents& events_;
  const RouterSettings settings_;
  std::mutex indexMutex_;
  std::shared_ptr<const ExplorerIndex> index_;
  std::uint64_t indexVersion_ = 0;
};

}  // namespace orvtool

#endif  // TOOLS_SERVE_HTTPROUTES_H_
