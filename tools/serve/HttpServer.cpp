#include "tools/serve/HttpServer.h"

#include <httplib.h>

#include <cctype>
#include <chrono>
#include <exception>
#include <memory>

namespace orvtool {
namespace {

constexpr std::chrono::seconds kKeepAlive{15};

HttpRequest FromLibrary(const httplib::Request& in) {
  HttpRequest out;
  out.method = in.method;
  out.path = in.path;
  for (const auto& [name, value] : in.params) out.query.emplace(name, value);
  for (const auto& [name, value] : in.headers) {
    std::string lower = name;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    out.headers.emplace(lower, value);
  }
  return out;
}

// The event stream: the hello event first, then each model event as it is
// published, a keep-alive comment when nothing happened for a while.
void StreamEvents(httplib::Response& response, const HttpAnswer& answer, ModelEvents& events) {
  auto state = std::make_shared<std::pair<bool, std::uint64_t>>(false, events.Latest());
  std::string hello = answer.body;
  events.Opened();
  response.set_chunked_content_provider(
      "text/event-stream",
      [&events, state, hello](std::size_t, httplib::DataSink& sink) {
        if (!state->first) {
          state->first = true;
          return sink.write(hello.data(), hello.size());
        }
        ModelEvent event;
        switch (events.Next(state->second, kKeepAlive, event)) {
          case ModelEvents::Wait::kStopped: sink.done(); return true;
          case ModelEvents::Wait::kTimeout: {
            static const char kComment[] = ": keep-alive\n\n";
            return sink.write(kComment, sizeof kComment - 1);
          }
          case ModelEvents::Wait::kEvent: {
            state->second = event.sequence;
            std::string text = EventText(event.name, event.version, event.error);
            return sink.write(text.data(), text.size());
          }
        }
        return false;
      },
      [&events](bool) { events.Closed(); });
}

void Send(const HttpAnswer& answer, httplib::Response& response, ModelEvents& events) {
  response.status = answer.status;
  for (const auto& [name, value] : answer.headers) response.set_header(name, value);
  if (answer.eventStream) {
    StreamEvents(response, answer, events);
    return;
  }
  if (answer.status == 204 || answer.status == 304) return;
  response.set_content(answer.body, answer.contentType.c_str());
}

bool ExpectsBody(const std::string& method) {
  return method == "POST" || method == "PUT" || method == "PATCH" || method == "DELETE";
}

}  // namespace

void InstallRoutes(httplib::Server& server, Router& router, ModelEvents& events, std::uint64_t maxBody) {
  using Request = httplib::Request;
  using Response = httplib::Response;
  // Every request starts here. Requests without a body are answered at
  // once; for the others the body headers are checked before the body is
  // read, so a bad length is answered at once instead of after a read
  // timeout.
  server.set_pre_routing_handler([&router, &events, maxBody](const Request& q, Response& r) {
    HttpRequest request = FromLibrary(q);
    if (!ExpectsBody(q.method)) {
      Send(router.Handle(request), r, events);
      return httplib::Server::HandlerResponse::Handled;
    }
    std::string error;
    int status = BodyHeaderStatus(request, maxBody, error);
    bool multipart = q.get_header_value("Content-Type").rfind("multipart/form-data", 0) == 0;
    if (status == 0 && multipart) {
      status = 400;
      error = "the body is no JSON text";
    }
    if (status == 0) return httplib::Server::HandlerResponse::Unhandled;
    Send(ErrorAnswer(status, error), r, events);
    if (status != 411) r.set_header("Connection", "close");  // the body that follows is not read
    return httplib::Server::HandlerResponse::Handled;
  });
  // Bodies are read by a content reader, which takes them whatever their
  // content type (the library's own reading limits form bodies).
  auto withBody = [&router, &events](const Request& q, Response& r, const httplib::ContentReader& reader) {
    HttpRequest request = FromLibrary(q);
    reader([&request](const char* data, std::size_t length) {
      request.body.append(data, length);
      return true;
    });
    Send(router.Handle(request), r, events);
  };
  server.Post(".*", withBody);
  server.Put(".*", withBody);
  server.Patch(".*", withBody);
  server.Delete(".*", withBody);

  server.set_error_handler([](const Request& q, Response& r) {
    if (!r.body.empty()) return;
    std::string what = r.status == 413 ? "the body is larger than the server accepts"
                     : r.status == 414 ? "the URL is too long"
                                       : "the request could not be read (" + q.method + " " + q.path + ")";
    r.set_content(ErrorAnswer(r.status, what).body, "application/json");
  });
  server.set_exception_handler([](const Request&, Response& r, std::exception_ptr) {
    r.status = 500;
    r.set_content(ErrorAnswer(500, "the server could not answer the request").body, "application/json");
  });
}

}  // namespace orvtool
