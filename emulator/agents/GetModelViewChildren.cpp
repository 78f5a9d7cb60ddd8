// "@VELExtensionManagement@GetModelViewChildren": the children of a node of
// the model-view tree, each with its meta definition.
//
// Parameters: (children: entity list, out), (metaDefinition: interface, the
// parent node's meta definition, may be null), (childMetaDefinitions: entity
// list, out, parallel to the children), (extraEntity: interface, optional).
//
// What the emulated host answers (docs/model-format.md, "Model view"):
// - With no meta definition, or one that is not an "Attribute": the context
//   entity's owned entities in order, except expressions, formal parameters
//   and presentation elements, each with the meta definition
//   "@MetaModel@Element"; then the context entity itself once per attribute
//   definition in its list "ModelViewAttributes", with that definition (its
//   attribute nodes).
// - With an attribute definition: the entities of the context entity's list
//   property named by the definition's "Name", each with "@MetaModel@Element".
// - An extra entity narrows the answer to the children that are the extra
//   entity or own it, directly or not.
// - The host-data table "modelViewFaults", keyed by the context entity's
//   GUID, spoils the answer on purpose (see ApplyFaults).
// Both lists are appended to, as the host fills lists.
#include <cstdlib>
#include <string>
#include <vector>

#include "emulator/HostAgentCall.h"

namespace {

using qmemu::Entity;
using qmemu::FormalParameter;
using qmemu::Model;
using qmemu::ParamKind;

const char kPath[] = "@VELExtensionManagement@GetModelViewChildren";
const char kElementDefinition[] = "@MetaModel@Element";

// The two answered lists, position by position.
struct Answer {
  std::vector<Entity*> children;
  std::vector<Entity*> definitions;
  void Add(Entity* child, Entity* definition) {
    children.push_back(child);
    definitions.push_back(definition);
  }
};

// Owned entities that are not nodes of their own: stereotype applications
// and other expressions, formal parameters, diagram symbols and lines.
bool IsShown(const Entity& entity) {
  return !entity.isKindOf("Expression") && !entity.isKindOf("FormalParameter") &&
         !entity.isKindOf("PresentationElement");
}

Answer ListChildren(Model& model, Entity& parent, const Entity* metaDefinition) {
  Answer answer;
  Entity* element = model.find(kElementDefinition);  // null when the model omits it
  if (metaDefinition != nullptr && metaDefinition->isKindOf("Attribute")) {
    for (Entity* value : parent.list(metaDefinition->name())) answer.Add(value, element);
    return answer;
  }
  for (const auto& owned : parent.owned()) {
    if (IsShown(*owned)) answer.Add(owned.get(), element);
  }
  for (Entity* attribute : parent.list("ModelViewAttributes")) answer.Add(&parent, attribute);
  return answer;
}

// True when `candidate` is `extra` or one of its owners.
bool LeadsTo(const Entity* candidate, const Entity* extra) {
  for (const Entity* e = extra; e != nullptr; e = e->owner()) {
    if (e == candidate) return true;
  }
  return false;
}

Answer KeepPathTo(const Answer& all, const Entity* extra) {
  Answer kept;
  for (std::size_t i = 0; i < all.children.size(); ++i) {
    if (LeadsTo(all.children[i], extra)) kept.Add(all.children[i], all.definitions[i]);
  }
  return kept;
}

// Reads the position N of "word:N" (1-based); 0 when `text` is not that form.
std::size_t PositionAfter(const std::string& text, const std::string& word) {
  const std::string prefix = word + ":";
  if (text.compare(0, prefix.size(), prefix) != 0 || text.size() == prefix.size()) return 0;
  std::size_t n = 0;
  for (std::size_t i = prefix.size(); i < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9' || n > 100000000) return 0;
    n = n * 10 + static_cast<std::size_t>(text[i] - '0');
  }
  return n;
}

void SetNull(std::vector<Entity*>& list, std::size_t position) {
  if (position >= 1 && position <= list.size()) list[position - 1] = nullptr;
}

// The faults the model file asks for on `parent`, blank-separated:
//   "null-child:N"       the N-th child is answered as null
//   "null-definition:N"  the N-th meta definition is answered as null
//   "drop-child"         the last child is left out (one child too few)
//   "drop-definition"    the last meta definition is left out
// An unknown word goes into the model's messages and is otherwise ignored.
void ApplyFaults(Model& model, const Entity& parent, Answer& answer) {
  const std::map<std::string, std::string>* faults = qmemu::HostTable(model, "modelViewFaults");
  if (faults == nullptr) return;
  auto entry = faults->find(parent.guid());
  if (entry == faults->end()) return;
  std::string words = entry->second + " ";
  std::size_t start = 0;
  for (std::size_t blank = words.find(' '); blank != std::string::npos; blank = words.find(' ', start)) {
    const std::string word = words.substr(start, blank - start);
    start = blank + 1;
    if (word.empty()) continue;
    if (std::size_t n = PositionAfter(word, "null-child")) {
      SetNull(answer.children, n);
    } else if (std::size_t m = PositionAfter(word, "null-definition")) {
      SetNull(answer.definitions, m);
    } else if (word == "drop-child") {
      if (!answer.children.empty()) answer.children.pop_back();
    } else if (word == "drop-definition") {
      if (!answer.definitions.empty()) answer.definitions.pop_back();
    } else {
      model.messages().Add(std::string(kPath) + ": unknown fault '" + word + "' for " + parent.guid());
    }
  }
}

void Append(qm::EntityList& list, const std::vector<Entity*>& entities) {
  for (Entity* e : entities) list.push_back(e == nullptr ? nullptr : e->asEntity());
}

void GetModelViewChildren(qmemu::HostAgentCall& call) {
  if (!qmemu::AcceptCall(call, kPath) || call.context == nullptr) return;
  qm::EntityList* children = qmemu::EntityListAt(call.parameters, 1);
  qm::EntityList* definitions = qmemu::EntityListAt(call.parameters, 3);
  if (children == nullptr || definitions == nullptr) return;
  const Entity* metaDefinition = qmemu::EntityAt(call.parameters, 2);
  const Entity* extra = qmemu::EntityAt(call.parameters, 4);

  Answer answer = ListChildren(call.model, *call.context, metaDefinition);
  if (extra != nullptr) answer = KeepPathTo(answer, extra);
  ApplyFaults(call.model, *call.context, answer);
  Append(*children, answer.children);
  Append(*definitions, answer.definitions);
}

const qmemu::HostAgentRegistration registration{kPath, GetModelViewChildren};

}  // namespace
