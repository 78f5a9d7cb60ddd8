// The server's HTTP API: the routes of the browser client, the generic
// agent route, the external-reference icon and the client's static files.
// Every route that runs an agent goes through one CallService; every
// failure answers a JSON body {"error": "..."} with the status of its
// outcome (qmemu::OutcomeTable, the same table orv-host's exit statuses
// come from).
#ifndef TOOLS_SERVE_HTTPROUTES_H_
#define TOOLS_SERVE_HTTPROUTES_H_

#include <string>
#include <vector>

#include "emulator/CallService.h"
#include "tools/serve/StaticFiles.h"

namespace httplib {
class Server;
}

namespace orvtool {

// What a route answers: status, body and media type.
struct HttpAnswer {
  int status = 200;
  std::string body;
  std::string contentType = "application/json";
};

// {"error": message} with `status`.
HttpAnswer ErrorAnswer(int status, const std::string& message);

// The error answer of a call that was not answered: the status of its
// outcome, its text, and for a refusal the host's messages as well
// ({"error": "...", "messages": ["...", ...]}).
HttpAnswer FailureAnswer(const qmemu::CallResult& result);

// Reads the body of the generic agent route:
//   {"context": "GUID or @Path@", "parameters": ["text", ...]}
// Both members are optional (the root; no parameters); other members are
// ignored. False, with the reason in `error`, when the body is no JSON
// object, "context" is no string or "parameters" no array of strings.
bool ParseAgentBody(const std::string& body, std::string& context, std::vector<std::string>& parameters,
                    std::string& error);

// The answer of the generic agent route for a done call:
//   {"parameters": [...], "messages": [...], "hostOperations": N, "milliseconds": M}
// Bytes that are not UTF-8 are replaced by U+FFFD, as JSON text must be UTF-8.
std::string AgentRunJson(const qmemu::CallResult& result);

// Registers every route on `server`; `agents` and `files` must outlive it.
void InstallRoutes(httplib::Server& server, qmemu::CallService& agents, const StaticFiles& files);

}  // namespace orvtool

#endif  // TOOLS_SERVE_HTTPROUTES_H_
