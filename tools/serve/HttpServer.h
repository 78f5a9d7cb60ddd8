// Connects the socket-free Router to the HTTP library: every request of
// every method reaches Router::Handle, bodies are read whatever their
// content type, bad body headers are answered before the body is read, and
// the event stream stays open until the client leaves or the server stops.
#ifndef TOOLS_SERVE_HTTPSERVER_H_
#define TOOLS_SERVE_HTTPSERVER_H_

#include <cstdint>

#include "tools/serve/HttpRoutes.h"

namespace httplib {
class Server;
}

namespace orvtool {

// Registers the router on `server`; `router` and `events` must outlive it.
void InstallRoutes(httplib::Server& server, Router& router, ModelEvents& events, std::uint64_t maxBody);

}  // namespace orvtool

#endif  // TOOLS_SERVE_HTTPSERVER_H_
