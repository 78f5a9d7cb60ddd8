// A host session: one model and the plug-in loaded into this process, and a
// way to run an agent by name as the host does. Used by the call service,
// the command-line tool and the end-to-end tests.
#ifndef EMULATOR_SESSION_H_
#define EMULATOR_SESSION_H_

#include <memory>
#include <string>
#include <vector>

#include "emulator/AgentTable.h"
#include "emulator/Model.h"
#include "emulator/Outcome.h"
#include "emulator/Plugin.h"

namespace qmemu {

// What one agent call left behind.
struct AgentRun {
  // The text of every parameter after the call, in order ("" for a
  // parameter that holds no text).
  std::vector<std::string> parameters;
  // Messages the host collected during the call (validation failures).
  std::vector<std::string> messages;
};

class Session {
 public:
  // Takes ownership of both; `plugin` may be null (host agents only).
  Session(std::unique_ptr<Model> model, std::unique_ptr<Plugin> plugin);
  ~Session();

  // Loads the model file and the plug-in. Null, with a message naming the
  // file and the problem in `error`, when either fails.
  static std::unique_ptr<Session> Open(const std::string& modelPath, const std::string& pluginPath,
                                       std::string& error);

  Model& model() { return *model_; }
  const Plugin* plugin() const { return plugin_.get(); }

  // Runs `agent` — a plug-in agent name ("GetNativeLinkInformation") or a
  // host agent path ("@VELExtensionManagement@GetImageIndex") — on the
  // entity `context` (GUID or path; "" = the model's root) with one text
  // parameter per entry of `texts`, and says what became of it:
  //   unknown agent / unknown entity: nothing ran; `run` is left empty;
  //   host fault: an exception left the agent;
  //   time or operation budget: the HostMonitor in effect stopped the call;
  //   refused: the host collected messages (validation);
  //   agent error: the agent wrote its error parameter (per the agent
  //     table) with a text other than the one it was given;
  //   answered: anything else.
  // `run` holds every parameter after the call and the host's messages
  // whenever the agent ran. Never throws for what the agent does (it may
  // throw std::bad_alloc while copying texts).
  Outcome Run(const std::string& agent, const std::string& context, const std::vector<std::string>& texts,
              AgentRun& run);

  // The same, for callers that only ask whether the agent ran to its end:
  // false, with the outcome's text in `error`, for an unknown agent or
  // entity and for a host fault.
  bool Run(const std::string& agent, const std::string& context, const std::vector<std::string>& texts,
           AgentRun& run, std::string& error);

  // The declaration that Run uses for `agent`, or null when the model
  // declares no agent of that name or path.
  Entity* FindDeclaration(const std::string& agent) const;
  // The entity Run uses as context for `context` (GUID or path; "" = the
  // model's root), or null when there is none.
  Entity* FindContext(const std::string& context) const;

 private:
  std::unique_ptr<Plugin> plugin_;  // declared first: unloaded after the model is gone
  std::unique_ptr<Model> model_;
};

}  // namespace qmemu

#endif  // EMULATOR_SESSION_H_
