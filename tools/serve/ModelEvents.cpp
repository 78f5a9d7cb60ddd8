#include "tools/serve/ModelEvents.h"

#include <nlohmann/json.hpp>

namespace orvtool {

namespace {
// Events older than this many are dropped: a stream that falls so far
// behind gets the newest one, which carries the current version anyway.
constexpr std::size_t kKept = 16;
}  // namespace

std::string EventText(const std::string& name, std::uint64_t version, const std::string& error) {
  nlohmann::json data = {{"version", version}};
  if (!error.empty()) data["error"] = error;
  return "event: " + name + "\nid: " + std::to_string(version) + "\ndata: " +
         data.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n\n";
}

void ModelEvents::Publish(const std::string& name, std::uint64_t version, const std::string& error) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(ModelEvent{++latest_, name, version, error});
    if (events_.size() > kKept) events_.erase(events_.begin());
  }
  changed_.notify_all();
}

std::uint64_t ModelEvents::Latest() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return latest_;
}

ModelEvents::Wait ModelEvents::Next(std::uint64_t after, std::chrono::milliseconds timeout, ModelEvent& event) {
  std::unique_lock<std::mutex> lock(mutex_);
  bool woken = changed_.wait_for(lock, timeout, [&] { return stopped_ || latest_ > after; });
  if (stopped_) return Wait::kStopped;
  if (!woken) return Wait::kTimeout;
  for (const ModelEvent& e : events_) {
    if (e.sequence > after) {
      event = e;
      return Wait::kEvent;
    }
  }
  event = events_.back();
  return Wait::kEvent;
}

void ModelEvents::Stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
}

void ModelEvents::Opened() {
  std::lock_guard<std::mutex> lock(mutex_);
  ++clients_;
}

void ModelEvents::Closed() {
  std::lock_guard<std::mutex> lock(mutex_);
  --clients_;
}

int ModelEvents::Clients() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return clients_;
}

}  // namespace orvtool
