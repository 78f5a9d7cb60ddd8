#include "tools/orv-host/ParameterText.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace orvtool {

namespace {

// Appends everything `fd` gives until its end. False, with errno set, when a
// read fails (a directory, an I/O error).
bool ReadAll(int fd, std::string& text) {
  char buffer[1 << 16];
  for (;;) {
    ssize_t n = read(fd, buffer, sizeof buffer);
    if (n == 0) return true;
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    text.append(buffer, static_cast<std::size_t>(n));
  }
}

}  // namespace

bool ParameterTextReader::Read(const std::string& argument, std::string& text, std::string& error) {
  text.clear();
  if (argument.empty() || argument[0] != '@') {
    text = argument;
    return true;
  }
  if (argument.compare(0, 2, "@@") == 0) {
    text = argument.substr(1);
    return true;
  }
  if (argument == "@-") {
    if (inputUsed_) {
      error = "@-: standard input can be read for one parameter only";
      return false;
    }
    inputUsed_ = true;
    if (!ReadAll(inputFd_, text)) {
      error = std::string("@-: cannot read standard input: ") + std::strerror(errno);
      return false;
    }
    return true;
  }
  int fd = open(argument.c_str() + 1, O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error = argument + ": cannot open: " + std::strerror(errno);
    return false;
  }
  bool ok = ReadAll(fd, text);
  int readError = errno;
  close(fd);
  if (!ok) error = argument + ": cannot read: " + std::strerror(readError);
  return ok;
}

}  // namespace orvtool
