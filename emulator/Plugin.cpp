#include "emulator/Plugin.h"

#include <dlfcn.h>

namespace qmemu {

std::unique_ptr<Plugin> Plugin::Open(const std::string& path, std::string& error) {
  // RTLD_NOW: an unresolved host symbol is reported here, not at first call.
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : ("cannot load " + path);
    return nullptr;
  }
  return std::unique_ptr<Plugin>(new Plugin(handle, path));
}

Plugin::~Plugin() { dlclose(handle_); }

QmAgentFunction* Plugin::Find(const std::string& name) const {
  return reinterpret_cast<QmAgentFunction*>(dlsym(handle_, name.c_str()));
}

void* Plugin::FindData(const std::string& name) const { return dlsym(handle_, name.c_str()); }

}  // namespace qmemu
