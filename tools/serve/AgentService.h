// The host side of the server: runs the plug-in's agents on the one loaded
// model, one call at a time, each with a deadline and a host-operation
// budget, and sorts what happened into outcomes that the HTTP layer maps to
// statuses.
#ifndef TOOLS_SERVE_AGENTSERVICE_H_
#define TOOLS_SERVE_AGENTSERVICE_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "emulator/Session.h"

namespace orvtool {

// What every agent call may spend before the host stops it.
struct CallLimits {
  double seconds = 10;                         // wall-clock deadline; 0 = none
  std::uint64_t maxOperations = 100'000'000;  // host operations; 0 = no limit
};

enum class CallOutcome {
  kDone,           // the agent returned; `run` holds its parameters
  kUnknownAgent,   // no plug-in agent of that name is declared
  kUnknownEntity,  // the context or a GUID the caller named is no entity
  kRefused,        // the host refused the parameters; `run.messages` says why
  kAgentError,     // the agent wrote a message into its error parameter
  kCutOff,         // the call spent its budget and was stopped from the host
  kEscaped,        // an exception left the agent (a broken agent)
};

// Which budget stopped a kCutOff call.
enum class SpentLimit { kNone, kTime, kOperations };

// "time", "operations" or "" for kNone.
const char* SpentLimitName(SpentLimit limit);

struct CallResult {
  CallOutcome outcome = CallOutcome::kDone;
  SpentLimit limit = SpentLimit::kNone;  // set for kCutOff
  qmemu::AgentRun run;          // filled for every outcome in which the agent ran
  std::string error;            // a sentence for every outcome but kDone
  std::uint64_t hostOperations = 0;  // host operations the agent made
  double milliseconds = 0;           // time inside the agent (not waiting for the lock)
};

// One request of an agent call.
struct CallRequest {
  std::string agent;    // a plug-in agent name; host agent paths ("@...") are refused
  std::string context;  // GUID or path of the context entity; "" = the model's root
  std::vector<std::string> parameters;  // one text parameter each
  // GUIDs, handed in the parameters, that must name entities of the model;
  // when one does not, the agent is not run (kUnknownEntity).
  std::vector<std::string> entities;
};

class AgentService {
 public:
  // Uses `session` (not owned; it must outlive the service) for every call.
  AgentService(qmemu::Session& session, CallLimits limits) : session_(&session), limits_(limits) {}
  // Owns `session` (not null), so that Reload can replace it.
  AgentService(std::unique_ptr<qmemu::Session> session, CallLimits limits)
      : owned_(std::move(session)), session_(owned_.get()), limits_(limits) {}

  // Runs the call under the service's lock, as the host runs agents: one at
  // a time. Safe to call from many threads; a call waits for the one before
  // it, which its budget bounds. Never throws for anything the agent does.
  CallResult Call(const CallRequest& request);

  const CallLimits& limits() const { return limits_; }

  // The model's version: 1 for the model the service started with, one
  // more for each successful Reload.
  std::uint64_t version() const { return version_.load(); }

  // Loads the model file `modelPath` and, when it loads, replaces the
  // owned session by one with the new model and `pluginPath` freshly
  // loaded (so the plug-in's caches start empty), waiting for the running
  // call. False, with the loader's message (file:line:column) in `error`,
  // when the file does not load or the service does not own its session;
  // the old model then stays.
  bool Reload(const std::string& modelPath, const std::string& pluginPath, std::string& error);

  // Runs `work` on the model under the service's lock (no agent runs
  // meanwhile) and answers the version it saw.
  std::uint64_t WithModel(const std::function<void(qmemu::Model&)>& work);

 private:
  CallResult CallLocked(const CallRequest& request);
  void Classify(const CallRequest& request, bool ran, const std::string& runError, CallResult& result) const;

  std::unique_ptr<qmemu::Session> owned_;
  qmemu::Session* session_;  // never null
  const CallLimits limits_;
  std::mutex mutex_;
  std::atomic<std::uint64_t> version_{1};
};

// The 1-based position of `agent`'s error parameter (the one into which it
// writes its failure messages), or 0 when it has none.
std::size_t ErrorParameterPosition(const std::string& agent);

}  // namespace orvtool

#endif  // TOOLS_SERVE_AGENTSERVICE_H_
