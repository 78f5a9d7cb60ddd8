// Runs the command-line tool in a child process and captures what it says.
#ifndef TESTS_CLISUPPORT_H_
#define TESTS_CLISUPPORT_H_

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace orvtest {

struct CommandResult {
  int status = -1;  // exit status, or -1 when the tool did not exit normally
  std::string out;
  std::string err;
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs orv-host with `arguments` (already quoted for the shell) from the
// source directory, so that relative model paths are those of the repository.
inline CommandResult RunHost(const std::string& arguments) {
  char outPath[] = "/tmp/orv-cli-out-XXXXXX";
  char errPath[] = "/tmp/orv-cli-err-XXXXXX";
  int outFd = mkstemp(outPath);
  int errFd = mkstemp(errPath);
  close(outFd);
  close(errFd);
  std::string command = std::string("cd '") + ORV_SOURCE_DIR + "' && '" + ORV_HOST_PATH + "' " + arguments +
                        " >" + outPath + " 2>" + errPath;
  CommandResult result;
  int raw = std::system(command.c_str());
  if (raw != -1 && WIFEXITED(raw)) result.status = WEXITSTATUS(raw);
  result.out = ReadFile(outPath);
  result.err = ReadFile(errPath);
  unlink(outPath);
  unlink(errPath);
  return result;
}

}  // namespace orvtest

#endif  // TESTS_CLISUPPORT_H_
