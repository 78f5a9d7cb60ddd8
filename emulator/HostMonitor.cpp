#include "emulator/HostMonitor.h"

namespace qmemu {
namespace {

constexpr std::size_t kOperations = static_cast<std::size_t>(HostOperation::kCount);

// In the order of HostOperation.
const char* const kOperationNames[kOperations] = {
    "QueryInterface",
    "GetValue",
    "GetReferencedEntity",
    "GetEntities",
    "GetEntity",
    "GetOwner",
    "GetMetaClassName",
    "GetReferencingEntities",
    "QueryEntity",
    "IsKindOf",
    "SetValue",
    "SetEntity",
    "DeleteEntity",
    "HasStereotype",
    "GetModel",
    "GetArgument",
    "FindEntity",
    "CreateEntity",
    "ParseExpressionText",
    "InvokeAgent",
    "GetMessageList",
    "ValidateAgentActualParameters",
    "AgentParameter::GetString",
    "AgentParameter::GetInteger",
    "AgentParameter::GetUnknown",
    "AgentParameter::Set",
    "AgentParameter::Create(text)",
    "AgentParameter::Create(integer)",
    "AgentParameter::Create(boolean)",
    "AgentParameter::Create(entity list)",
    "AgentParameter::Create(interface)",
};

// The monitor a Scope installed on this thread, or null.
thread_local HostMonitor* installed = nullptr;

}  // namespace

const char* HostOperationName(HostOperation operation) {
  std::size_t index = static_cast<std::size_t>(operation);
  return index < kOperations ? kOperationNames[index] : "?";
}

bool FindHostOperation(std::string_view name, HostOperation& operation) {
  for (std::size_t i = 0; i < kOperations; ++i) {
    if (name == kOperationNames[i]) {
      operation = static_cast<HostOperation>(i);
      return true;
    }
  }
  return false;
}

HostMonitor& HostMonitor::Instance() {
  if (installed != nullptr) return *installed;
  // One per thread: a test that runs separate models on separate threads
  // must not have them count into, or fail through, one shared monitor.
  static thread_local HostMonitor monitor;
  return monitor;
}

HostMonitor::Scope::Scope(HostMonitor& monitor) : previous_(installed) { installed = &monitor; }

HostMonitor::Scope::~Scope() { installed = previous_; }

void HostMonitor::Enter(HostOperation operation) {
  Check(operation);
  if (logging_) log_.emplace_back(HostOperationName(operation));
}

void HostMonitor::Enter(HostOperation operation, std::string_view argument) {
  Check(operation);
  if (logging_) Record(operation, argument, nullptr);
}

void HostMonitor::Enter(HostOperation operation, std::string_view argument, int flag) {
  Check(operation);
  if (logging_) Record(operation, argument, flagLogging_ ? &flag : nullptr);
}

void HostMonitor::Record(HostOperation operation, std::string_view argument, const int* flag) {
  std::string entry(HostOperationName(operation));
  entry += '(';
  entry += argument;
  if (flag != nullptr) {
    entry += ", ";
    entry += std::to_string(*flag);
  }
  entry += ')';
  log_.push_back(std::move(entry));
}

void HostMonitor::Check(HostOperation operation) {
  ++total_;
  std::uint64_t perOperation = ++counts_[static_cast<std::size_t>(operation)];
  if (limitTotal_ != 0 && total_ > limitTotal_) {
    throw CallLimitExceeded(std::string("host call limit reached at ") + HostOperationName(operation));
  }
  if (callAt_ != 0 && callOperation_ == operation && perOperation == callAt_) {
    callAt_ = 0;
    std::function<void()> callback = std::move(callback_);
    callback_ = nullptr;
    callback();
  }
  if (budgetSet_) CheckBudget(operation);
  if (failAtTotal_ != 0 && total_ == failAtTotal_) {
    failAtTotal_ = 0;
    throw InjectedFault(std::string("injected fault in ") + HostOperationName(operation));
  }
  if (failOperationAt_ != 0 && failOperation_ == operation && perOperation == failOperationAt_) {
    failOperationAt_ = 0;
    throw InjectedFault(std::string("injected fault in ") + HostOperationName(operation));
  }
}

void HostMonitor::CheckBudget(HostOperation operation) {
  if (budgetExhausted_) {
    if (total_ > graceEnd_) {
      throw BudgetExceeded(std::string("agent call stopped again at ") + HostOperationName(operation));
    }
    return;
  }
  const bool overOperations = budgetTotal_ != 0 && total_ > budgetTotal_;
  // The clock is read on the budget's first operation and then once per
  // stride: reading it on every operation cost more than the operation.
  const bool readClock = budgetDeadline_ != Clock::time_point::max() && (total_ - budgetStart_) % kClockStride == 1;
  const bool overTime = !overOperations && readClock && Clock::now() >= budgetDeadline_;
  if (!overOperations && !overTime) return;
  budgetExhausted_ = true;
  deadlinePassed_ = overTime;
  graceEnd_ = total_ + kBudgetGrace;
  throw BudgetExceeded(std::string(overOperations ? "host operation budget spent at " : "deadline passed at ") +
                       HostOperationName(operation));
}

void HostMonitor::SetBudget(Clock::time_point deadline, std::uint64_t maxOperations) {
  budgetSet_ = true;
  budgetDeadline_ = deadline;
  budgetStart_ = total_;
  budgetTotal_ = maxOperations == 0 ? 0 : total_ + maxOperations;
  budgetExhausted_ = false;
  deadlinePassed_ = false;
  graceEnd_ = 0;
}

void HostMonitor::ClearBudget() {
  budgetSet_ = false;
  budgetDeadline_ = Clock::time_point::max();
  budgetTotal_ = 0;
}

void HostMonitor::Reset() {
  total_ = 0;
  for (std::uint64_t& count : counts_) count = 0;
  logging_ = false;
  flagLogging_ = false;
  log_.clear();
  failAtTotal_ = 0;
  failOperation_ = HostOperation::kCount;
  failOperationAt_ = 0;
  limitTotal_ = 0;
  callAt_ = 0;
  callback_ = nullptr;
  creations_ = 0;
  failCreationAt_ = 0;
  failCreationsAfter_ = false;
  ClearBudget();
  budgetExhausted_ = false;
  deadlinePassed_ = false;
  graceEnd_ = 0;
}

std::uint64_t HostMonitor::Count(std::string_view operation) const {
  HostOperation found;
  return FindHostOperation(operation, found) ? Count(found) : 0;
}

std::size_t HostMonitor::LogCount(std::string_view entry) const {
  std::size_t n = 0;
  for (const std::string& line : log_) {
    if (line == entry) ++n;
  }
  return n;
}

void HostMonitor::FailAt(std::uint64_t n) { failAtTotal_ = n == 0 ? 0 : total_ + n; }

void HostMonitor::FailOperation(HostOperation operation, std::uint64_t k) {
  failOperation_ = operation;
  failOperationAt_ = k == 0 ? 0 : Count(operation) + k;
}

void HostMonitor::FailOperation(std::string_view operation, std::uint64_t k) {
  HostOperation found;
  if (FindHostOperation(operation, found)) {
    FailOperation(found, k);
  } else {
    failOperationAt_ = 0;
  }
}

void HostMonitor::CallOn(HostOperation operation, std::uint64_t k, std::function<void()> callback) {
  callOperation_ = operation;
  callAt_ = k == 0 || !callback ? 0 : Count(operation) + k;
  callback_ = std::move(callback);
}

void HostMonitor::LimitCalls(std::uint64_t max) { limitTotal_ = max == 0 ? 0 : total_ + max; }

void HostMonitor::FailCreateEntity(std::uint64_t k, bool andAfter) {
  failCreationAt_ = k == 0 ? 0 : creations_ + k;
  failCreationsAfter_ = andAfter;
}

bool HostMonitor::CreationFails() {
  ++creations_;
  if (failCreationAt_ == 0) return false;
  return creations_ == failCreationAt_ || (failCreationsAfter_ && creations_ > failCreationAt_);
}

}  // namespace qmemu
