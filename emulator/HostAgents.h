// The registry of host agents the emulator implements in C++.
//
// Adding a host agent is a few lines in a file of its own:
//
//   namespace {
//   void GetImageIndex(qmemu::HostAgentCall& call) { ... }
//   const qmemu::HostAgentRegistration reg{"@VELExtensionManagement@GetImageIndex", GetImageIndex};
//   }
//
// plus its row in the agent table (AgentTable.cpp), which gives its
// parameters. Every registered agent is declared in each new model under its path
// (unless the model file omits it), and InvokeAgent on that declaration runs
// the body. A body reads and writes the parameters in place; it may throw.
#ifndef EMULATOR_HOSTAGENTS_H_
#define EMULATOR_HOSTAGENTS_H_

#include <string>
#include <vector>

#include "emulator/Parameters.h"
#include "host/AgentParameter.h"

namespace qmemu {

class Model;
class Entity;

// What a host agent body is given.
struct HostAgentCall {
  Model& model;
  Entity* context;  // may be null
  qm::AgentParameters& parameters;
};

typedef void (*HostAgentBody)(HostAgentCall& call);

struct HostAgentInfo {
  std::string path;  // "@Package@Name"
  std::vector<FormalParameter> formals;  // from the agent table
  HostAgentBody body;
};

// All registered host agents, in registration order.
const std::vector<HostAgentInfo>& HostAgents();
// The agent registered under `path`, or null.
const HostAgentInfo* FindHostAgent(const std::string& path);

// Registers an agent at static-initialisation time, with the parameters of
// its row in the agent table (none when it has no row).
struct HostAgentRegistration {
  HostAgentRegistration(std::string path, HostAgentBody body);
  // For an agent with no row in the table (a test's own agent): its
  // parameters come with it.
  HostAgentRegistration(std::string path, std::vector<FormalParameter> formals, HostAgentBody body);
};

}  // namespace qmemu

#endif  // EMULATOR_HOSTAGENTS_H_
