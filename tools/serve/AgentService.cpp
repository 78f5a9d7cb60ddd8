#include "tools/serve/AgentService.h"

#include <chrono>
#include <cstdio>
#include <exception>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"

namespace orvtool {

std::size_t ErrorParameterPosition(const std::string& agent) {
  if (agent == "GetPropertyPageControls") return 3;
  if (agent == "GetModelViewChildNodes") return 4;
  return 0;
}

const char* SpentLimitName(SpentLimit limit) {
  switch (limit) {
    case SpentLimit::kTime: return "time";
    case SpentLimit::kOperations: return "operations";
    case SpentLimit::kNone: break;
  }
  return "";
}

bool AgentService::Reload(const std::string& modelPath, const std::string& pluginPath, std::string& error) {
  if (owned_ == nullptr) {
    error = "the service does not own its model";
    return false;
  }
  error.clear();
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelFile(modelPath, error);
  if (model == nullptr) return false;
  error.clear();
  std::lock_guard<std::mutex> lock(mutex_);
  // The old plug-in is unloaded before the new one is loaded, so that no
  // cached annotation tree of the old model survives into the new one.
  owned_.reset();
  session_ = nullptr;
  std::unique_ptr<qmemu::Plugin> plugin = qmemu::Plugin::Open(pluginPath, error);
  if (plugin == nullptr) {
    error = pluginPath + ": cannot load the plug-in: " + error;
  }
  owned_ = std::make_unique<qmemu::Session>(std::move(model), std::move(plugin));
  session_ = owned_.get();
  version_.fetch_add(1);
  return error.empty();
}

std::uint64_t AgentService::WithModel(const std::function<void(qmemu::Model&)>& work) {
  std::lock_guard<std::mutex> lock(mutex_);
  work(session_->model());
  return version_.load();
}

CallResult AgentService::Call(const CallRequest& request) {
  std::lock_guard<std::mutex> lock(mutex_);
  try {
    return CallLocked(request);
  } catch (const std::exception& e) {  // out of memory while copying texts, for instance
    CallResult result;
    result.outcome = CallOutcome::kEscaped;
    result.error = std::string("the host could not complete the call: ") + e.what();
    return result;
  }
}

CallResult AgentService::CallLocked(const CallRequest& request) {
  CallResult result;
  if (request.agent.empty() || request.agent[0] == '@' || session_->FindDeclaration(request.agent) == nullptr) {
    result.outcome = CallOutcome::kUnknownAgent;
    result.error = "unknown agent '" + request.agent + "'";
    return result;
  }
  if (session_->FindContext(request.context) == nullptr) {
    result.outcome = CallOutcome::kUnknownEntity;
    result.error = "unknown entity '" + request.context + "'";
    return result;
  }
  for (const std::string& guid : request.entities) {
    if (session_->model().find(guid) == nullptr) {
      result.outcome = CallOutcome::kUnknownEntity;
      result.error = "unknown entity '" + guid + "'";
      return result;
    }
  }

  using Clock = qmemu::HostMonitor::Clock;
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  const Clock::time_point start = Clock::now();
  Clock::time_point deadline = Clock::time_point::max();
  if (limits_.seconds > 0) {
    deadline = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(limits_.seconds));
  }
  const std::uint64_t before = monitor.Count();
  monitor.SetBudget(deadline, limits_.maxOperations);
  std::string runError;
  bool ran = session_->Run(request.agent, request.context, request.parameters, result.run, runError);
  monitor.ClearBudget();
  result.hostOperations = monitor.Count() - before;
  result.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  // The host keeps neither messages nor the agent's parse results between
  // calls: each call reports its own messages, and a long-running server
  // must not grow with every property page it answers.
  session_->model().messages().Clear();
  session_->model().discardParsedExpressions();
  Classify(request, ran, runError, result);
  return result;
}

void AgentService::Classify(const CallRequest& request, bool ran, const std::string& runError,
                            CallResult& result) const {
  if (qmemu::HostMonitor::Instance().BudgetExhausted()) {
    result.outcome = CallOutcome::kCutOff;
    bool operations = limits_.maxOperations != 0 && result.hostOperations >= limits_.maxOperations;
    result.limit = operations ? SpentLimit::kOperations : SpentLimit::kTime;
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", limits_.seconds);
    result.error = operations ? "agent " + request.agent + " used up its budget of " +
                                    std::to_string(limits_.maxOperations) + " host operations and was stopped"
                              : "agent " + request.agent + " did not finish within its deadline of " + seconds +
                                    " s and was stopped";
    return;
  }
  if (!ran) {
    result.outcome = CallOutcome::kEscaped;
    result.error = runError;
    return;
  }
  if (!result.run.messages.empty()) {
    result.outcome = CallOutcome::kRefused;
    result.error = "the host refused the parameters of " + request.agent;
    return;
  }
  std::size_t position = ErrorParameterPosition(request.agent);
  if (position != 0 && position <= result.run.parameters.size()) {
    const std::string& written = result.run.parameters[position - 1];
    const std::string& given = position <= request.parameters.size() ? request.parameters[position - 1] : "";
    if (!written.empty() && written != given) {
      result.outcome = CallOutcome::kAgentError;
      result.error = written;
      return;
    }
  }
  result.outcome = CallOutcome::kDone;
}

}  // namespace orvtool
