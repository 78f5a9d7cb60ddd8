// What the host keeps for one agent call apart from every other call, and
// how a call finds it: the call service installs it on the calling thread
// for the call's duration (the host runs an agent, and every host agent the
// agent invokes, on that thread). Calls on other threads have their own, so
// concurrent calls share no message list and no list of parse results.
#ifndef EMULATOR_CALLSCOPE_H_
#define EMULATOR_CALLSCOPE_H_

#include <vector>

#include "emulator/Access.h"

namespace qmemu {

class Entity;

struct CallState {
  MessageList messages;        // validation messages of this call
  ModelAccess access{messages};  // the access argument the plug-in gets
  std::vector<const Entity*> parsed;  // made by ParseExpressionText in this call
};

// Installs `state` on the calling thread while the scope lives (the state
// before it comes back afterwards). `state` must outlive the scope.
class CallScope {
 public:
  explicit CallScope(CallState& state);
  ~CallScope();
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

  // The state installed on the calling thread, or null outside a scope.
  static CallState* Current();

 private:
  CallState* previous_;
};

}  // namespace qmemu

#endif  // EMULATOR_CALLSCOPE_H_
