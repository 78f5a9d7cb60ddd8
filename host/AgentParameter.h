// Agent parameters: the host's actual-parameter objects and their list.
//
// Every operation declared here is implemented by the host, except the
// inline helpers, which are built from the others; the plug-in only calls
// them. A parameter is made with one of the `Create` overloads and is owned
// by the `AgentParameters` list it is appended to: destroying the list
// releases its parameters. The list's destructor is the host's only release
// operation.
#ifndef HOST_AGENTPARAMETER_H_
#define HOST_AGENTPARAMETER_H_

#include <list>
#include <string>

#include "host/VelInterfaces.h"

namespace qm {

// Tags naming the kind of a parameter. Each has its own type, so that a call
// like Create(0, _Integer) or Create(nullptr, _UnknownInterface) picks
// exactly one overload.
enum StringTag { _String };
enum IntegerTag { _Integer };
enum BooleanTag { _Boolean };
enum EntityListTag { _EntityList };
enum UnknownInterfaceTag { _UnknownInterface };

// One actual parameter of an agent call. Only the host makes and frees them.
class AgentParameter {
 public:
  // A text parameter holding a copy of `value` (null reads as "").
  static AgentParameter* Create(const char* value, StringTag tag);
  // An integer parameter.
  static AgentParameter* Create(long value, IntegerTag tag);
  // A boolean parameter.
  static AgentParameter* Create(bool value, BooleanTag tag);
  // An entity-list parameter bound to the caller's `value`: the host fills
  // that list in place; the caller keeps owning it.
  static AgentParameter* Create(EntityList& value, EntityListTag tag);
  // An interface parameter holding `value` (null allowed).
  static AgentParameter* Create(const IUnknown* value, UnknownInterfaceTag tag);

  // The text of a text parameter, owned by the parameter; never null for a
  // text parameter, may be null for other kinds.
  const char* GetString() const;
  // The value of an integer parameter.
  long GetInteger() const;
  // The value of an interface parameter, or null.
  IUnknown* GetUnknown() const;
  // Replaces the value with a copy of `value`.
  void Set(const char* value, StringTag tag);
  void Set(const std::string& value, StringTag tag);

  // Frees a parameter that no list holds, through the host's one release
  // path: it is handed to a list of its own, whose destructor releases it.
  // Inline (defined below), so that it needs no host operation of its own.
  // Should that list fail to take it (std::bad_alloc), the parameter is not
  // freed and the exception passes on.
  static void Release(AgentParameter* parameter);

  AgentParameter(const AgentParameter&) = delete;
  AgentParameter& operator=(const AgentParameter&) = delete;

 protected:
  AgentParameter() = default;
  ~AgentParameter() = default;
};

// The ordered parameter list of an agent call. Parameters are addressed by
// position; the list owns them and releases them when it is destroyed.
class AgentParameters : public std::list<AgentParameter*> {
 public:
  AgentParameters() = default;
  ~AgentParameters();
  AgentParameters(const AgentParameters&) = delete;
  AgentParameters& operator=(const AgentParameters&) = delete;
};

inline void AgentParameter::Release(AgentParameter* parameter) {
  AgentParameters owner;
  owner.push_back(parameter);
}

// Checks `parameters` against the agent declaration `declaration`. On a
// mismatch it puts a readable message into `messages` and answers false; the
// agent must then not proceed.
bool ValidateAgentActualParameters(IVelEntity* declaration, AgentParameters& parameters, bool flag,
                                   IVelMessageList* messages);

}  // namespace qm

#endif  // HOST_AGENTPARAMETER_H_
