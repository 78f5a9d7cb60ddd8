// Any request reaches the server's route layer without a socket: the input
// is "METHOD\nPATH?QUERY\nName: value\n...\n\nBODY". Whatever the bytes, the
// answer must be well formed: a status the contract names, a JSON error
// body for every status of 400 and above, no body for 204 and 304, and an
// Allow header for 405.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "emulator/CallService.h"
#include "emulator/Session.h"
#include "tools/serve/HttpRoutes.h"

namespace {

using namespace orvtool;

std::string Decode(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += text[i] == '+' ? ' ' : text[i];
    }
  }
  return out;
}

// The line at `at` (without its '\n'); "" once the input is used up.
std::string Line(const std::string& input, std::size_t& at) {
  if (at >= input.size()) {
    at = input.size();
    return "";
  }
  std::size_t end = input.find('\n', at);
  if (end == std::string::npos) end = input.size();
  std::string line = input.substr(at, end - at);
  at = end + 1;
  return line;
}

HttpRequest Parse(const std::string& input) {
  HttpRequest request;
  std::size_t at = 0;
  request.method = Line(input, at);
  std::string target = Line(input, at);
  std::size_t question = target.find('?');
  request.path = Decode(target.substr(0, question));
  if (question != std::string::npos) {
    std::string query = target.substr(question + 1);
    std::size_t start = 0;
    while (start <= query.size()) {
      std::size_t end = query.find('&', start);
      if (end == std::string::npos) end = query.size();
      std::string pair = query.substr(start, end - start);
      std::size_t equals = pair.find('=');
      request.query.emplace(Decode(pair.substr(0, equals)),
                            equals == std::string::npos ? "" : Decode(pair.substr(equals + 1)));
      start = end + 1;
    }
  }
  while (at < input.size()) {
    std::string header = Line(input, at);
    if (header.empty()) break;
    std::size_t colon = header.find(':');
    std::string name = header.substr(0, colon);
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::string value = colon == std::string::npos ? "" : header.substr(colon + 1);
    value.erase(0, value.find_first_not_of(' '));
    request.headers.emplace(name, value);
  }
  if (at < input.size()) request.body = input.substr(at);
  return request;
}

struct Server {
  Server() {
    std::string error;
    session = qmemu::Session::Open(ORV_SOURCE_DIR "/examples/model.json", ORV_PLUGIN_PATH, error);
    if (session == nullptr) std::abort();
    agents = std::make_unique<qmemu::CallService>(*session, qmemu::CallLimits{1, 200000});
    files.Open(ORV_SOURCE_DIR "/web", error);
    RouterSettings settings;
    settings.maxBody = 1 << 16;
    settings.openApiJson = "{\"openapi\":\"3.1.0\",\"paths\":{}}";
    router = std::make_unique<Router>(*agents, files, metrics, events, settings);
  }
  std::unique_ptr<qmemu::Session> session;
  std::unique_ptr<qmemu::CallService> agents;
  StaticFiles files;
  Metrics metrics;
  ModelEvents events;
  std::unique_ptr<Router> router;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Server* server = new Server();
  HttpRequest request = Parse(std::string(reinterpret_cast<const char*>(data), size));
  HttpAnswer answer = server->router->Handle(request);
  static const std::set<int> kStatuses = {200, 204, 304, 400, 403, 404, 405, 411, 413, 422, 500, 504};
  if (kStatuses.count(answer.status) == 0) std::abort();
  if (answer.status >= 400) {
    nlohmann::json body = nlohmann::json::parse(answer.body, nullptr, false);
    if (!body.is_object() || !body.contains("error") || !body["error"].is_string()) std::abort();
  }
  if ((answer.status == 204 || answer.status == 304) && !answer.body.empty()) std::abort();
  if (answer.status == 405 && answer.Header("Allow").empty()) std::abort();
  return 0;
}
