#include "tools/common/ProgramPaths.h"

#include <unistd.h>

namespace orvtool {

std::string ExecutableDirectory() {
  char buffer[4096];
  ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (n <= 0) return ".";
  std::string self(buffer, static_cast<std::size_t>(n));
  std::size_t slash = self.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : self.substr(0, slash);
}

std::string DefaultPluginPath() {
  const std::string directory = ExecutableDirectory();
  const std::string beside = directory + "/libOrvServer.so";
  const std::string installed = directory + "/" ORV_PLUGIN_DIR_FROM_BINDIR "/libOrvServer.so";
  // Neither there: name the build tree's place in the loader's message.
  return access(beside.c_str(), F_OK) != 0 && access(installed.c_str(), F_OK) == 0 ? installed : beside;
}

std::string DefaultWebDirectory() { return ExecutableDirectory() + "/../share/orvserver/web"; }

}  // namespace orvtool
