// Checks the plug-in's dynamic symbol table: it exports exactly the six
// agents and g_strJasonText, and every symbol it needs comes from the C/C++
// runtime or is one of the host operations that the host interface lists,
// so that a host offering exactly those loads it. It must not be linked
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

// The host symbols the plug-in may need: the operations of the host model
// interface that are not virtual (the parameter operations, the list's
// destructor, the validation, the change object) and the interface
// identities. Virtual operations of the interfaces are reached through their
// objects and are no symbols; the inline helpers of host/ are none either.
// A host that offers exactly these loads the plug-in.
const char* const kHostOperations[] = {
    "qm::AgentParameter::Create",
    "qm::AgentParameter::GetString",
    "qm::AgentParameter::GetInteger",
    "qm::AgentParameter::GetUnknown",
    "qm::AgentParameter::Set",
    "qm::AgentParameters::~AgentParameters",
    "qm::ValidateAgentActualParameters",
    "qmdll::defaultChanger",
    "qm::IUnknown::guid",
    "qm::IVelEntity::guid",
    "qm::IVelModel::guid",
    "qm::IVelModelAccess::guid",
    "qm::IVelExpression::guid",
    "qm::IVelMessageList::guid",
};

// The qualified name of a demangled symbol: a function's name without its
// parameter list, or a variable's name.
std::string QualifiedName(const std::string& demangled) { return demangled.substr(0, demangled.find('(')); }

// True for a symbol that names something of the host's namespaces.
bool IsInHostNamespace(const std::string& demangled) {
  return demangled.find("qm::") != std::string::npos || demangled.find("qmdll::") != std::string::npos;
}

// True when the demangled symbol names one of the host operations above.
bool IsHostOperation(const std::string& demangled) {
  const std::string name = QualifiedName(demangled);
  for (const char* operation : kHostOperations) {
    if (name == operation) return true;
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
    const std::string name = Demangle(symbol);
    const bool host = IsHostOperation(name);
    usesHost = usesHost || host;
    if (IsInHostNamespace(name)) {
      EXPECT_TRUE(host) << "not an operation of the host interface: " << name;
    } else {
      EXPECT_TRUE(IsRuntimeSymbol(symbol)) << symbol << " = " << name;
    }
  }
  EXPECT_TRUE(usesHost) << "the plug-in should call the host";
}

// The host may load the plug-in after its threads have started (dlopen of
// a running server): a library marked STATIC_TLS (initial-exec thread-local
// storage) can then fail to load. The plug-in keeps no thread-local state.
TEST(PluginSymbols, UsesNoStaticThreadLocalStorage) {
  const std::vector<std::string> dynamic = Lines(std::string("readelf -d '") + ORV_PLUGIN_PATH + "'");
  ASSERT_FALSE(dynamic.empty());
  for (const std::string& line : dynamic) EXPECT_EQ(line.find("STATIC_TLS"), std::string::npos) << line;
}

// The table above is exact: a name outside the host's operations, such as
// a helper for releasing one parameter, is refused.
struct HostNameRow {
  const char* demangled;
  bool allowed;
};

TEST(PluginSymbols, OnlyTheListedHostOperationsCount) {
  const HostNameRow rows[] = {
      {"qm::AgentParameter::Create(char const*, qm::StringTag)", true},
      {"qm::AgentParameter::Set(char const*, qm::StringTag)", true},
      {"qm::AgentParameter::GetString() const", true},
      {"qm::AgentParameters::~AgentParameters()", true},
      {"qm::ValidateAgentActualParameters(qm::IVelEntity*, qm::AgentParameters&, bool, qm::IVelMessageList*)", true},
      {"qmdll::defaultChanger", true},
      {"qm::IVelEntity::guid", true},
      {"qm::AgentParameter::Release(qm::AgentParameter*)", false},
      {"qm::AgentParameters::AgentParameters()", false},
      {"qm::AgentParameter::CreateList(char const*)", false},
      {"qmdll::otherChanger", false},
      {"qm::IVelEntity::guidance", false},
  };
  for (const HostNameRow& row : rows) {
    EXPECT_EQ(row.allowed, IsHostOperation(row.demangled)) << row.demangled;
    EXPECT_TRUE(IsInHostNamespace(row.demangled)) << row.demangled;
  }
}

TEST(PluginSymbols, IsNotLinkedAgainstTheEmulator) {
  for (const std::string& line : Lines(std::string("readelf -d '") + ORV_PLUGIN_PATH + "'")) {
    if (line.find("(NEEDED)") == std::string::npos) continue;
    EXPECT_EQ(line.find("QmEmulator"), std::string::npos) << line;
  }
}

}  // namespace
