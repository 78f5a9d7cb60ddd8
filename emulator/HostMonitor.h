// Call log, accounting, budgets and fault injection for the host operations
// the plug-in reaches.
//
// Every host operation that the plug-in can call (entity, model, expression
// and access operations, the AgentParameter operations and parameter
// validation) reports itself here first, by its HostOperation. Tests read
// which operations were called and how often, make the N-th operation
// throw, cap the number of operations (so that an agent that never returns
// is stopped), and make CreateEntity fail. The call service gives every
// agent call a budget (a deadline and a number of operations) in the same
// way. Work the emulator does on its own behalf (host agents, the
// model-file loader) is not counted.
//
// Which monitor sees an operation: the one installed on the calling thread
// by a HostMonitor::Scope (the call service installs a fresh monitor for
// each agent call), else the thread's own default monitor (what unit tests
// arm and read). The host runs an agent, and the host agents it calls, on
// the calling thread, so a call's operations all reach the call's monitor.
// A monitor is used by one thread at a time and needs no lock.
#ifndef EMULATOR_HOSTMONITOR_H_
#define EMULATOR_HOSTMONITOR_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qmemu {

// Thrown by a host operation that a test chose to fail.
class InjectedFault : public std::runtime_error {
 public:
  explicit InjectedFault(const std::string& what) : std::runtime_error(what) {}
};

// Thrown by every host operation once the call limit is used up.
class CallLimitExceeded : public std::runtime_error {
 public:
  explicit CallLimitExceeded(const std::string& what) : std::runtime_error(what) {}
};

// Thrown by a host operation once the budget of the running agent call is
// spent (see HostMonitor::SetBudget).
class BudgetExceeded : public std::runtime_error {
 public:
  explicit BudgetExceeded(const std::string& what) : std::runtime_error(what) {}
};

// Every host operation the plug-in can call; kCount is the number of them.
enum class HostOperation : unsigned char {
  kQueryInterface,
  kGetValue,
  kGetReferencedEntity,
  kGetEntities,
  kGetEntity,
  kGetOwner,
  kGetMetaClassName,
  kGetReferencingEntities,
  kQueryEntity,
  kIsKindOf,
  kSetValue,
  kSetEntity,
  kDeleteEntity,
  kHasStereotype,
  kGetModel,
  kGetArgument,
  kFindEntity,
  kCreateEntity,
  kParseExpressionText,
  kInvokeAgent,
  kGetMessageList,
  kValidateAgentActualParameters,
  kGetString,
  kGetInteger,
  kGetUnknown,
  kSet,
  kCreateText,
  kCreateInteger,
  kCreateBoolean,
  kCreateEntityList,
  kCreateInterface,
  kCount
};

// The operation's name in logs and messages ("GetValue",
// "AgentParameter::Create(text)").
const char* HostOperationName(HostOperation operation);
// The operation named `name`; false when no operation has that name.
bool FindHostOperation(std::string_view name, HostOperation& operation);

class HostMonitor {
 public:
  // A monitor with nothing counted, armed or logged.
  HostMonitor() = default;
  HostMonitor(const HostMonitor&) = delete;
  HostMonitor& operator=(const HostMonitor&) = delete;

  // The monitor that sees the calling thread's host operations: the one a
  // Scope installed, else the thread's default monitor.
  static HostMonitor& Instance();

  // Installs `monitor` on the calling thread for the scope's lifetime (the
  // one before it comes back afterwards). `monitor` must outlive the scope.
  class Scope {
   public:
    explicit Scope(HostMonitor& monitor);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    HostMonitor* previous_;
  };

  // Records one call of `operation`, with `argument` in the log when
  // logging is on. Throws InjectedFault, CallLimitExceeded or
  // BudgetExceeded when a fault, limit or budget says so.
  void Enter(HostOperation operation);
  void Enter(HostOperation operation, std::string_view argument);
  // The same for an operation that takes a host flag; with flag logging on,
  // the entry is "Operation(argument, flag)".
  void Enter(HostOperation operation, std::string_view argument, int flag);

  // Forgets counts, log and armed faults; logging off.
  void Reset();

  // Operations recorded since the last Reset.
  std::uint64_t Count() const { return total_; }
  std::uint64_t Count(HostOperation operation) const { return counts_[static_cast<std::size_t>(operation)]; }
  // By name; 0 for a name that is no operation.
  std::uint64_t Count(std::string_view operation) const;

  // With logging on, every call is kept as "Operation" or "Operation(argument)".
  void SetLogging(bool on) { logging_ = on; }
  const std::vector<std::string>& Log() const { return log_; }
  // With flag logging on as well, operations that take a host flag log it
  // after their argument: "HasStereotype(@Predefined@trace, 1)". Off after
  // Reset, so that ordinary log entries keep their shape.
  void SetFlagLogging(bool on) { flagLogging_ = on; }
  // How many log entries equal `entry` exactly.
  std::size_t LogCount(std::string_view entry) const;

  // The n-th operation from now (1 = the next one) throws InjectedFault.
  // 0 disarms.
  void FailAt(std::uint64_t n);
  // The k-th call (1-based, counted from now) of `operation` throws.
  void FailOperation(HostOperation operation, std::uint64_t k = 1);
  // By name; a name that is no operation arms nothing.
  void FailOperation(std::string_view operation, std::uint64_t k = 1);
  // Calls `callback` on the k-th call (1-based, counted from now) of
  // `operation`, before the operation does anything, on the thread that
  // makes it: a test stops an agent in the middle of its call this way.
  // One callback at a time; an empty one disarms.
  void CallOn(HostOperation operation, std::uint64_t k, std::function<void()> callback);
  // Once `max` more operations have been made, every further one throws
  // CallLimitExceeded. 0 removes the limit.
  void LimitCalls(std::uint64_t max);
  // The k-th CreateEntity from now (1 = the next) returns null; with
  // `andAfter` every later one does too. 0 disarms.
  void FailCreateEntity(std::uint64_t k, bool andAfter = false);
  // Asked by CreateEntity: true when this creation must fail.
  bool CreationFails();

  // Operations an agent may still make after BudgetExceeded was thrown, so
  // that its own catch-all can end the call as its failure rules say
  // (writing its error message is a host operation too).
  static constexpr std::uint64_t kBudgetGrace = 1000;
  using Clock = std::chrono::steady_clock;
  // The deadline is checked once every this many operations (and on the
  // first one), so that the clock costs nothing per operation; the
  // operation count is exact.
  static constexpr std::uint64_t kClockStride = 4096;
  // Gives the agent call about to start a budget: the first operation made
  // beyond `maxOperations` more operations throws BudgetExceeded, and so
  // does the first clock check at or after `deadline`; kBudgetGrace operations later every further one
  // throws again, so that an agent that swallows the exception and goes on
  // is stopped as well. Clock::time_point::max() means no deadline, 0 no
  // operation limit. Replaces an earlier budget and its exhaustion.
  void SetBudget(Clock::time_point deadline, std::uint64_t maxOperations);
  // Removes the budget (BudgetExhausted() stays as it was).
  void ClearBudget();
  // True when BudgetExceeded has been thrown since the last SetBudget.
  bool BudgetExhausted() const { return budgetExhausted_; }
  // Which budget ran out: true for the deadline, false for the operations
  // (meaningful when BudgetExhausted()).
  bool DeadlinePassed() const { return deadlinePassed_; }

 private:
  void Check(HostOperation operation);
  void CheckBudget(HostOperation operation);
  void Record(HostOperation operation, std::string_view argument, const int* flag);

  std::uint64_t total_ = 0;
  std::uint64_t counts_[static_cast<std::size_t>(HostOperation::kCount)] = {};
  bool logging_ = false;
  bool flagLogging_ = false;
  std::vector<std::string> log_;

  std::uint64_t failAtTotal_ = 0;  // absolute call number that throws, 0 = none
  HostOperation failOperation_ = HostOperation::kCount;
  std::uint64_t failOperationAt_ = 0;  // absolute per-operation count that throws
  std::uint64_t limitTotal_ = 0;       // absolute call number after which all throw
  HostOperation callOperation_ = HostOperation::kCount;
  std::uint64_t callAt_ = 0;  // absolute per-operation count that calls back
  std::function<void()> callback_;
  std::uint64_t creations_ = 0;
  std::uint64_t failCreationAt_ = 0;
  bool failCreationsAfter_ = false;

  bool budgetSet_ = false;
  Clock::time_point budgetDeadline_ = Clock::time_point::max();
  std::uint64_t budgetTotal_ = 0;  // absolute call number after which the budget is spent, 0 = none
  bool budgetExhausted_ = false;
  bool deadlinePassed_ = false;
  std::uint64_t budgetStart_ = 0;  // total_ when the budget was set: the clock is read from there
  std::uint64_t graceEnd_ = 0;  // absolute call number after which all throw again
};

}  // namespace qmemu

#endif  // EMULATOR_HOSTMONITOR_H_
