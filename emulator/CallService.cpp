#include "emulator/CallService.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <mutex>

#include "emulator/AgentTable.h"
#include "emulator/CallScope.h"

namespace qmemu {
namespace {

// "agent X did not finish within its budget (2 s, 5000 host operations) and
// was stopped"; a limit that is off (0) is left out.
std::string BudgetText(const std::string& agent, const CallLimits& limits) {
  std::string budget;
  if (limits.seconds > 0) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g s", limits.seconds);
    budget = seconds;
  }
  if (limits.maxOperations > 0) {
    budget += (budget.empty() ? "" : ", ") + std::to_string(limits.maxOperations) + " host operations";
  }
  return "agent " + agent + " did not finish within its budget (" + budget + ") and was stopped";
}

}  // namespace

std::string CallResult::Answer(const std::string& agent) const {
  const AgentEntry* entry = FindAgentEntry(agent);
  const std::size_t position = entry == nullptr ? 0 : entry->PositionOf(ParameterRole::kAnswer);
  return position == 0 || position > run.parameters.size() ? std::string() : run.parameters[position - 1];
}

CallResult CallService::Call(const CallRequest& request) {
  const AgentEntry* entry = FindAgentEntry(request.agent);
  if (reach_ == AgentReach::kPluginAgents && (entry == nullptr || !entry->plugin())) {
    // Refused before any lock: a client's unknown name never waits for a call.
    CallResult result;
    result.outcome = Outcome::UnknownAgent("unknown agent '" + request.agent + "': no agent of the plug-in");
    return result;
  }
  try {
    // Names not in the table lock as host agents do: alone.
    switch (entry == nullptr ? AgentConcurrency::kHost : entry->concurrency) {
      case AgentConcurrency::kIndependent: {
        std::shared_lock<std::shared_mutex> shared(lock_);
        return CallLocked(request);
      }
      case AgentConcurrency::kSvg: {
        std::lock_guard<std::mutex> alone(svg_);
        std::shared_lock<std::shared_mutex> shared(lock_);
        return CallLocked(request);
      }
      case AgentConcurrency::kHost:
        break;
    }
    std::unique_lock<std::shared_mutex> exclusive(lock_);
    return CallLocked(request);
  } catch (const std::exception& e) {  // out of memory while copying texts, for instance
    CallResult result;
    result.outcome = Outcome::HostFault(std::string("the host could not complete the call: ") + e.what());
    return result;
  }
}

CallResult CallService::CallLocked(const CallRequest& request) {
  CallResult result;
  // The context and the agent are checked by Session::Run; the GUIDs handed
  // in parameters here, before anything runs.
  for (const std::string& guid : request.entities) {
    if (session_.model().find(guid) == nullptr) {
      result.outcome = Outcome::UnknownEntity("unknown entity '" + guid + "': no entity has this GUID or path");
      return result;
    }
  }

  // Everything the call leaves in the host is its own: a monitor with its
  // budget, the message list, the parse results.
  HostMonitor monitor;
  CallState state;
  HostMonitor::Scope monitoring(monitor);
  CallScope scope(state);
  if (request.prepare) request.prepare(monitor);

  using Clock = HostMonitor::Clock;
  const Clock::time_point start = Clock::now();
  Clock::time_point deadline = Clock::time_point::max();
  if (limits_.seconds > 0) {
    deadline = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(limits_.seconds));
  }
  const std::uint64_t before = monitor.Count();
  monitor.SetBudget(deadline, limits_.maxOperations);
  result.outcome = session_.Run(request.agent, request.context, request.parameters, result.run);
  monitor.ClearBudget();
  result.hostOperations = monitor.Count() - before;
  result.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  // The host keeps neither messages nor the agent's parse results between
  // calls: a long-running server must not grow with every page it answers.
  session_.model().discardParsedExpressions(state.parsed);
  if (result.outcome.IsBudgetSpent()) {
    result.outcome = Outcome::BudgetSpent(result.outcome.kind() == OutcomeKind::kTimeBudget,
                                          BudgetText(request.agent, limits_));
  }
  return result;
}

}  // namespace qmemu
