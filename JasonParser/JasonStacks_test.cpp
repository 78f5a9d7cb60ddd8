// The same inputs on every stack a host may call the library on (its main
// thread, small thread stacks, a switched ucontext stack): parsing,
// encoding, normalizing, indexing and deleting give the same answer on each,
// and that answer is the one the JSON rules give, however deep the input.
// Expected texts are built by hand-written rules ("[ " repeated, ...).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "JasonParser/JasonElementFinder.h"
#include "JasonParser/JasonParser.h"
#include "testing/AllocationFaults.h"
#include "testing/Stacks.h"

namespace {

constexpr int kDeep = 100000;
// Pretty text grows with the square of the depth (each level indents four
// blanks more): 1,000 levels are 4 MB of it, 100,000 would be 40 GB.
constexpr int kDeepPretty = 1000;

std::string Repeat(const std::string& piece, int times) {
  std::string text;
  text.reserve(piece.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) text += piece;
  return text;
}

std::string Blanks(int level) { return std::string(4u * static_cast<std::size_t>(level), ' '); }

// `depth` arrays, each the only element of the one around it.
std::string NestedArraysText(int depth) { return Repeat("[", depth) + Repeat("]", depth); }
std::string NestedArraysCompact(int depth) { return Repeat("[ ", depth) + Repeat("]", depth); }

// Pretty: every array but the outermost starts on its own line, indented by
// its level; every closing bracket likewise.
std::string NestedArraysPretty(int depth) {
  std::string text;
  for (int level = 0; level < depth; ++level) {
    if (level > 0) text += "\r\n" + Blanks(level);
    text += "[ ";
  }
  for (int level = depth - 1; level >= 0; --level) text += "\r\n" + Blanks(level) + "]";
  return text;
}

// `depth` objects, each the value of the only pair "a" of the one around
// it; the innermost pair holds the number 1.
std::string NestedObjectsText(int depth) { return Repeat("{\"a\":", depth) + "1" + Repeat("}", depth); }
std::string NestedObjectsCompact(int depth) { return Repeat("{ \"a\" : ", depth) + "1" + Repeat("}", depth); }

// Pretty: an object at level L holds its pair at L + 1, whose object value
// starts on the next line at L + 2.
std::string NestedObjectsPretty(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) {
    const int level = 2 * i;
    if (i > 0) text += "\r\n" + Blanks(level);
    text += "{ \r\n" + Blanks(level + 1) + "\"a\" : ";
  }
  text += "1";
  for (int i = depth - 1; i >= 0; --i) text += "\r\n" + Blanks(2 * i) + "}";
  return text;
}

// `depth` objects with two pairs each, "objID" (its number, from 0) and
// "relInfo", an array holding the next object; the innermost array holds
// `innermost`. So 2 * `depth` containers nest.
std::string ObjectsWithPairsText(int depth, const std::string& innermost) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "{\"objID\":\"" + std::to_string(i) + "\",\"relInfo\":[";
  text += innermost;
  return text + Repeat("]}", depth);
}

std::string ObjectsWithPairsCompact(int depth, const std::string& innermost) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "{ \"objID\" : \"" + std::to_string(i) + "\", \"relInfo\" : [ ";
  text += innermost;
  return text + Repeat("]}", depth);
}

// Pretty: object i sits at level 3i (its pairs at 3i + 1, the array value at
// 3i + 2, the array's element at 3i + 3).
std::string ObjectsWithPairsPretty(int depth, const std::string& innermost) {
  std::string text;
  for (int i = 0; i < depth; ++i) {
    const int level = 3 * i;
    if (i > 0) text += "\r\n" + Blanks(level);
    text += "{ \r\n" + Blanks(level + 1) + "\"objID\" : \"" + std::to_string(i) + "\", \r\n" + Blanks(level + 1) +
            "\"relInfo\" : \r\n" + Blanks(level + 2) + "[ ";
  }
  text += "\r\n" + Blanks(3 * depth) + innermost;
  for (int i = depth - 1; i >= 0; --i) {
    text += "\r\n" + Blanks(3 * i + 2) + "]\r\n" + Blanks(3 * i) + "}";
  }
  return text;
}

// What the library answers for one input.
struct Answers {
  bool ran = false;
  bool parsed = false;
  std::string compact;
  std::string pretty;
  std::string normalized;
  std::size_t elements = 0;
  bool firstHasArrayRelation = false;  // elements["0"] is an array
  long leftAlive = -1;                 // blocks of this thread left after deleting it all
};

struct Row {
  std::string name;
  std::string text;
  bool parses;
  std::string compact;     // "" when it does not parse
  std::string pretty;      // "" when it does not parse or is not checked
  std::string normalized;  // the text after NormalizeJasonText
  std::size_t elements;    // entries the element finder makes
};

// Runs every operation on `row`; touches nothing outside `answers` (no test
// assertions: their messages would need more stack than the body itself).
void Answer(const Row& row, Answers& answers) {
  const long start = orvtest::LiveBlocksOnThisThread();
  {
    std::string text = row.text;
    CJasonParser* parser = new CJasonParser;
    CJasonTreeRoot* root = parser->ParseJasonText(text);
    delete parser;
    answers.parsed = root != nullptr;
    if (root != nullptr) {
      root->EncodeToString(answers.compact, true, 0);
      if (!row.pretty.empty()) root->EncodeToString(answers.pretty, false, 0);
      CJasonElementFinder finder;
      finder.Visit(root);
      answers.elements = finder.elements.size();
      auto first = finder.elements.find("0");
      answers.firstHasArrayRelation = first != finder.elements.end() && first->second != nullptr &&
                                      first->second->kind == NodeKind::Array;
      finder.elements.clear();
      delete root;
    }
    answers.normalized = row.text;
    NormalizeJasonText(answers.normalized);
  }
  // The answers' strings were made here too; they are not counted.
  const long answerBlocks = (answers.compact.capacity() > 15 ? 1 : 0) + (answers.pretty.capacity() > 15 ? 1 : 0) +
                            (answers.normalized.capacity() > 15 ? 1 : 0);
  answers.leftAlive = orvtest::LiveBlocksOnThisThread() - start - answerBlocks;
  answers.ran = true;
}

std::vector<Row> Rows() {
  const std::string typical =
      "{\"objID\":\"o1\",\"relInfo\":{\"n\":[1,2.5,true,null],\"objID\":\"o2\"},\"s\":\"a--b\"}";
  const std::string typicalPretty =
      "{ \r\n"
      "    \"objID\" : \"o1\", \r\n"
      "    \"relInfo\" : \r\n"
      "        { \r\n"
      "            \"n\" : \r\n"
      "                [ \r\n"
      "                    1, \r\n"
      "                    2.5, \r\n"
      "                    true, \r\n"
      "                    null\r\n"
      "                ], \r\n"
      "            \"objID\" : \"o2\"\r\n"
      "        }, \r\n"
      "    \"s\" : \"a--b\"\r\n"
      "}";
  const int half = kDeep / 2;
  return {
      {"[1]", "[1]", true, "[ 1]", "[ \r\n    1\r\n]", "[1]", 0},
      {"{}", "{}", true, "{ }", "{ \r\n}", "{}", 0},
      {"typical", typical, true,
       "{ \"objID\" : \"o1\", \"relInfo\" : { \"n\" : [ 1, 2.5, true, null], \"objID\" : \"o2\"}, \"s\" : \"a--b\"}",
       typicalPretty,
       "{\"objID\":\"o1\",\"relInfo\":{\"n\":[1,2.5,true,null],\"objID\":\"o2\"},\"s\":\"a\\u002D-b\"}", 2},
      {"arrays 100,000 deep", NestedArraysText(kDeep), true, NestedArraysCompact(kDeep), "",
       NestedArraysText(kDeep), 0},
      {"arrays 1,000 deep", NestedArraysText(kDeepPretty), true, NestedArraysCompact(kDeepPretty),
       NestedArraysPretty(kDeepPretty), NestedArraysText(kDeepPretty), 0},
      {"objects 100,000 deep", NestedObjectsText(kDeep), true, NestedObjectsCompact(kDeep), "",
       NestedObjectsText(kDeep), 0},
      {"objects 1,000 deep", NestedObjectsText(kDeepPretty), true, NestedObjectsCompact(kDeepPretty),
       NestedObjectsPretty(kDeepPretty), NestedObjectsText(kDeepPretty), 0},
      {"objects with pairs, 100,000 containers deep", ObjectsWithPairsText(half, "\"a--b\""), true,
       ObjectsWithPairsCompact(half, "\"a--b\""), "", ObjectsWithPairsText(half, "\"a\\u002D-b\""),
       static_cast<std::size_t>(half)},
      {"objects with pairs, 1,000 containers deep", ObjectsWithPairsText(kDeepPretty / 2, "0"), true,
       ObjectsWithPairsCompact(kDeepPretty / 2, "0"), ObjectsWithPairsPretty(kDeepPretty / 2, "0"),
       ObjectsWithPairsText(kDeepPretty / 2, "0"), static_cast<std::size_t>(kDeepPretty / 2)},
      {"arrays 100,000 deep, never closed", Repeat("[", kDeep), false, "", "", Repeat("[", kDeep), 0},
      {"arrays 100,000 deep, one bracket too many", NestedArraysText(kDeep) + "]", false, "", "",
       NestedArraysText(kDeep) + "]", 0},
      {"objects with pairs 100,000 deep, comma before the end", ObjectsWithPairsText(half, "1,"), false, "", "",
       ObjectsWithPairsText(half, "1,"), 0},
  };
}

TEST(JasonStacks, EveryStackGivesTheRulesAnswer) {
  for (const Row& row : Rows()) {
    for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
      SCOPED_TRACE(row.name + " on " + stack.name);
      Answers answers;
      ASSERT_TRUE(orvtest::RunOnStack(stack, [&] { Answer(row, answers); }));
      ASSERT_TRUE(answers.ran);
      EXPECT_EQ(answers.parsed, row.parses);
      EXPECT_TRUE(answers.compact == row.compact) << "compact text differs; size " << answers.compact.size()
                                                  << ", expected " << row.compact.size();
      EXPECT_TRUE(answers.pretty == row.pretty) << "pretty text differs; size " << answers.pretty.size()
                                                << ", expected " << row.pretty.size();
      EXPECT_TRUE(answers.normalized == row.normalized) << "normalized text differs";
      EXPECT_EQ(answers.elements, row.elements);
      EXPECT_EQ(answers.firstHasArrayRelation, row.elements > 2);
      EXPECT_EQ(answers.leftAlive, 0);
    }
  }
}

TEST(JasonStacks, DeepCompactTextParsesBackToItself) {
  // The round trip through the library's own text, on every stack.
  const std::string compact = ObjectsWithPairsCompact(kDeep / 2, "[ ]");
  for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
    SCOPED_TRACE(stack.name);
    std::string again;
    ASSERT_TRUE(orvtest::RunOnStack(stack, [&] {
      std::string text = compact;
      CJasonParser parser;
      CJasonTreeRoot* root = parser.ParseJasonText(text);
      if (root != nullptr) root->EncodeToString(again, true, 0);
      delete root;
    }));
    EXPECT_TRUE(again == compact) << "size " << again.size() << ", expected " << compact.size();
  }
}

}  // namespace
