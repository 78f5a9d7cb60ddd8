#include "OrvServer/ModelViewQueries.h"

#include <climits>

#include "OrvServer/AgentFrame.h"

const char kModelViewChildrenAgentPath[] = "@VELExtensionManagement@GetModelViewChildren";
const char kCollectPresentationsAgentPath[] = "@VELDiagramAgents@CollectPresentations";
const char kImageIndexAgentPath[] = "@VELExtensionManagement@GetImageIndex";

namespace {

// The host hands the index over as a long, which is wider than int where
// long has 64 bits. A value that does not fit is no index.
int NarrowIndex(long value) {
  if (value < static_cast<long>(INT_MIN) || value > static_cast<long>(INT_MAX)) return -1;
  return static_cast<int>(value);
}

}  // namespace

void InvokeModelViewChildrenAgent(qm::IVelModel* model, qm::IVelEntity* childrenAgent, qm::IVelEntity* entity,
                                  qm::IVelEntity* metaDefinition, qm::IVelEntity* extraEntity,
                                  qm::EntityList& children, qm::EntityList& childMetaDefinitions) {
  children.clear();
  childMetaDefinitions.clear();
  qm::AgentParameters parameters;
  orv::Append(parameters, qm::AgentParameter::Create(children, qm::_EntityList));
  orv::Append(parameters, qm::AgentParameter::Create(metaDefinition, qm::_UnknownInterface));
  orv::Append(parameters, qm::AgentParameter::Create(childMetaDefinitions, qm::_EntityList));
  if (extraEntity != nullptr) orv::Append(parameters, qm::AgentParameter::Create(extraEntity, qm::_UnknownInterface));
  model->InvokeAgent(childrenAgent, entity, parameters);
}

bool HasEntityChildren(qm::IVelEntity* entity, qm::IVelEntity* metaDefinition, qm::IVelEntity* extraEntity) {
  if (entity == nullptr) return false;
  qm::IVelModel* model = entity->GetModel();
  if (model == nullptr) return false;
  qm::IVelEntity* agent = model->FindEntity(kModelViewChildrenAgentPath);
  if (agent == nullptr) return false;

  qm::EntityList children;
  qm::EntityList childMetaDefinitions;
  InvokeModelViewChildrenAgent(model, agent, entity, metaDefinition, extraEntity, children, childMetaDefinitions);
  if (children.size() != childMetaDefinitions.size()) return false;

  // A position where the host gave a null child or definition is no node
  // (the agent skips it), so it counts for nothing in either pass.
  //
  // One child that is not an attribute is enough, and is the common case:
  // look for it before recursing into any attribute.
  auto child = children.begin();
  for (qm::IVelEntity* definition : childMetaDefinitions) {
    if (*child++ != nullptr && definition != nullptr && !definition->IsKindOf("Attribute")) return true;
  }
  // Only attributes: an attribute counts only when it has children itself.
  child = children.begin();
  for (qm::IVelEntity* definition : childMetaDefinitions) {
    qm::IVelEntity* attribute = *child++;
    if (attribute == nullptr || definition == nullptr) continue;
    if (definition->IsKindOf("Attribute") && HasEntityChildren(attribute, definition, extraEntity)) return true;
  }
  return false;
}

bool HasEntityPresentations(qm::IVelEntity* entity) {
  qm::EntityList presentations;
  if (entity == nullptr) return false;
  qm::IVelModel* model = entity->GetModel();
  if (model == nullptr) return false;

  qm::IVelEntity* agent = model->FindEntity(kCollectPresentationsAgentPath);
  if (agent != nullptr) {
    qm::AgentParameters parameters;
    orv::Append(parameters, qm::AgentParameter::Create(presentations, qm::_EntityList));
    model->InvokeAgent(agent, entity, parameters);
  } else {
    qm::EntityList referrers;
    entity->GetReferencingEntities("", referrers);
    for (qm::IVelEntity* referrer : referrers) {
      if (referrer != nullptr && referrer->IsKindOf("PresentationElement")) presentations.push_back(referrer);
    }
  }
  return !presentations.empty();
}

int GetImageIndex(qm::IVelEntity* entity, qm::IVelEntity* context) {
  if (entity == nullptr || context != nullptr) return -1;
  qm::IVelModel* model = entity->GetModel();
  if (model == nullptr) return -1;
  qm::IVelEntity* agent = model->FindEntity(kImageIndexAgentPath);
  if (agent == nullptr) return -1;

  qm::AgentParameters parameters;
  qm::AgentParameter* index = qm::AgentParameter::Create(0L, qm::_Integer);
  orv::Append(parameters, index);
  try {
    model->InvokeAgent(agent, entity, parameters);
    return NarrowIndex(index->GetInteger());
  } catch (...) {
    return -1;  // the list releases the parameter on the way out
  }
}
