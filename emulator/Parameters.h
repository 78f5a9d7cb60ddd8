// The emulator's agent parameters: what a qm::AgentParameter holds, the
// formal parameters of an agent declaration, and helpers to build and read
// parameter lists from the emulator's side.
#ifndef EMULATOR_PARAMETERS_H_
#define EMULATOR_PARAMETERS_H_

#include <string>
#include <vector>

#include "host/AgentParameter.h"

namespace qmemu {

enum class ParamKind { Text, Integer, Boolean, EntityList, Interface };

// "text", "integer", "boolean", "entity list", "interface".
const char* ParamKindName(ParamKind kind);
// Parses the names above (and "entitylist"); false for anything else.
bool ParseParamKind(const std::string& text, ParamKind& kind);

// One formal parameter of an agent declaration.
struct FormalParameter {
  std::string name;
  ParamKind kind;
  bool optional;
};

// The object behind every qm::AgentParameter the emulator hands out.
class ParameterValue final : public qm::AgentParameter {
 public:
  explicit ParameterValue(ParamKind kind) : kind(kind) {}
  static ParameterValue& Of(qm::AgentParameter& parameter) { return static_cast<ParameterValue&>(parameter); }
  static const ParameterValue& Of(const qm::AgentParameter& parameter) {
    return static_cast<const ParameterValue&>(parameter);
  }

  ParamKind kind;
  std::string text;
  long integer = 0;
  bool boolean = false;
  qm::EntityList* list = nullptr;  // the caller's list, not owned
  qm::IUnknown* unknown = nullptr;
};

// Positions count from 1 (the first parameter), as the agent convention
// names them "first, second, third" and as the plug-in's own helpers do;
// position 0 is no parameter.
//
// The parameter at `position`, or null for 0 or past the end.
qm::AgentParameter* ParameterAt(qm::AgentParameters& parameters, std::size_t position);
// The text of the parameter at `position` as the emulator sees it ("" when
// absent or not a text parameter). Not counted.
std::string TextAt(qm::AgentParameters& parameters, std::size_t position);
// Sets the text of the parameter at `position`, when it exists. Not counted.
void SetTextAt(qm::AgentParameters& parameters, std::size_t position, const std::string& text);

// Checks count and kinds of `parameters` against `formals`. On a mismatch
// returns false and puts a message naming `agentPath` into `message`.
bool CheckParameters(const std::string& agentPath, const std::vector<FormalParameter>& formals,
                     qm::AgentParameters& parameters, std::string& message);

}  // namespace qmemu

#endif  // EMULATOR_PARAMETERS_H_
