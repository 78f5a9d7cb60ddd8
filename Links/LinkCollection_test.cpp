// Tests of the link collectors: which dependencies and hyperlinks are found,
// in which order, and the records made of them.
#include "Links/LinkCollection.h"

#include "testing/LinksTestSupport.h"
#include "emulator/StereotypeApplication.h"

namespace {

using linkstest::Get;
using linkstest::Guids;
using linkstest::Load;
using linkstest::ModelWith;
using linkstest::Texts;
typedef std::vector<std::string> Strings;

class LinkCollectionTest : public linkstest::LinksTest {
 protected:
  std::list<qm::IVelEntity*> Incoming(qmemu::Model& model, const std::string& guid) {
    std::list<qm::IVelEntity*> out;
    CollectAllNormalIncomingDependencies(Get(model, guid), out);
    return out;
  }
  std::list<qm::IVelEntity*> Outgoing(qmemu::Model& model, const std::string& guid) {
    std::list<qm::IVelEntity*> out;
    CollectAllNormalOutgoingDependencies(Get(model, guid), out);
    return out;
  }
  std::list<qm::IVelEntity*> External(qmemu::Model& model, const std::string& guid, const std::string& end) {
    std::list<qm::IVelEntity*> out;
    CollectExternalDependencies(Get(model, guid), end, out);
    return out;
  }
  Strings IncomingInfo(qmemu::Model& model, const std::string& guid) {
    std::list<CNormalDependencyInfo> out;
    CollectAllNormalIncomingDependencyInfo(Get(model, guid), out);
    return Texts(out);
  }
  Strings OutgoingInfo(qmemu::Model& model, const std::string& guid) {
    std::list<CNormalDependencyInfo> out;
    CollectAllNormalOutgoingDependencyInfo(Get(model, guid), out);
    return Texts(out);
  }
  Strings IncomingHyperlinks(qmemu::Model& model, const std::string& guid) {
    std::list<CNormalDependencyInfo> out;
    CollectAllIncomingHyperlinks(Get(model, guid), out);
    return Texts(out);
  }
  Strings Hyperlinks(qmemu::Model& model, const std::string& guid) {
    std::list<CHyperLinkInfo> out;
    CollectAllHyperlinks(Get(model, guid), out);
    return Texts(out);
  }
};

// ---- incoming dependencies ----

TEST_F(LinkCollectionTest, SupplierOfATraceAndOfAPlainDependencyHasExactlyOneIncoming) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "DEP-PLAIN", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"}},
       {"guid": "DEP-TRACE", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@trace"}]}]})"));
  EXPECT_EQ(Guids(Incoming(*model, "REQ")), Strings{"DEP-TRACE"});
}

TEST_F(LinkCollectionTest, DependencyFoundBySupplierAndByReferenceIsListedOnce) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "DEP-BOTH", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@satisfy"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}}]},
       {"guid": "DEP-TRACE", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@trace"}]}]})"));
  EXPECT_EQ(Guids(External(*model, "REQ", "target")), Strings{"DEP-BOTH"});
  EXPECT_EQ(Guids(Incoming(*model, "REQ")), (Strings{"DEP-BOTH", "DEP-TRACE"}));
}

TEST_F(LinkCollectionTest, DependencyFoundOnlyByReferenceNeedsNoRequirementStereotype) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "DEP-REF", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "@Predefined@ExternalObject"},
        "stereotypes": [{"apply": "@Predefined@externalObjectReference",
                         "tags": {"source": "vorn:qm:BLK", "target": "vorn:qm:REQ"}}]}]})"));
  EXPECT_EQ(Guids(Incoming(*model, "REQ")), Strings{"DEP-REF"});
  EXPECT_EQ(Guids(Outgoing(*model, "BLK")), Strings{"DEP-REF"});
}

TEST_F(LinkCollectionTest, PlaceholderLeavesOutDependenciesWithATargetReference) {
  auto model = Load(ModelWith(R"(
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "DEP-ELSEWHERE", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "@Predefined@ExternalObject"},
        "stereotypes": [{"apply": "@Predefined@trace"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:X"}}]},
       {"guid": "DEP-EMPTY-TARGET", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "@Predefined@ExternalObject"},
        "stereotypes": [{"apply": "@Predefined@trace"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"source": "vorn:qm:BLK", "target": ""}}]},
       {"guid": "DEP-NO-TARGET", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "@Predefined@ExternalObject"},
        "stereotypes": [{"apply": "@Predefined@verify"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"source": "vorn:qm:BLK"}}]},
       {"guid": "DEP-NO-REFERENCE", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "@Predefined@ExternalObject"}, "stereotypes": [{"apply": "@Predefined@copy"}]}]})"));
  EXPECT_EQ(Guids(Incoming(*model, "@Predefined@ExternalObject")),
            (Strings{"DEP-EMPTY-TARGET", "DEP-NO-TARGET", "DEP-NO-REFERENCE"}));
}

TEST_F(LinkCollectionTest, OrdinaryElementKeepsSupplierDependenciesWithATargetReference) {
  // The placeholder test applies to the placeholder only.
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "DEP", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@trace"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:X"}}]}]})"));
  EXPECT_EQ(Guids(Incoming(*model, "REQ")), Strings{"DEP"});
}

TEST_F(LinkCollectionTest, IncomingSkipsSupplierReferencesThatAreNotDependencies) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "NOTE", "meta": "Comment", "refs": {"Supplier": "REQ"}, "stereotypes": [{"apply": "@Predefined@trace"}]})"));
  EXPECT_TRUE(Incoming(*model, "REQ").empty());
}

// ---- outgoing dependencies ----

TEST_F(LinkCollectionTest, OutgoingLeavesOutDependenciesOfAnotherNonOwningClient) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "OTHER", "meta": "Block", "name": "O"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "DEP-OTHER", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "REQ", "NonOwningClient": "OTHER"}, "stereotypes": [{"apply": "@Predefined@trace"}]},
       {"guid": "DEP-UNSET", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "REQ"}, "stereotypes": [{"apply": "@Predefined@trace"}]},
       {"guid": "DEP-SELF", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "REQ", "NonOwningClient": "BLK"}, "stereotypes": [{"apply": "@Predefined@refine"}]},
       {"guid": "DEP-PLAIN", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"}}]})"));
  EXPECT_EQ(Guids(Outgoing(*model, "BLK")), (Strings{"DEP-UNSET", "DEP-SELF"}));
  EXPECT_TRUE(Outgoing(*model, "OTHER").empty());  // it holds no "ClientDependency" of its own
}

TEST_F(LinkCollectionTest, OutgoingMakesNoDependencyMetaClassTest) {
  auto model = Load(ModelWith(R"(
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "NOTE", "meta": "Comment", "in": "ClientDependency", "stereotypes": [{"apply": "@Predefined@trace"}]}]})"));
  EXPECT_EQ(Guids(Outgoing(*model, "BLK")), Strings{"NOTE"});
}

TEST_F(LinkCollectionTest, NonClientElementHasOnlyExternalOutgoingDependencies) {
  // "Note" is persistent but no "DependencyClient": its own list is not read.
  auto model = Load(ModelWith(R"(
    {"guid": "NOTE", "meta": "Note", "children": [
       {"guid": "DEP-OWN", "meta": "Dependency", "in": "ClientDependency", "stereotypes": [{"apply": "@Predefined@trace"}]}]},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "DEP-REF", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "@Predefined@ExternalObject"},
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"source": "vorn:qm:NOTE"}}]}]})",
                              R"("metaClasses": {"Note": ["PersistentEntity"]}, )"));
  EXPECT_EQ(Guids(Outgoing(*model, "NOTE")), Strings{"DEP-REF"});
}

TEST_F(LinkCollectionTest, PlaceholderLeavesOutOwnDependenciesWithASourceReference) {
  auto model = Load(ModelWith(R"({"guid": "REQ", "meta": "Requirement", "name": "R"})"));
  qmemu::Entity* placeholder = model->find("@Predefined@ExternalObject");
  qmemu::Entity* trace = model->find("@Predefined@trace");
  qmemu::Entity* reference = model->find("@Predefined@externalObjectReference");
  qmemu::Entity* withSource = model->create("Dependency", "DEP-WITH-SOURCE", placeholder);
  qmemu::Entity* emptySource = model->create("Dependency", "DEP-EMPTY-SOURCE", placeholder);
  for (qmemu::Entity* d : {withSource, emptySource}) {
    placeholder->append("ClientDependency", d);
    d->setReference("Supplier", model->find("REQ"));
    qmemu::ApplyStereotype(*d, *trace);
  }
  qmemu::ApplyStereotype(*withSource, *reference, {{"source", "vorn:qm:X"}});
  qmemu::ApplyStereotype(*emptySource, *reference, {{"source", ""}});
  EXPECT_EQ(Guids(Outgoing(*model, "@Predefined@ExternalObject")), Strings{"DEP-EMPTY-SOURCE"});
}

// ---- external dependencies ----

TEST_F(LinkCollectionTest, ExternalDependenciesNeedTheExactModelUrlOfTheElement) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "D1", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}}]},
       {"guid": "D2", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:a:REQ"}}]},
       {"guid": "D3", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "VORN:qm:REQ"}}]},
       {"guid": "D4", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ "}}]},
       {"guid": "D5", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"source": "vorn:qm:REQ"}}]},
       {"guid": "D6", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}}]}]})"));
  EXPECT_EQ(Guids(External(*model, "REQ", "target")), (Strings{"D1", "D6"}));
  EXPECT_EQ(Guids(External(*model, "REQ", "source")), Strings{"D5"});
}

TEST_F(LinkCollectionTest, EmptyGuidAfterThePrefixMatchesNothing) {
  // An element whose GUID is empty cannot be made; the prefix alone never
  // names the element.
  auto model = Load(ModelWith(R"(
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "D1", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:"}}]}]})"));
  EXPECT_TRUE(External(*model, "BLK", "target").empty());
}

TEST_F(LinkCollectionTest, ExternalDependenciesAreListedPerApplicationButIncomingOnlyOnce) {
  // Two applications of the stereotype on one dependency.
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "D", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}}]}]})"));
  EXPECT_EQ(Guids(External(*model, "REQ", "target")), (Strings{"D", "D"}));
  EXPECT_EQ(Guids(Incoming(*model, "REQ")), Strings{"D"});
}

TEST_F(LinkCollectionTest, ApplicationsOnOtherThanDependenciesAreSkipped) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "BLK", "meta": "Block", "name": "B",
     "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}}]})"));
  EXPECT_TRUE(External(*model, "REQ", "target").empty());
}

TEST_F(LinkCollectionTest, ExternalDependenciesFollowTheOrderOfTheApplications) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "A", "meta": "Block", "name": "A", "children": [
       {"guid": "D-A", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}}]}]},
    {"guid": "B", "meta": "Block", "name": "B", "children": [
       {"guid": "D-B", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}}]}]})"));
  EXPECT_EQ(Guids(External(*model, "REQ", "target")), (Strings{"D-A", "D-B"}));
}

TEST_F(LinkCollectionTest, ExternalDependenciesNeedAPersistentElementAndTheStereotype) {
  auto model = Load(ModelWith(R"({"guid": "VAL", "meta": "Ident"})"));
  EXPECT_TRUE(External(*model, "VAL", "target").empty());
  std::list<qm::IVelEntity*> out{Get(*model, "ROOT")};
  CollectExternalDependencies(nullptr, "target", out);
  EXPECT_TRUE(out.empty());

  auto without = Load(ModelWith(R"({"guid": "REQ", "meta": "Requirement", "name": "R"})",
                                R"("omit": ["@Predefined@externalObjectReference"], )"));
  monitor().SetLogging(true);
  EXPECT_TRUE(External(*without, "REQ", "target").empty());
  EXPECT_EQ(monitor().Log(), (Strings{"GetModel", "IsKindOf(PersistentEntity)",
                                      "FindEntity(@Predefined@externalObjectReference)"}));
}

// ---- dependency records ----

TEST_F(LinkCollectionTest, IncomingRecordsNameTheResolvedSourceElseTheOwner) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "CTRL", "meta": "Block", "name": "Controller"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "D-OWNER", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@trace"}]},
       {"guid": "D-SOURCE", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@trace"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"source": "vorn:qm:CTRL"}}]},
       {"guid": "D-UNRESOLVED", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@trace"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"source": "vorn:a:CTRL"}}]}]})"));
  EXPECT_EQ(IncomingInfo(*model, "REQ"), (Strings{"B|BLK", "Controller|CTRL", "B|BLK"}));
}

TEST_F(LinkCollectionTest, OutgoingRecordsNameTheResolvedTargetElseTheSupplier) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "REQ-2", "meta": "Requirement", "name": "R2"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "D-SUPPLIER", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@satisfy"}]},
       {"guid": "D-TARGET", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "@Predefined@ExternalObject"},
        "stereotypes": [{"apply": "@Predefined@satisfy"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ-2"}}]},
       {"guid": "D-PARKED", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "@Predefined@ExternalObject"},
        "stereotypes": [{"apply": "@Predefined@satisfy"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"target": ""}}]}]})"));
  EXPECT_EQ(OutgoingInfo(*model, "BLK"),
            (Strings{"R|REQ", "R2|REQ-2", "ExternalObject|@Predefined@ExternalObject"}));
}

TEST_F(LinkCollectionTest, LinkedElementThatIsNoDefinitionIsNamedByItsMetaClass) {
  auto model = Load(ModelWith(R"(
    {"guid": "NOTE", "meta": "Comment", "name": "ignored"},
    {"guid": "VAL", "meta": "Ident", "name": "ignored too"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "D-NOTE", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "NOTE"},
        "stereotypes": [{"apply": "@Predefined@trace"}]},
       {"guid": "D-VAL", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "VAL"},
        "stereotypes": [{"apply": "@Predefined@trace"}]}]})"));
  // A comment is persistent (GUID read); an identifier is not (GUID empty).
  EXPECT_EQ(OutgoingInfo(*model, "BLK"), (Strings{"Comment|NOTE", "Ident|"}));
}

TEST_F(LinkCollectionTest, UnresolvedDependencyWithoutOwnerYieldsAnEmptyRecord) {
  auto model = Load(ModelWith(R"({"guid": "REQ", "meta": "Requirement", "name": "R"})"));
  // A dependency held by the model itself, not owned by any element.
  qmemu::Entity* dependency = model->create("Dependency", "DEP-ORPHAN");
  dependency->setReference("Supplier", model->find("REQ"));
  qmemu::ApplyStereotype(*dependency, *model->find("@Predefined@trace"));
  qmemu::ApplyStereotype(*dependency, *model->find("@Predefined@externalObjectReference"),
                         {{"source", "vorn:qm:NO-SUCH-ELEMENT"}});
  ASSERT_EQ(Guids(Incoming(*model, "REQ")), Strings{"DEP-ORPHAN"});
  EXPECT_EQ(IncomingInfo(*model, "REQ"), Strings{"|"});
}

TEST_F(LinkCollectionTest, RecordsAskTheHostWithTheStatedFlags) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ", "meta": "Requirement", "name": "R"},
    {"guid": "BLK", "meta": "Block", "name": "B", "children": [
       {"guid": "D", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
        "stereotypes": [{"apply": "@Predefined@satisfy"},
                        {"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:REQ"}}]}],
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:REQ", "name": "n"}}]})"));
  monitor().SetLogging(true);
  monitor().SetFlagLogging(true);
  std::list<CNormalDependencyInfo> records;
  std::list<CHyperLinkInfo> hyperlinks;
  CollectAllNormalIncomingDependencyInfo(Get(*model, "REQ"), records);
  CollectAllNormalOutgoingDependencyInfo(Get(*model, "BLK"), records);
  CollectAllIncomingHyperlinks(Get(*model, "REQ"), records);
  CollectAllHyperlinks(Get(*model, "BLK"), hyperlinks);
  std::size_t withFlag = 0;
  for (const std::string& entry : monitor().Log()) {
    const std::size_t comma = entry.rfind(", ");
    if (comma == std::string::npos || entry.back() != ')') continue;
    ++withFlag;
    const std::string flag = entry.substr(comma + 2, entry.size() - comma - 3);
    EXPECT_EQ(flag, entry.compare(0, 14, "HasStereotype(") == 0 ? "1" : "0") << entry;
  }
  EXPECT_GT(withFlag, 20u);
  EXPECT_GT(monitor().Count("HasStereotype"), 0u);
  EXPECT_GT(monitor().Count("GetReferencedEntity"), 0u);
  EXPECT_GT(monitor().Count("QueryEntity"), 0u);
}

// ---- incoming hyperlinks ----

TEST_F(LinkCollectionTest, HyperlinkToVornXYGPointsAtG) {
  auto model = Load(ModelWith(R"(
    {"guid": "G", "meta": "Requirement", "name": "Target"},
    {"guid": "BLK", "meta": "Block", "name": "B",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:x:y:G"}}]})"));
  EXPECT_EQ(IncomingHyperlinks(*model, "G"), Strings{"B|BLK"});
}

TEST_F(LinkCollectionTest, HyperlinkWithAnEmptyUrlPointsNowhere) {
  auto model = Load(ModelWith(R"(
    {"guid": "BLK", "meta": "Block", "name": "B",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "", "name": "empty"}}]})"));
  for (const qmemu::Entity* e : model->entities()) {
    EXPECT_EQ(IncomingHyperlinks(*model, e->guid()), Strings{}) << e->guid();
  }
}

TEST_F(LinkCollectionTest, IncomingHyperlinksAreNotDeduplicated) {
  auto model = Load(ModelWith(R"(
    {"guid": "G", "meta": "Requirement", "name": "Target"},
    {"guid": "VAL", "meta": "Comment",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:G"}}]},
    {"guid": "BLK", "meta": "Block", "name": "B",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:G"}},
                     {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://x/G"}},
                     {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:G"}},
                     {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": {"ident": "vorn:qm:G"}}},
                     {"apply": "@VELLinks@HYPERLINK", "tags": {"name": "no URL"}}]})"));
  EXPECT_EQ(IncomingHyperlinks(*model, "G"), (Strings{"Comment|VAL", "B|BLK", "B|BLK"}));
}

TEST_F(LinkCollectionTest, IncomingHyperlinksNeedAPersistentElementAndTheStereotype) {
  auto model = Load(ModelWith(R"(
    {"guid": "VAL", "meta": "Ident"},
    {"guid": "BLK", "meta": "Block", "name": "B",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:VAL"}}]})"));
  EXPECT_EQ(IncomingHyperlinks(*model, "VAL"), Strings{});
  std::list<CNormalDependencyInfo> out(1);
  CollectAllIncomingHyperlinks(nullptr, out);
  EXPECT_TRUE(out.empty());

  auto without = Load(ModelWith(R"({"guid": "REQ", "meta": "Requirement", "name": "R"})",
                                R"("omit": ["@VELLinks@HYPERLINK"], )"));
  EXPECT_EQ(IncomingHyperlinks(*without, "REQ"), Strings{});
}

// ---- the element's own hyperlinks ----

TEST_F(LinkCollectionTest, HyperlinkWithoutNameKeepsItsUrlAndAnEmptyName) {
  auto model = Load(ModelWith(R"(
    {"guid": "BLK", "meta": "Block", "name": "B",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://example.org/p"}}]})"));
  std::list<CHyperLinkInfo> out;
  CollectAllHyperlinks(Get(*model, "BLK"), out);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out.front().url, "https://example.org/p");
  EXPECT_EQ(out.front().linkName, "");
}

TEST_F(LinkCollectionTest, OwnHyperlinksComeInOrderAsTypedAndOtherStereotypesAreSkipped) {
  auto model = Load(ModelWith(R"(
    {"guid": "BLK", "meta": "Block", "name": "B",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"name": "first", "URL": "vorn:qm:NOWHERE"}},
                     {"apply": "@Predefined@trace"},
                     {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": " vorn:a:b "}},
                     {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": {"ident": "x"}, "name": "ident URL"}},
                     {"apply": "@VELLinks@HYPERLINK"}]})"));
  EXPECT_EQ(Hyperlinks(*model, "BLK"), (Strings{"first|vorn:qm:NOWHERE", "| vorn:a:b ", "ident URL|", "|"}));
}

TEST_F(LinkCollectionTest, ElementThatIsNoExtendableElementHasNoOwnHyperlinks) {
  auto model = Load(ModelWith(R"(
    {"guid": "NOTE", "meta": "Note",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://x", "name": "n"}}]})",
                              R"("metaClasses": {"Note": ["PersistentEntity"]}, )"));
  EXPECT_EQ(Hyperlinks(*model, "NOTE"), Strings{});
}

// ---- output lists ----

TEST_F(LinkCollectionTest, EveryCollectorClearsItsOutputFirst) {
  auto model = Load(ModelWith(R"({"guid": "BLK", "meta": "Block", "name": "B"})"));
  qm::IVelEntity* stale = Get(*model, "ROOT");
  qm::IVelEntity* element = Get(*model, "BLK");
  std::list<qm::IVelEntity*> entities{stale};
  CollectExternalDependencies(element, "target", entities);
  EXPECT_TRUE(entities.empty());
  entities = {stale};
  CollectAllNormalIncomingDependencies(element, entities);
  EXPECT_TRUE(entities.empty());
  entities = {stale};
  CollectAllNormalOutgoingDependencies(nullptr, entities);
  EXPECT_TRUE(entities.empty());
  entities = {stale};
  CollectAllNormalOutgoingDependencies(element, entities);
  EXPECT_TRUE(entities.empty());
  std::list<CNormalDependencyInfo> records(2);
  CollectAllNormalIncomingDependencyInfo(element, records);
  EXPECT_TRUE(records.empty());
  records.resize(2);
  CollectAllNormalOutgoingDependencyInfo(element, records);
  EXPECT_TRUE(records.empty());
  records.resize(2);
  CollectAllIncomingHyperlinks(element, records);
  EXPECT_TRUE(records.empty());
  std::list<CHyperLinkInfo> hyperlinks(2);
  CollectAllHyperlinks(element, hyperlinks);
  EXPECT_TRUE(hyperlinks.empty());
}

}  // namespace
