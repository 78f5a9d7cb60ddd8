// Memory running out: every allocation of a parse, an encoding, a search, a
// normalization and a deletion is made to fail in turn. No exception leaves
// the library, each function gives its failure result (null tree, text
// unchanged, empty index), and every block is freed again.

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "JasonParser/JasonElementFinder.h"
#include "JasonParser/JasonParser.h"
#include "testing/AllocationFaults.h"

namespace {

std::string Repeat(const std::string& piece, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += piece;
  return text;
}

struct Row {
  std::string name;
  std::string text;
  std::string compact;  // its compact text
};

// A typical document, and one nested past the parser's first work-stack
// reservation, so that growing the stack fails too.
std::vector<Row> Rows() {
  return {
      {"typical", "{\"objID\":\"o1\",\"relInfo\":{\"n\":[1,-2.5e3,true,null],\"s\":\"a long text, \\\"escaped\\\"\"}}",
       "{ \"objID\" : \"o1\", \"relInfo\" : { \"n\" : [ 1, -2.5e3, true, null], \"s\" : \"a long text, \\\"escaped\\\"\"}}"},
      {"40 levels", Repeat("[{\"a\":", 20) + "0" + Repeat("}]", 20), Repeat("[ { \"a\" : ", 20) + "0" + Repeat("}]", 20)},
  };
}

TEST(JasonAllocationFailure, ParseGivesNullAndFreesEverything) {
  for (const Row& row : Rows()) {
    SCOPED_TRACE(row.name);
    bool parsed = false;
    long leftAlive = -1;
    std::string text = row.text;
    const long runs = orvtest::SweepAllocationFailures(
        [&] {
          const long start = orvtest::LiveBlocksOnThisThread();
          CJasonParser* parser = nullptr;
          try {
            parser = new CJasonParser;
          } catch (const std::bad_alloc&) {
            // the test's own allocation failed: nothing of the library ran
          }
          if (parser != nullptr) {
            CJasonTreeRoot* root = parser->ParseJasonText(text);
            parsed = root != nullptr;
            delete root;
            delete parser;
          }
          leftAlive = orvtest::LiveBlocksOnThisThread() - start;
        },
        [&](long failedAt) {
          EXPECT_EQ(parsed, failedAt == 0) << "allocation " << failedAt;
          EXPECT_EQ(leftAlive, 0) << "allocation " << failedAt;
        });
    EXPECT_GT(runs, 10);
  }
}

TEST(JasonAllocationFailure, EncodeAppendsAllOrNothing) {
  for (const Row& row : Rows()) {
    for (bool compact : {true, false}) {
      SCOPED_TRACE(row.name + (compact ? " compact" : " pretty"));
      std::string text = row.text;
      CJasonParser parser;
      CJasonTreeRoot* root = parser.ParseJasonText(text);
      ASSERT_NE(root, nullptr);
      std::string whole = "before: ";
      root->EncodeToString(whole, compact, 0);
      if (compact) {
        ASSERT_EQ(whole, "before: " + row.compact);
      }
      std::string out;
      bool allOrNothing = false;
      long leftAlive = -1;
      const long runs = orvtest::SweepAllocationFailures(
          [&] {
            std::string().swap(out);  // frees its block (assigning an empty string would keep it)
            out = "before: ";  // fits the string's own buffer: allocates nothing
            const long start = orvtest::LiveBlocksOnThisThread();
            root->EncodeToString(out, compact, 0);
            allOrNothing = out == "before: " || out == whole;
            leftAlive = orvtest::LiveBlocksOnThisThread() - start - (out.capacity() > 15 ? 1 : 0);
          },
          [&](long failedAt) {
            if (failedAt == 0) {
              EXPECT_EQ(out, whole);
            }
            EXPECT_TRUE(allOrNothing) << "allocation " << failedAt;
            EXPECT_EQ(leftAlive, 0) << "allocation " << failedAt;
          });
      EXPECT_GT(runs, 1);
      delete root;
    }
  }
}

// Producers that must answer whole or not at all: every failed allocation
// is a std::bad_alloc with nothing appended, never a quiet empty answer.
TEST(JasonAllocationFailure, EncodeWholeOrThrowThrowsWhenNothingCouldBeWritten) {
  for (const Row& row : Rows()) {
    SCOPED_TRACE(row.name);
    std::string text = row.text;
    CJasonParser parser;
    CJasonTreeRoot* root = parser.ParseJasonText(text);
    ASSERT_NE(root, nullptr);
    auto* container = static_cast<CJasonTreeObjectOrArray*>(root->value);
    std::string out;
    bool threw = false;
    const long runs = orvtest::SweepAllocationFailures(
        [&] {
          std::string().swap(out);
          threw = false;
          try {
            EncodeWholeOrThrow(*container, out, true, 0);
          } catch (const std::bad_alloc&) {
            threw = true;
          }
        },
        [&](long failedAt) {
          if (failedAt == 0) {
            EXPECT_FALSE(threw);
            EXPECT_EQ(out, row.compact);
          } else {
            EXPECT_TRUE(threw) << "allocation " << failedAt;
            EXPECT_EQ(out, "") << "allocation " << failedAt;
          }
        });
    EXPECT_GT(runs, 1);
    delete root;
  }
}

TEST(JasonAllocationFailure, LeafEncodingAndLayoutHelpersAppendAllOrNothing) {
  CJasonTreeString* string = CreateStringFromString("a text longer than the inline buffer");
  CJasonTreeNumber* number = new CJasonTreeNumber;
  number->text = "12345678901234567890";
  const struct {
    CJasonTreeNode* node;
    std::string whole;
  } rows[] = {
      {string, std::string(8, ' ') + "\"a text longer than the inline buffer\""},
      {number, std::string(8, ' ') + "12345678901234567890"},
  };
  for (const auto& row : rows) {
    std::string out;
    orvtest::SweepAllocationFailures([&] {
      std::string().swap(out);  // frees its block (assigning an empty string would keep it)
      row.node->EncodeToString(out, false, 2);
    },
                                     [&](long failedAt) {
                                       if (failedAt == 0) {
                                         EXPECT_EQ(out, row.whole);
                                       } else {
                                         EXPECT_EQ(out, "") << "allocation " << failedAt;
                                       }
                                     });
  }
  std::string out = "x";
  orvtest::FailNewOnThisThread(true);
  AddSpaces(out, false, 100);
  EndLine(out, false);  // "x" plus CR LF still fits the string's own buffer
  orvtest::FailNewOnThisThread(false);
  EXPECT_EQ(out, "x\r\n");
  delete string;
  delete number;
}

TEST(JasonAllocationFailure, FinderIsLeftEmpty) {
  std::string text = "[{\"objID\":\"a long identifier, not inline\",\"relInfo\":[{\"objID\":\"b\"}]},{\"objID\":\"c\"}]";
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  std::size_t entries = 0;
  long leftAlive = -1;
  orvtest::SweepAllocationFailures(
      [&] {
        const long start = orvtest::LiveBlocksOnThisThread();
        {
          CJasonElementFinder finder;
          finder.Visit(root);
          entries = finder.elements.size();
        }
        leftAlive = orvtest::LiveBlocksOnThisThread() - start;
      },
      [&](long failedAt) {
        EXPECT_EQ(entries, failedAt == 0 ? 3u : 0u) << "allocation " << failedAt;
        EXPECT_EQ(leftAlive, 0);
      });
  delete root;
}

TEST(JasonAllocationFailure, NormalizeLeavesTheTextAsItWas) {
  const std::string original = "[\"a--b\", \"" + std::string(42, '-') + "\"]";
  const std::string normalized =
      "[\"a\\u002D-b\", \"" + Repeat("\\u002D", 41) + "-\"]";
  std::string text = original;
  orvtest::SweepAllocationFailures(
      [&] {
        text = original;  // fits the capacity the text already has: allocates nothing
        NormalizeJasonText(text);
      },
      [&](long failedAt) { EXPECT_EQ(text, failedAt == 0 ? normalized : original) << "allocation " << failedAt; });
}

TEST(JasonAllocationFailure, DeletingAllocatesNothingSoItWorksWithNoMemoryLeft) {
  std::string text = Repeat("[{\"a\":\"a long text, longer than the inline buffer\",\"b\":", 1000) + "1" +
                     Repeat("}]", 1000);
  const long start = orvtest::LiveBlocksOnThisThread();
  CJasonParser* parser = new CJasonParser;
  CJasonTreeRoot* root = parser->ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  orvtest::FailNewOnThisThread(true);
  delete root;
  delete parser;
  orvtest::FailNewOnThisThread(false);
  EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start);
}

}  // namespace
