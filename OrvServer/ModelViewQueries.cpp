#include "OrvServer/ModelViewQueries.h"

#include <climits>

#include "OrvServer/AgentFrame.h"
#include "Utils/StackRoom.h"

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

namespace {

// What one level of HasEntityChildren found out.
enum class ChildrenAnswer { kNone, kSome, kOutOfStack };

// HasEntityChildren, one level per call. Running out of stack ends the whole
// query, not only the level that ran out: a cyclic attribute structure would
// otherwise go on asking the host about the siblings of every level on the
// way back up, and the deepest levels have not been answered anyway.
ChildrenAnswer AskForChildren(qm::IVelEntity* entity, qm::IVelEntity* metaDefinition, qm::IVelEntity* extraEntity) {
  if (entity == nullptr) return ChildrenAnswer::kNone;
  if (!HasStackRoom()) return ChildrenAnswer::kOutOfStack;
  qm::IVelModel* model = entity->GetModel();
  if (model == nullptr) return ChildrenAnswer::kNone;
  qm::IVelEntity* agent = model->FindEntity(kModelViewChildrenAgentPath);
  if (agent == nullptr) return ChildrenAnswer::kNone;

  qm::EntityList children;
  qm::EntityList childMetaDefinitions;
  InvokeModelViewChildrenAgent(model, agent, entity, metaDefinition, extraEntity, children, childMetaDefinitions);
  if (children.size() != childMetaDefinitions.size()) return ChildrenAnswer::kNone;

  // One child that is not an attribute is enough, and is the common case:
  // look for it, by its definition alone, before recursing into any
  // attribute. A null definition says nothing about its child and is
  // skipped.
  for (qm::IVelEntity* definition : childMetaDefinitions) {
    if (definition != nullptr && !definition->IsKindOf("Attribute")) return ChildrenAnswer::kSome;
  }
  // Only attributes: an attribute counts only when it has children itself.
  auto child = children.begin();
  for (qm::IVelEntity* definition : childMetaDefinitions) {
    qm::IVelEntity* attribute = *child++;
    if (attribute == nullptr || definition == nullptr || !definition->IsKindOf("Attribute")) continue;
    const ChildrenAnswer answer = AskForChildren(attribute, definition, extraEntity);
    if (answer != ChildrenAnswer::kNone) return answer;
  }
  return ChildrenAnswer::kNone;
}

}  // namespace

bool HasEntityChildren(qm::IVelEntity* entity, qm::IVelEntity* metaDefinition, qm::IVelEntity* extraEntity) {
  // Out of stack is a failure of the query, and a failed query answers
  // false, as it does for a missing model or host agent.
  return AskForChildren(entity, metaDefinition, extraEntity) == ChildrenAnswer::kSome;
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
