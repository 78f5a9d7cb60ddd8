#include "testing/AttributeGraphHost.h"

#include <string>

#include "emulator/Parameters.h"

namespace orvtest {
namespace {

const char kChildrenAgentPath[] = "@VELExtensionManagement@GetModelViewChildren";

// An entity of the graph host: a node, a definition or the agent.
class GraphEntity final : public qm::IVelEntity {
 public:
  GraphEntity(qm::IVelModel* model, std::size_t* kindQuestions, bool attribute)
      : model_(model), kindQuestions_(kindQuestions), attribute_(attribute) {}

  qm::Status QueryInterface(const qm::InterfaceId&, void**) override { return 1; }
  qm::Status GetValue(const std::string&, std::string& value, int) override {
    value.clear();
    return 0;
  }
  qm::IVelEntity* GetReferencedEntity(const std::string&, int) override { return nullptr; }
  qm::Status GetEntities(const std::string&, qm::EntityList&) override { return 0; }
  qm::IVelEntity* GetEntity(const std::string&, int) override { return nullptr; }
  qm::IVelEntity* GetOwner() override { return nullptr; }
  qm::Status GetMetaClassName(std::string& name) override {
    name = attribute_ ? "Attribute" : "Element";
    return 0;
  }
  qm::Status GetReferencingEntities(const std::string&, qm::EntityList&) override { return 0; }
  qm::IVelEntity* QueryEntity(const std::string&, int) override { return nullptr; }
  bool IsKindOf(const std::string& metaClass) override {
    ++*kindQuestions_;
    return attribute_ && metaClass == "Attribute";
  }
  qm::Status SetValue(const std::string&, const std::string&, int, qmdll::Changer&) override { return 1; }
  qm::Status SetEntity(const std::string&, qm::IVelEntity*, int, qmdll::Changer&) override { return 1; }
  qm::Status DeleteEntity(qmdll::Changer&) override { return 1; }
  bool HasStereotype(const std::string&, int) override { return false; }
  qm::IVelModel* GetModel() override { return model_; }

  std::vector<std::pair<std::size_t, bool>> children;  // node index, shown as attribute

 private:
  qm::IVelModel* model_;
  std::size_t* kindQuestions_;
  bool attribute_;
};

}  // namespace

class AttributeGraphHost::Model final : public qm::IVelModel {
 public:
  explicit Model(std::size_t nodes)
      : agent_(this, &kindQuestions, false), attribute_(this, &kindQuestions, true),
        element_(this, &kindQuestions, false) {
    nodes_.reserve(nodes);
    for (std::size_t i = 0; i < nodes; ++i) nodes_.emplace_back(new GraphEntity(this, &kindQuestions, false));
  }

  qm::Status QueryInterface(const qm::InterfaceId&, void**) override { return 1; }
  qm::IVelEntity* FindEntity(const std::string& name) override {
    return name == kChildrenAgentPath ? &agent_ : nullptr;
  }
  qm::IVelEntity* CreateEntity(const std::string&) override { return nullptr; }
  qm::Status ParseExpressionText(const std::string&, qm::EntityList&, const std::string&) override { return 1; }
  qm::Status InvokeAgent(qm::IVelEntity* agent, qm::IVelEntity* context, qm::AgentParameters& parameters) override {
    if (agent != &agent_ || context == nullptr) return 1;
    ++childrenCalls;
    qm::AgentParameter* children = qmemu::ParameterAt(parameters, 1);
    qm::AgentParameter* definitions = qmemu::ParameterAt(parameters, 3);
    if (children == nullptr || definitions == nullptr) return 1;
    qm::EntityList* childList = qmemu::ParameterValue::Of(*children).list;
    qm::EntityList* definitionList = qmemu::ParameterValue::Of(*definitions).list;
    if (childList == nullptr || definitionList == nullptr) return 1;
    for (const auto& child : static_cast<GraphEntity*>(context)->children) {
      childList->push_back(nodes_[child.first].get());
      definitionList->push_back(child.second ? &attribute_ : &element_);
    }
    return 0;
  }

  GraphEntity* node(std::size_t index) { return nodes_[index].get(); }
  qm::IVelEntity* attribute() { return &attribute_; }

  std::size_t childrenCalls = 0;
  std::size_t kindQuestions = 0;

 private:
  GraphEntity agent_;
  GraphEntity attribute_;
  GraphEntity element_;
  std::vector<std::unique_ptr<GraphEntity>> nodes_;
};

AttributeGraphHost::AttributeGraphHost(std::size_t nodes) : model_(new Model(nodes)) {}
AttributeGraphHost::~AttributeGraphHost() = default;

void AttributeGraphHost::AddChild(std::size_t parent, std::size_t child, bool attribute) {
  model_->node(parent)->children.emplace_back(child, attribute);
}

qm::IVelEntity* AttributeGraphHost::Node(std::size_t index) { return model_->node(index); }
qm::IVelEntity* AttributeGraphHost::AttributeDefinition() { return model_->attribute(); }
std::size_t AttributeGraphHost::ChildrenCalls() const { return model_->childrenCalls; }
std::size_t AttributeGraphHost::KindQuestions() const { return model_->kindQuestions; }

}  // namespace orvtest
