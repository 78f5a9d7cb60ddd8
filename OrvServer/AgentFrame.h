// The agent frame: what every agent does on entry, how it reads and writes
// its parameters, and how it runs another agent of the host by its path.
//
// Positions are counted from 1, as the agents' parameter tables count them.
// Every read is bounds-checked: a position past the end of the list reads as
// an absent parameter, never past the list.
#ifndef ORVSERVER_AGENTFRAME_H_
#define ORVSERVER_AGENTFRAME_H_

#include <cstddef>
#include <string>

#include "host/AgentParameter.h"
#include "host/VelInterfaces.h"

namespace orv {

// Asks `object` for interface I; null when `object` is null or has none.
template <class I>
I* QueryAs(qm::IUnknown* object) {
  if (object == nullptr) return nullptr;
  void* result = nullptr;
  object->QueryInterface(I::guid, &result);
  return static_cast<I*>(result);
}

// The number of parameters in the list (walked and counted).
std::size_t CountParameters(qm::AgentParameters& parameters);

// The parameter at `position` (1 = first), or null when the list is shorter.
qm::AgentParameter* ParameterAt(qm::AgentParameters& parameters, std::size_t position);

// The text of parameter `position`, copied at once. An absent parameter or a
// null C string reads as "".
std::string ReadText(qm::AgentParameters& parameters, std::size_t position);

// Sets parameter `position` to `text` (tag _String) when the parameter exists.
void WriteText(qm::AgentParameters& parameters, std::size_t position, const std::string& text);

// The model of the context entity, or null when there is no context or no model.
qm::IVelModel* ModelOf(qm::IVelEntity* context);

// The message list behind the agent's access argument, or null when the
// argument is null or answers no qm::IVelModelAccess.
qm::IVelMessageList* MessageListOf(qm::IUnknown* access);

// Finds the agent's own declaration "@OrvServer@" + `agentName` and checks
// `parameters` against it with the host. False means the agent must return
// at once; the host has put its reasons into `messages`.
bool ValidateParameters(qm::IVelModel* model, const char* agentName, qm::AgentParameters& parameters,
                        qm::IVelMessageList* messages);

// The declaration of the host agent at `path` ("@Package@Name"), or null
// when the host has no such agent.
qm::IVelEntity* FindAgent(qm::IVelModel* model, const std::string& path);

// Appends a parameter made by qm::AgentParameter::Create to a list the agent
// built itself; the list releases it.
void Append(qm::AgentParameters& parameters, qm::AgentParameter* parameter);

}  // namespace orv

#endif  // ORVSERVER_AGENTFRAME_H_
