// --watch: a thread that polls the model file and, when it changed, has the
// call service reload the model and the plug-in, telling clients through
// the model events.
#ifndef TOOLS_SERVE_MODELWATCHER_H_
#define TOOLS_SERVE_MODELWATCHER_H_

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "emulator/CallService.h"
#include "tools/serve/ModelEvents.h"

namespace orvtool {

// Polls `model` every 250 ms; a change that stays for one more poll (so a
// file being written is not read half way) is reloaded with `plugin`:
// "model-changed" is published when it loads, "model-error" with the
// loader's message when it does not (the old model then stays); both are
// logged on standard error. `agents` must own its session and, with
// `events`, outlive the watcher.
class ModelWatcher {
 public:
  ModelWatcher(std::string model, std::string plugin, qmemu::CallService& agents, ModelEvents& events)
      : model_(std::move(model)), plugin_(std::move(plugin)), agents_(agents), events_(events),
        thread_([this] { Run(); }) {}
  // Stops polling and waits for a reload under way.
  ~ModelWatcher();

 private:
  void Run();

  const std::string model_, plugin_;
  qmemu::CallService& agents_;
  ModelEvents& events_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stop_ = false;
  std::thread thread_;  // last: starts when the rest is ready
};

}  // namespace orvtool

#endif  // TOOLS_SERVE_MODELWATCHER_H_
