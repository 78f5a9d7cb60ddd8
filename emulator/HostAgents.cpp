#include "emulator/HostAgents.h"

#include "emulator/AgentTable.h"

namespace qmemu {
namespace {

std::vector<HostAgentInfo>& Registry() {
  static std::vector<HostAgentInfo>* agents = new std::vector<HostAgentInfo>();
  return *agents;
}

}  // namespace

const std::vector<HostAgentInfo>& HostAgents() { return Registry(); }

const HostAgentInfo* FindHostAgent(const std::string& path) {
  for (const HostAgentInfo& info : Registry()) {
    if (info.path == path) return &info;
  }
  return nullptr;
}

HostAgentRegistration::HostAgentRegistration(std::string path, HostAgentBody body) {
  const AgentEntry* entry = FindAgentEntry(path);
  Registry().push_back({std::move(path), entry == nullptr ? std::vector<FormalParameter>() : entry->Formals(), body});
}

HostAgentRegistration::HostAgentRegistration(std::string path, std::vector<FormalParameter> formals,
                                             HostAgentBody body) {
  Registry().push_back({std::move(path), std::move(formals), body});
}

}  // namespace qmemu
