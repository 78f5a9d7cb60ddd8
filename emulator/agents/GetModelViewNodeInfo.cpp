// "@VELExtensionManagement@GetModelViewNodeInfo": the display text of a node
// of the model-view tree.
//
// Parameters: (text: text, out), (metaDefinition: interface, the node's meta
// definition, may be null).
//
// The text is that of the meta definition when it is an "Attribute" (an
// attribute node shows the attribute's name), else that of the context
// entity. An entity's text is its value "ModelViewText" when it has one (even
// an empty one), else its "Name" when that is not empty, else the name of its
// meta class.
#include <string>
#include <vector>

#include "emulator/HostAgentCall.h"

namespace {

using qmemu::Entity;
using qmemu::ParamKind;

const char kPath[] = "@VELExtensionManagement@GetModelViewNodeInfo";

const std::string& TextOf(const Entity& entity) {
  if (entity.hasValue("ModelViewText")) return entity.value("ModelViewText");
  if (!entity.name().empty()) return entity.name();
  return entity.meta();
}

void GetModelViewNodeInfo(qmemu::HostAgentCall& call) {
  if (!qmemu::AcceptCall(call, kPath) || call.context == nullptr) return;
  const Entity* metaDefinition = qmemu::EntityAt(call.parameters, 2);
  const bool attributeNode = metaDefinition != nullptr && metaDefinition->isKindOf("Attribute");
  qmemu::SetTextAt(call.parameters, 1, TextOf(attributeNode ? *metaDefinition : *call.context));
}

const qmemu::HostAgentRegistration registration{kPath, GetModelViewNodeInfo};

}  // namespace
