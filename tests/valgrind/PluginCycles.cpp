// Loads the plug-in, runs each of its six agents once on the example model,
// unloads it, and does that five times, as a host that is asked to load and
// drop the library would. Run under memcheck it shows that the library frees
// what it allocates by the time it is unloaded; on its own (or under the
// address sanitizer's leak check) it is a plain load-and-unload test.
//
//   PluginCycles PLUGIN MODEL
//
// Exit status 0 when every cycle answered as expected and the library was
// really gone after each unload; 1 with a message on standard error when not;
// 2 for wrong arguments.
#include <dlfcn.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "emulator/Session.h"

namespace {

constexpr int kCycles = 5;

// One agent call, and a text that its answer must contain in `parameter`
// (0-based) for the call to count as having done its work.
struct Call {
  const char* agent;
  const char* context;
  std::vector<std::string> texts;
  std::size_t parameter;
  const char* mustContain;
};

// Calls that make each agent do real work on the example model. The SVG
// request parses the client's JSON and makes the host call the customization
// agent, which alone draws the link markers; the second request re-annotates
// the cached tree and the third (refresh) deletes it and generates anew.
const std::vector<Call>& Calls() {
  static const std::vector<Call> calls = {
      {"GetNativeLinkInformation", "", {"BLK-PUMP", ""}, 1, "ORV_OUTGOING_HYPERLINKS"},
      {"GetModelViewChildNodes", "", {"BLK-PANEL", "", "", ""}, 2, "MM-ALARMS"},
      {"TransformControlInfoToJason", "BLK-STATION", {""}, 0, "\"children\" : "},
      {"GetPropertyPageControls", "", {"BLK-STATION", "", ""}, 1, "\"kind\" : \"EditBox\""},
      {"GenerateSVGWithAnnotations",
       "DIA-LINKS",
       {R"({"objects": [{"objID": "BLK-VALVE", "relInfo": {"links": [{"to": "ext--1"}]}}, {"objID": "DIA-LINKS"}]})",
        ""},
       1,
       "_redlink"},
      {"GenerateSVGWithAnnotations", "DIA-LINKS", {R"([{"objID": "BLK-VALVE", "relInfo": {}}])", ""}, 1, "_redlink"},
      {"GenerateSVGWithAnnotations", "DIA-LINKS", {"[]", "", "true"}, 1, "_redlink"},
  };
  return calls;
}

// Runs every call on a fresh session; false, with the reason in `error`, on
// the first call that fails or answers without its expected text.
bool RunCycle(const std::string& pluginPath, const std::string& modelPath, std::string& error) {
  std::unique_ptr<qmemu::Session> session = qmemu::Session::Open(modelPath, pluginPath, error);
  if (session == nullptr) return false;
  for (const Call& call : Calls()) {
    qmemu::AgentRun run;
    if (!session->Run(call.agent, call.context, call.texts, run, error)) return false;
    if (run.parameters.size() <= call.parameter ||
        run.parameters[call.parameter].find(call.mustContain) == std::string::npos) {
      error = std::string(call.agent) + " on '" + call.context + "' answered without \"" + call.mustContain + "\"";
      return false;
    }
  }
  return true;  // the session, and with it the plug-in, goes here
}

// True when the loader no longer holds the library: RTLD_NOLOAD only finds a
// library that is still loaded, and loads nothing.
bool Unloaded(const std::string& pluginPath) {
  void* handle = dlopen(pluginPath.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return true;
  dlclose(handle);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: PluginCycles PLUGIN MODEL\n";
    return 2;
  }
  const std::string pluginPath = argv[1];
  const std::string modelPath = argv[2];
  for (int cycle = 1; cycle <= kCycles; ++cycle) {
    std::string error;
    if (!RunCycle(pluginPath, modelPath, error)) {
      std::cerr << "PluginCycles: cycle " << cycle << ": " << error << "\n";
      return 1;
    }
    if (!Unloaded(pluginPath)) {
      std::cerr << "PluginCycles: cycle " << cycle << ": " << pluginPath
                << " is still loaded after the last handle was closed\n";
      return 1;
    }
  }
  std::cout << "PluginCycles: " << kCycles << " cycles of load, six agents, unload\n";
  return 0;
}
