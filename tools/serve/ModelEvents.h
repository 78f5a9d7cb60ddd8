// The model's change events for the Server-Sent Events route: the watcher
// publishes, every open stream waits for the next event or a keep-alive
// time, and Stop wakes all of them so that the server can shut down.
#ifndef TOOLS_SERVE_MODELEVENTS_H_
#define TOOLS_SERVE_MODELEVENTS_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace orvtool {

struct ModelEvent {
  std::uint64_t sequence = 0;  // 1, 2, ... in publishing order
  std::string name;            // "model-changed" or "model-error"
  std::uint64_t version = 0;
  std::string error;           // only for "model-error"
};

// The text of one event on the stream:
//   "event: NAME\nid: VERSION\ndata: {"version":N[,"error":"..."]}\n\n"
std::string EventText(const std::string& name, std::uint64_t version, const std::string& error);

class ModelEvents {
 public:
  void Publish(const std::string& name, std::uint64_t version, const std::string& error);

  // The sequence number of the newest event (0 before the first).
  std::uint64_t Latest() const;

  enum class Wait { kEvent, kTimeout, kStopped };
  // Waits until an event newer than `after` exists (copied to `event`),
  // `timeout` passes, or Stop is called.
  Wait Next(std::uint64_t after, std::chrono::milliseconds timeout, ModelEvent& event);

  // Wakes every waiter; later waits answer kStopped at once.
  void Stop();

  // Streams open now (kept by the stream handlers, read by the metrics).
  void Opened();
  void Closed();
  int Clients() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ModelEvent> events_;  // the latest few
  std::uint64_t latest_ = 0;
  bool stopped_ = false;
  int clients_ = 0;
};

}  // namespace orvtool

#endif  // TOOLS_SERVE_MODELEVENTS_H_
