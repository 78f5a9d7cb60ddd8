#include "JasonParser/JasonElementFinder.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "JasonParser/JasonParser.h"
#include "testing/JasonTestDump.h"

namespace {

// Parses `text`, runs the finder and returns the map as
// id=<dump of value or null>; entries in key order.
std::string FindDump(std::string text) {
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  if (root == nullptr) return "PARSE FAILED";
  CJasonElementFinder finder;
  finder.Visit(root);
  std::string out;
  for (const auto& entry : finder.elements) {
    if (!out.empty()) out += ' ';
    out += entry.first + "=" + (entry.second ? DumpJasonTree(entry.second) : "null");
  }
  delete root;
  return out;
}

TEST(JasonElementFinder, NoObjIdGivesEmptyMap) {
  EXPECT_EQ(FindDump("{\"a\":{\"relInfo\":1},\"b\":[{\"objid\":\"x\"},{\"ObjID\":\"y\"}]}"), "");
}

TEST(JasonElementFinder, NumericObjIdIndexedUnderEmptyIdentifier) {
  EXPECT_EQ(FindDump("[{\"objID\":12,\"relInfo\":{\"k\":1}}]"), "={\"k\":#1}");
}

TEST(JasonElementFinder, SecondSiblingWithSameObjIdWins) {
  EXPECT_EQ(FindDump("[{\"objID\":\"x\",\"relInfo\":[1]},{\"objID\":\"x\",\"relInfo\":[2]}]"),
            "x=[#2]");
}

TEST(JasonElementFinder, ObjIdInsideRelInfoIndexedBeforeOuterObject) {
  // The inner object is recorded first, so the outer one with the same
  // identifier overrides it; a different inner identifier stays.
  EXPECT_EQ(FindDump("{\"objID\":\"o\",\"relInfo\":{\"objID\":\"i\",\"relInfo\":\"in\"}}"),
            "i=\"in\" o={\"objID\":\"i\",\"relInfo\":\"in\"}");
  EXPECT_EQ(FindDump("{\"objID\":\"same\",\"relInfo\":[{\"objID\":\"same\",\"relInfo\":1}]}"),
            "same=[{\"objID\":\"same\",\"relInfo\":#1}]");
}

TEST(JasonElementFinder, ObjIdWithoutRelInfoMapsToNull) {
  EXPECT_EQ(FindDump("[{\"objID\":\"a\"}]"), "a=null");
}

TEST(JasonElementFinder, TableOfDocuments) {
  struct Row {
    const char* input;
    const char* map;
  } rows[] = {
      {"[]", ""},
      {"{}", ""},
      {"{\"objID\":\"a\",\"relInfo\":true}", "a=true"},
      {"{\"relInfo\":null,\"objID\":\"a\"}", "a=null"},
      {"{\"objID\":\"a\",\"objID\":\"b\",\"relInfo\":1,\"relInfo\":2}", "b=#2"},
      {"{\"objID\":\"a\",\"objID\":5}", "a=null"},
      {"{\"objID\":[\"a\"],\"relInfo\":\"r\"}", "=\"r\""},
      {"[[{\"x\":{\"objID\":\"deep\",\"relInfo\":{}}}]]", "deep={}"},
      {"[{\"objID\":\"b\"},{\"objID\":\"a\",\"relInfo\":\"r\"}]", "a=\"r\" b=null"},
      {"{\"objID\":\"x\",\"relInfo\":1,\"next\":{\"objID\":\"x\",\"relInfo\":2}}", "x=#1"},
      {"[{\"objID\":\"x\",\"relInfo\":1}, {\"outer\":{\"objID\":\"x\",\"relInfo\":2}}]", "x=#2"},
      {"{\"objID \":\"x\",\" relInfo\":1}", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(FindDump(row.input), row.map) << row.input;
}

TEST(JasonElementFinder, ValuesPointIntoTheTree) {
  std::string text = "[{\"objID\":\"a\",\"relInfo\":{\"k\":\"v\"}}]";
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  CJasonElementFinder finder;
  finder.Visit(root);
  auto* object = static_cast<CJasonTreeObject*>(
      static_cast<CJasonTreeArray*>(root->value)->values.front());
  ASSERT_EQ(finder.elements.count("a"), 1u);
  EXPECT_EQ(finder.elements["a"], object->pairs.back()->value);
  EXPECT_EQ(finder.elements.find("b"), finder.elements.end());
  delete root;
}

TEST(JasonElementFinder, VisitNullAndLeavesAndPairs) {
  CJasonElementFinder finder;
  finder.Visit(nullptr);
  CJasonTreeString* leaf = CreateStringFromString("objID");
  finder.Visit(leaf);
  delete leaf;
  EXPECT_TRUE(finder.elements.empty());
  // A pair is visited through its value only; its name is never looked at.
  CJasonTreePair* pair = new CJasonTreePair;
  pair->name = CreateStringFromString("objID");
  CJasonTreeObject* object = new CJasonTreeObject;
  object->pairs.push_back(CreatePairFromStrings("objID", "inner"));
  pair->value = object;
  finder.Visit(pair);
  ASSERT_EQ(finder.elements.size(), 1u);
  EXPECT_EQ(finder.elements.begin()->first, "inner");
  EXPECT_EQ(finder.elements.begin()->second, nullptr);
  delete pair;
}

TEST(JasonElementFinder, ToleratesPairsMissingNameOrValue) {
  CJasonTreeObject object;
  object.pairs.push_back(new CJasonTreePair);
  CJasonTreePair* noValue = new CJasonTreePair;
  noValue->name = CreateStringFromString("objID");
  object.pairs.push_back(noValue);
  CJasonElementFinder finder;
  finder.Visit(&object);
  ASSERT_EQ(finder.elements.size(), 1u);
  EXPECT_EQ(finder.elements.begin()->first, "");
}

TEST(JasonElementFinder, NotCopyable) {
  EXPECT_FALSE(std::is_copy_constructible<CJasonElementFinder>::value);
  EXPECT_FALSE(std::is_copy_assignable<CJasonElementFinder>::value);
}

}  // namespace
