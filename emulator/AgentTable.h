// The one table of the agents the emulated host knows: the plug-in's six
// agents (declared under "@OrvServer@") and the host agents the emulator
// implements. Everything that needs an agent's parameters reads them here:
// the declarations a model is given, parameter validation of host agents,
// the call service (which parameter holds the error text, which calls may
// run side by side), orv-host and the server (which parameter holds the
// answer). No tool compares agent names.
#ifndef EMULATOR_AGENTTABLE_H_
#define EMULATOR_AGENTTABLE_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "emulator/Parameters.h"

namespace qmemu {

// What a parameter is for in a call.
enum class ParameterRole {
  kInput,     // read by the agent
  kAnswer,    // written by the agent with its result (it may be read first)
  kError,     // written by the agent with its failure message
  kOptional,  // an input that a call may leave out (only at the end)
};

// One formal parameter. Positions count from 1, as the agent convention
// names them (first, second, third), and as ParameterAt reads them.
struct AgentParameterEntry {
  std::size_t position;
  const char* name;
  ParamKind kind;
  ParameterRole role;
};

// How calls of an agent may overlap with other calls on the same model.
enum class AgentConcurrency {
  kIndependent,  // reads the model only; any number run side by side
  kSvg,          // uses the plug-in's SVG cache: one SVG call at a time
  kHost,         // a host agent: runs inside the call that invoked it
};

struct AgentEntry {
  const char* path;  // "@OrvServer@GetNativeLinkInformation", "@VELExtensionManagement@GetImageIndex"
  std::vector<AgentParameterEntry> parameters;
  AgentConcurrency concurrency;

  // True for the plug-in's agents (path under "@OrvServer@", run from the
  // plug-in); false for the emulator's host agents.
  bool plugin() const { return concurrency != AgentConcurrency::kHost; }
  // The name after the package: "GetNativeLinkInformation".
  std::string name() const;
  // The position of the first parameter with `role`, or 0 when it has none.
  std::size_t PositionOf(ParameterRole role) const;
  // The formal parameters as a declaration records them.
  std::vector<FormalParameter> Formals() const;
  // The text parameters of a call: one per parameter up to the last one
  // that is not optional or that `inputs` names, holding the text given
  // for it by name in `inputs`, else "". Names that are no parameter of
  // this agent are ignored.
  std::vector<std::string> Texts(const std::vector<std::pair<std::string, std::string>>& inputs) const;
};

// Every agent, the plug-in's six first, in a fixed order.
const std::vector<AgentEntry>& AgentTable();

// The plug-in agent called `name` ("GetPropertyPageControls") or the agent
// at path `name` ("@OrvServer@GetPropertyPageControls",
// "@VELExtensionManagement@GetImageIndex"); null when there is none.
const AgentEntry* FindAgentEntry(const std::string& name);

// The declaration path of `agent`: itself when it starts with "@", else
// "@OrvServer@" + agent.
std::string AgentPath(const std::string& agent);

}  // namespace qmemu

#endif  // EMULATOR_AGENTTABLE_H_
