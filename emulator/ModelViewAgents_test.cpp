// Tests of the emulated host agents behind the model-view tree: which
// children and meta definitions a node gets, the node texts, the icons, the
// presentations, and the faults a model file can ask for.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"

namespace qmemu {
namespace {

const char kChildren[] = "@VELExtensionManagement@GetModelViewChildren";
const char kNodeInfo[] = "@VELExtensionManagement@GetModelViewNodeInfo";
const char kImageIndex[] = "@VELExtensionManagement@GetImageIndex";
const char kPresentations[] = "@VELDiagramAgents@CollectPresentations";

// A block with every kind of owned entity, attribute nodes and a diagram.
const char kModel[] = R"json({
  "root": {"guid": "ROOT", "name": "Plant", "children": [
    {"guid": "BLK", "meta": "Block", "name": "Pump",
     "lists": {"Parts": ["P1", "P2"], "ModelViewAttributes": ["MM-PARTS", "MM-EMPTY"]},
     "stereotypes": [{"apply": "@Predefined@trace"}],
     "children": [
       {"guid": "P1", "meta": "Part", "name": "p1"},
       {"guid": "DEP", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"}},
       {"guid": "SVG", "meta": "InstanceExpr", "values": {"InstanceOf": "ref:svg"}},
       {"guid": "P2", "meta": "Part", "name": "p2"}]},
    {"guid": "REQ", "meta": "Requirement", "name": "Flow", "values": {"ModelViewText": "Flow (text)"}},
    {"guid": "NAMELESS", "meta": "Comment"},
    {"guid": "EMPTY-TEXT", "meta": "Block", "name": "named", "values": {"ModelViewText": ""}},
    {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
      {"guid": "SYM-BLK", "meta": "Symbol", "refs": {"ModelElement": "BLK", "Diagram": "DIA"}},
      {"guid": "LINE-DEP", "meta": "Line", "refs": {"ModelElement": "DEP", "Diagram": "DIA"}},
      {"guid": "SYM-BLK-2", "meta": "FrameSymbol", "refs": {"ModelElement": "BLK", "Diagram": "DIA"}}]},
    {"guid": "NOTE", "meta": "Comment", "refs": {"ModelElement": "BLK"}}]},
  "entities": [
    {"guid": "MM-PARTS", "meta": "Attribute", "name": "Parts", "owner": "@MetaModel"},
    {"guid": "MM-EMPTY", "meta": "Attribute", "name": "Empty", "owner": "@MetaModel"},
    {"guid": "MM-PLAIN", "meta": "Definition", "name": "Parts", "owner": "@MetaModel"}],
  "hostData": {
    "icons": {"Block": "12", "Part": "15", "Requirement": " 7", "Comment": "x", "Diagram": "99999999999999999999"},
    "modelViewFaults": {"P1": "null-child:2", "REQ": "bogus"}
  }
})json";

class ModelViewAgentsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    std::string error;
    model_ = LoadModelText(text_, "view.json", error);
    ASSERT_NE(model_, nullptr) << error;
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  Entity* Get(const std::string& name) {
    Entity* e = model_->find(name);
    EXPECT_NE(e, nullptr) << name;
    return e;
  }

  // Parameters made as the host makes them, not counted.
  static void AddList(qm::AgentParameters& parameters, qm::EntityList& list) {
    auto* p = new ParameterValue(ParamKind::EntityList);
    p->list = &list;
    parameters.push_back(p);
  }
  static void AddEntity(qm::AgentParameters& parameters, Entity* entity) {
    auto* p = new ParameterValue(ParamKind::Interface);
    p->unknown = entity == nullptr ? nullptr : static_cast<qm::IVelEntity*>(entity);
    parameters.push_back(p);
  }

  static std::vector<std::string> Guids(const qm::EntityList& list) {
    std::vector<std::string> guids;
    for (qm::IVelEntity* e : list) guids.push_back(e == nullptr ? "null" : Entity::From(e)->guid());
    return guids;
  }

  // Runs the children agent on `parent`; answers "child/definition" per position.
  std::vector<std::string> Children(const std::string& parent, Entity* meta = nullptr, Entity* extra = nullptr,
                                    bool withExtra = false) {
    qm::EntityList children, definitions;
    qm::AgentParameters parameters;
    AddList(parameters, children);
    AddEntity(parameters, meta);
    AddList(parameters, definitions);
    if (withExtra || extra != nullptr) AddEntity(parameters, extra);
    model_->runAgent(Get(kChildren), Get(parent), parameters);
    std::vector<std::string> rows;
    const std::vector<std::string> c = Guids(children), d = Guids(definitions);
    for (std::size_t i = 0; i < c.size() || i < d.size(); ++i) {
      rows.push_back((i < c.size() ? c[i] : "-") + "/" + (i < d.size() ? d[i] : "-"));
    }
    return rows;
  }

  std::string Text(const std::string& entity, Entity* meta = nullptr) {
    qm::AgentParameters parameters;
    auto* text = new ParameterValue(ParamKind::Text);
    text->text = "before";
    parameters.push_back(text);
    AddEntity(parameters, meta);
    model_->runAgent(Get(kNodeInfo), Get(entity), parameters);
    return TextAt(parameters, 1);
  }

  long Icon(const std::string& entity) {
    qm::AgentParameters parameters;
    auto* index = new ParameterValue(ParamKind::Integer);
    index->integer = 5;
    parameters.push_back(index);
    model_->runAgent(Get(kImageIndex), Get(entity), parameters);
    return index->integer;
  }

  std::vector<std::string> Presentations(const std::string& entity) {
    qm::EntityList list;
    qm::AgentParameters parameters;
    AddList(parameters, list);
    model_->runAgent(Get(kPresentations), Get(entity), parameters);
    return Guids(list);
  }

  std::string text_ = kModel;
  std::unique_ptr<Model> model_;
};

typedef std::vector<std::string> Rows;

// ---------------------------------------------------------------------------
// @VELExtensionManagement@GetModelViewChildren

TEST_F(ModelViewAgentsTest, ChildrenAreShownOwnedEntitiesThenAttributeNodes) {
  // The stereotype application, the expression and no formal parameters or
  // symbols; then BLK itself once per attribute definition.
  EXPECT_EQ(Children("BLK"), (Rows{"P1/@MetaModel@Element", "DEP/@MetaModel@Element", "P2/@MetaModel@Element",
                                   "BLK/MM-PARTS", "BLK/MM-EMPTY"}));
  EXPECT_EQ(Children("DIA"), Rows{});
  EXPECT_EQ(Children("ROOT"), (Rows{"BLK/@MetaModel@Element", "REQ/@MetaModel@Element",
                                    "NAMELESS/@MetaModel@Element", "EMPTY-TEXT/@MetaModel@Element",
                                    "DIA/@MetaModel@Element", "NOTE/@MetaModel@Element"}));
}

TEST_F(ModelViewAgentsTest, AttributeDefinitionListsTheValuesOfThatList) {
  EXPECT_EQ(Children("BLK", Get("MM-PARTS")), (Rows{"P1/@MetaModel@Element", "P2/@MetaModel@Element"}));
  EXPECT_EQ(Children("BLK", Get("MM-EMPTY")), Rows{});
}

TEST_F(ModelViewAgentsTest, DefinitionThatIsNoAttributeIsIgnored) {
  EXPECT_EQ(Children("BLK", Get("MM-PLAIN")), Children("BLK"));
}

TEST_F(ModelViewAgentsTest, ExtraEntityNarrowsToThePathThatLeadsToIt) {
  EXPECT_EQ(Children("ROOT", nullptr, Get("P2")), Rows{"BLK/@MetaModel@Element"});
  EXPECT_EQ(Children("BLK", nullptr, Get("P2")),
            (Rows{"P2/@MetaModel@Element", "BLK/MM-PARTS", "BLK/MM-EMPTY"}));
  EXPECT_EQ(Children("P2", nullptr, Get("P2")), Rows{});
  EXPECT_EQ(Children("ROOT", nullptr, Get("MM-PARTS")), Rows{});
  // A null extra entity in the fourth position is no extra entity.
  EXPECT_EQ(Children("ROOT", nullptr, nullptr, true), Children("ROOT"));
}

TEST_F(ModelViewAgentsTest, ListsAreAppendedTo) {
  qm::EntityList children{nullptr}, definitions;
  qm::AgentParameters parameters;
  AddList(parameters, children);
  AddEntity(parameters, Get("MM-PARTS"));
  AddList(parameters, definitions);
  model_->runAgent(Get(kChildren), Get("BLK"), parameters);
  EXPECT_EQ(Guids(children), (Rows{"null", "P1", "P2"}));
  EXPECT_EQ(Guids(definitions), (Rows{"@MetaModel@Element", "@MetaModel@Element"}));
}

TEST_F(ModelViewAgentsTest, OmittedElementDefinitionGivesNullDefinitions) {
  // Without the element definition there is no package "@MetaModel" either.
  text_ = std::string(kModel).insert(1, R"("omit": ["@MetaModel@Element"],)");
  for (std::size_t at; (at = text_.find("\"@MetaModel\"")) != std::string::npos;) text_.replace(at, 12, "\"ROOT\"");
  SetUp();
  ASSERT_NE(model_, nullptr);
  EXPECT_EQ(Children("BLK", Get("MM-PARTS")), (Rows{"P1/null", "P2/null"}));
}

struct FaultRow {
  const char* faults;
  Rows answer;
};

TEST_F(ModelViewAgentsTest, FaultsSpoilTheAnswerOnDemand) {
  const FaultRow rows[] = {
      {"null-child:1", {"null/@MetaModel@Element", "P2/@MetaModel@Element"}},
      {"null-definition:2", {"P1/@MetaModel@Element", "P2/null"}},
      {"null-child:2 null-definition:1", {"P1/null", "null/@MetaModel@Element"}},
      {"drop-child", {"P1/@MetaModel@Element", "-/@MetaModel@Element"}},
      {"drop-definition", {"P1/@MetaModel@Element", "P2/-"}},
      {"drop-definition drop-definition", {"P1/-", "P2/-"}},
      {"drop-child drop-child drop-child", {"-/@MetaModel@Element", "-/@MetaModel@Element"}},
      {"  null-child:9  null-definition:3 ", {"P1/@MetaModel@Element", "P2/@MetaModel@Element"}},
  };
  for (const FaultRow& row : rows) {
    model_->hostData()["modelViewFaults"]["BLK"] = row.faults;
    EXPECT_EQ(Children("BLK", Get("MM-PARTS")), row.answer) << row.faults;
  }
  EXPECT_TRUE(model_->messages().Messages().empty());
}

TEST_F(ModelViewAgentsTest, UnknownFaultIsReportedAndIgnored) {
  EXPECT_EQ(Children("REQ"), Rows{});
  model_->hostData()["modelViewFaults"]["BLK"] = "null-child:0 null-child: drop-child";
  EXPECT_EQ(Children("BLK", Get("MM-PARTS")), (Rows{"P1/@MetaModel@Element", "-/@MetaModel@Element"}));
  EXPECT_EQ(model_->messages().Messages(),
            (std::vector<std::string>{"@VELExtensionManagement@GetModelViewChildren: unknown fault 'bogus' for REQ",
                                      "@VELExtensionManagement@GetModelViewChildren: unknown fault 'null-child:0' for BLK",
                                      "@VELExtensionManagement@GetModelViewChildren: unknown fault 'null-child:' for BLK"}));
}

TEST_F(ModelViewAgentsTest, FaultsApplyToTheirParentOnly) {
  EXPECT_EQ(Children("P1"), Rows{});  // no children: "null-child:2" has nothing to spoil
  EXPECT_EQ(Children("BLK", Get("MM-PARTS")), (Rows{"P1/@MetaModel@Element", "P2/@MetaModel@Element"}));
}

TEST_F(ModelViewAgentsTest, WrongParametersAreRefusedWithAMessage) {
  qm::EntityList children;
  qm::AgentParameters parameters;
  AddList(parameters, children);
  AddList(parameters, children);
  model_->runAgent(Get(kChildren), Get("BLK"), parameters);
  EXPECT_TRUE(children.empty());
  EXPECT_EQ(model_->messages().Messages(),
            std::vector<std::string>{"@VELExtensionManagement@GetModelViewChildren: expected 3 to 4 parameters, got 2"});
}

TEST_F(ModelViewAgentsTest, HostAgentsMakeNoCountedCalls) {
  Children("BLK");
  Text("BLK");
  Icon("BLK");
  Presentations("BLK");
  EXPECT_EQ(HostMonitor::Instance().Count(), 0u);
}

// ---------------------------------------------------------------------------
// @VELExtensionManagement@GetModelViewNodeInfo

TEST_F(ModelViewAgentsTest, NodeTextIsModelViewTextElseNameElseMetaClass) {
  EXPECT_EQ(Text("BLK"), "Pump");
  EXPECT_EQ(Text("REQ"), "Flow (text)");
  EXPECT_EQ(Text("EMPTY-TEXT"), "");
  EXPECT_EQ(Text("NAMELESS"), "Comment");
}

TEST_F(ModelViewAgentsTest, AttributeNodeShowsItsDefinitionsText) {
  EXPECT_EQ(Text("BLK", Get("MM-PARTS")), "Parts");
  EXPECT_EQ(Text("BLK", Get("@MetaModel@Element")), "Pump");
  EXPECT_EQ(Text("BLK", Get("MM-PLAIN")), "Pump");
}

// ---------------------------------------------------------------------------
// @VELExtensionManagement@GetImageIndex

TEST_F(ModelViewAgentsTest, IconIsTheEntryOfTheExactMetaClass) {
  EXPECT_EQ(Icon("BLK"), 12);
  EXPECT_EQ(Icon("P1"), 15);
  EXPECT_EQ(Icon("ROOT"), -1);  // no entry for "Model"
  EXPECT_EQ(Icon("DEP"), -1);
}

TEST_F(ModelViewAgentsTest, IconThatIsNoNumberInRangeIsMinusOne) {
  EXPECT_EQ(Icon("NAMELESS"), -1);  // "x"
  EXPECT_EQ(Icon("DIA"), -1);       // beyond long
  EXPECT_EQ(Icon("REQ"), -1);       // " 7": a blank before the digits
}

TEST_F(ModelViewAgentsTest, IconsBeyondIntReachThePlugInWhereLongIsWider) {
  model_->hostData()["icons"]["Block"] = "2147483648";
  if (sizeof(long) > 4) {
    EXPECT_EQ(Icon("BLK"), 2147483648L);
  } else {
    EXPECT_EQ(Icon("BLK"), -1);
  }
}

// ---------------------------------------------------------------------------
// @VELDiagramAgents@CollectPresentations

TEST_F(ModelViewAgentsTest, PresentationsArePresentationElementsShowingTheEntity) {
  EXPECT_EQ(Presentations("BLK"), (Rows{"SYM-BLK", "SYM-BLK-2"}));  // not the comment NOTE
  EXPECT_EQ(Presentations("DEP"), Rows{"LINE-DEP"});
  EXPECT_EQ(Presentations("DIA"), Rows{});  // referred to by "Diagram" only
  EXPECT_EQ(Presentations("REQ"), Rows{});
}

}  // namespace
}  // namespace qmemu
