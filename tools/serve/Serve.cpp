#include "tools/serve/Serve.h"

#include <errno.h>
#include <httplib.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/socket.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "emulator/Session.h"
#include "emulator/CallService.h"
#include "tools/serve/HttpRoutes.h"
#include "tools/serve/HttpServer.h"
#include "tools/serve/ModelWatcher.h"
#include "tools/serve/OpenApiDocument.h"
#include "tools/common/Options.h"
#include "tools/common/ProgramPaths.h"
#include "tools/serve/StaticFiles.h"

namespace orvtool {
namespace {

const char kUsage[] =
    "usage: orv-host serve MODEL [options]\n"
    "\n"
    "Loads the model file MODEL and the plug-in once and serves the browser\n"
    "client and its HTTP API (docs/http-api.md) until SIGINT or SIGTERM.\n"
    "Links, property-page and explorer calls run side by side; diagram (SVG)\n"
    "calls run one at a time.\n"
    "\n"
    "options:\n"
    "  --bind ADDR              address to listen on (default 127.0.0.1; 0.0.0.0\n"
    "                           or :: for every interface)\n"
    "  --port N                 port (default 8080; 0 picks a free one)\n"
    "  --plugin PATH            the plug-in; default: libOrvServer.so in the\n"
    "                           directory of orv-host, else in the installed\n"
    "                           plug-in directory (../lib/<multiarch>/orvserver\n"
    "                           from it)\n"
    "  --timeout SECONDS        deadline of each agent call (default 10, 0 = none)\n"
    "  --max-operations N       host operations an agent call may make (default\n"
    "                           100000000, 0 = no limit)\n"
    "  --max-body BYTES         largest request body (default 16777216)\n"
    "  --web DIR                the client's files (default: share/orvserver/web\n"
    "                           beside the directory of orv-host)\n"
    "  --watch                  reload the model file when it changes; a file with\n"
    "                           errors keeps the old model (GET /api/events tells\n"
    "                           clients about both)\n"
    "  --cors ORIGIN            answer cross-origin requests from ORIGIN (repeatable;\n"
    "                           off by default)\n"
    "  --help                   this text\n"
    "\n"
    "It prints one line with its URL once it listens. A call that outlives its\n"
    "deadline or operation budget is stopped through its host operations and\n"
    "answered with status 504. Statuses of every outcome: docs/http-api.md.\n";

struct ServeOptions {
  std::string model, bind = "127.0.0.1", plugin, web;
  long port = 8080;
  long maxBody = 16L * 1024 * 1024;
  qmemu::CallLimits limits;
  bool watch = false;
  std::vector<std::string> corsOrigins;
};

const char kProgram[] = "orv-host serve";

int Usage(const std::string& problem) {
  std::cerr << OptionParser(kProgram).UsageError(problem);
  return 1;
}

// Returns -1 to go on, else the exit status.
int ParseServeOptions(int argc, char** argv, ServeOptions& options) {
  bool help = false;
  double port = static_cast<double>(options.port), maxBody = static_cast<double>(options.maxBody);
  double maxOperations = static_cast<double>(options.limits.maxOperations);
  OptionParser parser(kProgram);
  parser.Flag("--help", &help, "-h");
  parser.Flag("--watch", &options.watch);
  parser.Text("--bind", &options.bind);
  parser.Text("--plugin", &options.plugin);
  parser.Text("--web", &options.web);
  parser.Number("--port", 0, 65535, true, "a whole number from 0 to 65535", &port);
  parser.Number("--timeout", 0, 1e6, false, "seconds from 0 to 1000000", &options.limits.seconds);
  parser.Number("--max-operations", 0, 1e15, true, "a whole number", &maxOperations);
  parser.Number("--max-body", 1, 1e10, true, "a whole number of bytes", &maxBody);
  // --cors may be given more than once; the parser keeps one value per
  // option, so its occurrences are taken out first.
  std::vector<char*> rest;
  for (int i = 0; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--") {
      for (; i < argc; ++i) rest.push_back(argv[i]);
      break;
    }
    if (arg == "--cors") {
      if (i + 1 >= argc) return Usage("--cors needs a value");
      options.corsOrigins.push_back(argv[++i]);
      continue;
    }
    rest.push_back(argv[i]);
  }
  std::vector<std::string> positional;
  std::string error;
  if (!parser.Parse(static_cast<int>(rest.size()), rest.data(), positional, error)) return Usage(error);
  if (help) {
    std::cout << kUsage;
    return 0;
  }
  if (positional.size() > 1) return Usage("unexpected argument '" + positional[1] + "'");
  if (positional.empty()) return Usage("expected a model file");
  options.model = positional[0];
  options.port = static_cast<long>(port);
  options.maxBody = static_cast<long>(maxBody);
  options.limits.maxOperations = static_cast<std::uint64_t>(maxOperations);
  if (options.plugin.empty()) options.plugin = DefaultPluginPath();
  return -1;
}

// The URL that clients use for the bound address.
std::string UrlOf(const std::string& bind, int port) {
  bool ipv6 = bind.find(':') != std::string::npos;
  std::string host = ipv6 ? "[" + bind + "]" : bind;
  return "http://" + host + ":" + std::to_string(port) + "/";
}

// Opens the web directory: the one asked for must exist; the default one
// may be missing (the API still works; no client is served).
bool OpenWeb(const ServeOptions& options, StaticFiles& files) {
  std::string error;
  if (!options.web.empty()) {
    if (files.Open(options.web, error)) return true;
    std::cerr << "orv-host serve: " << error << "\n";
    return false;
  }
  if (!files.Open(DefaultWebDirectory(), error)) {
    std::cerr << "orv-host serve: no client files (" << error << "); serving the API only\n";
  }
  return true;
}

}  // namespace

#ifdef ORV_SERVE_TSAN
// The ThreadSanitizer build: Debian's HTTP library is not instrumented, so
// the sanitizer sees its memory accesses only through the copies it makes
// (memcpy, memcmp) and not the locks that order them, and reports races
// inside it that it cannot judge. Those are left out; our own code, the
// emulator and the plug-in stay fully checked.
extern "C" const char* __tsan_default_suppressions() { return "called_from_lib:libcpp-httplib.so\n"; }
#endif

namespace {

// Whether `port` on `bind` is taken by another listener: a plain bind (no
// address reuse) fails with EADDRINUSE.
bool PortInUse(const std::string& bind, long port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST;
  addrinfo* found = nullptr;
  if (getaddrinfo(bind.c_str(), std::to_string(port).c_str(), &hints, &found) != 0 || found == nullptr) return false;
  int fd = socket(found->ai_family, found->ai_socktype, found->ai_protocol);
  bool inUse = fd >= 0 && ::bind(fd, found->ai_addr, found->ai_addrlen) != 0 && errno == EADDRINUSE;
  if (fd >= 0) close(fd);
  freeaddrinfo(found);
  return inUse;
}

}  // namespace

int RunServe(int argc, char** argv) {
  ServeOptions options;
  int status = ParseServeOptions(argc, argv, options);
  if (status >= 0) return status;

  std::string error;
  std::unique_ptr<qmemu::Session> session = qmemu::Session::Open(options.model, options.plugin, error);
  if (session == nullptr) {
    std::cerr << "orv-host serve: " << error << "\n";
    return 2;
  }
  StaticFiles files;
  if (!OpenWeb(options, files)) return 2;
  qmemu::CallService agents(std::move(session), options.limits, qmemu::AgentReach::kPluginAgents);
  Metrics metrics;
  ModelEvents events;
  RouterSettings settings;
  settings.corsOrigins = options.corsOrigins;
  settings.maxBody = static_cast<std::uint64_t>(options.maxBody);
  settings.openApiJson = OpenApiJson();
  Router router(agents, files, metrics, events, settings);

  // The signals are taken by one thread of their own: blocked here, before
  // any thread starts, so that every thread inherits the mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  int port = 0;
  {
    httplib::Server server;
    InstallRoutes(server, router, events, settings.maxBody);
    server.set_payload_max_length(static_cast<std::size_t>(options.maxBody));
    // Address reuse only (no port sharing): a second server on a busy port
    // must fail to bind rather than listen beside the first.
    server.set_socket_options([](socket_t sock) {
      int yes = 1;
      setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server.set_keep_alive_timeout(2);  // bounds how long a stop waits for idle connections
    server.set_keep_alive_max_count(1000);
    server.set_tcp_nodelay(true);  // answers leave at once, not after the peer's delayed ack
    // Enough workers for a few browser tabs with their event streams and a
    // load test; the call service lets independent agent calls run side by
    // side.
    server.new_task_queue = [] { return new httplib::ThreadPool(24); };
    if (options.port == 0) {
      port = server.bind_to_any_port(options.bind);
    } else if (server.bind_to_port(options.bind, static_cast<int>(options.port))) {
      port = static_cast<int>(options.port);
    }
    if (port <= 0) {
      std::cerr << "orv-host serve: cannot listen on " << options.bind << " port " << options.port
                << (options.port != 0 && PortInUse(options.bind, options.port) ? ": the port is in use" : "")
                << "\n";
      return 2;
    }
    std::cout << "orv-host: serving " << options.model << " at " << UrlOf(options.bind, port) << std::endl;

    std::unique_ptr<ModelWatcher> watcher;
    if (options.watch) watcher = std::make_unique<ModelWatcher>(options.model, options.plugin, agents, events);
    std::thread stopper([&] {
      int signal = 0;
      sigwait(&stopSignals, &signal);
      events.Stop();  // open event streams end, so that their workers are free
      server.stop();
    });
    bool listened = server.listen_after_bind();
    if (!listened) kill(getpid(), SIGTERM);  // wakes the stopper
    stopper.join();
    watcher.reset();
    if (!listened) {
      std::cerr << "orv-host serve: the server stopped on an error\n";
      return 2;
    }
  }
  std::cerr << "orv-host serve: stopped\n";
  return 0;  // the agents' session goes last: the model is freed, then the plug-in unloaded
}

}  // namespace orvtool
