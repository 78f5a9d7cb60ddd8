// Tests of the dependency classification and the two URL resolvers, with
// the host calls they make.
#include "Links/DependencyClassification.h"

#include "testing/LinksTestSupport.h"

namespace {

using linkstest::Get;
using linkstest::Load;
using linkstest::ModelWith;

class DependencyClassificationTest : public linkstest::LinksTest {};

// ---- IsExternalObject ----

TEST_F(DependencyClassificationTest, ThePredefinedPlaceholderIsExternal) {
  auto model = Load(ModelWith(""));
  EXPECT_TRUE(IsExternalObject(Get(*model, "@Predefined@ExternalObject")));
}

TEST_F(DependencyClassificationTest, PersistentEntityWithAnyOtherGuidIsNotExternal) {
  // Named like the placeholder, of its meta class, but with another GUID.
  auto model = Load(ModelWith(R"({"guid": "EXT", "meta": "ExternalObject", "name": "ExternalObject"},
                                 {"guid": "@predefined@ExternalObject", "meta": "Block", "name": "B"})"));
  EXPECT_FALSE(IsExternalObject(Get(*model, "EXT")));
  EXPECT_FALSE(IsExternalObject(Get(*model, "@predefined@ExternalObject")));
  EXPECT_FALSE(IsExternalObject(Get(*model, "ROOT")));
}

TEST_F(DependencyClassificationTest, NonPersistentEntityIsNotExternalAndItsGuidIsNotRead) {
  // The model omits the placeholder and gives its GUID to an expression.
  auto model = Load(ModelWith(R"({"guid": "@Predefined@ExternalObject", "meta": "Ident"})",
                              R"("omit": ["@Predefined@ExternalObject"], )"));
  monitor().SetLogging(true);
  EXPECT_FALSE(IsExternalObject(Get(*model, "@Predefined@ExternalObject")));
  EXPECT_EQ(monitor().Log(), std::vector<std::string>{"IsKindOf(PersistentEntity)"});
}

TEST_F(DependencyClassificationTest, NullIsNotExternal) {
  EXPECT_FALSE(IsExternalObject(nullptr));
  EXPECT_EQ(monitor().Count(), 0u);
}

// ---- IsRequirementDependency ----

// A dependency of BLK-X with the given stereotype applications.
std::string DependencyWith(const std::string& stereotypes) {
  return ModelWith(R"({"guid": "BLK-X", "meta": "Block", "name": "X", "children": [
      {"guid": "DEP", "meta": "Dependency", "in": "ClientDependency", "stereotypes": [)" +
                   stereotypes + "]}]}");
}

TEST_F(DependencyClassificationTest, EachOfTheSixStereotypesMakesARequirementDependency) {
  for (const char* path : {"@Predefined@trace", "@Predefined@satisfy", "@Predefined@verify", "@Predefined@refine",
                           "@Predefined@copy", "@Predefined@deriveReqt"}) {
    auto model = Load(DependencyWith(std::string("{\"apply\": \"") + path + "\"}"));
    EXPECT_TRUE(IsRequirementDependency(Get(*model, "DEP"))) << path;
  }
}

TEST_F(DependencyClassificationTest, SatisfyAndTraceTogetherAskOnlyTheTraceQuestion) {
  auto model = Load(DependencyWith(R"({"apply": "@Predefined@satisfy"}, {"apply": "@Predefined@trace"})"));
  monitor().SetLogging(true);
  EXPECT_TRUE(IsRequirementDependency(Get(*model, "DEP")));
  EXPECT_EQ(monitor().Log(), std::vector<std::string>{"HasStereotype(@Predefined@trace)"});
  EXPECT_EQ(monitor().LogCount("HasStereotype(@Predefined@satisfy)"), 0u);
}

TEST_F(DependencyClassificationTest, StereotypesAreAskedInTheFixedOrderWithFlagOne) {
  auto model = Load(DependencyWith(R"({"apply": "@Predefined@deriveReqt"})"));
  monitor().SetLogging(true);
  monitor().SetFlagLogging(true);
  EXPECT_TRUE(IsRequirementDependency(Get(*model, "DEP")));
  EXPECT_EQ(monitor().Log(), (std::vector<std::string>{
                                 "HasStereotype(@Predefined@trace, 1)", "HasStereotype(@Predefined@satisfy, 1)",
                                 "HasStereotype(@Predefined@verify, 1)", "HasStereotype(@Predefined@refine, 1)",
                                 "HasStereotype(@Predefined@copy, 1)", "HasStereotype(@Predefined@deriveReqt, 1)"}));
}

TEST_F(DependencyClassificationTest, OtherStereotypesDoNotMakeARequirementDependency) {
  auto model = Load(DependencyWith(R"({"apply": "@Predefined@externalObjectReference"}, {"apply": "@VELLinks@HYPERLINK"})"));
  EXPECT_FALSE(IsRequirementDependency(Get(*model, "DEP")));
  EXPECT_EQ(monitor().Count("HasStereotype"), 6u);
  EXPECT_FALSE(IsRequirementDependency(nullptr));
}

// ---- GetExternalReference ----

TEST_F(DependencyClassificationTest, ReadsTheSourceAndTargetReferencesAsWritten) {
  auto model = Load(DependencyWith(
      R"({"apply": "@Predefined@externalObjectReference", "tags": {"source": " vorn:qm:A ", "target": "urn:x"}})"));
  std::string reference;
  GetExternalReference(Get(*model, "DEP"), "source", reference);
  EXPECT_EQ(reference, " vorn:qm:A ");
  GetExternalReference(Get(*model, "DEP"), "target", reference);
  EXPECT_EQ(reference, "urn:x");
}

TEST_F(DependencyClassificationTest, ExternalReferenceAsksTheHostWithTheStatedQueryAndFlags) {
  auto model = Load(DependencyWith(
      R"({"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:A"}})"));
  monitor().SetLogging(true);
  monitor().SetFlagLogging(true);
  std::string reference;
  GetExternalReference(Get(*model, "DEP"), "target", reference);
  EXPECT_EQ(reference, "vorn:qm:A");
  EXPECT_EQ(monitor().Log(), (std::vector<std::string>{"HasStereotype(@Predefined@externalObjectReference, 1)",
                                                       "QueryEntity(externalObjectReference (. target .), 0)",
                                                       "IsKindOf(CharstringValue)", "GetValue(ValueString, 0)"}));
  GetExternalReference(Get(*model, "DEP"), "source", reference);
  EXPECT_EQ(reference, "");
  EXPECT_EQ(monitor().LogCount("QueryEntity(externalObjectReference (. source .), 0)"), 1u);
}

TEST_F(DependencyClassificationTest, WithoutTheStereotypeTheReferenceIsEmptyEvenIfTheAttributeExists) {
  // A stereotype of the model with the same name answers the host query, but
  // it is not the predefined externalObjectReference.
  auto model = Load(ModelWith(R"(
    {"guid": "PROFILE", "meta": "Package", "name": "Profile", "children": [
       {"guid": "@Profile@externalObjectReference", "meta": "Stereotype", "name": "externalObjectReference"}]},
    {"guid": "BLK-X", "meta": "Block", "name": "X", "children": [
       {"guid": "DEP", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Profile@externalObjectReference", "tags": {"target": "vorn:qm:X"}}]}]})"));
  qm::IVelEntity* dependency = Get(*model, "DEP");
  ASSERT_NE(dependency->QueryEntity("externalObjectReference (. target .)", 0), nullptr);
  monitor().Reset();
  std::string reference = "old";
  GetExternalReference(dependency, "target", reference);
  EXPECT_EQ(reference, "");
  EXPECT_EQ(monitor().Count("QueryEntity"), 0u);
}

TEST_F(DependencyClassificationTest, ReferenceIsClearedEvenForANullDependency) {
  std::string reference = "stale";
  GetExternalReference(nullptr, "target", reference);
  EXPECT_EQ(reference, "");
  EXPECT_EQ(monitor().Count(), 0u);
}

TEST_F(DependencyClassificationTest, MissingOrNonTextAttributeGivesAnEmptyReference) {
  auto model = Load(DependencyWith(
      R"({"apply": "@Predefined@externalObjectReference", "tags": {"source": {"ident": "vorn"}}})"));
  std::string reference = "stale";
  GetExternalReference(Get(*model, "DEP"), "source", reference);  // an identifier, not a string
  EXPECT_EQ(reference, "");
  reference = "stale";
  GetExternalReference(Get(*model, "DEP"), "target", reference);  // no such tag
  EXPECT_EQ(reference, "");
}

// ---- ResolveQMURL ----

class ResolveQMURLTest : public linkstest::LinksTest {
 protected:
  void SetUp() override {
    linkstest::LinksTest::SetUp();
    model = Load(ModelWith(R"({"guid": "G", "meta": "Block", "name": "G"},
                              {"guid": "a:b", "meta": "Block", "name": "AB"},
                              {"guid": " G", "meta": "Block", "name": "blank G"})"));
    monitor().SetLogging(true);
  }
  std::unique_ptr<qmemu::Model> model;
};

TEST_F(ResolveQMURLTest, FindsTheEntityNamedAfterThePrefix) {
  EXPECT_EQ(ResolveQMURL("vorn:qm:G", model.get()), Get(*model, "G"));
  EXPECT_EQ(monitor().LogCount("FindEntity(G)"), 1u);
}

TEST_F(ResolveQMURLTest, KeepsColonsAndBlanksAfterThePrefix) {
  EXPECT_EQ(ResolveQMURL("vorn:qm:a:b", model.get()), Get(*model, "a:b"));
  EXPECT_EQ(ResolveQMURL("vorn:qm: G", model.get()), Get(*model, " G"));
  EXPECT_EQ(ResolveQMURL("vorn:qm:G ", model.get()), nullptr);
}

TEST_F(ResolveQMURLTest, PrefixAloneLooksUpTheEmptyGuid) {
  EXPECT_EQ(ResolveQMURL("vorn:qm:", model.get()), nullptr);
  EXPECT_EQ(monitor().Log(), std::vector<std::string>{"FindEntity()"});
}

TEST_F(ResolveQMURLTest, SevenCharacterPrefixMakesNoLookup) {
  EXPECT_EQ(ResolveQMURL("vorn:qm", model.get()), nullptr);
  EXPECT_EQ(monitor().Count("FindEntity"), 0u);
  EXPECT_EQ(monitor().Count(), 0u);
}

TEST_F(ResolveQMURLTest, UpperCaseOrOtherPrefixYieldsNullWithoutLookup) {
  for (const char* url : {"VORN:qm:G", "vorn:QM:G", "vorn:qx:G", "vorn:a:b:G", "xvorn:qm:G", "", "https://G"}) {
    EXPECT_EQ(ResolveQMURL(url, model.get()), nullptr) << url;
  }
  EXPECT_EQ(monitor().Count(), 0u);
}

TEST_F(ResolveQMURLTest, NullModelYieldsNull) {
  EXPECT_EQ(ResolveQMURL("vorn:qm:G", nullptr), nullptr);
}

TEST_F(ResolveQMURLTest, LeavesTheUrlUnchanged) {
  const std::string url = "vorn:qm:G";
  std::string copy = url;
  ResolveQMURL(copy, model.get());
  EXPECT_EQ(copy, url);
}

// ---- ResolveVORNURLtoGUID ----

TEST(ResolveVORNURLtoGUIDTest, GuidIsTheTextAfterTheLastColon) {
  struct Row {
    const char* url;
    const char* guid;
  };
  const Row rows[] = {
      {"vorn:qm:G1", "G1"},  {"vorn:a:b:G2", "G2"}, {"vorn:G", "G"},       {"vorn:x:", ""},
      {"vorn:", ""},         {"urn:x:G", ""},       {"VORN:qm:G", ""},     {"vor", ""},
      {"", ""},              {"vorn::G", "G"},      {"vorn:qm:a b", "a b"}, {"vorn:qm:G ", "G "},
      {"vornx:G", ""},       {"vorn:qm", "qm"},
  };
  for (const Row& row : rows) EXPECT_EQ(ResolveVORNURLtoGUID(row.url), row.guid) << row.url;
}

TEST(ResolveVORNURLtoGUIDTest, NeverAsksTheHost) {
  qmemu::HostMonitor::Instance().Reset();
  ResolveVORNURLtoGUID("vorn:qm:G1");
  EXPECT_EQ(qmemu::HostMonitor::Instance().Count(), 0u);
}

}  // namespace
