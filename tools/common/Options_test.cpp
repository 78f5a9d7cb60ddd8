#include "tools/common/Options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvtool {
namespace {

// The options of a small program: a flag, a text and two numbers.
struct Parsed {
  bool flag = false;
  std::string text;
  double number = -1, whole = -1;
  std::vector<std::string> positional;
  std::string error;
  bool ok = false;
};

Parsed ParseWords(std::vector<std::string> words, std::size_t unknownPositionalAfter = static_cast<std::size_t>(-1)) {
  Parsed parsed;
  OptionParser parser("prog");
  parser.Flag("--flag", &parsed.flag, "-f");
  parser.Text("--text", &parsed.text);
  parser.Number("--number", 0, 10, false, "a number from 0 to 10", &parsed.number);
  parser.Number("--whole", 1, 100, true, "a whole number from 1 to 100", &parsed.whole);
  parser.UnknownArePositionalAfter(unknownPositionalAfter);
  words.insert(words.begin(), "prog");
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  parsed.ok = parser.Parse(static_cast<int>(argv.size()), argv.data(), parsed.positional, parsed.error);
  return parsed;
}

TEST(OptionParser, ReadsOptionsAndPositionalArguments) {
  Parsed p = ParseWords({"a", "--flag", "--text", "t x", "b", "--number", "2.5", "--whole", "7"});
  ASSERT_TRUE(p.ok) << p.error;
  EXPECT_TRUE(p.flag);
  EXPECT_EQ(p.text, "t x");
  EXPECT_EQ(p.number, 2.5);
  EXPECT_EQ(p.whole, 7);
  EXPECT_EQ(p.positional, (std::vector<std::string>{"a", "b"}));
}

TEST(OptionParser, AliasSingleDashAndDoubleDash) {
  Parsed p = ParseWords({"-f", "-x", "--", "--flag", "--bogus"});
  ASSERT_TRUE(p.ok) << p.error;
  EXPECT_TRUE(p.flag);
  EXPECT_EQ(p.positional, (std::vector<std::string>{"-x", "--flag", "--bogus"}));
}

TEST(OptionParser, ProblemsAreNamed) {
  const struct {
    std::vector<std::string> words;
    const char* error;
  } rows[] = {
      {{"--bogus"}, "unknown option --bogus"},
      {{"--text"}, "--text needs a value"},
      {{"--number"}, "--number needs a value"},
      {{"--number", "soon"}, "--number expects a number from 0 to 10, got 'soon'"},
      {{"--number", ""}, "--number expects a number from 0 to 10, got ''"},
      {{"--number", "11"}, "--number expects a number from 0 to 10, got '11'"},
      {{"--number", "-1"}, "--number expects a number from 0 to 10, got '-1'"},
      {{"--number", "nan"}, "--number expects a number from 0 to 10, got 'nan'"},
      {{"--number", "2x"}, "--number expects a number from 0 to 10, got '2x'"},
      {{"--whole", "2.5"}, "--whole expects a whole number from 1 to 100, got '2.5'"},
      {{"--whole", "0"}, "--whole expects a whole number from 1 to 100, got '0'"},
  };
  for (const auto& row : rows) {
    Parsed p = ParseWords(row.words);
    EXPECT_FALSE(p.ok) << row.error;
    EXPECT_EQ(p.error, row.error);
  }
}

TEST(OptionParser, UnknownOptionsArePositionalOnceEnoughArgumentsCame) {
  Parsed p = ParseWords({"--bogus"}, 1);
  EXPECT_FALSE(p.ok);
  p = ParseWords({"a", "--bogus", "--number", "3", "--other"}, 1);
  ASSERT_TRUE(p.ok) << p.error;
  EXPECT_EQ(p.positional, (std::vector<std::string>{"a", "--bogus", "--other"}));
  EXPECT_EQ(p.number, 3);  // known options stay options
}

TEST(OptionParser, UsageErrorNamesTheProgram) {
  EXPECT_EQ(OptionParser("orv-host serve").UsageError("oops"), "orv-host serve: oops\n(see orv-host serve --help)\n");
}

}  // namespace
}  // namespace orvtool
