// "@VELExtensionManagement@GetImageIndex": the icon index of an entity.
//
// Parameters: (index: integer, in and out).
//
// The index is the entry of the host-data table "icons" for the context
// entity's meta class (exactly that class, not a base): an optional "-" and
// decimal digits, in the range of the host's `long`. A meta class without an
// entry, or an entry that is not such a number, gives -1.
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "emulator/HostAgentCall.h"

namespace {

const char kPath[] = "@VELExtensionManagement@GetImageIndex";

// The number `text` spells (an optional "-" and decimal digits, nothing
// else), or -1 when it spells none that fits a long.
long ParseIndex(const std::string& text) {
  if (text.empty() || (text[0] != '-' && (text[0] < '0' || text[0] > '9'))) return -1;
  errno = 0;
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (errno != 0 || end != text.c_str() + text.size()) return -1;
  return value;
}

void GetImageIndex(qmemu::HostAgentCall& call) {
  if (!qmemu::AcceptCall(call, kPath) || call.context == nullptr) return;
  long index = -1;
  if (const auto* icons = qmemu::HostTable(call.model, "icons")) {
    auto entry = icons->find(call.context->meta());
    if (entry != icons->end()) index = ParseIndex(entry->second);
  }
  qmemu::SetIntegerAt(call.parameters, 1, index);
}

const qmemu::HostAgentRegistration registration{kPath, GetImageIndex};

}  // namespace
