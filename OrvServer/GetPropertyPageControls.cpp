// Placeholder until the agent is built: leaves every parameter as it is.
#include "host/Agent.h"

extern "C" void GetPropertyPageControls(void*, void*, qm::IVelEntity*, qm::IUnknown*, qm::AgentParameters&) {}
