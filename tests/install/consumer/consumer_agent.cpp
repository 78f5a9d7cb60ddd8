// An agent of another plug-in for the same host, built on the installed host
// interface headers alone: it answers with the number of its parameters.
#include <string>

#include "host/Agent.h"

extern "C" QM_AGENT_EXPORT QmAgentFunction CountParameters;

extern "C" void CountParameters(void*, void*, qm::IVelEntity*, qm::IUnknown*, qm::AgentParameters& parameters) {
  if (parameters.empty() || parameters.back() == nullptr) return;
  parameters.back()->Set(std::to_string(parameters.size()), qm::_String);
}
