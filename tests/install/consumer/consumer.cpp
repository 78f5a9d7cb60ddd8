// Loads the installed plug-in into the emulated host and prints the link
// information of one element of the installed example model: the same bytes
// as `orv-host --print 2 MODEL GetNativeLinkInformation GUID ""`.
#include <iostream>
#include <memory>
#include <string>

#include "emulator/Session.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: consumer GUID\n";
    return 1;
  }
  std::string error;
  std::unique_ptr<qmemu::Session> session = qmemu::Session::Open(ORVSERVER_EXAMPLE_MODEL, ORVSERVER_PLUGIN, error);
  if (session == nullptr) {
    std::cerr << "consumer: " << error << "\n";
    return 2;
  }
  qmemu::AgentRun run;
  if (!session->Run("GetNativeLinkInformation", "", {argv[1], ""}, run, error)) {
    std::cerr << "consumer: " << error << "\n";
    return 3;
  }
  for (const std::string& message : run.messages) std::cerr << "consumer: host message: " << message << "\n";
  if (!run.messages.empty() || run.parameters.size() != 2) return 4;
  std::cout << run.parameters[1];
  return 0;
}
