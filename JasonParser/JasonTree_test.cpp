#include "JasonParser/JasonTree.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "testing/AllocationFaults.h"

namespace {

TEST(JasonTree, ConstructorsSetKindAndClearFields) {
  CJasonTreeRoot root;
  CJasonTreePair pair;
  CJasonTreeObject object;
  CJasonTreeArray array;
  CJasonTreeString string;
  CJasonTreeNumber number;
  CJasonTreeConst constant;
  EXPECT_EQ(root.kind, 0);
  EXPECT_EQ(pair.kind, 1);
  EXPECT_EQ(object.kind, 2);
  EXPECT_EQ(array.kind, 3);
  EXPECT_EQ(string.kind, 4);
  EXPECT_EQ(number.kind, 5);
  EXPECT_EQ(constant.kind, 6);
  EXPECT_EQ(root.value, nullptr);
  EXPECT_EQ(pair.name, nullptr);
  EXPECT_EQ(pair.value, nullptr);
  EXPECT_TRUE(object.pairs.empty());
  EXPECT_TRUE(array.values.empty());
  EXPECT_TRUE(string.text.empty());
  EXPECT_TRUE(number.text.empty());
  EXPECT_TRUE(constant.text.empty());
  EXPECT_EQ(object.start, 0);
  EXPECT_EQ(object.end, 0);
}

TEST(JasonTree, KindCodesMatchEnumeration) {
  EXPECT_EQ(NodeKind::Root, 0);
  EXPECT_EQ(NodeKind::Pair, 1);
  EXPECT_EQ(NodeKind::Object, 2);
  EXPECT_EQ(NodeKind::Array, 3);
  EXPECT_EQ(NodeKind::String, 4);
  EXPECT_EQ(NodeKind::Number, 5);
  EXPECT_EQ(NodeKind::Const, 6);
  EXPECT_EQ(sizeof(CJasonTreeNode::kind), 4u);
}

// Every block a test allocates on this thread is freed again when the blocks
// still alive return to their count before the test built anything. (Pool
// chunks are blocks too, and go back once their last node is freed.)

TEST(JasonTree, DeletingObjectWithNullNamesOrValuesDeletesWhatIsPresent) {
  const long start = orvtest::LiveBlocksOnThisThread();
  CJasonTreeObject* object = new CJasonTreeObject;
  CJasonTreePair* noName = new CJasonTreePair;
  noName->value = CreateStringFromString("v");
  CJasonTreePair* noValue = new CJasonTreePair;
  noValue->name = CreateStringFromString("n");
  CJasonTreePair* neither = new CJasonTreePair;
  CJasonTreePair* nestedNoName = new CJasonTreePair;
  CJasonTreeArray* array = new CJasonTreeArray;
  array->values.push_back(new CJasonTreeObject);
  nestedNoName->value = array;
  object->pairs.push_back(noName);
  object->pairs.push_back(noValue);
  object->pairs.push_back(neither);
  object->pairs.push_back(nestedNoName);
  EXPECT_GT(orvtest::LiveBlocksOnThisThread(), start);
  delete object;
  EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start);
}

TEST(JasonTree, DeletingRootWithNullValueFreesOnlyTheRoot) {
  const long start = orvtest::LiveBlocksOnThisThread();
  CJasonTreeRoot* root = new CJasonTreeRoot;
  ASSERT_EQ(root->value, nullptr);
  EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start + 1);  // the root, or the pool chunk holding it
  delete root;
  EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start);
}

TEST(JasonTree, CreatePairFromStringsKeepsNameBytesUnescaped) {
  CJasonTreePair* pair = CreatePairFromStrings(std::string("a\"b"), std::string());
  ASSERT_NE(pair->name, nullptr);
  ASSERT_NE(pair->value, nullptr);
  EXPECT_EQ(pair->name->kind, 4);
  EXPECT_EQ(pair->name->text, std::string("a\"b"));
  EXPECT_EQ(pair->name->text.size(), 3u);
  ASSERT_EQ(pair->value->kind, 4);
  EXPECT_EQ(static_cast<CJasonTreeString*>(pair->value)->text, "");
  delete pair;
}

TEST(JasonTree, BuilderNodesReportStartAndEndZero) {
  CJasonTreePair* pair = CreatePairFromStrings("n", "v");
  CJasonTreeString* string = CreateStringFromString("s");
  EXPECT_EQ(pair->start, 0);
  EXPECT_EQ(pair->end, 0);
  EXPECT_EQ(pair->name->start, 0);
  EXPECT_EQ(pair->name->end, 0);
  EXPECT_EQ(pair->value->start, 0);
  EXPECT_EQ(pair->value->end, 0);
  EXPECT_EQ(string->start, 0);
  EXPECT_EQ(string->end, 0);
  delete pair;
  delete string;
}

TEST(JasonTree, CreateStringFromStringCopiesAnyBytes) {
  const std::string bytes("\x00\x01\xff\"\\", 5);
  CJasonTreeString* string = CreateStringFromString(bytes);
  EXPECT_EQ(string->text, bytes);
  delete string;
}

TEST(JasonTree, NodesAreNotCopyable) {
  EXPECT_FALSE(std::is_copy_constructible<CJasonTreeObject>::value);
  EXPECT_FALSE(std::is_copy_assignable<CJasonTreeObject>::value);
  EXPECT_FALSE(std::is_copy_constructible<CJasonTreeString>::value);
  EXPECT_FALSE(std::is_copy_assignable<CJasonTreePair>::value);
  EXPECT_TRUE(std::is_abstract<CJasonTreeNode>::value);
  EXPECT_TRUE(std::is_abstract<CJasonTreeValue>::value);
  EXPECT_TRUE(std::is_abstract<CJasonTreeObjectOrArray>::value);
}

TEST(JasonTree, DeletingWideTreeFreesEverything) {
  const long start = orvtest::LiveBlocksOnThisThread();
  CJasonTreeRoot* root = new CJasonTreeRoot;
  CJasonTreeArray* array = new CJasonTreeArray;
  root->value = array;
  for (int i = 0; i < 1000; ++i) {
    CJasonTreeObject* object = new CJasonTreeObject;
    object->pairs.push_back(CreatePairFromStrings("k", "a long value that is not inline"));
    CJasonTreePair* nested = new CJasonTreePair;
    nested->name = CreateStringFromString("n");
    nested->value = new CJasonTreeArray;
    static_cast<CJasonTreeArray*>(nested->value)->values.push_back(new CJasonTreeConst);
    object->pairs.push_back(nested);
    array->values.push_back(object);
  }
  EXPECT_GT(orvtest::LiveBlocksOnThisThread(), start + 1000);  // at least the list cells
  delete root;
  EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start);
}

}  // namespace
