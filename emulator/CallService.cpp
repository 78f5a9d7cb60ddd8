#include "emulator/CallService.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <mutex>

#include "emulator/AgentTable.h"
#include "emulator/CallScope.h"
#include "emulator/ModelFile.h"

namespace qmemu {
namespace {

// The sentence of a spent budget, naming the limit that stopped the call.
std::string BudgetText(const std::string& agent, const CallLimits& limits, bool deadline) {
  if (!deadline) {
    return "agent " + agent + " used up its budget of " + std::to_string(limits.maxOperations) +
           " host operations and was stopped";
  }
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%g", limits.seconds);
  return "agent " + agent + " did not finish within its deadline of " + seconds + " s and was stopped";
}

}  // namespace

std::string CallResult::Answer(const std::string& agent) const {
  const AgentEntry* entry = FindAgentEntry(agent);
  const std::size_t position = entry == nullptr ? 0 : entry->PositionOf(ParameterRole::kAnswer);
  return position == 0 || position > run.parameters.size() ? std::string() : run.parameters[position - 1];
}

bool CallService::Reload(const std::string& modelPath, const std::string& pluginPath, std::string& error) {
  if (owned_ == nullptr) {
    error = "the service does not own its model";
    return false;
  }
  error.clear();
  std::unique_ptr<Model> model = LoadModelFile(modelPath, error);
  if (model == nullptr) return false;
  error.clear();
  std::unique_lock<std::shared_mutex> exclusive(lock_);
  // The old plug-in is unloaded before the new one is loaded, so that no
  // cached annotation tree of the old model survives into the new one.
  session_ = nullptr;
  owned_.reset();
  std::unique_ptr<Plugin> plugin = Plugin::Open(pluginPath, error);
  if (plugin == nullptr) error = pluginPath + ": cannot load the plug-in: " + error;
  owned_ = std::make_unique<Session>(std::move(model), std::move(plugin));
  session_ = owned_.get();
  version_.fetch_add(1);
  return error.empty();
}

std::uint64_t CallService::WithModel(const std::function<void(Model&)>& work) {
  std::unique_lock<std::shared_mutex> exclusive(lock_);
  work(session_->model());
  return version_.load();
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
    if (session_->model().find(guid) == nullptr) {
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
  result.outcome = session_->Run(request.agent, request.context, request.parameters, result.run);
  monitor.ClearBudget();
  result.hostOperations = monitor.Count() - before;
  result.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  // The host keeps neither messages nor the agent's parse results between
  // calls: a long-running server must not grow with every page it answers.
  session_->model().discardParsedExpressions(state.parsed);
  if (result.outcome.IsBudgetSpent()) {
    const bool deadline = result.outcome.kind() == OutcomeKind::kTimeBudget;
    result.outcome = Outcome::BudgetSpent(deadline, BudgetText(request.agent, limits_, deadline));
  }
  return result;
}

}  // namespace qmemu
