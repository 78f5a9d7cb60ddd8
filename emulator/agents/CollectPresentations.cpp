// "@VELDiagramAgents@CollectPresentations": the presentation elements that
// show an entity in some diagram.
//
// Parameters: (presentations: entity list, out).
//
// Appends every presentation element (a "PresentationElement" or a meta class
// derived from it) whose reference "ModelElement" is the context entity, in
// the order the references were made.
#include <vector>

#include "emulator/HostAgentCall.h"

namespace {

const char kPath[] = "@VELDiagramAgents@CollectPresentations";

void CollectPresentations(qmemu::HostAgentCall& call) {
  if (!qmemu::AcceptCall(call, kPath) || call.context == nullptr) return;
  qm::EntityList* presentations = qmemu::EntityListAt(call.parameters, 1);
  if (presentations == nullptr) return;
  for (const qmemu::Entity::Link& link : call.context->referrers()) {
    if (link.first == "ModelElement" && link.second->isKindOf("PresentationElement")) {
      presentations->push_back(link.second->asEntity());
    }
  }
}

const qmemu::HostAgentRegistration registration{kPath, CollectPresentations};

}  // namespace
