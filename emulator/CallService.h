// The host's call service: runs agents of one session's model for any
// number of threads, each call with its own budget (a deadline and a number
// of host operations), its own HostMonitor, message list and parse results,
// and says what became of it as an Outcome. orv-host and the server both
// run every agent call through it.
//
// Locking (see docs/design.md, "The host layer"): calls of agents that the
// agent table marks independent (links, the two property-page agents, the
// explorer) hold the service's lock shared and run side by side. SVG calls
// hold it shared as well, and the SVG lock alone, since the plug-in's SVG
// cache and client text are unguarded globals: readers go on while a
// diagram is generated. The SVG tree is never reached from the entities
// readers see, and the model's store lock orders its growth against their
// lookups. Host agents run directly (orv-host) hold the lock exclusively.
#ifndef EMULATOR_CALLSERVICE_H_
#define EMULATOR_CALLSERVICE_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "emulator/HostMonitor.h"
#include "emulator/Outcome.h"
#include "emulator/Session.h"

namespace qmemu {

// What every agent call may spend before the host stops it.
struct CallLimits {
  double seconds = 10;                        // wall-clock deadline; 0 = none
  std::uint64_t maxOperations = 100'000'000;  // host operations; 0 = no limit
};

// Which agents a service runs.
enum class AgentReach {
  kPluginAgents,  // the plug-in's agents only (the server: clients never reach host agents)
  kAllAgents,     // host agents by path as well (orv-host)
};

// One agent call.
struct CallRequest {
  std::string agent;    // a plug-in agent name, or a host agent path with kAllAgents
  std::string context;  // GUID or path of the context entity; "" = the model's root
  std::vector<std::string> parameters;  // one text parameter each
  // GUIDs, handed in the parameters, that must name entities of the model;
  // when one does not, the agent is not run (kUnknownEntity).
  std::vector<std::string> entities;
  // Called with the call's own HostMonitor before the agent runs, to log or
  // inject faults; may be empty.
  std::function<void(HostMonitor&)> prepare;
};

struct CallResult {
  Outcome outcome = Outcome::Answered();
  AgentRun run;                      // filled whenever the agent ran
  std::uint64_t hostOperations = 0;  // host operations the agent made
  double milliseconds = 0;           // time inside the agent (not waiting for the lock)

  // The text of the agent's answer parameter (the agent table's kAnswer
  // position), or "" when there is none.
  std::string Answer(const std::string& agent) const;
};

class CallService {
 public:
  // Uses `session` (not owned; it must outlive the service) for every call.
  CallService(Session& session, CallLimits limits, AgentReach reach = AgentReach::kPluginAgents)
      : session_(&session), limits_(limits), reach_(reach) {}
  // Owns `session` (not null), so that Reload can replace it.
  CallService(std::unique_ptr<Session> session, CallLimits limits, AgentReach reach = AgentReach::kPluginAgents)
      : owned_(std::move(session)), session_(owned_.get()), limits_(limits), reach_(reach) {}

  // Runs the call under the service's lock (shared or exclusive, as above).
  // Safe to call from many threads. Never throws for anything the agent
  // does; a failure of the host itself (out of memory) is kHostFault.
  CallResult Call(const CallRequest& request);

  const CallLimits& limits() const { return limits_; }
  // The session in use; a Reload replaces it (only callers that hold no
  // reference across a reload may keep it).
  Session& session() { return *session_; }

  // The model's version: 1 for the model the service started with, one
  // more for each Reload that replaced it.
  std::uint64_t version() const { return version_.load(); }

  // Loads the model file `modelPath` and, when it loads, replaces the owned
  // session by one with the new model and `pluginPath` freshly loaded (so
  // the plug-in's caches start empty), once the running calls are done
  // (it holds the lock exclusively). False, with the loader's message
  // (file:line:column) in `error`, when the file does not load or the
  // service does not own its session: the old model then stays. False as
  // well, with the version counted and the new model in use without a
  // plug-in, when only the plug-in fails to load.
  bool Reload(const std::string& modelPath, const std::string& pluginPath, std::string& error);

  // Runs `work` on the model while no agent runs (the lock held
  // exclusively) and answers the version it saw. `work` must not call the
  // service.
  std::uint64_t WithModel(const std::function<void(Model&)>& work);

 private:
  CallResult CallLocked(const CallRequest& request);

  std::unique_ptr<Session> owned_;  // null when the session is the caller's
  Session* session_;                // never null
  const CallLimits limits_;
  const AgentReach reach_;
  std::shared_mutex lock_;
  std::mutex svg_;
  std::atomic<std::uint64_t> version_{1};
};

}  // namespace qmemu

#endif  // EMULATOR_CALLSERVICE_H_
