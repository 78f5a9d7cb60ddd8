// Helpers for the bodies of host agents (emulator/agents/*.cpp): checking
// the parameters of a call and reading and writing them by position.
//
// Positions count from 1 here, as in Parameters.h. Everything below is the
// host's own side of a call, so none of it reports to the HostMonitor.
#ifndef EMULATOR_HOSTAGENTCALL_H_
#define EMULATOR_HOSTAGENTCALL_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "emulator/Entity.h"
#include "emulator/HostAgents.h"
#include "emulator/Model.h"
#include "emulator/Parameters.h"

namespace qmemu {

// Checks the call's parameters against those of the host agent registered
// at `path` (its row in the agent table). On a mismatch the reason goes into the model's message list
// (as a validation failure would) and the answer is false: the body then
// leaves every parameter as it is.
inline bool AcceptCall(HostAgentCall& call, const std::string& path) {
  const HostAgentInfo* info = FindHostAgent(path);
  std::string message = path + ": no such host agent";
  if (info != nullptr && CheckParameters(path, info->formals, call.parameters, message)) return true;
  call.model.messages().Add(message);
  return false;
}

// The caller's entity list bound to the entity-list parameter at
// `position`, or null when there is none there.
inline qm::EntityList* EntityListAt(qm::AgentParameters& parameters, std::size_t position) {
  qm::AgentParameter* p = ParameterAt(parameters, position);
  if (p == nullptr || ParameterValue::Of(*p).kind != ParamKind::EntityList) return nullptr;
  return ParameterValue::Of(*p).list;
}

// The entity held by the interface parameter at `position`; null when the
// parameter is absent, not an interface, null, or holds no entity.
inline Entity* EntityAt(qm::AgentParameters& parameters, std::size_t position) {
  qm::AgentParameter* p = ParameterAt(parameters, position);
  if (p == nullptr || ParameterValue::Of(*p).kind != ParamKind::Interface) return nullptr;
  return Entity::From(ParameterValue::Of(*p).unknown);
}

// Sets the integer parameter at `position`; does nothing when there is none.
inline void SetIntegerAt(qm::AgentParameters& parameters, std::size_t position, long value) {
  qm::AgentParameter* p = ParameterAt(parameters, position);
  if (p != nullptr && ParameterValue::Of(*p).kind == ParamKind::Integer) ParameterValue::Of(*p).integer = value;
}

// The table `name` of the model's host data, or null when the model file
// gives none.
inline const std::map<std::string, std::string>* HostTable(Model& model, const std::string& name) {
  StoreRead reading(model);  // the SVG generation adds a table of its own
  auto it = model.hostData().find(name);
  return it == model.hostData().end() ? nullptr : &it->second;
}

}  // namespace qmemu

#endif  // EMULATOR_HOSTAGENTCALL_H_
