#include "tools/serve/ModelWatcher.h"

#include <sys/stat.h>

#include <chrono>
#include <iostream>

namespace orvtool {
namespace {

// The file's identity for the watcher: size and modification time.
struct FileStamp {
  bool exists = false;
  off_t size = 0;
  timespec mtime{};
  bool operator==(const FileStamp& o) const {
    return exists == o.exists && size == o.size && mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec;
  }
};

FileStamp StampOf(const std::string& path) {
  FileStamp stamp;
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return stamp;
  stamp.exists = true;
  stamp.size = info.st_size;
  stamp.mtime = info.st_mtim;
  return stamp;
}

}  // namespace

ModelWatcher::~ModelWatcher() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void ModelWatcher::Run() {
  FileStamp seen = StampOf(model_), pending = seen;
  std::unique_lock<std::mutex> lock(mutex_);
  while (!wake_.wait_for(lock, std::chrono::milliseconds(250), [this] { return stop_; })) {
    FileStamp now = StampOf(model_);
    if (now == seen) continue;
    if (!(now == pending)) {  // still changing: wait for one quiet poll
      pending = now;
      continue;
    }
    seen = now;
    std::string error;
    if (agents_.Reload(model_, plugin_, error)) {
      std::cerr << "orv-host serve: reloaded " << model_ << " (version " << agents_.version() << ")\n";
      events_.Publish("model-changed", agents_.version(), "");
    } else {
      std::cerr << "orv-host serve: " << error << "; keeping the model loaded before\n";
      events_.Publish("model-error", agents_.version(), error);
    }
  }
}

}  // namespace orvtool
