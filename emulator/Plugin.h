// Loads the plug-in as the host does: dlopen, then agents by their unmangled
// names. The plug-in's host symbols are resolved from this process (the
// emulator library exports them).
#ifndef EMULATOR_PLUGIN_H_
#define EMULATOR_PLUGIN_H_

#include <memory>
#include <string>

#include "host/Agent.h"

namespace qmemu {

class Plugin {
 public:
  // Opens the shared library at `path`. Null, with the loader's reason in
  // `error`, when it cannot be loaded (missing file, unresolved symbol).
  static std::unique_ptr<Plugin> Open(const std::string& path, std::string& error);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  // The exported agent `name`, or null.
  QmAgentFunction* Find(const std::string& name) const;
  // The exported data symbol `name`, or null.
  void* FindData(const std::string& name) const;
  const std::string& path() const { return path_; }

 private:
  Plugin(void* handle, std::string path) : handle_(handle), path_(std::move(path)) {}
  void* handle_;
  std::string path_;
};

}  // namespace qmemu

#endif  // EMULATOR_PLUGIN_H_
