#include "OrvServer/ModelViewQueries.h"

#include <climits>
#include <cstddef>
#include <deque>
#include <functional>
#include <new>
#include <unordered_set>

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

namespace {

// A node of the model-view tree as HasEntityChildren asks the host about it:
// an entity shown with a meta definition (null for the root's own node).
// The host's answer depends on the two (and on the extra entity, which one
// query never changes).
struct Node {
  qm::IVelEntity* entity;
  qm::IVelEntity* definition;
  bool operator==(const Node& other) const { return entity == other.entity && definition == other.definition; }
};

struct NodeHash {
  std::size_t operator()(const Node& node) const noexcept {
    const std::hash<const void*> hash;
    return hash(node.entity) ^ (hash(node.definition) * 31u);
  }
};

// How asking about one node went.
enum class Answer {
  kNone,    // no child worth showing
  kSome,    // a child that is no attribute: the whole query answers true
  kOpened,  // only attribute children: they are asked next, in order
  kEnd,     // a cycle or no memory: the whole query answers false
};

// One HasEntityChildren query. The documented recursion (one level per
// attribute child, depth first, true at the first child worth showing) runs
// here on a work stack on the heap, so depth is bounded by memory and not
// by the stack the host calls on. Two additions keep it finite:
// - A node that is asked again while it is still open (it lies on a cycle of
//   attribute children) ends the whole query with false. The recursion would
//   never end there, and it only gets there when nothing before it answered
//   true.
// - A node whose subtree answered no child worth showing is remembered and
//   not asked again in the same query (shared sub-definitions reached many
//   ways would otherwise cost time exponential in the depth). The host would
//   answer it the same way again, so the answer does not change; only the
//   repeated host calls are left out.
class ChildrenQuery {
 public:
  explicit ChildrenQuery(qm::IVelEntity* extraEntity) : extraEntity_(extraEntity) {}

  Answer Run(const Node& start) {
    const Answer first = Ask(start);
    if (first != Answer::kOpened) return first;
    while (!levels_.empty()) {
      Level& level = levels_.back();
      Node next{nullptr, nullptr};
      if (!NextAttributeChild(level, next)) {
        if (!Close()) return Answer::kEnd;
        continue;
      }
      if (without_.count(next) != 0) continue;
      if (open_.count(next) != 0) return Answer::kEnd;
      const Answer answer = Ask(next);
      if (answer == Answer::kNone) {
        if (!Remember(next)) return Answer::kEnd;
      } else if (answer != Answer::kOpened) {
        return answer;
      }
    }
    return Answer::kNone;
  }

 private:
  // An open node: its children and their definitions not yet asked, in step.
  struct Level {
    explicit Level(const Node& n) : node(n) {}
    Node node;
    qm::EntityList children;
    qm::EntityList definitions;
  };

  // One level of the documented recursion, up to the second pass.
  Answer Ask(const Node& node) {
    if (node.entity == nullptr) return Answer::kNone;
    qm::IVelModel* model = node.entity->GetModel();
    if (model == nullptr) return Answer::kNone;
    qm::IVelEntity* agent = model->FindEntity(kModelViewChildrenAgentPath);
    if (agent == nullptr) return Answer::kNone;
    if (!Open(node)) return Answer::kEnd;
    Level& level = levels_.back();
    InvokeModelViewChildrenAgent(model, agent, node.entity, node.definition, extraEntity_, level.children,
                                 level.definitions);
    if (level.children.size() != level.definitions.size()) return CloseAs(Answer::kNone);
    // One child that is not an attribute is enough, and is the common case:
    // look for it, by its definition alone, before asking about any
    // attribute. A null definition says nothing about its child.
    for (qm::IVelEntity* definition : level.definitions) {
      if (definition != nullptr && !definition->IsKindOf("Attribute")) return Answer::kSome;
    }
    return Answer::kOpened;
  }

  // Takes the next attribute child of `level` (skipping null children, null
  // definitions and definitions that are no "Attribute"); false when none is
  // left.
  static bool NextAttributeChild(Level& level, Node& next) {
    while (!level.definitions.empty()) {
      qm::IVelEntity* child = level.children.front();
      qm::IVelEntity* definition = level.definitions.front();
      level.children.pop_front();
      level.definitions.pop_front();
      if (child == nullptr || definition == nullptr || !definition->IsKindOf("Attribute")) continue;
      next = Node{child, definition};
      return true;
    }
    return false;
  }

  bool Open(const Node& node) noexcept {
    bool inserted = false;
    try {
      inserted = open_.insert(node).second;
      levels_.emplace_back(node);
      return true;
    } catch (const std::bad_alloc&) {
      if (inserted) open_.erase(node);
      return false;
    }
  }

  // Closes the innermost node, all of whose attribute children answered no.
  bool Close() noexcept {
    const Node node = levels_.back().node;
    open_.erase(node);
    levels_.pop_back();
    return Remember(node);
  }

  Answer CloseAs(Answer answer) noexcept {
    open_.erase(levels_.back().node);
    levels_.pop_back();
    return answer;
  }

  bool Remember(const Node& node) noexcept {
    try {
      without_.insert(node);
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  qm::IVelEntity* extraEntity_;
  std::deque<Level> levels_;  // innermost last; a deque keeps `Level&` valid while others are added
  std::unordered_set<Node, NodeHash> open_;
  std::unordered_set<Node, NodeHash> without_;
};

}  // namespace

bool HasEntityChildren(qm::IVelEntity* entity, qm::IVelEntity* metaDefinition, qm::IVelEntity* extraEntity) {
  // A cycle, or no memory for the query, is a failure of the query, and a
  // failed query answers false, as it does for a missing model or host agent.
  ChildrenQuery query(extraEntity);
  return query.Run(Node{entity, metaDefinition}) == Answer::kSome;
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
