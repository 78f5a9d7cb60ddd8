// Where orv-host finds what it ships with: paths relative to its own
// executable, so that the build tree and an installed tree look alike.
#ifndef TOOLS_COMMON_PROGRAMPATHS_H_
#define TOOLS_COMMON_PROGRAMPATHS_H_

#include <string>

namespace orvtool {

// The directory of the running executable (from /proc/self/exe), or "."
// when it cannot be read.
std::string ExecutableDirectory();

// The plug-in beside the executable (<directory>/libOrvServer.so, the build
// tree), else in the plug-in directory relative to it (an install:
// <prefix>/bin/../lib/<multiarch>/orvserver/libOrvServer.so).
std::string DefaultPluginPath();

// The browser client's files: <directory>/../share/orvserver/web.
std::string DefaultWebDirectory();

}  // namespace orvtool

#endif  // TOOLS_COMMON_PROGRAMPATHS_H_
