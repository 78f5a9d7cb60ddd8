#include "ControlInfoParser/CIScanner.h"

#include <gtest/gtest.h>

#include "testing/AllocationFaults.h"

#include <string>
#include <vector>

namespace {

// Writes tokens as "kind:text" separated by single blanks, so that a row of
// expected bytes can be compared at a glance. Token texts in the rows below
// hold no blanks unless a test says so.
std::string Dump(const std::vector<CCIToken>& tokens) {
  std::string out;
  for (const CCIToken& t : tokens) {
    if (!out.empty()) out += ' ';
    out += std::to_string(static_cast<int>(t.kind));
    out += ':';
    out += t.text;
  }
  return out;
}

bool Scan(const std::string& text, std::vector<CCIToken>& tokens) {
  CCIScanner scanner;
  return scanner.ScanCIText(text, tokens);
}

struct AcceptRow {
  const char* input;
  const char* tokens;  // the Dump of the expected tokens
};

const AcceptRow kAccepted[] = {
    {"", ""},
    {" \t\r\n", ""},
    {"{", "2:{"},
    {"}", "3:}"},
    {"=", "4:="},
    {",", "5:,"},
    {"(.", "0:(."},
    {".)", "1:.)"},
    {"(..)", "0:(. 1:.)"},
    {"(. .)", "0:(. 1:.)"},
    {"{a,b}", "2:{ 7:a 5:, 7:b 3:}"},
    {"a=\"b\"", "7:a 4:= 6:b"},
    {"X(.y=z.)", "7:X 0:(. 7:y 4:= 7:z 1:.)"},
    {"_", "7:_"},
    {"x_1 y", "7:x_1 7:y"},
    {"A9_b", "7:A9_b"},
    {"\"\"", "6:"},
    {"''", "7:"},
    {"\"12\"", "6:12"},
    {"a = \"12\"", "7:a 4:= 6:12"},
    {"\"a\\\"b\"", "6:a\"b"},
    {"'a\\'b'", "7:a'b"},
    {"\"a\\\\b\"", "6:a\\b"},
    {"\"\\b\\t\\n\\r\\f\"", "6:\b\t\n\r\f"},
    {"\"a'b\"", "6:a'b"},
    {"'a\"b'", "7:a\"b"},
    {"\"line1\nline2\"", "6:line1\nline2"},
    {"\"\xC3\xA4\"", "6:\xC3\xA4"},
    {"{}{}", "2:{ 3:} 2:{ 3:}"},
    {"a}", "7:a 3:}"},
};

TEST(CIScannerTest, AcceptsTableOfInputsWithExactTokens) {
  for (const AcceptRow& row : kAccepted) {
    std::vector<CCIToken> tokens;
    EXPECT_TRUE(Scan(row.input, tokens)) << "input: " << row.input;
    EXPECT_EQ(row.tokens, Dump(tokens)) << "input: " << row.input;
  }
}

const char* const kRejected[] = {
    "( .",        // "(" must be followed at once by "."
    ". )",        // "." must be followed at once by ")"
    "(",          // text ends after "("
    ".",          // text ends after "."
    "a = (",
    "a = .",
    "a = 12",     // digits cannot start a token
    "1",
    "a.b",        // a dotted name
    "1.5",
    "\"abc",      // no closing quote
    "\"ab\\",     // backslash at the end
    "\"",
    "'",
    "'abc",
    "\"a\\'b\"",  // inside double quotes only the double quote is escaped
    "'a\\\"b'",   // inside single quotes only the single quote is escaped
    "\"a\\/b\"",
    "\"a\\u0041\"",
    "\"\\",
    "a\x0B" "b",  // vertical tab is not white space
    "a\fb",       // nor is form feed
    "\xC3\xA4",   // bytes from 0x80 up are not letters
    "a\xC3\xA4",
    "-",
    ";",
    "(",
    ")",
    "[",
    "@x",
};

TEST(CIScannerTest, RejectsTableOfInvalidInputs) {
  for (const char* input : kRejected) {
    std::vector<CCIToken> tokens;
    EXPECT_FALSE(Scan(input, tokens)) << "input: " << input;
  }
}

TEST(CIScannerTest, EditExampleWithTabScansToSixTokens) {
  std::vector<CCIToken> tokens;
  ASSERT_TRUE(Scan("Edit(. text = \"A\\tB\" .)", tokens));
  ASSERT_EQ(6u, tokens.size());
  EXPECT_EQ(kCIIdent, tokens[0].kind);
  EXPECT_EQ("Edit", tokens[0].text);
  EXPECT_EQ(kCIOpenArgs, tokens[1].kind);
  EXPECT_EQ("(.", tokens[1].text);
  EXPECT_EQ(kCIIdent, tokens[2].kind);
  EXPECT_EQ("text", tokens[2].text);
  EXPECT_EQ(kCIEquals, tokens[3].kind);
  EXPECT_EQ("=", tokens[3].text);
  EXPECT_EQ(kCIString, tokens[4].kind);
  EXPECT_EQ(std::string("A\x09" "B"), tokens[4].text);
  EXPECT_EQ(kCICloseArgs, tokens[5].kind);
  EXPECT_EQ(".)", tokens[5].text);
}

TEST(CIScannerTest, SingleQuotedNameIsIdentifierNotString) {
  std::vector<CCIToken> tokens;
  ASSERT_TRUE(Scan("'my name' = x", tokens));
  ASSERT_EQ(3u, tokens.size());
  EXPECT_EQ(kCIIdent, tokens[0].kind);
  EXPECT_EQ("my name", tokens[0].text);
  EXPECT_EQ(kCIEquals, tokens[1].kind);
  EXPECT_EQ(kCIIdent, tokens[2].kind);
  EXPECT_EQ("x", tokens[2].text);
}

TEST(CIScannerTest, TwoCharacterDelimitersMustNotBeSplit) {
  std::vector<CCIToken> tokens;
  EXPECT_FALSE(Scan("( .", tokens));
  tokens.clear();
  EXPECT_FALSE(Scan(". )", tokens));
}

TEST(CIScannerTest, DigitFailsUnlessQuoted) {
  std::vector<CCIToken> tokens;
  EXPECT_FALSE(Scan("a = 12", tokens));
  tokens.clear();
  ASSERT_TRUE(Scan("a = \"12\"", tokens));
  EXPECT_EQ("7:a 4:= 6:12", Dump(tokens));
}

TEST(CIScannerTest, UnterminatedStringAndBadEscapesFail) {
  std::vector<CCIToken> tokens;
  EXPECT_FALSE(Scan("\"abc", tokens));
  EXPECT_FALSE(Scan("\"ab\\", tokens));
  EXPECT_FALSE(Scan("\"a\\'b\"", tokens));
}

TEST(CIScannerTest, IdentifierWithDigitAndLoneUnderscore) {
  std::vector<CCIToken> tokens;
  ASSERT_TRUE(Scan("x_1 y", tokens));
  EXPECT_EQ("7:x_1 7:y", Dump(tokens));
  tokens.clear();
  ASSERT_TRUE(Scan("_", tokens));
  EXPECT_EQ("7:_", Dump(tokens));
}

TEST(CIScannerTest, TextEndingInParenthesisOrDotFails) {
  std::vector<CCIToken> tokens;
  EXPECT_FALSE(Scan("X(", tokens));
  tokens.clear();
  EXPECT_FALSE(Scan("X(. .", tokens));
}

TEST(CIScannerTest, EmptyTextSucceedsWithNoTokens) {
  std::vector<CCIToken> tokens;
  EXPECT_TRUE(Scan("", tokens));
  EXPECT_TRUE(tokens.empty());
}

TEST(CIScannerTest, AppendsWithoutClearingAndKeepsTokensBeforeFault) {
  std::vector<CCIToken> tokens;
  tokens.emplace_back(kCIComma, ",");
  ASSERT_TRUE(Scan("a", tokens));
  EXPECT_EQ("5:, 7:a", Dump(tokens));
  tokens.clear();
  EXPECT_FALSE(Scan("{ a = 1", tokens));
  EXPECT_EQ("2:{ 7:a 4:=", Dump(tokens));
}

TEST(CIScannerTest, NulByteInsideStringIsKept) {
  std::vector<CCIToken> tokens;
  ASSERT_TRUE(Scan(std::string("\"a\0b\"", 5), tokens));
  ASSERT_EQ(1u, tokens.size());
  EXPECT_EQ(std::string("a\0b", 3), tokens[0].text);
  tokens.clear();
  EXPECT_FALSE(Scan(std::string("a\0", 2), tokens));
}

TEST(CIScannerTest, ScanCIStringLeavesPositionBehindClosingQuote) {
  CCIScanner scanner;
  std::string out = "old";
  std::int32_t pos = 2;
  ASSERT_TRUE(scanner.ScanCIString("x=\"ab\\nc\" y", out, pos, '"'));
  EXPECT_EQ("ab\nc", out);
  EXPECT_EQ(9, pos);
}

TEST(CIScannerTest, ScanCIStringFailsWhenNotAtQuoteAndClearsOutput) {
  CCIScanner scanner;
  std::string out = "old";
  std::int32_t pos = 0;
  EXPECT_FALSE(scanner.ScanCIString("abc", out, pos, '"'));
  EXPECT_EQ("", out);
  pos = 0;
  EXPECT_FALSE(scanner.ScanCIString("'abc'", out, pos, '"'));
}

TEST(CIScannerTest, ScanCIStringFailsOnLoneQuoteAtEnd) {
  CCIScanner scanner;
  std::string out;
  std::int32_t pos = 0;
  EXPECT_FALSE(scanner.ScanCIString("'", out, pos, '\''));
}

TEST(CIScannerTest, ScanCIStringKeepsCollectedBytesOnFailure) {
  CCIScanner scanner;
  std::string out;
  std::int32_t pos = 0;
  EXPECT_FALSE(scanner.ScanCIString("\"ab\\qc\"", out, pos, '"'));
  EXPECT_EQ("ab", out);
}

TEST(CIScannerTest, ScanCIStringRejectsPositionOutsideText) {
  CCIScanner scanner;
  std::string out;
  std::int32_t pos = -1;
  EXPECT_FALSE(scanner.ScanCIString("\"a\"", out, pos, '"'));
  pos = 3;
  EXPECT_FALSE(scanner.ScanCIString("\"a\"", out, pos, '"'));
}

TEST(CIScannerTest, ScanCISimpleIdentStopsAtFirstOtherByte) {
  CCIScanner scanner;
  std::string out = "old";
  std::int32_t pos = 1;
  ASSERT_TRUE(scanner.ScanCISimpleIdent(" ab_9(.", out, pos));
  EXPECT_EQ("ab_9", out);
  EXPECT_EQ(5, pos);
  pos = 0;
  ASSERT_TRUE(scanner.ScanCISimpleIdent("z", out, pos));
  EXPECT_EQ("z", out);
  EXPECT_EQ(1, pos);
}

TEST(CIScannerTest, ScanCISimpleIdentRejectsDigitOrHighByteStart) {
  CCIScanner scanner;
  std::string out = "old";
  std::int32_t pos = 0;
  EXPECT_FALSE(scanner.ScanCISimpleIdent("9a", out, pos));
  EXPECT_EQ("", out);
  EXPECT_FALSE(scanner.ScanCISimpleIdent("\xE9t\xE9", out, pos));
  pos = 0;
  ASSERT_TRUE(scanner.ScanCISimpleIdent("a\xE9", out, pos));
  EXPECT_EQ("a", out);
  EXPECT_EQ(1, pos);
}

// Fails each allocation of a scan in turn: every failure is a false result
// that says memory ran out, and the tokens vector, once destroyed, leaves
// nothing behind. The run without a failure gives every token.
TEST(CIScannerTest, EveryAllocationFailureFailsTheScanAndLeaksNothing) {
  const std::string text = "{ ControlInfo(. control = EditBox(. text = \"A label long enough to need memory\", "
                           "value = 'a_name_long_enough_to_need_memory_too' .) .), x, y, z }";
  std::vector<CCIToken> expectedTokens;
  ASSERT_TRUE(Scan(text, expectedTokens));
  const std::string expected = Dump(expectedTokens);
  // The runs call the scanner only; the checks, with failures off, look at
  // what it left.
  std::vector<CCIToken> tokens;
  CCIOutcome outcome = CCIOutcome::kDone;
  bool scanned = false;
  long live = 0;
  const long runs = orvtest::SweepAllocationFailures(
      [&] {
        live = orvtest::LiveBlocksOnThisThread();
        outcome = CCIScanner().ScanCITextWithOutcome(text, tokens);
        scanned = CCIScanner().ScanCIText("", tokens);  // allocates nothing
      },
      [&](long failedAt) {
        {
          const std::string dump = Dump(tokens);
          if (failedAt == 0) {
            EXPECT_EQ(CCIOutcome::kDone, outcome);
            EXPECT_EQ(expected, dump);
          } else {
            EXPECT_EQ(CCIOutcome::kOutOfMemory, outcome) << "failed at " << failedAt;
          }
          EXPECT_TRUE(scanned);
        }
        std::vector<CCIToken>().swap(tokens);
        EXPECT_EQ(live, orvtest::LiveBlocksOnThisThread()) << "failed at " << failedAt;
      });
  EXPECT_GT(runs, 5);
  // The plain function answers false for every failure.
  orvtest::SweepAllocationFailures(
      [&] {
        live = orvtest::LiveBlocksOnThisThread();
        {
          std::vector<CCIToken> local;
          scanned = CCIScanner().ScanCIText(text, local);
        }
        live = orvtest::LiveBlocksOnThisThread() - live;
      },
      [&](long failedAt) {
        EXPECT_EQ(failedAt == 0, scanned) << "failed at " << failedAt;
        EXPECT_EQ(0, live) << "failed at " << failedAt;
      });
}

TEST(CIScannerTest, StringAndIdentifierScansFailWhenMemoryRunsOut) {
  const std::string quoted = "\"a string long enough to need memory of its own\"";
  const std::string name = "an_identifier_long_enough_to_need_memory_of_its_own";
  CCIScanner scanner;
  std::string out;
  std::int32_t pos = 0;
  orvtest::FailNewOnThisThread(true);
  const bool stringScanned = scanner.ScanCIString(quoted, out, pos, '"');
  pos = 0;
  const bool nameScanned = scanner.ScanCISimpleIdent(name, out, pos);
  orvtest::FailNewOnThisThread(false);
  EXPECT_FALSE(stringScanned);
  EXPECT_FALSE(nameScanned);
  pos = 0;
  EXPECT_TRUE(scanner.ScanCIString(quoted, out, pos, '"'));
  EXPECT_EQ(quoted.substr(1, quoted.size() - 2), out);
  pos = 0;
  EXPECT_TRUE(scanner.ScanCISimpleIdent(name, out, pos));
  EXPECT_EQ(name, out);
}

}  // namespace
