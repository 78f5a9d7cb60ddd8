#include "emulator/CallScope.h"

namespace qmemu {
namespace {

thread_local CallState* current = nullptr;

}  // namespace

CallScope::CallScope(CallState& state) : previous_(current) { current = &state; }

CallScope::~CallScope() { current = previous_; }

CallState* CallScope::Current() { return current; }

}  // namespace qmemu
