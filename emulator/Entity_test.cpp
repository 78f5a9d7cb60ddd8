// Tests of the emulated entities: every host operation as the plug-in sees it.
#include "emulator/Entity.h"

#include <gtest/gtest.h>

#include "emulator/Changer.h"
#include "emulator/HostMonitor.h"
#include "emulator/Model.h"
#include "emulator/StereotypeApplication.h"

namespace qmemu {
namespace {

class EntityTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    model.addPredefined();
    pkg = model.create("Package", "PKG", &model.root());
    pkg->setValue("Name", "Pumps");
    req = model.create("Requirement", "REQ", pkg);
    req->setValue("Name", "Flow");
    blk = model.create("Block", "BLK", pkg);
    blk->setValue("Name", "Pump");
    dep = model.create("Dependency", "DEP", blk);
    blk->append("ClientDependency", dep);
    dep->setReference("Supplier", req);
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Applies the stereotype at `path` to `entity`, with one text tag.
  Entity* Apply(Entity* entity, const std::string& path, const std::string& tag = "",
                const std::string& text = "") {
    Entity* instance = model.create("InstanceExpr", "", entity);
    entity->append("HiddenStereotypeInstance", instance);
    instance->setReference("InstanceOf", model.find(path));
    if (!tag.empty()) {
      Entity* value = model.create("CharstringValue");
      value->setValue("ValueString", text);
      instance->addArgument(tag, value);
    }
    return instance;
  }

  Model model{"ROOT", "Model", "Station"};
  Entity* pkg = nullptr;
  Entity* req = nullptr;
  Entity* blk = nullptr;
  Entity* dep = nullptr;
};

TEST_F(EntityTest, GetValueAssignsEmptyTextWhenUnset) {
  std::string out = "old";
  req->GetValue("Nothing", out, 0);
  EXPECT_EQ(out, "");
  req->GetValue("Name", out, 0);
  EXPECT_EQ(out, "Flow");
  req->GetValue("Guid", out, 0);
  EXPECT_EQ(out, "REQ");
}

TEST_F(EntityTest, SingleReferencesAndUnboundText) {
  EXPECT_EQ(dep->GetReferencedEntity("Supplier", 0), req->asEntity());
  EXPECT_EQ(dep->GetEntity("Supplier", 0), req->asEntity());
  EXPECT_EQ(dep->GetReferencedEntity("NonOwningClient", 0), nullptr);
  Entity* element = model.create("InstanceExpr", "SVG1");
  element->setValue("InstanceOf", "ref:boundaryrect");
  EXPECT_EQ(element->GetReferencedEntity("InstanceOf", 0), nullptr);
  std::string text;
  element->GetValue("InstanceOf", text, 0);
  EXPECT_EQ(text, "ref:boundaryrect");
}

TEST_F(EntityTest, GetEntitiesAppendsInModelOrder) {
  Entity* dep2 = model.create("Dependency", "DEP2", blk);
  blk->append("ClientDependency", dep2);
  qm::EntityList list{nullptr};
  blk->GetEntities("ClientDependency", list);
  ASSERT_EQ(list.size(), 3u);
  auto it = list.begin();
  EXPECT_EQ(*it++, nullptr);  // appended, not replaced
  EXPECT_EQ(*it++, dep->asEntity());
  EXPECT_EQ(*it++, dep2->asEntity());
}

TEST_F(EntityTest, OwnerAndMetaClassName) {
  EXPECT_EQ(dep->GetOwner(), blk->asEntity());
  EXPECT_EQ(model.root().GetOwner(), nullptr);
  std::string meta = "old";
  req->GetMetaClassName(meta);
  EXPECT_EQ(meta, "Requirement");
}

TEST_F(EntityTest, ReferencingEntitiesByNameAndAll) {
  Entity* symbol = model.create("Symbol", "SYM", pkg);
  symbol->setReference("ModelElement", req);
  qm::EntityList suppliers;
  req->GetReferencingEntities("Supplier", suppliers);
  ASSERT_EQ(suppliers.size(), 1u);
  EXPECT_EQ(suppliers.front(), dep->asEntity());
  qm::EntityList all;
  req->GetReferencingEntities("", all);
  EXPECT_EQ(all, (qm::EntityList{dep->asEntity(), symbol->asEntity()}));
}

TEST_F(EntityTest, AllReferrersListsAnEntityOnce) {
  dep->setReference("NonOwningClient", req);
  qm::EntityList all;
  req->GetReferencingEntities("", all);
  EXPECT_EQ(all, (qm::EntityList{dep->asEntity()}));
}

TEST_F(EntityTest, QueryEntityReachesStereotypeTag) {
  Apply(dep, "@Predefined@externalObjectReference", "target", "vorn:qm:REQ");
  qm::IVelEntity* value = dep->QueryEntity("externalObjectReference (. target .)", 0);
  ASSERT_NE(value, nullptr);
  std::string text;
  value->GetValue("ValueString", text, 0);
  EXPECT_EQ(text, "vorn:qm:REQ");
  EXPECT_TRUE(value->IsKindOf("CharstringValue"));
  EXPECT_EQ(dep->QueryEntity("externalObjectReference (. source .)", 0), nullptr);
  EXPECT_EQ(dep->QueryEntity("automaticLineStyle (. shape .)", 0), nullptr);
  EXPECT_EQ(dep->QueryEntity("garbage", 0), nullptr);
}

TEST_F(EntityTest, IsKindOfAnswersForBaseClasses) {
  struct Row {
    const char* meta;
    const char* base;
    bool expected;
  } rows[] = {
      {"Requirement", "Definition", true},        {"Requirement", "PersistentEntity", true},
      {"Requirement", "ExtendableElement", true}, {"Requirement", "DependencyClient", true},
      {"Block", "Definition", true},              {"Dependency", "Dependency", true},
      {"Dependency", "Definition", false},        {"FrameSymbol", "Symbol", true},
      {"FrameSymbol", "PresentationElement", true}, {"TransitionLine", "Line", true},
      {"Line", "Symbol", false},                  {"Ident", "Expression", true},
      {"InformalEntityFragment", "Expression", true}, {"Attribute", "Attribute", true},
      {"Diagram", "Definition", true},            {"Block", "Attribute", false},
  };
  for (const Row& row : rows) {
    Entity* e = model.create(row.meta);
    ASSERT_NE(e, nullptr) << row.meta;
    EXPECT_EQ(e->IsKindOf(row.base), row.expected) << row.meta << " / " << row.base;
  }
}

TEST_F(EntityTest, ChangesNeedTheDefaultChanger) {
  req->SetValue("Name", "New", 0, qmdll::defaultChanger);
  EXPECT_EQ(req->name(), "New");
  qmdll::Changer other;
  EXPECT_THROW(req->SetValue("Name", "x", 0, other), std::invalid_argument);
  EXPECT_THROW(req->SetEntity("Supplier", blk, 0, other), std::invalid_argument);
  EXPECT_THROW(req->DeleteEntity(other), std::invalid_argument);
}

TEST_F(EntityTest, SetEntityAttachesAndAppendsToLists) {
  qm::IVelEntity* element = model.CreateEntity("InstanceExpr");
  qm::IVelEntity* ident = model.CreateEntity("Ident");
  qm::IVelEntity* attribute = model.CreateEntity("BinaryExpr");
  ASSERT_EQ(element->GetOwner(), nullptr);
  element->SetEntity("InstanceOf", ident, 0, qmdll::defaultChanger);
  element->SetEntity("Expression", attribute, 0, qmdll::defaultChanger);
  element->SetEntity("Expression", model.CreateEntity("BinaryExpr"), 0, qmdll::defaultChanger);
  EXPECT_EQ(element->GetReferencedEntity("InstanceOf", 0), ident);
  EXPECT_EQ(ident->GetOwner(), element);
  qm::EntityList items;
  element->GetEntities("Expression", items);
  EXPECT_EQ(items.size(), 2u);
  EXPECT_EQ(items.front(), attribute);
  // Attaching an entity that already has an owner only refers to it.
  element->SetEntity("InstanceOf", req, 0, qmdll::defaultChanger);
  EXPECT_EQ(req->GetOwner(), pkg->asEntity());
}

TEST_F(EntityTest, SetEntityNeverMakesAnEntityOwnItsOwner) {
  qm::IVelEntity* top = model.CreateEntity("InstanceExpr");
  qm::IVelEntity* child = model.CreateEntity("InstanceExpr");
  top->SetEntity("Expression", child, 0, qmdll::defaultChanger);
  child->SetEntity("Expression", top, 0, qmdll::defaultChanger);
  EXPECT_EQ(top->GetOwner(), nullptr);
  EXPECT_EQ(child->GetOwner(), top);
}

TEST_F(EntityTest, DeleteEntityRemovesSubtreeAndReferences) {
  Entity* instance = Apply(dep, "@Predefined@trace");
  Entity* trace = model.find("@Predefined@trace");
  ASSERT_EQ(trace->referrers().size(), 1u);
  blk->DeleteEntity(qmdll::defaultChanger);
  EXPECT_EQ(model.FindEntity("BLK"), nullptr);
  EXPECT_EQ(model.FindEntity("DEP"), nullptr);
  EXPECT_TRUE(trace->referrers().empty());
  qm::EntityList suppliers;
  req->GetReferencingEntities("Supplier", suppliers);
  EXPECT_TRUE(suppliers.empty());
  (void)instance;  // freed with the dependency: ASan reports any later use
}

TEST_F(EntityTest, DeletingAReferencedEntityClearsTheReference) {
  req->DeleteEntity(qmdll::defaultChanger);
  EXPECT_EQ(dep->GetReferencedEntity("Supplier", 0), nullptr);
}

TEST_F(EntityTest, ANewGuidKeepsTheEntityFindable) {
  req->SetValue("Guid", "REQ-NEW", 0, qmdll::defaultChanger);
  EXPECT_EQ(model.FindEntity("REQ"), nullptr);
  EXPECT_EQ(model.FindEntity("REQ-NEW"), req->asEntity());
  EXPECT_EQ(model.FindEntity("@Pumps@Flow"), req->asEntity());
}

TEST_F(EntityTest, TheRootCannotBeDeleted) {
  model.root().DeleteEntity(qmdll::defaultChanger);
  EXPECT_EQ(model.FindEntity("ROOT"), model.root().asEntity());
}

TEST_F(EntityTest, HasStereotypeAgreesWithApplications) {
  EXPECT_FALSE(dep->HasStereotype("@Predefined@trace", 1));
  Apply(dep, "@Predefined@trace");
  EXPECT_TRUE(dep->HasStereotype("@Predefined@trace", 1));
  EXPECT_FALSE(dep->HasStereotype("@Predefined@satisfy", 1));
}

// HasStereotype asks for the stereotype at a path: its own name and its
// package's name, not its GUID, and not a stereotype of another package that
// happens to have the same name.
TEST_F(EntityTest, HasStereotypeGoesByThePathOfTheStereotype) {
  Entity* profile = model.create("Package", "PROFILE", &model.root());
  profile->setValue("Name", "Profile");
  Entity* lookalike = model.create("Stereotype", "ST-LOOKALIKE", profile);
  lookalike->setValue("Name", "automaticLineStyle");
  Entity* styles = model.create("Package", "STYLES", &model.root());
  styles->setValue("Name", "Styles");
  Entity* own = model.create("Stereotype", "ST-OWN", styles);
  own->setValue("Name", "rounded");
  Apply(dep, "ST-LOOKALIKE");
  Apply(blk, "ST-OWN");
  const struct {
    Entity* entity;
    const char* path;
    bool applied;
  } rows[] = {
      {dep, "@Profile@automaticLineStyle", true},
      {dep, "@VELLineStyles@automaticLineStyle", false},  // same name, other package
      {dep, "ST-LOOKALIKE", false},                       // a GUID is no path
      {dep, "automaticLineStyle", false},
      {blk, "@Styles@rounded", true},
      {blk, "ST-OWN", false},
      {blk, "@Styles@", false},
      {blk, "@@rounded", false},
      {blk, "", false},
      {req, "@Styles@rounded", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.applied, row.entity->HasStereotype(row.path, 1)) << row.entity->guid() << " " << row.path;
  }
  EXPECT_EQ(dep->stereotypeInstanceAt("@Profile@automaticLineStyle"), dep->stereotypeInstances().front());
  EXPECT_EQ(dep->stereotypeInstanceAt("@VELLineStyles@automaticLineStyle"), nullptr);
}

TEST_F(EntityTest, GetModelAnswersTheModel) { EXPECT_EQ(req->GetModel(), &model); }

TEST_F(EntityTest, ExpressionEntitiesAnswerIVelExpression) {
  Entity* instance = Apply(dep, "@VELLinks@HYPERLINK", "'value'", "x");
  void* p = nullptr;
  req->QueryInterface(qm::IVelExpression::guid, &p);
  EXPECT_EQ(p, nullptr);
  req->QueryInterface(qm::IVelEntity::guid, &p);
  EXPECT_EQ(p, static_cast<void*>(req->asEntity()));
  p = nullptr;
  instance->QueryInterface(qm::IVelExpression::guid, &p);
  ASSERT_NE(p, nullptr);
  auto* expression = static_cast<qm::IVelExpression*>(p);
  EXPECT_EQ(expression->GetArgument("value"), nullptr);
  qm::IUnknown* argument = expression->GetArgument("'value'");
  ASSERT_NE(argument, nullptr);
  void* e = nullptr;
  argument->QueryInterface(qm::IVelEntity::guid, &e);
  ASSERT_NE(e, nullptr);
  std::string text;
  static_cast<qm::IVelEntity*>(e)->GetValue("ValueString", text, 0);
  EXPECT_EQ(text, "x");
}

TEST_F(EntityTest, ApplyStereotypeMakesAnApplicationAsTheLoaderDoes) {
  Entity* link = model.find("@VELLinks@HYPERLINK");
  Entity* instance = ApplyStereotype(*blk, *link, {{"URL", "vorn:qm:REQ"}, {"name", "Flow"}});
  EXPECT_EQ(instance->owner(), blk);
  EXPECT_EQ(blk->stereotypeInstances(), std::vector<Entity*>{instance});
  EXPECT_TRUE(blk->HasStereotype("@VELLinks@HYPERLINK", 1));
  qm::EntityList applications;
  link->GetReferencingEntities("InstanceOf", applications);
  EXPECT_EQ(applications, qm::EntityList{instance->asEntity()});
  Entity* url = Entity::From(instance->GetArgument("URL"));
  ASSERT_NE(url, nullptr);
  EXPECT_EQ(url->meta(), "CharstringValue");
  EXPECT_EQ(url->owner(), instance);
  EXPECT_EQ(url->value("ValueString"), "vorn:qm:REQ");
  EXPECT_EQ(blk->QueryEntity("HYPERLINK (. name .)", 0), instance->argument("name")->asEntity());
}

}  // namespace
}  // namespace qmemu
