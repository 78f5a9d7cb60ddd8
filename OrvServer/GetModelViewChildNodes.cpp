// GetModelViewChildNodes: the child nodes of a node of the client's model
// explorer as one line of JSON, or, for an empty parent GUID, the model's
// root node. The client fills its tree lazily with it, one expansion a call.
//
// Parameters: 1 parent GUID (text, "" asks for the root), 2 the parent's
// meta definition GUID (text, may be ""), 3 the JSON answer (out), 4 the
// error message (out), 5 optional: GUID of an extra entity that is handed on
// to the host's children agent.
//
// The answer is an array with one object per node and seven string pairs
// each: "text", "hasChildren", "visual", "icon", "metaclassType",
// "modelguid", "metaguid". An attribute node (its meta definition is an
// "Attribute") carries the definition's GUID as "metaguid", which the client
// sends back as parameter 2 to expand it.
#include <list>
#include <memory>
#include <string>

#include "JasonParser/JasonTree.h"
#include "OrvServer/AgentFrame.h"
#include "OrvServer/ModelViewQueries.h"
#include "Utils/ConvertIntToString.h"
#include "host/Agent.h"

namespace {

const char kAgentName[] = "GetModelViewChildNodes";
const char kNodeInfoAgentPath[] = "@VELExtensionManagement@GetModelViewNodeInfo";

// Parameter positions.
const std::size_t kParentGuid = 1;
const std::size_t kParentMetaGuid = 2;
const std::size_t kAnswer = 3;
const std::size_t kError = 4;
const std::size_t kExtraGuid = 5;

// The messages, byte for byte as the client knows them.
const char kNoNodeInfoAgent[] = "Failed to find GetModelViewNodeInfo agent";
const char kNoChildrenAgent[] = "Failed to find GetModelViewChildrenAgent agent";
const char kNoParent[] = "Failed to find parent entity.";
const char kDefinitionsMismatch[] = "Failed to find meta definitions for all of the children.";
const char kInternalError[] = "Internal error (GetModelViewChildNodes).";

// One answered node.
struct ModelEntity {
  std::string text;       // display text from the host's node-info agent
  std::string modelGuid;  // the node entity's "Guid"
  std::string meta;       // meta-class name, or for an attribute node its definition's "Guid"
  bool metaIsGuid = false;  // true for an attribute node: says which of the two `meta` holds
  bool visual = false;      // shown in some diagram
  bool hasChildren = false;
  int icon = -1;  // -1 for attribute nodes
};

// The nodes in the order the host answered them; the list owns them.
typedef std::list<std::unique_ptr<ModelEntity>> ModelEntityList;

// What one agent call works with.
struct Request {
  qm::IVelModel* model;
  qm::IVelEntity* nodeInfoAgent;
  qm::IVelEntity* extraEntity;  // may be null
};

// Fills `text` with the display text the host's node-info agent gives
// `entity` shown with `metaDefinition` (null for the root). An empty answer
// is an empty text.
void GetModelViewNodeText(qm::IVelModel* model, qm::IVelEntity* entity, qm::IVelEntity* metaDefinition,
                          qm::IVelEntity* nodeInfoAgent, std::string& text) {
  qm::AgentParameters parameters;
  orv::Append(parameters, qm::AgentParameter::Create("", qm::_String));
  orv::Append(parameters, qm::AgentParameter::Create(metaDefinition, qm::_UnknownInterface));
  model->InvokeAgent(nodeInfoAgent, entity, parameters);
  text = orv::ReadText(parameters, 1);
}

std::string GuidOf(qm::IVelEntity* entity) {
  std::string guid;
  entity->GetValue("Guid", guid, 0);
  return guid;
}

// An ordinary node: meta class, presentations, children and icon of `entity`.
void DescribeOrdinaryNode(const Request& request, qm::IVelEntity* entity, ModelEntity& node) {
  entity->GetMetaClassName(node.meta);
  node.visual = HasEntityPresentations(entity);
  node.hasChildren = HasEntityChildren(entity, nullptr, request.extraEntity);
  node.icon = GetImageIndex(entity, nullptr);
  node.metaIsGuid = false;
}

void CollectRootNode(const Request& request, ModelEntityList& nodes) {
  qm::IVelEntity* root = orv::QueryAs<qm::IVelEntity>(request.model);
  if (root == nullptr) return;  // a model without a root entity has no nodes
  std::unique_ptr<ModelEntity> node(new ModelEntity);
  GetModelViewNodeText(request.model, root, nullptr, request.nodeInfoAgent, node->text);
  node->modelGuid = GuidOf(root);
  DescribeOrdinaryNode(request, root, *node);
  nodes.push_back(std::move(node));
}

// Adds the node of `child` shown with `definition`. An attribute node is
// added only when it has children: empty attribute nodes are left out.
void CollectChildNode(const Request& request, qm::IVelEntity* child, qm::IVelEntity* definition,
                      ModelEntityList& nodes) {
  std::unique_ptr<ModelEntity> node(new ModelEntity);
  GetModelViewNodeText(request.model, child, definition, request.nodeInfoAgent, node->text);
  const bool attribute = definition->IsKindOf("Attribute");
  node->modelGuid = GuidOf(child);
  if (!attribute) {
    DescribeOrdinaryNode(request, child, *node);
    nodes.push_back(std::move(node));
    return;
  }
  node->meta = GuidOf(definition);
  node->visual = HasEntityPresentations(child);
  node->hasChildren = HasEntityChildren(child, request.model->FindEntity(node->meta), request.extraEntity);
  if (!node->hasChildren) return;
  node->metaIsGuid = true;
  node->icon = -1;
  nodes.push_back(std::move(node));
}

// Fills `nodes` with the children of the node (`parentGuid`,
// `parentMetaGuid`). Returns null, or the message for parameter 4.
const char* CollectChildNodes(const Request& request, const std::string& parentGuid,
                              const std::string& parentMetaGuid, ModelEntityList& nodes) {
  qm::IVelEntity* childrenAgent = orv::FindAgent(request.model, kModelViewChildrenAgentPath);
  if (childrenAgent == nullptr) return kNoChildrenAgent;
  qm::IVelEntity* parent = request.model->FindEntity(parentGuid);
  qm::IVelEntity* parentMeta = parentMetaGuid.empty() ? nullptr : request.model->FindEntity(parentMetaGuid);
  if (parent == nullptr) return kNoParent;

  qm::EntityList children;
  qm::EntityList definitions;
  InvokeModelViewChildrenAgent(request.model, childrenAgent, parent, parentMeta, request.extraEntity, children,
                               definitions);
  if (children.size() != definitions.size()) return kDefinitionsMismatch;
  auto definition = definitions.begin();
  for (qm::IVelEntity* child : children) {
    qm::IVelEntity* childDefinition = *definition++;
    if (child != nullptr && childDefinition != nullptr) CollectChildNode(request, child, childDefinition, nodes);
  }
  return nullptr;
}

// Appends the pair (`name`, `value`) to `object`, which then owns it.
void AppendPair(CJasonTreeObject& object, const char* name, const std::string& value) {
  std::unique_ptr<CJasonTreePair> pair(CreatePairFromStrings(name, value));
  object.pairs.push_back(pair.get());
  pair.release();
}

// Encodes `nodes` as one compact line: an array of objects with seven
// string pairs each, in a fixed order.
void EncodeChildren(const ModelEntityList& nodes, std::string& out) {
  out = "";
  std::unique_ptr<CJasonTreeArray> array(new CJasonTreeArray);
  for (const std::unique_ptr<ModelEntity>& node : nodes) {
    std::unique_ptr<CJasonTreeObject> owned(new CJasonTreeObject);
    CJasonTreeObject& object = *owned;
    array->values.push_back(owned.get());
    owned.release();
    AppendPair(object, "text", node->text);
    AppendPair(object, "hasChildren", node->hasChildren ? "yes" : "no");
    AppendPair(object, "visual", node->visual ? "yes" : "no");
    AppendPair(object, "icon", ConvertIntToString(node->icon));
    AppendPair(object, "metaclassType", node->metaIsGuid ? std::string() : node->meta);
    AppendPair(object, "modelguid", node->modelGuid);
    AppendPair(object, "metaguid", node->metaIsGuid ? node->meta : std::string());
  }
  EncodeWholeOrThrow(*array, out, true, 0);
}

void Answer(qm::IVelEntity* context, qm::IUnknown* access, qm::AgentParameters& parameters) {
  qm::IVelMessageList* messages = orv::MessageListOf(access);
  if (messages == nullptr) return;
  qm::IVelModel* model = orv::ModelOf(context);
  if (model == nullptr) return;
  if (!orv::ValidateParameters(model, kAgentName, parameters, messages)) return;

  const std::string parentGuid = orv::ReadText(parameters, kParentGuid);
  const std::string parentMetaGuid = orv::ReadText(parameters, kParentMetaGuid);
  Request request{model, nullptr, nullptr};
  if (orv::ParameterAt(parameters, kExtraGuid) != nullptr) {
    const std::string extraGuid = orv::ReadText(parameters, kExtraGuid);
    if (!extraGuid.empty()) request.extraEntity = model->FindEntity(extraGuid);
  }
  request.nodeInfoAgent = orv::FindAgent(model, kNodeInfoAgentPath);
  if (request.nodeInfoAgent == nullptr) {
    orv::WriteText(parameters, kError, kNoNodeInfoAgent);
    return;
  }

  ModelEntityList nodes;
  if (parentGuid.empty()) {
    CollectRootNode(request, nodes);
  } else if (const char* failure = CollectChildNodes(request, parentGuid, parentMetaGuid, nodes)) {
    orv::WriteText(parameters, kError, failure);
    return;
  }
  std::string answer;
  EncodeChildren(nodes, answer);
  nodes.clear();
  orv::WriteText(parameters, kAnswer, answer);
}

}  // namespace

extern "C" void GetModelViewChildNodes(void*, void*, qm::IVelEntity* context, qm::IUnknown* access,
                                       qm::AgentParameters& parameters) {
  try {
    Answer(context, access, parameters);
  } catch (...) {
    // The message itself goes through the host; should that throw too, the
    // agent still returns normally.
    try {
      orv::WriteText(parameters, kError, kInternalError);
    } catch (...) {
    }
  }
}
