// Checks the plug-in's dynamic symbol table: it exports exactly the six
// agents and g_strJasonText, and every symbol it needs comes from the C/C++
// runtime or is a host operation declared in host/. It must not be linked
// against the emulator: the host's symbols are resolved from the process
// that loads it.
#include <cxxabi.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// The lines a command prints; fails the test when it cannot run.
std::vector<std::string> Lines(const std::string& command) {
  std::vector<std::string> lines;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return lines;
  }
  char buffer[4096];
  std::string current;
  while (fgets(buffer, sizeof buffer, pipe) != nullptr) {
    current += buffer;
    if (!current.empty() && current.back() == '\n') {
      current.pop_back();
      lines.push_back(current);
      current.clear();
    }
  }
  if (!current.empty()) lines.push_back(current);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return lines;
}

// The symbol names `nm -D` prints with the given option ("name" or
// "name@VERSION"), without addresses and type letters.
std::vector<std::string> Symbols(const char* option) {
  std::vector<std::string> names;
  for (const std::string& line : Lines(std::string("nm -D ") + option + " '" + ORV_PLUGIN_PATH + "'")) {
    std::istringstream fields(line);
    std::vector<std::string> words;
    for (std::string w; fields >> w;) words.push_back(w);
    if (!words.empty()) names.push_back(words.back());
  }
  return names;
}

std::string Demangle(const std::string& name) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status),
                                              std::free);
  return status == 0 && text != nullptr ? std::string(text.get()) : name;
}

bool StartsWith(const std::string& text, const std::string& prefix) { return text.compare(0, prefix.size(), prefix) == 0; }

// True for a symbol of the C or C++ runtime: one that a runtime library of
// this process (libc, libm, libstdc++, libgcc, the sanitizer runtimes)
// defines, or one of the loader's weak hooks. The emulator's own symbols do
// not count, even though this process has loaded it.
bool IsRuntimeSymbol(const std::string& symbol) {
  const std::string name = symbol.substr(0, symbol.find('@'));
  for (const char* hook : {"__gmon_start__", "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable"}) {
    if (name == hook) return true;
  }
  void* address = dlsym(RTLD_DEFAULT, name.c_str());
  Dl_info info;
  if (address == nullptr || dladdr(address, &info) == 0 || info.dli_fname == nullptr) return false;
  const std::string library = info.dli_fname;
  return library.find("QmEmulator") == std::string::npos && library.find("OrvServer") == std::string::npos;
}

// True for a host operation declared in host/.
bool IsHostSymbol(const std::string& symbol) {
  const std::string name = Demangle(symbol);
  for (const char* prefix : {"qm::AgentParameter::Create(", "qm::AgentParameter::GetString(",
                             "qm::AgentParameter::GetInteger(", "qm::AgentParameter::GetUnknown(",
                             "qm::AgentParameter::Set(", "qm::AgentParameter::Release(",
                             "qm::AgentParameters::~AgentParameters(", "qm::ValidateAgentActualParameters(",
                             "qmdll::defaultChanger"}) {
    if (StartsWith(name, prefix)) return true;
  }
  return false;
}

TEST(PluginSymbols, ExportsExactlyTheAgentsAndTheJsonText) {
  std::vector<std::string> defined = Symbols("--defined-only");
  std::set<std::string> names(defined.begin(), defined.end());
  EXPECT_EQ(names.size(), defined.size()) << "a symbol is exported twice";
  const std::set<std::string> expected = {
      "TransformControlInfoToJason", "GetPropertyPageControls",    "GetNativeLinkInformation",
      "GetModelViewChildNodes",      "GenerateSVGWithAnnotations", "GenerateSVGWithAnnotationsCustomizationAgent",
      "g_strJasonText"};
  EXPECT_EQ(names, expected);
}

TEST(PluginSymbols, NeedsOnlyTheRuntimeAndTheHost) {
  std::vector<std::string> undefined = Symbols("--undefined-only");
  EXPECT_FALSE(undefined.empty());
  bool usesHost = false;
  for (const std::string& symbol : undefined) {
    bool host = IsHostSymbol(symbol);
    usesHost = usesHost || host;
    EXPECT_TRUE(host || IsRuntimeSymbol(symbol)) << symbol << " = " << Demangle(symbol);
  }
  EXPECT_TRUE(usesHost) << "the plug-in should call the host";
}

TEST(PluginSymbols, IsNotLinkedAgainstTheEmulator) {
  for (const std::string& line : Lines(std::string("readelf -d '") + ORV_PLUGIN_PATH + "'")) {
    if (line.find("(NEEDED)") == std::string::npos) continue;
    EXPECT_EQ(line.find("QmEmulator"), std::string::npos) << line;
  }
}

}  // namespace
