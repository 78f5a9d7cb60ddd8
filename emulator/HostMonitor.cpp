#include "emulator/HostMonitor.h"

namespace qmemu {

HostMonitor& HostMonitor::Instance() {
  // One per thread: a test that runs separate models on separate threads
  // must not have them count into, or fail through, one shared monitor.
  static thread_local HostMonitor monitor;
  return monitor;
}

void HostMonitor::Enter(const char* operation) {
  Check(operation);
  if (logging_) log_.emplace_back(operation);
}

void HostMonitor::Enter(const char* operation, std::string_view argument) {
  Check(operation);
  if (logging_) {
    std::string entry(operation);
    entry += '(';
    entry += argument;
    entry += ')';
    log_.push_back(std::move(entry));
  }
}

void HostMonitor::Enter(const char* operation, std::string_view argument, int flag) {
  if (!flagLogging_) {
    Enter(operation, argument);
    return;
  }
  Check(operation);
  if (logging_) {
    std::string entry(operation);
    entry += '(';
    entry += argument;
    entry += ", ";
    entry += std::to_string(flag);
    entry += ')';
    log_.push_back(std::move(entry));
  }
}

void HostMonitor::Check(const char* operation) {
  ++total_;
  std::uint64_t perOperation = ++counts_[operation];
  if (limitTotal_ != 0 && total_ > limitTotal_) {
    throw CallLimitExceeded(std::string("host call limit reached at ") + operation);
  }
  if (budgetSet_) CheckBudget(operation);
  if (failAtTotal_ != 0 && total_ == failAtTotal_) {
    failAtTotal_ = 0;
    throw InjectedFault(std::string("injected fault in ") + operation);
  }
  if (failOperationAt_ != 0 && failOperation_ == operation && perOperation == failOperationAt_) {
    failOperationAt_ = 0;
    throw InjectedFault(std::string("injected fault in ") + operation);
  }
}

void HostMonitor::CheckBudget(const char* operation) {
  if (budgetExhausted_) {
    if (total_ > graceEnd_) throw BudgetExceeded(std::string("agent call stopped again at ") + operation);
    return;
  }
  bool overOperations = budgetTotal_ != 0 && total_ > budgetTotal_;
  if (!overOperations && Clock::now() < budgetDeadline_) return;
  budgetExhausted_ = true;
  graceEnd_ = total_ + kBudgetGrace;
  throw BudgetExceeded(std::string(overOperations ? "host operation budget spent at " : "deadline passed at ") +
                       operation);
}

void HostMonitor::SetBudget(Clock::time_point deadline, std::uint64_t maxOperations) {
  budgetSet_ = true;
  budgetDeadline_ = deadline;
  budgetTotal_ = maxOperations == 0 ? 0 : total_ + maxOperations;
  budgetExhausted_ = false;
  graceEnd_ = 0;
}

void HostMonitor::ClearBudget() {
  budgetSet_ = false;
  budgetDeadline_ = Clock::time_point::max();
  budgetTotal_ = 0;
}

void HostMonitor::Reset() {
  total_ = 0;
  counts_.clear();
  logging_ = false;
  flagLogging_ = false;
  log_.clear();
  failAtTotal_ = 0;
  failOperation_.clear();
  failOperationAt_ = 0;
  limitTotal_ = 0;
  creations_ = 0;
  failCreationAt_ = 0;
  failCreationsAfter_ = false;
  ClearBudget();
  budgetExhausted_ = false;
  graceEnd_ = 0;
}

std::uint64_t HostMonitor::Count(std::string_view operation) const {
  for (const auto& entry : counts_) {
    if (entry.first == operation) return entry.second;
  }
  return 0;
}

std::size_t HostMonitor::LogCount(std::string_view entry) const {
  std::size_t n = 0;
  for (const std::string& line : log_) {
    if (line == entry) ++n;
  }
  return n;
}

void HostMonitor::FailAt(std::uint64_t n) { failAtTotal_ = n == 0 ? 0 : total_ + n; }

void HostMonitor::FailOperation(std::string_view operation, std::uint64_t k) {
  failOperation_ = std::string(operation);
  failOperationAt_ = k == 0 ? 0 : Count(operation) + k;
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
