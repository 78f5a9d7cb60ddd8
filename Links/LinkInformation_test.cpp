// Tests of EncodeLinkInformationInJason: the JSON bytes (written by hand from
// the encoder's layout: "[ " / "{ " then "\r\n" and four blanks a level,
// " : " between name and value, ", " after every member but the last, a
// nested container on a line of its own) and the four flags.
#include "Links/LinkInformation.h"

#include "testing/LinksTestSupport.h"

namespace {

using linkstest::Get;
using linkstest::Lines;
using linkstest::Load;
using linkstest::ModelWith;

// The outcome of one call: the text and the flags in parameter order.
struct Encoded {
  std::string text;
  bool outgoingHyperlinks = false;
  bool incomingHyperlinks = false;
  bool outgoingDependencies = false;
  bool incomingDependencies = false;
};

Encoded Encode(qm::IVelEntity* element) {
  Encoded e;
  EncodeLinkInformationInJason(element, e.text, e.outgoingHyperlinks, e.incomingHyperlinks, e.outgoingDependencies,
                               e.incomingDependencies);
  return e;
}

// X has one link of each kind: T1 verifies X and links to it by hyperlink;
// X satisfies "Req A" and carries a hyperlink to a web page.
const char kAllFour[] = R"(
  {"guid": "REQ-A", "meta": "Requirement", "name": "Req A"},
  {"guid": "BLK-X", "meta": "Block", "name": "X", "children": [
     {"guid": "DEP-OUT", "meta": "Dependency", "in": "ClientDependency",
      "refs": {"Supplier": "REQ-A"}, "stereotypes": [{"apply": "@Predefined@satisfy"}]}],
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/x", "name": "Doc"}}]},
  {"guid": "TC-1", "meta": "TestCase", "name": "T1", "children": [
     {"guid": "DEP-IN", "meta": "Dependency", "in": "ClientDependency",
      "refs": {"Supplier": "BLK-X"}, "stereotypes": [{"apply": "@Predefined@verify"}]}],
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:BLK-X", "name": "to X"}}]}
)";

class LinkInformationTest : public linkstest::LinksTest {};

TEST_F(LinkInformationTest, AllFourKindsComeInTheirFixedOrderWithAllFlagsSet) {
  auto model = Load(ModelWith(kAllFour));
  Encoded e = Encode(Get(*model, "BLK-X"));
  EXPECT_EQ(e.text, Lines({
                        "[ ",
                        "    { ",
                        "        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", ",
                        "        \"links\" : ",
                        "            [ ",
                        "                { ",
                        "                    \"linkedObjectName\" : \"T1\", ",
                        "                    \"linkedObjectGuid\" : \"TC-1\"",
                        "                }",
                        "            ]",
                        "    }, ",
                        "    { ",
                        "        \"linkTypeId\" : \"ORV_OUTGOING_DEPENDENCIES\", ",
                        "        \"links\" : ",
                        "            [ ",
                        "                { ",
                        "                    \"linkedObjectName\" : \"Req A\", ",
                        "                    \"linkedObjectGuid\" : \"REQ-A\"",
                        "                }",
                        "            ]",
                        "    }, ",
                        "    { ",
                        "        \"linkTypeId\" : \"ORV_INCOMING_HYPERLINKS\", ",
                        "        \"links\" : ",
                        "            [ ",
                        "                { ",
                        "                    \"linkedObjectName\" : \"T1\", ",
                        "                    \"linkedObjectGuid\" : \"TC-1\"",
                        "                }",
                        "            ]",
                        "    }, ",
                        "    { ",
                        "        \"linkTypeId\" : \"ORV_OUTGOING_HYPERLINKS\", ",
                        "        \"links\" : ",
                        "            [ ",
                        "                { ",
                        "                    \"hyperlinkName\" : \"Doc\", ",
                        "                    \"hyperlinkURL\" : \"https://e.org/x\"",
                        "                }",
                        "            ]",
                        "    }",
                        "]",
                    }));
  EXPECT_TRUE(e.outgoingHyperlinks);
  EXPECT_TRUE(e.incomingHyperlinks);
  EXPECT_TRUE(e.outgoingDependencies);
  EXPECT_TRUE(e.incomingDependencies);
}

TEST_F(LinkInformationTest, OnlyIncomingHyperlinksGiveOneObjectAndOnlyTheSecondFlag) {
  auto model = Load(ModelWith(R"(
    {"guid": "REQ-A", "meta": "Requirement", "name": "Req A"},
    {"guid": "BLK-X", "meta": "Block", "name": "X",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:a:b:REQ-A", "name": "n1"}},
                     {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:REQ-A"}}]})"));
  Encoded e = Encode(Get(*model, "REQ-A"));
  EXPECT_EQ(e.text, Lines({
                        "[ ",
                        "    { ",
                        "        \"linkTypeId\" : \"ORV_INCOMING_HYPERLINKS\", ",
                        "        \"links\" : ",
                        "            [ ",
                        "                { ",
                        "                    \"linkedObjectName\" : \"X\", ",
                        "                    \"linkedObjectGuid\" : \"BLK-X\"",
                        "                }, ",
                        "                { ",
                        "                    \"linkedObjectName\" : \"X\", ",
                        "                    \"linkedObjectGuid\" : \"BLK-X\"",
                        "                }",
                        "            ]",
                        "    }",
                        "]",
                    }));
  EXPECT_FALSE(e.outgoingHyperlinks);
  EXPECT_TRUE(e.incomingHyperlinks);
  EXPECT_FALSE(e.outgoingDependencies);
  EXPECT_FALSE(e.incomingDependencies);
}

TEST_F(LinkInformationTest, DependencyWithoutLinkedElementIsListedWithEmptyNameAndGuid) {
  // A satisfy dependency with neither supplier nor external reference.
  auto model = Load(ModelWith(R"(
    {"guid": "BLK-X", "meta": "Block", "name": "X", "children": [
       {"guid": "DEP-NOWHERE", "meta": "Dependency", "in": "ClientDependency",
        "stereotypes": [{"apply": "@Predefined@satisfy"}]}]})"));
  Encoded e = Encode(Get(*model, "BLK-X"));
  EXPECT_EQ(e.text, Lines({
                        "[ ",
                        "    { ",
                        "        \"linkTypeId\" : \"ORV_OUTGOING_DEPENDENCIES\", ",
                        "        \"links\" : ",
                        "            [ ",
                        "                { ",
                        "                    \"linkedObjectName\" : \"\", ",
                        "                    \"linkedObjectGuid\" : \"\"",
                        "                }",
                        "            ]",
                        "    }",
                        "]",
                    }));
  EXPECT_FALSE(e.outgoingHyperlinks);
  EXPECT_FALSE(e.incomingHyperlinks);
  EXPECT_TRUE(e.outgoingDependencies);
  EXPECT_FALSE(e.incomingDependencies);
  // Without the layout's blanks and line ends (no string here holds any):
  std::string bare;
  for (char c : e.text) {
    if (c != ' ' && c != '\r' && c != '\n') bare += c;
  }
  EXPECT_EQ(bare,
            "[{\"linkTypeId\":\"ORV_OUTGOING_DEPENDENCIES\",\"links\":[{\"linkedObjectName\":\"\",\"linkedObjectGuid\":\"\"}]}]");
}

TEST_F(LinkInformationTest, HyperlinkWithoutNameAndUrlIsListedWithTwoEmptyStrings) {
  auto model = Load(ModelWith(R"(
    {"guid": "BLK-X", "meta": "Block", "name": "X", "stereotypes": [{"apply": "@VELLinks@HYPERLINK"}]})"));
  Encoded e = Encode(Get(*model, "BLK-X"));
  EXPECT_EQ(e.text, Lines({
                        "[ ",
                        "    { ",
                        "        \"linkTypeId\" : \"ORV_OUTGOING_HYPERLINKS\", ",
                        "        \"links\" : ",
                        "            [ ",
                        "                { ",
                        "                    \"hyperlinkName\" : \"\", ",
                        "                    \"hyperlinkURL\" : \"\"",
                        "                }",
                        "            ]",
                        "    }",
                        "]",
                    }));
  EXPECT_TRUE(e.outgoingHyperlinks);
  EXPECT_FALSE(e.incomingHyperlinks);
  EXPECT_FALSE(e.outgoingDependencies);
  EXPECT_FALSE(e.incomingDependencies);
}

TEST_F(LinkInformationTest, NamesWithQuotesAndControlBytesAreEscapedByTheEncoder) {
  // Name: quote, backslash, tab, CR, LF, 0x01, 0x1F, DEL and a UTF-8 "é";
  // the URL holds a quote and a form feed.
  auto model = Load(ModelWith(R"(
    {"guid": "REQ-Q", "meta": "Requirement", "name": "say \"hi\"\\\t\r\n\u0001\u001f\u007f\u00e9", "children": [
       {"guid": "DEP-Q", "meta": "Dependency", "in": "ClientDependency",
        "refs": {"Supplier": "REQ-Q"}, "stereotypes": [{"apply": "@Predefined@refine"}]}],
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "x\"\f", "name": "a\bb"}}]})"));
  Encoded e = Encode(Get(*model, "REQ-Q"));
  const std::string name = "\"say \\\"hi\\\"\\\\\\u0009\\r\\n\\u0001\\u001F\x7f\xc3\xa9\"";
  const std::string expected = Lines({
                                   "[ ",
                                   "    { ",
                                   "        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", ",
                                   "        \"links\" : ",
                                   "            [ ",
                                   "                { ",
                                   "                    \"linkedObjectName\" : @NAME@, ",
                                   "                    \"linkedObjectGuid\" : \"REQ-Q\"",
                                   "                }",
                                   "            ]",
                                   "    }, ",
                                   "    { ",
                                   "        \"linkTypeId\" : \"ORV_OUTGOING_DEPENDENCIES\", ",
                                   "        \"links\" : ",
                                   "            [ ",
                                   "                { ",
                                   "                    \"linkedObjectName\" : @NAME@, ",
                                   "                    \"linkedObjectGuid\" : \"REQ-Q\"",
                                   "                }",
                                   "            ]",
                                   "    }, ",
                                   "    { ",
                                   "        \"linkTypeId\" : \"ORV_OUTGOING_HYPERLINKS\", ",
                                   "        \"links\" : ",
                                   "            [ ",
                                   "                { ",
                                   "                    \"hyperlinkName\" : \"a\\u0008b\", ",
                                   "                    \"hyperlinkURL\" : \"x\\\"\\u000C\"",
                                   "                }",
                                   "            ]",
                                   "    }",
                                   "]",
                               });
  std::string withName = expected;
  for (std::size_t at; (at = withName.find("@NAME@")) != std::string::npos;) withName.replace(at, 6, name);
  EXPECT_EQ(e.text, withName);
}

TEST_F(LinkInformationTest, ElementWithoutLinksGivesEmptyTextNotAnEmptyArray) {
  auto model = Load(ModelWith(R"({"guid": "BLK-X", "meta": "Block", "name": "X"})"));
  Encoded e = Encode(Get(*model, "BLK-X"));
  EXPECT_EQ(e.text, "");
  EXPECT_FALSE(e.outgoingHyperlinks || e.incomingHyperlinks || e.outgoingDependencies || e.incomingDependencies);
}

TEST_F(LinkInformationTest, TextAndFlagsAreResetBeforeAnythingElse) {
  std::string text = "old";
  bool a = true, b = true, c = true, d = true;
  EncodeLinkInformationInJason(nullptr, text, a, b, c, d);
  EXPECT_EQ(text, "");
  EXPECT_FALSE(a || b || c || d);
  EXPECT_EQ(monitor().Count(), 0u);

  auto model = Load(ModelWith(kAllFour));
  text = "old";
  a = b = c = d = true;
  EncodeLinkInformationInJason(Get(*model, "REQ-A"), text, a, b, c, d);
  EXPECT_EQ(text.substr(0, 6), "[ \r\n  ");  // not appended to "old"
  EXPECT_FALSE(a);  // REQ-A carries no hyperlink ...
  EXPECT_FALSE(b);  // ... and none points at it
  EXPECT_FALSE(c);
  EXPECT_TRUE(d);  // X satisfies it
}

TEST_F(LinkInformationTest, FlagsFollowTheirKindsOneByOne) {
  auto model = Load(ModelWith(kAllFour));
  Encoded tc = Encode(Get(*model, "TC-1"));  // verifies X, links to X
  EXPECT_TRUE(tc.outgoingHyperlinks);
  EXPECT_FALSE(tc.incomingHyperlinks);
  EXPECT_TRUE(tc.outgoingDependencies);
  EXPECT_FALSE(tc.incomingDependencies);
}

}  // namespace
