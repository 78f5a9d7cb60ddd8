// Call log and fault injection for the host operations the plug-in reaches.
//
// Every host operation that the plug-in can call (entity, model, expression
// and access operations, the AgentParameter operations and parameter
// validation) reports itself here first. Tests read which operations were
// called and how often, make the N-th operation throw, cap the number of
// operations (so that an agent that never returns is stopped), and make
// CreateEntity fail. A server gives every agent call a budget (a deadline
// and a number of operations) in the same way. Work the emulator does on its own behalf (host agents,
// the model-file loader) is not counted.
//
// There is one monitor per thread, which sees the host operations made on
// that thread (the host runs an agent, and the agent the host agents it
// calls, on the calling thread); a fault, limit or budget set on a thread
// applies to the calls made on that thread. Tests call Reset() between
// cases. A monitor is never shared between threads, so it needs no lock.
#ifndef EMULATOR_HOSTMONITOR_H_
#define EMULATOR_HOSTMONITOR_H_

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
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

class HostMonitor {
 public:
  // The calling thread's monitor.
  static HostMonitor& Instance();

  // Records one call of `operation` (a string literal), with `argument` in
  // the log when logging is on. Throws InjectedFault or CallLimitExceeded
  // when a fault is armed for this call.
  void Enter(const char* operation);
  void Enter(const char* operation, std::string_view argument);
  // The same for an operation that takes a host flag; with flag logging on,
  // the entry is "Operation(argument, flag)".
  void Enter(const char* operation, std::string_view argument, int flag);

  // Forgets counts, log and armed faults; logging off.
  void Reset();

  // Operations recorded since the last Reset.
  std::uint64_t Count() const { return total_; }
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
  void FailOperation(std::string_view operation, std::uint64_t k = 1);
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
  // Gives the agent call about to start a budget: the first operation made
  // at or after `deadline`, or beyond `maxOperations` more operations,
  // throws BudgetExceeded; kBudgetGrace operations later every further one
  // throws again, so that an agent that swallows the exception and goes on
  // is stopped as well. Clock::time_point::max() means no deadline, 0 no
  // operation limit. Replaces an earlier budget and its exhaustion.
  void SetBudget(Clock::time_point deadline, std::uint64_t maxOperations);
  // Removes the budget (BudgetExhausted() stays as it was).
  void ClearBudget();
  // True when BudgetExceeded has been thrown since the last SetBudget.
  bool BudgetExhausted() const { return budgetExhausted_; }

 private:
  HostMonitor() = default;
  void Check(const char* operation);
  void CheckBudget(const char* operation);

  std::uint64_t total_ = 0;
  std::unordered_map<std::string_view, std::uint64_t> counts_;
  bool logging_ = false;
  bool flagLogging_ = false;
  std::vector<std::string> log_;

  std::uint64_t failAtTotal_ = 0;  // absolute call number that throws, 0 = none
  std::string failOperation_;
  std::uint64_t failOperationAt_ = 0;  // absolute per-operation count that throws
  std::uint64_t limitTotal_ = 0;       // absolute call number after which all throw
  std::uint64_t creations_ = 0;
  std::uint64_t failCreationAt_ = 0;
  bool failCreationsAfter_ = false;

  bool budgetSet_ = false;
  Clock::time_point budgetDeadline_ = Clock::time_point::max();
  std::uint64_t budgetTotal_ = 0;  // absolute call number after which the budget is spent, 0 = none
  bool budgetExhausted_ = false;
  std::uint64_t graceEnd_ = 0;  // absolute call number after which all throw again
};

}  // namespace qmemu

#endif  // EMULATOR_HOSTMONITOR_H_
