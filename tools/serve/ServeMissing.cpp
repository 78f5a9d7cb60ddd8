// Builds without the HTTP library (the i386 build) have no server.
#include <iostream>

#include "tools/serve/Serve.h"

namespace orvtool {

int RunServe(int, char**) {
  std::cerr << "orv-host: serve is not built in this build\n";
  return 6;
}

}  // namespace orvtool
