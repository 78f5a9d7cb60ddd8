#include <gtest/gtest.h>

#include <string>

#include "JasonParser/JasonTree.h"

namespace {

CJasonTreeNumber* MakeNumber(const std::string& text) {
  CJasonTreeNumber* node = new CJasonTreeNumber;
  node->text = text;
  return node;
}

CJasonTreeConst* MakeConst(const std::string& text) {
  CJasonTreeConst* node = new CJasonTreeConst;
  node->text = text;
  return node;
}

CJasonTreePair* MakePair(const std::string& name, CJasonTreeValue* value) {
  CJasonTreePair* pair = new CJasonTreePair;
  pair->name = CreateStringFromString(name);
  pair->value = value;
  return pair;
}

// { "a": "x", "b": [1, true] }
CJasonTreeObject* MakeWorkedExample() {
  CJasonTreeObject* object = new CJasonTreeObject;
  object->pairs.push_back(CreatePairFromStrings("a", "x"));
  CJasonTreeArray* array = new CJasonTreeArray;
  array->values.push_back(MakeNumber("1"));
  array->values.push_back(MakeConst("true"));
  object->pairs.push_back(MakePair("b", array));
  return object;
}

std::string Encode(CJasonTreeNode* node, bool compact, int level = 0) {
  std::string out;
  node->EncodeToString(out, compact, level);
  return out;
}

std::string EncodeString(const std::string& text) {
  CJasonTreeString* node = CreateStringFromString(text);
  std::string out = Encode(node, true);
  delete node;
  return out;
}

TEST(JasonEncoder, WorkedExampleCompact) {
  CJasonTreeObject* object = MakeWorkedExample();
  EXPECT_EQ(Encode(object, true), "{ \"a\" : \"x\", \"b\" : [ 1, true]}");
  delete object;
}

TEST(JasonEncoder, WorkedExamplePretty) {
  CJasonTreeObject* object = MakeWorkedExample();
  EXPECT_EQ(Encode(object, false),
            "{ \r\n"
            "    \"a\" : \"x\", \r\n"
            "    \"b\" : \r\n"
            "        [ \r\n"
            "            1, \r\n"
            "            true\r\n"
            "        ]\r\n"
            "}");
  delete object;
}

TEST(JasonEncoder, EmptyContainers) {
  CJasonTreeObject object;
  CJasonTreeArray array;
  EXPECT_EQ(Encode(&object, true), "{ }");
  EXPECT_EQ(Encode(&array, true), "[ ]");
  EXPECT_EQ(Encode(&object, false), "{ \r\n}");
  EXPECT_EQ(Encode(&object, false, 2), "        { \r\n        }");
  EXPECT_EQ(Encode(&array, false, 1), "    [ \r\n    ]");
}

TEST(JasonEncoder, EndLineAndAddSpaces) {
  std::string out;
  EndLine(out, true);
  EXPECT_EQ(out, "");
  EndLine(out, false);
  EXPECT_EQ(out, "\r\n");
  out.clear();
  AddSpaces(out, true, 3);
  EXPECT_EQ(out, "");
  AddSpaces(out, false, 0);
  EXPECT_EQ(out, "");
  AddSpaces(out, false, -2);
  EXPECT_EQ(out, "");
  AddSpaces(out, false, 2);
  EXPECT_EQ(out, "        ");
}

TEST(JasonEncoder, StringWithTabCarriageReturnLineFeed) {
  EXPECT_EQ(EncodeString("\t\r\n"), "\"\\u0009\\r\\n\"");
}

TEST(JasonEncoder, StringWithDelAndUtf8Unchanged) {
  EXPECT_EQ(EncodeString("\x7f"), "\"\x7f\"");
  EXPECT_EQ(EncodeString("\xc5\x81\xe2\x82\xac"), "\"\xc5\x81\xe2\x82\xac\"");
}

TEST(JasonEncoder, StringEscapeTable) {
  struct Row {
    std::string in;
    std::string out;
  } rows[] = {
      {"", "\"\""},
      {"\"", "\"\\\"\""},
      {"\\", "\"\\\\\""},
      {"/", "\"/\""},
      {std::string("\x00", 1), "\"\\u0000\""},
      {"\x08", "\"\\u0008\""},
      {"\x0c", "\"\\u000C\""},
      {"\x1a", "\"\\u001A\""},
      {"\x1f", "\"\\u001F\""},
      {"\x20", "\" \""},
      {"\xff\x80", "\"\xff\x80\""},
      {"a\"b\\c\nd", "\"a\\\"b\\\\c\\nd\""},
  };
  for (const Row& row : rows) EXPECT_EQ(EncodeString(row.in), row.out) << row.out;
}

TEST(JasonEncoder, PairWithObjectValueCompactStaysOnOneLine) {
  CJasonTreeObject* inner = new CJasonTreeObject;
  inner->pairs.push_back(CreatePairFromStrings("k", "v"));
  CJasonTreePair* pair = MakePair("p", inner);
  EXPECT_EQ(Encode(pair, true), "\"p\" : { \"k\" : \"v\"}");
  EXPECT_EQ(Encode(pair, false, 1),
            "    \"p\" : \r\n"
            "        { \r\n"
            "            \"k\" : \"v\"\r\n"
            "        }");
  delete pair;
}

TEST(JasonEncoder, PrettyArrayElementsIndentedPairValuesNot) {
  CJasonTreeArray* array = new CJasonTreeArray;
  array->values.push_back(CreateStringFromString("x"));
  array->values.push_back(CreateStringFromString("y"));
  CJasonTreeObject* object = new CJasonTreeObject;
  object->pairs.push_back(CreatePairFromStrings("s", "v"));
  object->pairs.push_back(MakePair("list", array));
  EXPECT_EQ(Encode(object, false),
            "{ \r\n"
            "    \"s\" : \"v\", \r\n"
            "    \"list\" : \r\n"
            "        [ \r\n"
            "            \"x\", \r\n"
            "            \"y\"\r\n"
            "        ]\r\n"
            "}");
  delete object;
}

TEST(JasonEncoder, EncodingAppends) {
  CJasonTreeObject* object = MakeWorkedExample();
  std::string out = "prefix";
  object->EncodeToString(out, true, 0);
  object->EncodeToString(out, true, 0);
  EXPECT_EQ(out, "prefix{ \"a\" : \"x\", \"b\" : [ 1, true]}{ \"a\" : \"x\", \"b\" : [ 1, true]}");
  delete object;
}

TEST(JasonEncoder, RootWithNullValueEncodesToNothing) {
  CJasonTreeRoot root;
  std::string out = "x";
  root.EncodeToString(out, false, 0);
  root.EncodeToString(out, true, 3);
  EXPECT_EQ(out, "x");
}

TEST(JasonEncoder, RootEncodesItsValueWithoutTrailingLineEnd) {
  CJasonTreeRoot root;
  root.value = new CJasonTreeArray;
  static_cast<CJasonTreeArray*>(root.value)->values.push_back(MakeNumber("-1.5e3"));
  EXPECT_EQ(Encode(&root, false), "[ \r\n    -1.5e3\r\n]");
  EXPECT_EQ(Encode(&root, true), "[ -1.5e3]");
}

TEST(JasonEncoder, NumbersAndConstantsWrittenVerbatim) {
  CJasonTreeArray array;
  array.values.push_back(MakeNumber("not a number"));
  array.values.push_back(MakeConst("null"));
  array.values.push_back(MakeConst("false"));
  EXPECT_EQ(Encode(&array, true), "[ not a number, null, false]");
}

TEST(JasonEncoder, PairMissingNameOrValueVanishesButKeepsComma) {
  CJasonTreeObject object;
  object.pairs.push_back(CreatePairFromStrings("a", "1"));
  CJasonTreePair* noValue = new CJasonTreePair;
  noValue->name = CreateStringFromString("b");
  object.pairs.push_back(noValue);
  object.pairs.push_back(CreatePairFromStrings("c", "2"));
  EXPECT_EQ(Encode(&object, true), "{ \"a\" : \"1\", , \"c\" : \"2\"}");
  object.pairs.push_back(new CJasonTreePair);
  EXPECT_EQ(Encode(&object, true), "{ \"a\" : \"1\", , \"c\" : \"2\", }");
}

TEST(JasonEncoder, PairMissingValueVanishesInPrettyLayoutToo) {
  CJasonTreeObject object;
  object.pairs.push_back(CreatePairFromStrings("a", "1"));
  CJasonTreePair* noValue = new CJasonTreePair;
  noValue->name = CreateStringFromString("b");
  object.pairs.push_back(noValue);
  object.pairs.push_back(CreatePairFromStrings("c", "2"));
  EXPECT_EQ(Encode(&object, false),
            "{ \r\n"
            "    \"a\" : \"1\", \r\n"
            ", \r\n"
            "    \"c\" : \"2\"\r\n"
            "}");
  CJasonTreeArray array;
  array.values.push_back(new CJasonTreeObject);
  EXPECT_EQ(Encode(&array, false, 70),
            std::string(280, ' ') + "[ \r\n" + std::string(284, ' ') + "{ \r\n" +
                std::string(284, ' ') + "}\r\n" + std::string(280, ' ') + "]");
}

TEST(JasonEncoder, PairEncodedAloneIndentsOnlyTheName) {
  CJasonTreePair* pair = CreatePairFromStrings("n", "v");
  EXPECT_EQ(Encode(pair, false, 2), "        \"n\" : \"v\"");
  delete pair;
}

TEST(JasonEncoder, NestedArraysPretty) {
  CJasonTreeArray outer;
  CJasonTreeArray* inner = new CJasonTreeArray;
  inner->values.push_back(new CJasonTreeObject);
  outer.values.push_back(inner);
  outer.values.push_back(MakeNumber("2"));
  EXPECT_EQ(Encode(&outer, false),
            "[ \r\n"
            "    [ \r\n"
            "        { \r\n"
            "        }\r\n"
            "    ], \r\n"
            "    2\r\n"
            "]");
  EXPECT_EQ(Encode(&outer, true), "[ [ { }], 2]");
}

TEST(JasonEncoder, LeafEncodedWithLevelIsIndented) {
  CJasonTreeString* string = CreateStringFromString("s");
  EXPECT_EQ(Encode(string, false, 1), "    \"s\"");
  EXPECT_EQ(Encode(string, true, 1), "\"s\"");
  delete string;
}

}  // namespace
