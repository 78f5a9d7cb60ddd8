// Runs `orv-host serve` in a child process for the HTTP tests: starts it,
// reads the URL it prints, sends it signals and waits for its exit, all
// with time limits so that a hung server fails a test instead of blocking.
#ifndef TESTS_SERVESUPPORT_H_
#define TESTS_SERVESUPPORT_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace orvtest {

class ServerProcess {
 public:
  // Starts orv-host serve with `arguments` (after "serve") from the source
  // directory; stderr goes to a temporary file.
  explicit ServerProcess(const std::vector<std::string>& arguments) {
    char errPath[] = "/tmp/orv-serve-err-XXXXXX";
    int errFd = mkstemp(errPath);
    errPath_ = errPath;
    int out[2];
    if (errFd < 0 || pipe(out) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], 1);
      dup2(errFd, 2);
      close(out[0]);
      if (chdir(ORV_SOURCE_DIR) != 0) _exit(127);
      std::vector<std::string> all{ORV_HOST_PATH, "serve"};
      all.insert(all.end(), arguments.begin(), arguments.end());
      std::vector<char*> argv;
      for (std::string& a : all) argv.push_back(a.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(out[1]);
    close(errFd);
    out_ = out[0];
  }

  ~ServerProcess() {
    if (pid_ > 0 && status_ == kRunning) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (out_ >= 0) close(out_);
    unlink(errPath_.c_str());
  }

  // The first line the server prints (without its line end), or "" when
  // none comes within `seconds`.
  std::string FirstLine(double seconds = 20) {
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (line_.find('\n') == std::string::npos && std::chrono::steady_clock::now() < end) {
      pollfd p{out_, POLLIN, 0};
      if (poll(&p, 1, 100) <= 0) continue;
      char buffer[256];
      ssize_t n = read(out_, buffer, sizeof buffer);
      if (n <= 0) break;
      line_.append(buffer, static_cast<std::size_t>(n));
    }
    std::size_t newline = line_.find('\n');
    return newline == std::string::npos ? "" : line_.substr(0, newline);
  }

  // The URL from the first line ("http://host:port/"), or "".
  std::string Url() {
    std::string line = FirstLine();
    std::size_t at = line.find("http://");
    return at == std::string::npos ? "" : line.substr(at);
  }

  // The port of the URL, or 0.
  int Port() {
    std::string url = Url();
    std::size_t colon = url.rfind(':');
    return colon == std::string::npos ? 0 : std::atoi(url.c_str() + colon + 1);
  }

  pid_t Pid() const { return pid_; }

  void Signal(int signal) {
    if (pid_ > 0) kill(pid_, signal);
  }

  // Waits up to `seconds` for the exit; the exit status, -2 for a death by
  // a signal, or -1 when it is still running.
  int WaitForExit(double seconds) {
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (status_ == kRunning && std::chrono::steady_clock::now() < end) {
      int raw = 0;
      if (waitpid(pid_, &raw, WNOHANG) == pid_) {
        status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : -2;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return status_ == kRunning ? -1 : status_;
  }

  std::string Stderr() const {
    std::string text;
    FILE* f = std::fopen(errPath_.c_str(), "rb");
    if (f == nullptr) return text;
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) text.append(buffer, n);
    std::fclose(f);
    return text;
  }

 private:
  static constexpr int kRunning = -100;
  pid_t pid_ = -1;
  int out_ = -1;
  int status_ = kRunning;
  std::string line_;
  std::string errPath_;
};

// Sends `request` as it is (no client library in between, so that paths
// reach the server unnormalised) to 127.0.0.1:`port` and answers the
// status code of the reply, or 0 when none comes within 10 s.
inline int RawRequestStatus(int port, const std::string& request) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return 0;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  timeval limit{10, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::string reply;
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size())) {
    char buffer[512];
    ssize_t n;
    while (reply.find("\r\n") == std::string::npos && (n = recv(fd, buffer, sizeof buffer, 0)) > 0) {
      reply.append(buffer, static_cast<std::size_t>(n));
    }
  }
  close(fd);
  // "HTTP/1.1 403 Forbidden"
  return reply.size() > 12 ? std::atoi(reply.c_str() + 9) : 0;
}

// Every answer an HTTP test receives, checked at the end against the
// contract (docs/openapi.yaml) by tests/serve_contract_check.py: its route
// and status must be in the document, its content type one the document
// names, and a JSON body must match the schema.
class ContractLog {
 public:
  static ContractLog& Instance() {
    static ContractLog log;
    return log;
  }
  void Record(const std::string& method, const std::string& path, int status, const std::string& type,
              const std::string& body) {
    static const char kHex[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char c : body) hex += {kHex[c >> 4], kHex[c & 15]};
    std::string line = "{\"method\": \"" + method + "\", \"path\": \"" + Escape(path) + "\", \"status\": " +
                       std::to_string(status) + ", \"type\": \"" + Escape(type) + "\", \"body\": \"" + hex + "\"}\n";
    std::lock_guard<std::mutex> lock(mutex_);
    lines_ += line;
    ++count_;
  }
  std::size_t Count() const { return count_; }
  // The problems found ("" when none); runs from the source directory.
  std::string Problems() {
    char path[] = "/tmp/orv-contract-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) return "cannot write the answers";
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (write(fd, lines_.data(), lines_.size()) != static_cast<ssize_t>(lines_.size())) return "short write";
    }
    close(fd);
    std::string command = std::string("cd '") + ORV_SOURCE_DIR + "' && python3 tests/serve_contract_check.py "
                          "docs/openapi.yaml " + path + " 2>&1";
    std::string out;
    if (FILE* p = popen(command.c_str(), "r")) {
      char buffer[4096];
      std::size_t n;
      while ((n = std::fread(buffer, 1, sizeof buffer, p)) > 0) out.append(buffer, n);
      pclose(p);
    }
    unlink(path);
    return out;
  }

 private:
  static std::string Escape(const std::string& text) {
    std::string out;
    for (unsigned char c : text) {
      if (c == '"' || c == '\\') out += {'\\', static_cast<char>(c)};
      else if (c < 0x20 || c >= 0x7f) {
        char u[8];
        std::snprintf(u, sizeof u, "\\u%04x", c);
        out += u;
      } else out += static_cast<char>(c);
    }
    return out;
  }
  std::mutex mutex_;
  std::string lines_;
  std::size_t count_ = 0;
};

}  // namespace orvtest

#endif  // TESTS_SERVESUPPORT_H_
