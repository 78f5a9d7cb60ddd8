// "@OrvServer@GetDiagramFromModelElement" (diagram out: interface)
//
// A host-side agent in the plug-in's package: sets its one interface
// parameter to the diagram that presents the context entity, or to null when
// no diagram does. A diagram presents itself; a presentation element gives
// its "Diagram"; any other element is presented by the diagram of the first
// presentation element (in the order the references were made) whose
// "ModelElement" it is. The parameter is left alone when it is not an
// interface parameter.
#include "emulator/Entity.h"
#include "emulator/HostAgents.h"
#include "emulator/Model.h"

namespace qmemu {
namespace {

Entity* DiagramOf(Entity* element) {
  if (element == nullptr) return nullptr;
  if (element->isKindOf("Diagram")) return element;
  if (element->isKindOf("PresentationElement")) return element->reference("Diagram");
  for (const Entity::Link& link : element->referrers()) {
    if (link.first != "ModelElement" || !link.second->isKindOf("PresentationElement")) continue;
    Entity* diagram = link.second->reference("Diagram");
    if (diagram != nullptr) return diagram;
  }
  return nullptr;
}

void GetDiagramFromModelElement(HostAgentCall& call) {
  qm::AgentParameter* out = ParameterAt(call.parameters, 1);
  if (out == nullptr || ParameterValue::Of(*out).kind != ParamKind::Interface) return;
  Entity* diagram = DiagramOf(call.context);
  ParameterValue::Of(*out).unknown = diagram == nullptr ? nullptr : static_cast<qm::IUnknown*>(diagram->asEntity());
}

const HostAgentRegistration registration{"@OrvServer@GetDiagramFromModelElement", GetDiagramFromModelElement};

}  // namespace
}  // namespace qmemu
