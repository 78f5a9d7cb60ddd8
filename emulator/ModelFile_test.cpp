// Tests of the model-file loader: every key and value form as it appears in
// the model, every error message, and the bundled example model.
#include "emulator/ModelFile.h"

#include "emulator/AgentTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "emulator/HostAgents.h"
#include "emulator/HostMonitor.h"

namespace qmemu {
namespace {

const std::string kTestData = std::string(ORV_SOURCE_DIR) + "/emulator/testdata/";

class ModelFileTest : public ::testing::Test {
 protected:
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Loads `text`, which must be a good model.
  static std::unique_ptr<Model> Load(const std::string& text) {
    std::string error = "not cleared";
    std::unique_ptr<Model> model = LoadModelText(text, "model.json", error);
    EXPECT_EQ(error, "");
    EXPECT_NE(model, nullptr);
    return model;
  }

  // Loads `text`, which must be refused; returns the message.
  static std::string Refuse(const std::string& text) {
    std::string error;
    std::unique_ptr<Model> model = LoadModelText(text, "model.json", error);
    EXPECT_EQ(model, nullptr);
    return error;
  }
};

// The entity with GUID or path `name`; fails the test when there is none.
Entity& Get(Model& model, const std::string& name) {
  Entity* entity = model.find(name);
  EXPECT_NE(entity, nullptr) << name;
  if (entity == nullptr) throw std::runtime_error("no entity " + name);
  return *entity;
}

std::vector<std::string> Guids(const qm::EntityList& entities) {
  std::vector<std::string> guids;
  for (qm::IVelEntity* e : entities) guids.push_back(Entity::From(e)->guid());
  return guids;
}

std::vector<std::string> Guids(const std::vector<Entity*>& entities) {
  std::vector<std::string> guids;
  for (Entity* e : entities) guids.push_back(e->guid());
  return guids;
}

// ---------------------------------------------------------------------------
// Top-level keys

TEST_F(ModelFileTest, MinimalFileGivesRootModelAndPredefinedLibrary) {
  auto model = Load(R"({"root": {}})");
  EXPECT_EQ(model->root().guid(), "model-root");
  EXPECT_EQ(model->root().meta(), "Model");
  for (const std::string& path : PredefinedPaths()) EXPECT_NE(model->FindEntity(path), nullptr) << path;
  for (const AgentEntry& agent : AgentTable()) EXPECT_NE(model->FindEntity(agent.path), nullptr) << agent.path;
  for (const HostAgentInfo& agent : HostAgents()) EXPECT_NE(model->FindEntity(agent.path), nullptr) << agent.path;
}

TEST_F(ModelFileTest, FormatKeyNamesTheFormat) {
  auto model = Load(R"({"format": "orv-model/1", "root": {"name": "Station"}})");
  EXPECT_EQ(model->root().name(), "Station");
  EXPECT_STREQ(kModelFileFormat, "orv-model/1");
}

TEST_F(ModelFileTest, RootTakesGuidMetaAndName) {
  auto model = Load(R"({"root": {"guid": "PLANT", "meta": "Package", "name": "Pump station"}})");
  EXPECT_EQ(model->root().guid(), "PLANT");
  EXPECT_EQ(model->root().meta(), "Package");
  EXPECT_EQ(model->root().name(), "Pump station");
  EXPECT_EQ(model->FindEntity("PLANT"), model->root().asEntity());
}

TEST_F(ModelFileTest, MetaClassesAreDefinedInFileOrderOnTopOfTheStandardTable) {
  auto model = Load(R"({
    "metaClasses": {"Plant": ["Model"], "Pump": ["Block"], "CentrifugalPump": ["Pump", "Comment"]},
    "root": {"meta": "Plant", "children": [{"guid": "P1", "meta": "CentrifugalPump"}]}})");
  EXPECT_EQ(model->root().meta(), "Plant");
  EXPECT_TRUE(model->root().IsKindOf("Package"));
  qm::IVelEntity* pump = model->FindEntity("P1");
  ASSERT_NE(pump, nullptr);
  for (const char* base : {"CentrifugalPump", "Pump", "Block", "Definition", "Comment", "PersistentEntity"}) {
    EXPECT_TRUE(pump->IsKindOf(base)) << base;
  }
  EXPECT_FALSE(pump->IsKindOf("Requirement"));
}

TEST_F(ModelFileTest, ListPropertiesAreRegistered) {
  auto model = Load(R"({"listProperties": ["Owners", "Ports"], "root": {}})");
  EXPECT_TRUE(model->metaClasses().IsListProperty("Owners"));
  EXPECT_TRUE(model->metaClasses().IsListProperty("Ports"));
  EXPECT_TRUE(model->metaClasses().IsListProperty("Expression"));
  EXPECT_FALSE(model->metaClasses().IsListProperty("Supplier"));
}

TEST_F(ModelFileTest, OmittedEntitiesAndDeclarationsAreNotFound) {
  std::vector<std::string> omitted = {"@Predefined@ExternalObject", "@Predefined@deriveReqt", "@VELLinks@HYPERLINK",
                                      "@OrvServer@GetNativeLinkInformation"};
  for (const HostAgentInfo& agent : HostAgents()) omitted.push_back(agent.path);
  std::string list;
  for (const std::string& path : omitted) list += (list.empty() ? "\"" : ", \"") + path + "\"";
  auto model = Load(R"({"omit": [)" + list + R"(], "root": {}})");
  for (const std::string& path : omitted) EXPECT_EQ(model->FindEntity(path), nullptr) << path;
  EXPECT_NE(model->FindEntity("@Predefined@trace"), nullptr);
  EXPECT_NE(model->FindEntity("@OrvServer@GetModelViewChildNodes"), nullptr);
}

TEST_F(ModelFileTest, AnOmittedPredefinedGuidMayBeUsedByTheModel) {
  auto model = Load(R"({"omit": ["@Predefined@ExternalObject"],
    "root": {"children": [{"guid": "@Predefined@ExternalObject", "meta": "Block", "name": "Impostor"}]}})");
  EXPECT_EQ(Get(*model, "@Predefined@ExternalObject").meta(), "Block");
}

TEST_F(ModelFileTest, HostDataIsCopied) {
  auto model = Load(R"({"root": {}, "hostData": {"icons": {"Block": "12", "Requirement": "7"}, "empty": {}}})");
  auto& data = model->hostData();
  ASSERT_EQ(data.size(), 2u);
  EXPECT_EQ(data["icons"]["Block"], "12");
  EXPECT_EQ(data["icons"]["Requirement"], "7");
  EXPECT_TRUE(data["empty"].empty());
}

TEST_F(ModelFileTest, TopLevelKeysMayComeInAnyOrder) {
  auto model = Load(R"({"root": {"meta": "Plant", "lists": {"Owners": []}},
    "hostData": {}, "metaClasses": {"Plant": ["Model"]}, "format": "orv-model/1"})");
  EXPECT_EQ(model->root().meta(), "Plant");
}

// ---------------------------------------------------------------------------
// Entity keys

TEST_F(ModelFileTest, ChildrenAreOwnedInFileOrder) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "PKG", "meta": "Package", "name": "Pumps", "children": [
      {"guid": "B1", "meta": "Block", "name": "Motor"},
      {"guid": "B2", "meta": "Block", "name": "Impeller"}]},
    {"guid": "R1", "meta": "Requirement"}]}})");
  Entity& pkg = Get(*model, "PKG");
  EXPECT_EQ(pkg.owner(), &model->root());
  EXPECT_EQ(Entity::From(model->FindEntity("B1")->GetOwner()), &pkg);
  ASSERT_EQ(pkg.owned().size(), 2u);
  EXPECT_EQ(pkg.owned()[0]->guid(), "B1");
  EXPECT_EQ(pkg.owned()[1]->guid(), "B2");
  EXPECT_EQ(Get(*model, "R1").owner(), &model->root());
  std::string meta;
  model->FindEntity("B2")->GetMetaClassName(meta);
  EXPECT_EQ(meta, "Block");
}

TEST_F(ModelFileTest, MissingGuidsAreGeneratedAndFound) {
  auto model = Load(R"({"root": {"children": [{"meta": "Block"}, {"meta": "Block"}]}})");
  const auto& owned = model->root().owned();
  ASSERT_EQ(owned.size(), 2u);
  EXPECT_FALSE(owned[0]->guid().empty());
  EXPECT_NE(owned[0]->guid(), owned[1]->guid());
  EXPECT_EQ(model->FindEntity(owned[1]->guid()), owned[1]->asEntity());
}

TEST_F(ModelFileTest, GuidsResemblingGeneratedOnesAreAllowedUnlessAllDigits) {
  auto model = Load(R"({"root": {"children": [{"meta": "Block"}, {"guid": "emu-", "meta": "Block"},
    {"guid": "emu-1a", "meta": "Block"}, {"guid": "EMU-1", "meta": "Block"}, {"guid": "emu--1", "meta": "Block"}]}})");
  for (const char* guid : {"emu-", "emu-1a", "EMU-1", "emu--1"}) EXPECT_EQ(Get(*model, guid).meta(), "Block");
}

TEST_F(ModelFileTest, ValuesSetTextPropertiesAsWritten) {
  auto model = Load(R"({"root": {"children": [{"guid": "S1", "meta": "Symbol",
    "values": {"Position": "1000 500", "Size": "300 200", "Label": "say \"hi\"\tnow", "Empty": ""}}]}})");
  qm::IVelEntity* symbol = model->FindEntity("S1");
  std::string text;
  symbol->GetValue("Position", text, 0);
  EXPECT_EQ(text, "1000 500");
  symbol->GetValue("Size", text, 0);
  EXPECT_EQ(text, "300 200");
  symbol->GetValue("Label", text, 0);
  EXPECT_EQ(text, "say \"hi\"\tnow");
  EXPECT_TRUE(Get(*model, "S1").hasValue("Empty"));
}

TEST_F(ModelFileTest, NameWithQuoteAndControlCharacterIsKept) {
  auto model = Load(R"({"root": {"children": [{"guid": "B", "meta": "Block", "name": "12\" valve\u0001\n"}]}})");
  std::string name;
  model->FindEntity("B")->GetValue("Name", name, 0);
  EXPECT_EQ(name, std::string("12\" valve\x01\n"));
}

TEST_F(ModelFileTest, UnboundReferenceIsAPlainValue) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "I", "meta": "InstanceExpr", "values": {"InstanceOf": "ref:boundaryrect"}}]}})");
  Entity& instance = Get(*model, "I");
  EXPECT_EQ(instance.value("InstanceOf"), "ref:boundaryrect");
  EXPECT_EQ(instance.GetEntity("InstanceOf", 0), nullptr);
}

TEST_F(ModelFileTest, RefsResolveByGuidOrPathAfterEveryEntityExists) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "D1", "meta": "Dependency", "refs": {"Supplier": "R1", "NonOwningClient": "@Pumps@Motor"}},
    {"guid": "PKG", "meta": "Package", "name": "Pumps", "children": [{"guid": "B1", "meta": "Block", "name": "Motor"}]},
    {"guid": "R1", "meta": "Requirement"}]}})");
  qm::IVelEntity* dependency = model->FindEntity("D1");
  EXPECT_EQ(dependency->GetReferencedEntity("Supplier", 0), model->FindEntity("R1"));
  EXPECT_EQ(dependency->GetReferencedEntity("NonOwningClient", 0), model->FindEntity("B1"));
  qm::EntityList suppliers;
  model->FindEntity("R1")->GetReferencingEntities("Supplier", suppliers);
  EXPECT_EQ(Guids(suppliers), std::vector<std::string>{"D1"});
}

TEST_F(ModelFileTest, RefsMayNamePredefinedEntities) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "D1", "meta": "Dependency", "refs": {"Supplier": "@Predefined@ExternalObject"}}]}})");
  qm::EntityList referrers;
  model->FindEntity("@Predefined@ExternalObject")->GetReferencingEntities("Supplier", referrers);
  EXPECT_EQ(Guids(referrers), std::vector<std::string>{"D1"});
}

TEST_F(ModelFileTest, ListsHoldEntitiesInOrderWithoutOwningThem) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "A", "meta": "Block", "lists": {"Owners": ["C", "B", "C"]}},
    {"guid": "B", "meta": "Block"}, {"guid": "C", "meta": "Block"}]}})");
  qm::EntityList owners;
  model->FindEntity("A")->GetEntities("Owners", owners);
  EXPECT_EQ(Guids(owners), (std::vector<std::string>{"C", "B", "C"}));
  EXPECT_EQ(Get(*model, "B").owner(), &model->root());
  EXPECT_TRUE(model->metaClasses().IsListProperty("Owners"));
}

TEST_F(ModelFileTest, InAppendsAChildToItsOwnersList) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "B1", "meta": "Block", "children": [
      {"guid": "D1", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "R1"}},
      {"guid": "A1", "meta": "Attribute"},
      {"guid": "D2", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "R1"}}]},
    {"guid": "R1", "meta": "Requirement"},
    {"guid": "SVG", "meta": "InstanceExpr", "children": [
      {"guid": "E1", "meta": "InstanceExpr", "in": "Items"}]}]}})");
  qm::EntityList dependencies;
  model->FindEntity("B1")->GetEntities("ClientDependency", dependencies);
  EXPECT_EQ(Guids(dependencies), (std::vector<std::string>{"D1", "D2"}));
  EXPECT_EQ(model->FindEntity("D2")->GetOwner(), model->FindEntity("B1"));
  EXPECT_EQ(Guids(Get(*model, "SVG").list("Items")), std::vector<std::string>{"E1"});
  EXPECT_TRUE(model->metaClasses().IsListProperty("Items"));
}

TEST_F(ModelFileTest, FlatEntitiesAreOwnedByGuidOrPathInAnyOrder) {
  auto model = Load(R"({"root": {"name": "Root",
    "children": [{"guid": "PKG", "meta": "Package", "name": "Pumps"}]},
    "entities": [
      {"guid": "D1", "meta": "Dependency", "owner": "B1", "in": "ClientDependency", "refs": {"Supplier": "R1"}},
      {"guid": "B1", "meta": "Block", "name": "Motor", "owner": "@Root@Pumps"},
      {"guid": "R1", "meta": "Requirement", "owner": "PKG", "children": [{"guid": "R1a", "meta": "Requirement"}]},
      {"guid": "X1", "meta": "Comment", "owner": "R1a"}]})");
  EXPECT_EQ(Get(*model, "B1").owner(), &Get(*model, "PKG"));
  EXPECT_EQ(Get(*model, "D1").owner(), &Get(*model, "B1"));
  EXPECT_EQ(Get(*model, "R1").owner(), &Get(*model, "PKG"));
  EXPECT_EQ(Get(*model, "R1a").owner(), &Get(*model, "R1"));
  EXPECT_EQ(Get(*model, "X1").owner(), &Get(*model, "R1a"));
  EXPECT_EQ(Guids(Get(*model, "B1").list("ClientDependency")), std::vector<std::string>{"D1"});
  EXPECT_EQ(Get(*model, "D1").reference("Supplier"), &Get(*model, "R1"));
}

// ---------------------------------------------------------------------------
// Stereotypes and value forms

const char* const kStereotypedModel = R"({"root": {"children": [
  {"guid": "B1", "meta": "Block", "name": "Pump", "children": [
    {"guid": "D1", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "R1"},
     "stereotypes": [{"apply": "@Predefined@trace"}]},
    {"guid": "D2", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "@Predefined@ExternalObject"},
     "stereotypes": [{"apply": "@Predefined@satisfy"},
                     {"apply": "@Predefined@externalObjectReference",
                      "tags": {"source": "vorn:qm:B1", "target": "vorn:qm:R1"}}]}],
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:R1", "name": "Data sheet"}},
                   {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:a:b:R1"}}]},
  {"guid": "R1", "meta": "Requirement", "name": "Flow",
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "http://example.org", "name": "web"}}]},
  {"guid": "L1", "meta": "Line", "values": {"SegmentPoints": "0 0 100 0"},
   "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "Bezier"}}}]},
  {"guid": "L2", "meta": "TransitionLine",
   "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"owner": {"entity": "B1"}}}]}]}})";

TEST_F(ModelFileTest, AppliedStereotypesAnswerHasStereotype) {
  auto model = Load(kStereotypedModel);
  qm::IVelEntity* d1 = model->FindEntity("D1");
  qm::IVelEntity* d2 = model->FindEntity("D2");
  EXPECT_TRUE(d1->HasStereotype("@Predefined@trace", 1));
  EXPECT_FALSE(d1->HasStereotype("@Predefined@satisfy", 1));
  EXPECT_TRUE(d2->HasStereotype("@Predefined@satisfy", 1));
  EXPECT_TRUE(d2->HasStereotype("@Predefined@externalObjectReference", 1));
  EXPECT_FALSE(d2->HasStereotype("@Predefined@trace", 1));
  EXPECT_TRUE(model->FindEntity("L1")->HasStereotype("@VELLineStyles@automaticLineStyle", 1));
}

TEST_F(ModelFileTest, AStereotypeApplicationIsAnOwnedInstanceExpression) {
  auto model = Load(kStereotypedModel);
  Entity& d2 = Get(*model, "D2");
  const std::vector<Entity*>& instances = d2.list("HiddenStereotypeInstance");
  ASSERT_EQ(instances.size(), 2u);
  for (Entity* instance : instances) {
    EXPECT_EQ(instance->meta(), "InstanceExpr");
    EXPECT_EQ(instance->owner(), &d2);
  }
  EXPECT_EQ(instances[0]->reference("InstanceOf"), &Get(*model, "@Predefined@satisfy"));
  EXPECT_EQ(instances[1]->GetEntity("InstanceOf", 0), model->FindEntity("@Predefined@externalObjectReference"));
  ASSERT_EQ(instances[1]->arguments().size(), 2u);
  EXPECT_EQ(instances[1]->arguments()[0].first, "source");
  EXPECT_EQ(instances[1]->arguments()[1].first, "target");
}

TEST_F(ModelFileTest, TagQueryReachesTheCharstringValue) {
  auto model = Load(kStereotypedModel);
  qm::IVelEntity* d2 = model->FindEntity("D2");
  for (const auto& row : std::vector<std::pair<std::string, std::string>>{{"target", "vorn:qm:R1"},
                                                                          {"source", "vorn:qm:B1"}}) {
    qm::IVelEntity* value = d2->QueryEntity("externalObjectReference (. " + row.first + " .)", 0);
    ASSERT_NE(value, nullptr) << row.first;
    EXPECT_TRUE(value->IsKindOf("CharstringValue"));
    std::string text;
    value->GetValue("ValueString", text, 0);
    EXPECT_EQ(text, row.second);
    EXPECT_EQ(Entity::From(value)->owner(), Entity::From(d2)->list("HiddenStereotypeInstance")[1]);
  }
  EXPECT_EQ(model->FindEntity("D1")->QueryEntity("externalObjectReference (. target .)", 0), nullptr);
}

TEST_F(ModelFileTest, IdentTagIsAnOwnedIdentEntity) {
  auto model = Load(kStereotypedModel);
  qm::IVelEntity* shape = model->FindEntity("L1")->QueryEntity("automaticLineStyle (. shape .)", 0);
  ASSERT_NE(shape, nullptr);
  EXPECT_TRUE(shape->IsKindOf("Ident"));
  std::string name;
  shape->GetValue("Name", name, 0);
  EXPECT_EQ(name, "Bezier");
}

TEST_F(ModelFileTest, EntityTagIsTheExistingEntityNotACopy) {
  auto model = Load(kStereotypedModel);
  qm::IVelEntity* owner = model->FindEntity("L2")->QueryEntity("automaticLineStyle (. owner .)", 0);
  EXPECT_EQ(owner, model->FindEntity("B1"));
  EXPECT_EQ(Get(*model, "B1").owner(), &model->root());
}

TEST_F(ModelFileTest, HyperlinkArgumentsAreReachedThroughTheExpressionInterface) {
  auto model = Load(kStereotypedModel);
  qm::EntityList instances;
  model->FindEntity("B1")->GetEntities("HiddenStereotypeInstance", instances);
  ASSERT_EQ(instances.size(), 2u);
  void* p = nullptr;
  instances.front()->QueryInterface(qm::IVelExpression::guid, &p);
  ASSERT_NE(p, nullptr);
  auto* expression = static_cast<qm::IVelExpression*>(p);
  qm::IUnknown* url = expression->GetArgument("URL");
  ASSERT_NE(url, nullptr);
  EXPECT_EQ(Entity::From(url)->value("ValueString"), "vorn:qm:R1");
  EXPECT_EQ(Entity::From(expression->GetArgument("name"))->value("ValueString"), "Data sheet");
  EXPECT_EQ(Entity::From(instances.back())->argument("name"), nullptr);
}

TEST_F(ModelFileTest, StereotypeListsItsApplicationsInFileOrder) {
  auto model = Load(kStereotypedModel);
  qm::EntityList applications;
  model->FindEntity("@VELLinks@HYPERLINK")->GetReferencingEntities("InstanceOf", applications);
  ASSERT_EQ(applications.size(), 3u);
  std::vector<std::string> owners;
  for (qm::IVelEntity* instance : applications) {
    EXPECT_TRUE(instance->IsKindOf("InstanceExpr"));
    owners.push_back(Entity::From(instance->GetOwner())->guid());
  }
  EXPECT_EQ(owners, (std::vector<std::string>{"B1", "B1", "R1"}));
}

TEST_F(ModelFileTest, AllReferrersAreListedOnceEach) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "B1", "meta": "Block"},
    {"guid": "D1", "meta": "Dependency", "refs": {"Supplier": "B1", "NonOwningClient": "B1"}},
    {"guid": "DG", "meta": "Diagram", "children": [
      {"guid": "S1", "meta": "Symbol", "refs": {"ModelElement": "B1", "Diagram": "DG"}}]},
    {"guid": "A1", "meta": "Attribute", "lists": {"Types": ["B1"]}}]}})");
  qm::EntityList referrers;
  model->FindEntity("B1")->GetReferencingEntities("", referrers);
  EXPECT_EQ(Guids(referrers), (std::vector<std::string>{"D1", "S1", "A1"}));
}

TEST_F(ModelFileTest, StereotypeDefinedInTheModelIsAppliedByPathOrGuid) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "PROFILE", "meta": "Package", "name": "Profile", "children": [
      {"guid": "ST-CRIT", "meta": "Stereotype", "name": "critical"}]},
    {"guid": "B1", "meta": "Block", "stereotypes": [{"apply": "@Profile@critical", "tags": {"level": "3"}}]},
    {"guid": "B2", "meta": "Block", "stereotypes": [{"apply": "ST-CRIT"}]}]}})");
  qm::IVelEntity* level = model->FindEntity("B1")->QueryEntity("critical (. level .)", 0);
  ASSERT_NE(level, nullptr);
  EXPECT_EQ(Entity::From(level)->value("ValueString"), "3");
  EXPECT_TRUE(model->FindEntity("B2")->HasStereotype("@Profile@critical", 1));
  EXPECT_FALSE(model->FindEntity("B2")->HasStereotype("ST-CRIT", 1));  // asked by path, not by GUID
  qm::EntityList applications;
  model->FindEntity("ST-CRIT")->GetReferencingEntities("InstanceOf", applications);
  EXPECT_EQ(applications.size(), 2u);
}

TEST_F(ModelFileTest, ArgumentsOfInstanceExpressionsTakeEveryValueForm) {
  auto model = Load(R"({"root": {"children": [
    {"guid": "B1", "meta": "Block"},
    {"guid": "CTRL", "meta": "InstanceExpr", "refs": {"InstanceOf": "EDIT"},
     "arguments": {"text": "Name", "'value'": "Pump", "kind": {"ident": "EditBox"}, "subject": {"entity": "B1"}}},
    {"guid": "EDIT", "meta": "Definition", "name": "EditBox"}]}})");
  qm::IVelEntity* control = model->FindEntity("CTRL");
  void* p = nullptr;
  control->QueryInterface(qm::IVelExpression::guid, &p);
  ASSERT_NE(p, nullptr);
  auto* expression = static_cast<qm::IVelExpression*>(p);
  EXPECT_EQ(Entity::From(expression->GetArgument("text"))->value("ValueString"), "Name");
  EXPECT_EQ(Entity::From(expression->GetArgument("'value'"))->value("ValueString"), "Pump");
  Entity* kind = Entity::From(expression->GetArgument("kind"));
  ASSERT_NE(kind, nullptr);
  EXPECT_EQ(kind->meta(), "Ident");
  EXPECT_EQ(kind->name(), "EditBox");
  EXPECT_EQ(kind->owner(), Entity::From(control));
  EXPECT_EQ(Entity::From(expression->GetArgument("subject")), &Get(*model, "B1"));
  EXPECT_EQ(control->GetEntity("InstanceOf", 0), model->FindEntity("EDIT"));
}

TEST_F(ModelFileTest, LoadingIsNotCountedAsHostOperations) {
  HostMonitor::Instance().Reset();
  auto model = Load(kStereotypedModel);
  EXPECT_EQ(HostMonitor::Instance().Count(), 0u);
}

// ---------------------------------------------------------------------------
// Errors

struct ErrorRow {
  const char* name;
  std::string text;
  std::string message;
};

void PrintTo(const ErrorRow& row, std::ostream* os) { *os << row.name; }

class ModelFileErrorTest : public ModelFileTest, public ::testing::WithParamInterface<ErrorRow> {};

TEST_P(ModelFileErrorTest, RefusesWithExactMessage) {
  EXPECT_EQ(Refuse(GetParam().text), GetParam().message);
}

const ErrorRow kSyntaxErrors[] = {
    {"EmptyText", "", "model.json:1:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal"},
    {"MissingValue", R"({"root": })",
     "model.json:1:10: syntax error while parsing value - unexpected '}'; expected '[', '{', or a literal"},
    {"MissingCommaOnLaterLine", "{\n  \"root\": {}\n  \"x\": 1\n}",
     "model.json:3:5: syntax error while parsing object - unexpected string literal; expected '}'"},
    {"UnclosedObject", R"({"root": {})",
     "model.json:1:12: syntax error while parsing object - unexpected end of input; expected '}'"},
    {"TrailingValue", R"({"root": {}} [])",
     "model.json:1:14: syntax error while parsing value - unexpected '['; expected end of input"},
    {"RawTabInString", "{\"root\": {\"name\": \"a\tb\"}}",
     "model.json:1:21: syntax error while parsing value - invalid string: control character U+0009 (HT) must be "
     "escaped to \\u0009 or \\t; last read: '\"a<U+0009>'"},
    {"NumberOverflow", R"({"root": {}, "x": 1e999})", "model.json:1:23: number overflow parsing '1e999'"},
    {"DuplicateKey", R"({"root": {"name": "a", "name": "b"}})", "model.json: /root/name: duplicate key 'name'"},
    {"DuplicateKeyInArray", R"({"root": {"children": [{"meta": "Block"}, {"meta": "Block", "meta": "Block"}]}})",
     "model.json: /root/children/1/meta: duplicate key 'meta'"},
    {"DuplicateTopLevelKey", R"({"root": {}, "root": {}})", "model.json: /root: duplicate key 'root'"},
};
INSTANTIATE_TEST_SUITE_P(Syntax, ModelFileErrorTest, ::testing::ValuesIn(kSyntaxErrors),
                         [](const ::testing::TestParamInfo<ErrorRow>& info) { return info.param.name; });

const ErrorRow kTopLevelErrors[] = {
    {"NotAnObject", "[]", "model.json: expected an object at the top level"},
    {"MissingRoot", "{}", "model.json: missing key 'root'"},
    {"UnknownTopLevelKey", R"({"root": {}, "entites": []})",
     "model.json: unknown key 'entites' (expected one of: format, metaClasses, listProperties, omit, root, entities, "
     "hostData)"},
    {"WrongFormat", R"({"format": "orv-model/2", "root": {}})",
     "model.json: /format: unsupported format 'orv-model/2' (expected 'orv-model/1')"},
    {"FormatNotString", R"({"format": 1, "root": {}})", "model.json: /format: expected a string"},
    {"MetaClassesNotObject", R"({"metaClasses": [], "root": {}})", "model.json: /metaClasses: expected an object"},
    {"MetaClassBasesNotArray", R"({"metaClasses": {"Pump": "Block"}, "root": {}})",
     "model.json: /metaClasses/Pump: expected an array"},
    {"MetaClassBaseNotString", R"({"metaClasses": {"Pump": ["Block", 2]}, "root": {}})",
     "model.json: /metaClasses/Pump/1: expected a string"},
    {"MetaClassUnknownBase", R"({"metaClasses": {"Pump": ["Blok"]}, "root": {}})",
     "model.json: /metaClasses/Pump/0: unknown meta class 'Blok'"},
    {"MetaClassBaseDefinedLater", R"({"metaClasses": {"A": ["B"], "B": ["Block"]}, "root": {}})",
     "model.json: /metaClasses/A/0: unknown meta class 'B'"},
    {"MetaClassRedefined", R"({"metaClasses": {"Block": []}, "root": {}})",
     "model.json: /metaClasses/Block: meta class 'Block' is already defined"},
    {"MetaClassEmptyName", R"({"metaClasses": {"": []}, "root": {}})",
     "model.json: /metaClasses/: expected a non-empty name"},
    {"ListPropertiesNotArray", R"({"listProperties": "Owners", "root": {}})",
     "model.json: /listProperties: expected an array"},
    {"ListPropertyNotString", R"({"listProperties": ["Owners", 3], "root": {}})",
     "model.json: /listProperties/1: expected a string"},
    {"ListPropertyEmpty", R"({"listProperties": [""], "root": {}})",
     "model.json: /listProperties/0: expected a non-empty string"},
    {"OmitNotArray", R"({"omit": "@Predefined@trace", "root": {}})", "model.json: /omit: expected an array"},
    {"OmitUnknownPath", R"({"omit": ["@Predefined@trace", "@Predefined@tracee"], "root": {}})",
     "model.json: /omit/1: unknown path '@Predefined@tracee' (expected a predefined entity or an agent declaration)"},
    {"OmitModelEntity", R"({"omit": ["B1"], "root": {"children": [{"guid": "B1", "meta": "Block"}]}})",
     "model.json: /omit/0: unknown path 'B1' (expected a predefined entity or an agent declaration)"},
    {"RootNotObject", R"({"root": []})", "model.json: /root: expected an object"},
    {"EntitiesNotArray", R"({"root": {}, "entities": {}})", "model.json: /entities: expected an array"},
    {"HostDataNotObject", R"({"root": {}, "hostData": []})", "model.json: /hostData: expected an object"},
    {"HostDataTableNotObject", R"({"root": {}, "hostData": {"icons": ["12"]}})",
     "model.json: /hostData/icons: expected an object"},
    {"HostDataEntryNotString", R"({"root": {}, "hostData": {"icons": {"Block": 12}}})",
     "model.json: /hostData/icons/Block: expected a string"},
};
INSTANTIATE_TEST_SUITE_P(TopLevel, ModelFileErrorTest, ::testing::ValuesIn(kTopLevelErrors),
                         [](const ::testing::TestParamInfo<ErrorRow>& info) { return info.param.name; });

const ErrorRow kEntityErrors[] = {
    {"UnknownChildKey", R"({"root": {"children": [{"meta": "Block"}, {"meta": "Block", "nmae": "x"}]}})",
     "model.json: /root/children/1: unknown key 'nmae' (expected one of: guid, meta, name, values, refs, lists, "
     "children, stereotypes, arguments, in)"},
    {"UnknownRootKey", R"({"root": {"nmae": "x"}})",
     "model.json: /root: unknown key 'nmae' (expected one of: guid, meta, name, values, refs, lists, children, "
     "stereotypes, arguments)"},
    {"UnknownEntryKey", R"({"root": {}, "entities": [{"meta": "Block", "owner": "model-root", "ownr": "x"}]})",
     "model.json: /entities/0: unknown key 'ownr' (expected one of: guid, meta, name, values, refs, lists, "
     "children, stereotypes, arguments, in, owner)"},
    {"RootIn", R"({"root": {"in": "Expression"}})", "model.json: /root: the root entity cannot be in a list of an owner"},
    {"RootOwner", R"({"root": {"owner": "X"}})", "model.json: /root: the root entity has no owner"},
    {"ChildOwner", R"({"root": {"children": [{"meta": "Block", "owner": "model-root"}]}})",
     "model.json: /root/children/0: key 'owner' belongs to entries of /entities; a child is owned by the entity "
     "that lists it"},
    {"ChildNotObject", R"({"root": {"children": ["B1"]}})", "model.json: /root/children/0: expected an object"},
    {"ChildrenNotArray", R"({"root": {"children": {}}})", "model.json: /root/children: expected an array"},
    {"MissingMeta", R"({"root": {"children": [{"guid": "B1"}]}})", "model.json: /root/children/0: missing key 'meta'"},
    {"UnknownMeta", R"({"root": {"children": [{"meta": "Blok"}]}})",
     "model.json: /root/children/0/meta: unknown meta class 'Blok'"},
    {"UnknownRootMeta", R"({"root": {"meta": "Plant"}})", "model.json: /root/meta: unknown meta class 'Plant'"},
    {"MetaNotString", R"({"root": {"children": [{"meta": ["Block"]}]}})",
     "model.json: /root/children/0/meta: expected a string"},
    {"GuidNotString", R"({"root": {"children": [{"meta": "Block", "guid": 7}]}})",
     "model.json: /root/children/0/guid: expected a string"},
    {"GuidEmpty", R"({"root": {"children": [{"meta": "Block", "guid": ""}]}})",
     "model.json: /root/children/0/guid: expected a non-empty string"},
    {"DuplicateGuidInEntries",
     R"({"root": {"children": [{"guid": "B1", "meta": "Block"}]}, "entities": [
        {"guid": "B2", "meta": "Block", "owner": "B1"}, {"guid": "B3", "meta": "Block", "owner": "B1"},
        {"guid": "B4", "meta": "Block", "owner": "B1"}, {"guid": "B1", "meta": "Block", "owner": "B2"}]})",
     "model.json: /entities/3/guid: duplicate GUID 'B1'"},
    {"DuplicateGuidOfDefaultRoot", R"({"root": {"children": [{"guid": "model-root", "meta": "Block"}]}})",
     "model.json: /root/children/0/guid: duplicate GUID 'model-root'"},
    {"GuidOfGeneratedForm", R"({"root": {"children": [{"meta": "Block"}, {"meta": "Block", "guid": "emu-17"}]}})",
     "model.json: /root/children/1/guid: GUIDs of the form 'emu-<number>' are reserved for the GUIDs the model "
     "generates"},
    {"RootGuidOfGeneratedForm", R"({"root": {"guid": "emu-1"}})",
     "model.json: /root/guid: GUIDs of the form 'emu-<number>' are reserved for the GUIDs the model generates"},
    {"GuidOfPredefinedEntity", R"({"root": {"children": [{"guid": "@Predefined@trace", "meta": "Stereotype"}]}})",
     "model.json: /root/children/0/guid: GUID '@Predefined@trace' is taken by a predefined entity"},
    {"NameNotString", R"({"root": {"name": 3}})", "model.json: /root/name: expected a string"},
    {"ValuesNotObject", R"({"root": {"values": ["x"]}})", "model.json: /root/values: expected an object"},
    {"ValueNotString", R"({"root": {"values": {"Position": [1, 2]}}})",
     "model.json: /root/values/Position: expected a string"},
    {"ValueNamedGuid", R"({"root": {"values": {"Guid": "X"}}})",
     "model.json: /root/values/Guid: the GUID is given by the key 'guid'"},
    {"NameGivenTwice", R"({"root": {"name": "A", "values": {"Name": "B"}}})",
     "model.json: /root/values/Name: the name is already given by the key 'name'"},
    {"ValueWithEmptyName", R"({"root": {"values": {"": "x"}}})", "model.json: /root/values/: expected a non-empty name"},
    {"RefsNotObject", R"({"root": {"refs": "B1"}})", "model.json: /root/refs: expected an object"},
    {"RefNotString", R"({"root": {"refs": {"Supplier": ["B1"]}}})", "model.json: /root/refs/Supplier: expected a string"},
    {"RefToNothing",
     R"({"root": {"children": [{"meta": "Block"}, {"meta": "Block"},
        {"meta": "Dependency", "refs": {"Supplier": "X"}}]}})",
     "model.json: /root/children/2/refs/Supplier: no entity with GUID or path 'X'"},
    {"RefToOmittedEntity",
     R"({"omit": ["@Predefined@ExternalObject"], "root": {"refs": {"Supplier": "@Predefined@ExternalObject"}}})",
     "model.json: /root/refs/Supplier: no entity with GUID or path '@Predefined@ExternalObject' (the model omits it)"},
    {"RefNameEscapedInPointer", R"({"root": {"refs": {"a/b~c": "X"}}})",
     "model.json: /root/refs/a~1b~0c: no entity with GUID or path 'X'"},
    {"RefToListProperty", R"({"root": {"refs": {"Expression": "model-root"}}})",
     "model.json: /root/refs/Expression: 'Expression' holds a list: give it under \"lists\""},
    {"RefToPropertyListedElsewhere",
     R"({"root": {"refs": {"Owners": "model-root"}, "children": [{"meta": "Block", "lists": {"Owners": []}}]}})",
     "model.json: /root/refs/Owners: 'Owners' holds a list: give it under \"lists\""},
    {"ListsNotObject", R"({"root": {"lists": ["B1"]}})", "model.json: /root/lists: expected an object"},
    {"ListNotArray", R"({"root": {"lists": {"Owners": "B1"}}})", "model.json: /root/lists/Owners: expected an array"},
    {"ListItemNotString", R"({"root": {"lists": {"Owners": ["model-root", {}]}}})",
     "model.json: /root/lists/Owners/1: expected a string"},
    {"ListItemToNothing", R"({"root": {"lists": {"Owners": ["model-root", "Y"]}}})",
     "model.json: /root/lists/Owners/1: no entity with GUID or path 'Y'"},
    {"InNotString", R"({"root": {"children": [{"meta": "Block", "in": 1}]}})",
     "model.json: /root/children/0/in: expected a string"},
    {"InEmpty", R"({"root": {"children": [{"meta": "Block", "in": ""}]}})",
     "model.json: /root/children/0/in: expected a non-empty string"},
    {"ArgumentsOnABlock", R"({"root": {"children": [{"meta": "Block", "arguments": {"text": "x"}}]}})",
     "model.json: /root/children/0/arguments: arguments belong to instance expressions, not to meta class 'Block'"},
    {"ArgumentsNotObject", R"({"root": {"children": [{"meta": "InstanceExpr", "arguments": ["x"]}]}})",
     "model.json: /root/children/0/arguments: expected an object"},
    {"ArgumentToNothing",
     R"({"root": {"children": [{"meta": "InstanceExpr", "arguments": {"of": {"entity": "Q"}}}]}})",
     "model.json: /root/children/0/arguments/of/entity: no entity with GUID or path 'Q'"},
};
INSTANTIATE_TEST_SUITE_P(Entities, ModelFileErrorTest, ::testing::ValuesIn(kEntityErrors),
                         [](const ::testing::TestParamInfo<ErrorRow>& info) { return info.param.name; });

const ErrorRow kStereotypeErrors[] = {
    {"StereotypesNotArray", R"({"root": {"stereotypes": {}}})", "model.json: /root/stereotypes: expected an array"},
    {"StereotypeNotObject", R"({"root": {"stereotypes": ["@Predefined@trace"]}})",
     "model.json: /root/stereotypes/0: expected an object"},
    {"StereotypeWithoutApply", R"({"root": {"stereotypes": [{"tags": {}}]}})",
     "model.json: /root/stereotypes/0: missing key 'apply'"},
    {"StereotypeUnknownKey", R"({"root": {"stereotypes": [{"apply": "@Predefined@trace", "tag": {}}]}})",
     "model.json: /root/stereotypes/0: unknown key 'tag' (expected one of: apply, tags)"},
    {"ApplyNotString", R"({"root": {"stereotypes": [{"apply": 1}]}})",
     "model.json: /root/stereotypes/0/apply: expected a string"},
    {"OmittedStereotype", R"({"omit": ["@Predefined@trace"], "root": {"stereotypes": [{"apply": "@Predefined@trace"}]}})",
     "model.json: /root/stereotypes/0/apply: stereotype '@Predefined@trace' is omitted from this model"},
    {"UnknownStereotype",
     R"({"root": {"stereotypes": [{"apply": "@Predefined@trace"}, {"apply": "@Predefined@tracee"}]}})",
     "model.json: /root/stereotypes/1/apply: no stereotype with GUID or path '@Predefined@tracee'"},
    {"ApplyNotAStereotype", R"({"root": {"children": [{"guid": "BLK", "meta": "Block",
        "stereotypes": [{"apply": "BLK"}]}]}})",
     "model.json: /root/children/0/stereotypes/0/apply: 'BLK' is not a stereotype (meta class 'Block')"},
    {"TagsNotObject", R"({"root": {"stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": ["x"]}]}})",
     "model.json: /root/stereotypes/0/tags: expected an object"},
    {"TagNumber", R"({"root": {"stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": 5}}]}})",
     "model.json: /root/stereotypes/0/tags/URL: expected a string, {\"ident\": name} or {\"entity\": GUID or path}"},
    {"TagObjectOfTwoKeys",
     R"({"root": {"stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": {"ident": "a", "entity": "b"}}}]}})",
     "model.json: /root/stereotypes/0/tags/URL: expected a string, {\"ident\": name} or {\"entity\": GUID or path}"},
    {"TagObjectOfOtherKey",
     R"({"root": {"stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": {"text": "a"}}}]}})",
     "model.json: /root/stereotypes/0/tags/URL: expected a string, {\"ident\": name} or {\"entity\": GUID or path}"},
    {"TagIdentEmpty",
     R"({"root": {"stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": ""}}}]}})",
     "model.json: /root/stereotypes/0/tags/shape/ident: expected a non-empty string"},
    {"TagIdentNotString",
     R"({"root": {"stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": 1}}}]}})",
     "model.json: /root/stereotypes/0/tags/shape/ident: expected a string"},
    {"TagEntityToNothing",
     R"({"root": {"stereotypes": [{"apply": "@Predefined@externalObjectReference",
        "tags": {"source": "vorn:qm:x", "target": {"entity": "nope"}}}]}})",
     "model.json: /root/stereotypes/0/tags/target/entity: no entity with GUID or path 'nope'"},
    {"TagWithEmptyName", R"({"root": {"stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"": "x"}}]}})",
     "model.json: /root/stereotypes/0/tags/: expected a non-empty name"},
};
INSTANTIATE_TEST_SUITE_P(Stereotypes, ModelFileErrorTest, ::testing::ValuesIn(kStereotypeErrors),
                         [](const ::testing::TestParamInfo<ErrorRow>& info) { return info.param.name; });

const ErrorRow kOwnerErrors[] = {
    {"EntryWithoutOwner", R"({"root": {}, "entities": [{"meta": "Block"}]})",
     "model.json: /entities/0: missing key 'owner'"},
    {"EntryOwnerNotString", R"({"root": {}, "entities": [{"meta": "Block", "owner": ["model-root"]}]})",
     "model.json: /entities/0/owner: expected a string"},
    {"EntryOwnerUnknown",
     R"({"root": {}, "entities": [{"guid": "B1", "meta": "Block", "owner": "model-root"},
        {"meta": "Block", "owner": "NOPE"}]})",
     "model.json: /entities/1/owner: no entity with GUID or path 'NOPE'"},
    {"OwnershipCycle",
     R"({"root": {}, "entities": [{"guid": "P", "meta": "Package", "owner": "model-root"},
        {"guid": "Q", "meta": "Package", "owner": "P"},
        {"guid": "A", "meta": "Block", "owner": "B"}, {"guid": "B", "meta": "Block", "owner": "A"}]})",
     "model.json: /entities/2/owner: ownership cycle: A -> B -> A"},
    {"OwnerOfItself", R"({"root": {}, "entities": [{"guid": "A", "meta": "Block", "owner": "A"}]})",
     "model.json: /entities/0/owner: ownership cycle: A -> A"},
    {"OwnerInsideItself",
     R"({"root": {}, "entities": [{"guid": "A", "meta": "Block", "owner": "C",
        "children": [{"guid": "C", "meta": "Block"}]}]})",
     "model.json: /entities/0/owner: ownership cycle: A -> C -> A"},
    {"ChainLeadingIntoACycle",
     R"({"root": {}, "entities": [{"guid": "X", "meta": "Block", "owner": "A"},
        {"guid": "A", "meta": "Block", "owner": "B"}, {"guid": "B", "meta": "Block", "owner": "A"}]})",
     "model.json: /entities/1/owner: ownership cycle: A -> B -> A"},
    {"CycleThroughAnEntryWithoutGuid",
     R"({"root": {}, "entities": [{"meta": "Package", "owner": "B", "children": [{"guid": "C", "meta": "Block"}]},
        {"guid": "B", "meta": "Block", "owner": "C"}]})",
     "model.json: /entities/0/owner: ownership cycle: /entities/0 -> B -> C -> /entities/0"},
};
INSTANTIATE_TEST_SUITE_P(Owners, ModelFileErrorTest, ::testing::ValuesIn(kOwnerErrors),
                         [](const ::testing::TestParamInfo<ErrorRow>& info) { return info.param.name; });

// `levels` entities nested in each other below the root.
std::string NestedModel(std::size_t levels) {
  std::string text = R"({"root": {)";
  for (std::size_t i = 0; i < levels; ++i) text += R"("children": [{"meta": "Package", )";
  text += R"("name": "deepest")";
  for (std::size_t i = 0; i < levels; ++i) text += "}]";
  return text + "}}";
}

TEST_F(ModelFileTest, ChildrenMayNestDownToTheBound) {
  auto model = Load(NestedModel(kMaxChildrenNesting));
  std::size_t depth = 0;
  for (Entity* e = &model->root(); !e->owned().empty(); e = e->owned().front().get()) ++depth;
  EXPECT_EQ(depth, 256u);
}

TEST_F(ModelFileTest, ChildrenNestedBeyondTheBoundAreRefused) {
  std::string pointer = "/root";
  for (std::size_t i = 0; i < 256; ++i) pointer += "/children/0";
  EXPECT_EQ(Refuse(NestedModel(257)), "model.json: " + pointer + "/children: children nested deeper than 256 levels");
}

TEST_F(ModelFileTest, DeeplyNestedJsonOutsideChildrenIsRefusedWithoutRecursion) {
  std::string deep(100000, '[');
  deep += std::string(100000, ']');
  EXPECT_EQ(Refuse(R"({"root": {"values": {"Deep": )" + deep + "}}}"),
            "model.json: /root/values/Deep: expected a string");
}

TEST_F(ModelFileTest, EntriesMayNestToTheBoundToo) {
  std::string children;
  for (std::size_t i = 0; i < 257; ++i) children += R"("children": [{"meta": "Package", )";
  children += R"("name": "deepest")";
  for (std::size_t i = 0; i < 257; ++i) children += "}]";
  std::string pointer = "/entities/0";
  for (std::size_t i = 0; i < 256; ++i) pointer += "/children/0";
  EXPECT_EQ(Refuse(R"({"root": {}, "entities": [{"meta": "Package", "owner": "model-root", )" + children + "}]}"),
            "model.json: " + pointer + "/children: children nested deeper than 256 levels");
}

TEST_F(ModelFileTest, ErrorIsClearedOnSuccess) {
  std::string error = "old";
  EXPECT_NE(LoadModelText(R"({"root": {}})", "m.json", error), nullptr);
  EXPECT_EQ(error, "");
}

// ---------------------------------------------------------------------------
// Files

TEST_F(ModelFileTest, MissingFileCannotBeOpened) {
  const std::string path = kTestData + "no-such-model.json";
  std::string error;
  EXPECT_EQ(LoadModelFile(path, error), nullptr);
  EXPECT_EQ(error, path + ": cannot open: No such file or directory");
}

TEST_F(ModelFileTest, DirectoryCannotBeRead) {
  const std::string path = kTestData;
  std::string error;
  EXPECT_EQ(LoadModelFile(path, error), nullptr);
  EXPECT_EQ(error, path + ": cannot open: Is a directory");
}

TEST_F(ModelFileTest, SmallModelFileLoads) {
  std::string error;
  auto model = LoadModelFile(kTestData + "small.json", error);
  ASSERT_NE(model, nullptr) << error;
  EXPECT_EQ(error, "");
  EXPECT_EQ(model->root().name(), "Small");
  EXPECT_TRUE(model->FindEntity("DEP-1")->HasStereotype("@Predefined@verify", 1));
  EXPECT_EQ(model->FindEntity("@Predefined@copy"), nullptr);
}

struct FileErrorRow {
  const char* file;
  std::string message;  // after "<path>"
};

class ModelFileFileErrorTest : public ModelFileTest, public ::testing::WithParamInterface<FileErrorRow> {};

TEST_P(ModelFileFileErrorTest, NamesTheFileInItsMessage) {
  const std::string path = kTestData + GetParam().file;
  std::string error;
  EXPECT_EQ(LoadModelFile(path, error), nullptr);
  EXPECT_EQ(error, path + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Files, ModelFileFileErrorTest,
    ::testing::Values(
        FileErrorRow{"syntax-error.json",
                     ":6:21: syntax error while parsing object separator - unexpected string literal; expected ':'"},
        FileErrorRow{"unknown-key.json",
                     ": /root/children/0/children/1: unknown key 'nmae' (expected one of: guid, meta, name, values, "
                     "refs, lists, children, stereotypes, arguments, in)"},
        FileErrorRow{"ownership-cycle.json", ": /entities/1/owner: ownership cycle: BLK-B -> BLK-A -> BLK-B"},
        FileErrorRow{"omitted-stereotype.json",
                     ": /root/children/0/children/0/stereotypes/0/apply: stereotype '@Predefined@deriveReqt' is "
                     "omitted from this model"}),
    [](const ::testing::TestParamInfo<FileErrorRow>& info) {
      std::string name = info.param.file;
      name.erase(std::remove_if(name.begin(), name.end(), [](char c) { return c == '-' || c == '.'; }), name.end());
      return name;
    });

// The JSON block under "## A complete example" of the format documentation.
std::string DocumentedExample() {
  std::FILE* file = std::fopen((std::string(ORV_SOURCE_DIR) + "/docs/model-format.md").c_str(), "rb");
  if (file == nullptr) return "";
  std::string text;
  char buffer[4096];
  std::size_t count = 0;
  while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, count);
  std::fclose(file);
  std::size_t section = text.find("\n## A complete example\n");
  std::size_t begin = text.find("```json\n", section == std::string::npos ? text.size() : section);
  if (begin == std::string::npos) return "";
  begin += 8;
  std::size_t end = text.find("\n```", begin);
  return end == std::string::npos ? "" : text.substr(begin, end - begin);
}

TEST_F(ModelFileTest, TheDocumentedCompleteExampleLoads) {
  const std::string text = DocumentedExample();
  ASSERT_FALSE(text.empty());
  auto model = Load(text);
  ASSERT_NE(model, nullptr);
  EXPECT_TRUE(model->FindEntity("BLK-PUMP")->IsKindOf("Block"));
  EXPECT_EQ(Get(*model, "TC-1").owner(), &Get(*model, "PKG-V"));
  EXPECT_EQ(Get(*model, "TC-1").name(), "Flow\ttest");
  EXPECT_EQ(model->FindEntity("@Predefined@deriveReqt"), nullptr);
  EXPECT_TRUE(model->FindEntity("DEP-2")->HasStereotype("@Predefined@verify", 1));
  EXPECT_EQ(model->hostData()["icons"]["Pump"], "12");
}

// ---------------------------------------------------------------------------
// The bundled example model

class ExampleModelTest : public ModelFileTest {
 protected:
  void SetUp() override {
    ModelFileTest::SetUp();
    std::string error;
    model_ = LoadModelFile(std::string(ORV_SOURCE_DIR) + "/examples/model.json", error);
    ASSERT_NE(model_, nullptr) << error;
    ASSERT_EQ(error, "");
  }
  std::unique_ptr<Model> model_;
};

TEST_F(ExampleModelTest, HasEveryRequirementRelationship) {
  std::set<std::string> found;
  for (Entity* e : model_->entities()) {
    if (!e->isKindOf("Dependency")) continue;
    for (const char* kind : {"trace", "satisfy", "verify", "refine", "copy", "deriveReqt"}) {
      if (e->HasStereotype(std::string("@Predefined@") + kind, 1)) found.insert(kind);
    }
  }
  EXPECT_EQ(found.size(), 6u);
}

TEST_F(ExampleModelTest, ParksExternalReferencesOnThePlaceholder) {
  qm::EntityList parked;
  model_->FindEntity("@Predefined@ExternalObject")->GetReferencingEntities("Supplier", parked);
  ASSERT_FALSE(parked.empty());
  std::size_t withTarget = 0;
  for (qm::IVelEntity* dependency : parked) {
    ASSERT_TRUE(dependency->HasStereotype("@Predefined@externalObjectReference", 1));
    qm::IVelEntity* target = dependency->QueryEntity("externalObjectReference (. target .)", 0);
    if (target != nullptr && !Entity::From(target)->value("ValueString").empty()) ++withTarget;
  }
  EXPECT_GE(withTarget, 1u);
  EXPECT_LT(withTarget, parked.size());
}

TEST_F(ExampleModelTest, HasHyperlinksOfEveryForm) {
  qm::EntityList links;
  model_->FindEntity("@VELLinks@HYPERLINK")->GetReferencingEntities("InstanceOf", links);
  bool qm = false, vorn = false, unnamed = false;
  for (qm::IVelEntity* link : links) {
    Entity* url = Entity::From(link)->argument("URL");
    ASSERT_NE(url, nullptr);
    const std::string& text = url->value("ValueString");
    if (text.compare(0, 8, "vorn:qm:") == 0) qm = true;
    if (text.compare(0, 9, "vorn:a:b:") == 0) vorn = true;
    if (Entity::From(link)->argument("name") == nullptr) unnamed = true;
  }
  EXPECT_TRUE(qm);
  EXPECT_TRUE(vorn);
  EXPECT_TRUE(unnamed);
}

TEST_F(ExampleModelTest, PumpHasAllFourKindsOfLinks) {
  Entity& pump = Get(*model_, "BLK-PUMP");
  bool outgoing = false;
  for (Entity* dependency : pump.list("ClientDependency")) {
    if (dependency->HasStereotype("@Predefined@satisfy", 1)) outgoing = true;
  }
  bool incoming = false;
  for (const Entity::Link& link : pump.referrers()) {
    if (link.first == "Supplier" && link.second->HasStereotype("@Predefined@trace", 1)) incoming = true;
  }
  bool incomingHyperlink = false;
  for (Entity* e : model_->entities()) {
    Entity* url = e->reference("InstanceOf") == &Get(*model_, "@VELLinks@HYPERLINK") ? e->argument("URL") : nullptr;
    if (url != nullptr && url->value("ValueString") == "vorn:qm:BLK-PUMP") incomingHyperlink = true;
  }
  EXPECT_TRUE(outgoing);
  EXPECT_TRUE(incoming);
  EXPECT_TRUE(pump.HasStereotype("@VELLinks@HYPERLINK", 1));
  EXPECT_TRUE(incomingHyperlink);
}

TEST_F(ExampleModelTest, OneDependencyNamesAnotherElementAsItsClient) {
  Entity& dependency = Get(*model_, "DEP-TRACE-STATION");
  EXPECT_EQ(dependency.owner(), &Get(*model_, "BLK-STATION"));
  EXPECT_EQ(dependency.reference("NonOwningClient"), &Get(*model_, "BLK-PUMP"));
}

TEST_F(ExampleModelTest, DiagramsHoldSymbolsAndLines) {
  std::size_t diagrams = 0, frames = 0, bezier = 0, transitions = 0;
  for (Entity* e : model_->entities()) {
    if (e->meta() == "Diagram") ++diagrams;
    if (e->meta() == "FrameSymbol") ++frames;
    if (e->meta() == "TransitionLine") ++transitions;
    if (e->isKindOf("Line")) {
      qm::IVelEntity* shape = e->QueryEntity("automaticLineStyle (. shape .)", 0);
      if (shape != nullptr && Entity::From(shape)->name() == "Bezier") ++bezier;
    }
    if (e->isKindOf("PresentationElement")) {
      EXPECT_NE(e->reference("ModelElement"), nullptr) << e->guid();
      EXPECT_NE(e->reference("Diagram"), nullptr) << e->guid();
    }
  }
  EXPECT_EQ(diagrams, 3u);
  EXPECT_GE(frames, 1u);
  EXPECT_GE(bezier, 1u);
  EXPECT_GE(transitions, 1u);
}

TEST_F(ExampleModelTest, HasPropertyPagesAndTrickyNames) {
  std::size_t pages = 0;
  bool quote = false, control = false;
  for (Entity* e : model_->entities()) {
    if (e->hasValue("PropertyPage")) ++pages;
    if (e->name().find('"') != std::string::npos) quote = true;
    if (std::any_of(e->name().begin(), e->name().end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
      control = true;
    }
  }
  EXPECT_GE(pages, 2u);
  EXPECT_TRUE(quote);
  EXPECT_TRUE(control);
}

}  // namespace
}  // namespace qmemu
