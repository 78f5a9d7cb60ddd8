// A host that offers exactly the non-virtual operations of the host
// interface (host/AgentParameter.h, host/VelInterfaces.h) and nothing more:
// the parameter operations, the parameter list's destructor, the validation
// and the change object. It exists to load the plug-in, as a host that
// offers no other symbol would; it runs no agent, so every operation stops
// the process if it is ever called.
#include <cstdlib>
#include <string>

#include "host/AgentParameter.h"
#include "host/VelInterfaces.h"

namespace qmdll {
class Changer {};
Changer defaultChanger;
}  // namespace qmdll

namespace qm {
namespace {

[[noreturn]] void NeverCalled() { std::abort(); }

}  // namespace

AgentParameter* AgentParameter::Create(const char*, StringTag) { NeverCalled(); }
AgentParameter* AgentParameter::Create(long, IntegerTag) { NeverCalled(); }
AgentParameter* AgentParameter::Create(bool, BooleanTag) { NeverCalled(); }
AgentParameter* AgentParameter::Create(EntityList&, EntityListTag) { NeverCalled(); }
AgentParameter* AgentParameter::Create(const IUnknown*, UnknownInterfaceTag) { NeverCalled(); }
const char* AgentParameter::GetString() const { NeverCalled(); }
long AgentParameter::GetInteger() const { NeverCalled(); }
IUnknown* AgentParameter::GetUnknown() const { NeverCalled(); }
void AgentParameter::Set(const char*, StringTag) { NeverCalled(); }
void AgentParameter::Set(const std::string&, StringTag) { NeverCalled(); }

// An empty list releases nothing, so destroying one is harmless.
AgentParameters::~AgentParameters() {
  if (!empty()) NeverCalled();
}

bool ValidateAgentActualParameters(IVelEntity*, AgentParameters&, bool, IVelMessageList*) { NeverCalled(); }

}  // namespace qm
