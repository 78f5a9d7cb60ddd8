#include "JasonParser/JasonScanner.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <type_traits>
#include <vector>

#include "testing/JasonTestDump.h"

namespace {

// Scans `text`; returns the scanner's answer and the dumped tokens.
struct ScanResult {
  bool ok;
  std::string tokens;
};

ScanResult Scan(std::string text) {
  std::vector<CJasonToken*> tokens;
  CJasonScanner scanner;
  const bool ok = scanner.ScanJasonText(text, tokens);
  ScanResult result{ok, DumpJasonTokens(tokens)};
  for (CJasonToken* token : tokens) delete token;
  return result;
}

struct ScanRow {
  std::string input;
  bool ok;
  std::string tokens;  // kind:text@start-end
};

// Expected tokens written from the rules: kinds 0-5 punctuation, 6 number,
// 7 string (decoded), 8 true, 9 false, 10 null.
const ScanRow kScanRows[] = {
    {"", true, ""},
    {" \t\r\n ", true, ""},
    {"{}[]:,", true, "0:{@0-1 1:}@1-2 2:[@2-3 3:]@3-4 4::@4-5 5:,@5-6"},
    {"{\"a\":1}", true, "0:{@0-1 7:a@1-4 4::@4-5 6:1@5-6 1:}@6-7"},
    {" true false null ", true, "8:true@1-5 9:false@6-11 10:null@12-16"},
    {"truefalse", true, "8:true@0-4 9:false@4-9"},
    {"0", true, "6:0@0-1"},
    {"-0", true, "6:-0@0-2"},
    {"0.5", true, "6:0.5@0-3"},
    {"1e5", true, "6:1e5@0-3"},
    {"1E+5", true, "6:1E+5@0-4"},
    {"-2.5e-3", true, "6:-2.5e-3@0-7"},
    {"123456789012345678901234567890", true, "6:123456789012345678901234567890@0-30"},
    {"1,2", true, "6:1@0-1 5:,@1-2 6:2@2-3"},
    {"1-2", true, "6:1@0-1 6:-2@1-3"},
    {"00", false, ""},
    {"01", false, ""},
    {"-01", false, ""},
    {"-", false, ""},
    {"-a", false, ""},
    {"1.", false, ""},
    {"1.e5", false, ""},
    {".5", false, ""},
    {"1e ", false, ""},
    {"1e+ ", false, ""},
    {"1e+x", false, ""},
    {"1e-", false, ""},
    {"1e", false, "6:1@0-1"},
    {"[1E", false, "2:[@0-1 6:1@1-2"},
    {"1ex", false, ""},
    {"\"\"", true, "7:@0-2"},
    {"\"abc\"", true, "7:abc@0-5"},
    {"\"a\\tb\"", true, "7:a\\x09b@0-6"},
    {"\"\\\"\\\\\\/\\b\\f\\n\\r\\t\"", true, "7:\\x22\\x5C/\\x08\\x0C\\x0A\\x0D\\x09@0-18"},
    {"\"\\u002D\"", true, "7:-@0-8"},
    {"\"\\u0141\"", true, "7:A@0-8"},
    {"\"\\uFFfF\\u00e9\"", true, "7:\\xFF\\xE9@0-14"},
    {"\"\\u0000\"", true, "7:\\x00@0-8"},
    {"\"a\tb\x01\"", true, "7:a\\x09b\\x01@0-6"},
    {"\"\xc3\xa9\xff\"", true, "7:\\xC3\\xA9\\xFF@0-5"},
    {"\"\\q\"", false, ""},
    {"\"\\u12\"", false, ""},
    {"\"\\u12G4\"", false, ""},
    {"\"\\u123", false, ""},
    {"\"\\", false, ""},
    {"\"abc", false, ""},
    {"\"", false, ""},
    {"[\"a\", \"b", false, "2:[@0-1 7:a@1-4 5:,@4-5"},
    {"trueish", false, "8:true@0-4"},
    {"tru", false, ""},
    {"nul", false, ""},
    {"fals", false, ""},
    {"True", false, ""},
    {"+1", false, ""},
    {"'a'", false, ""},
    {"\xef\xbb\xbf[]", false, ""},
    {"\f", false, ""},
    {"[1]x", false, "2:[@0-1 6:1@1-2 3:]@2-3"},
    {std::string("[\0]", 3), false, "2:[@0-1"},
};

TEST(JasonScanner, TableOfTexts) {
  for (const ScanRow& row : kScanRows) {
    const ScanResult result = Scan(row.input);
    EXPECT_EQ(result.ok, row.ok) << "input: " << DumpJasonBytes(row.input);
    EXPECT_EQ(result.tokens, row.tokens) << "input: " << DumpJasonBytes(row.input);
  }
}

TEST(JasonScanner, EmptyOrBlankTextGivesNoTokens) {
  EXPECT_TRUE(Scan("").ok);
  EXPECT_EQ(Scan("").tokens, "");
  EXPECT_TRUE(Scan("   \t\r\n").ok);
  EXPECT_EQ(Scan("   \t\r\n").tokens, "");
}

TEST(JasonScanner, NumberWithLeadingZeroFailsValidNumbersKeepSourceText) {
  EXPECT_FALSE(Scan("01").ok);
  for (const char* number : {"0", "-0", "0.5", "1e5", "1E+5", "-2.5e-3"}) {
    const ScanResult result = Scan(number);
    EXPECT_TRUE(result.ok) << number;
    EXPECT_EQ(result.tokens, "6:" + std::string(number) + "@0-" + std::to_string(strlen(number)));
  }
}

TEST(JasonScanner, PointWithoutDigitsAndIncompleteExponentsFail) {
  EXPECT_FALSE(Scan("1.").ok);
  EXPECT_FALSE(Scan("1e ").ok);
  EXPECT_FALSE(Scan("1e+ ").ok);
  EXPECT_FALSE(Scan("1e+a").ok);
}

TEST(JasonScanner, BackslashTYieldsTabBackslashQFailsUnterminatedFails) {
  const ScanResult tab = Scan("\"\\t\"");
  EXPECT_TRUE(tab.ok);
  EXPECT_EQ(tab.tokens, "7:\\x09@0-4");
  EXPECT_FALSE(Scan("\"\\q\"").ok);
  EXPECT_FALSE(Scan("\"unterminated").ok);
}

TEST(JasonScanner, TokenPositionsOfSmallObject) {
  std::string text = "{\"a\":1}";
  ASSERT_EQ(text.size(), 7u);
  std::vector<CJasonToken*> tokens;
  CJasonScanner scanner;
  ASSERT_TRUE(scanner.ScanJasonText(text, tokens));
  ASSERT_EQ(tokens.size(), 5u);
  const int expected[5][2] = {{0, 1}, {1, 4}, {4, 5}, {5, 6}, {6, 7}};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(tokens[i]->start, expected[i][0]) << i;
    EXPECT_EQ(tokens[i]->end, expected[i][1]) << i;
  }
  for (CJasonToken* token : tokens) delete token;
}

TEST(JasonScanner, NormalizeLeavesTextWithoutDoubleHyphenUnchanged) {
  std::string text = "{\"a-b\" : -1, \"c\" : \"- -\"}";
  const std::string before = text;
  NormalizeJasonText(text);
  EXPECT_EQ(text, before);
}

TEST(JasonScanner, NormalizeRewritesHyphenRuns) {
  struct Row {
    const char* in;
    const char* out;
  } rows[] = {
      {"a--b", "a\\u002D-b"},
      {"---", "\\u002D\\u002D-"},
      {"--", "\\u002D-"},
      {"-", "-"},
      {"", ""},
      {"x-y--", "x-y\\u002D-"},
  };
  for (const Row& row : rows) {
    std::string text = row.in;
    NormalizeJasonText(text);
    EXPECT_EQ(text, row.out) << row.in;
  }
}

TEST(JasonScanner, NormalizedStringScansToSameText) {
  std::string text = "[\"a--b---\"]";
  NormalizeJasonText(text);
  EXPECT_EQ(text, "[\"a\\u002D-b\\u002D\\u002D-\"]");
  EXPECT_EQ(Scan(text).tokens, "2:[@0-1 7:a--b---@1-25 3:]@25-26");
}

TEST(JasonScanner, SubScannersSetPosOnSuccessOnly) {
  CJasonScanner scanner;
  std::string text = "x\"ab\" 12 true false null";
  int pos = 1;
  CJasonToken* token = scanner.ScanJasonString(text, pos);
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(pos, 5);
  EXPECT_EQ(token->kind, CJasonToken::String);
  delete token;
  pos = 0;
  EXPECT_EQ(scanner.ScanJasonString(text, pos), nullptr);
  EXPECT_EQ(pos, 0);
  pos = 6;
  token = scanner.ScanJasonNumber(text, pos);
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(pos, 8);
  EXPECT_EQ(token->text, "12");
  delete token;
  pos = 9;
  token = scanner.ScanJasonConstTrue(text, pos);
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(pos, 13);
  delete token;
  pos = 14;
  EXPECT_EQ(scanner.ScanJasonConstTrue(text, pos), nullptr);
  EXPECT_EQ(pos, 14);
  token = scanner.ScanJasonConstFalse(text, pos);
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(token->kind, CJasonToken::False);
  EXPECT_EQ(pos, 19);
  delete token;
  pos = 20;
  token = scanner.ScanJasonConstNull(text, pos);
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(token->kind, CJasonToken::Null);
  EXPECT_EQ(token->end, 24);
  EXPECT_EQ(pos, 24);
  delete token;
}

TEST(JasonScanner, SubScannersRejectPositionsOutsideText) {
  CJasonScanner scanner;
  std::string text = "\"a\"";
  for (int pos : {-1, 3, 100, INT_MAX, INT_MIN}) {
    int p = pos;
    EXPECT_EQ(scanner.ScanJasonString(text, p), nullptr);
    EXPECT_EQ(scanner.ScanJasonNumber(text, p), nullptr);
    EXPECT_EQ(scanner.ScanJasonConstTrue(text, p), nullptr);
    EXPECT_EQ(scanner.ScanJasonConstFalse(text, p), nullptr);
    EXPECT_EQ(scanner.ScanJasonConstNull(text, p), nullptr);
    EXPECT_EQ(p, pos);
  }
}

TEST(JasonScanner, ScanAppendsToExistingTokens) {
  std::vector<CJasonToken*> tokens;
  CJasonScanner scanner;
  std::string first = "[";
  std::string second = " 1";
  ASSERT_TRUE(scanner.ScanJasonText(first, tokens));
  ASSERT_TRUE(scanner.ScanJasonText(second, tokens));
  EXPECT_EQ(DumpJasonTokens(tokens), "2:[@0-1 6:1@1-2");
  for (CJasonToken* token : tokens) delete token;
}

TEST(JasonScanner, TokenConstructors) {
  CJasonToken empty;
  EXPECT_EQ(empty.text, "");
  EXPECT_EQ(empty.start, 0);
  EXPECT_EQ(empty.end, 0);
  std::string text = "abc";
  CJasonToken token(CJasonToken::String, text, 3, 8);
  EXPECT_EQ(token.kind, CJasonToken::String);
  EXPECT_EQ(token.text, "abc");
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(token.start, 3);
  EXPECT_EQ(token.end, 8);
  EXPECT_EQ(sizeof(CJasonToken::TokenKind), 4u);
  EXPECT_EQ(CJasonToken::Null, 10);
  EXPECT_FALSE(std::is_copy_constructible<CJasonToken>::value);
  EXPECT_FALSE(std::is_copy_assignable<CJasonToken>::value);
  EXPECT_FALSE(std::is_copy_constructible<CJasonScanner>::value);
}

TEST(JasonScanner, TextLongerThanLargest32BitPositionFails) {
  if (sizeof(std::size_t) <= 4) GTEST_SKIP() << "a 2 GiB text does not fit a 32-bit process";
  // Blanks would scan successfully; the length alone must refuse the text.
  std::string text(static_cast<std::size_t>(INT_MAX) + 1, ' ');
  text[0] = '[';
  std::vector<CJasonToken*> tokens;
  CJasonScanner scanner;
  EXPECT_FALSE(scanner.ScanJasonText(text, tokens));
  EXPECT_TRUE(tokens.empty());
  int pos = 0;
  EXPECT_EQ(scanner.ScanJasonConstTrue(text, pos), nullptr);
}

TEST(JasonScanner, LongStringsAndNumbersScanInOnePiece) {
  std::string text = "[\"" + std::string(1 << 20, 'x') + "\\n\"," + std::string(1 << 20, '7') + "]";
  std::vector<CJasonToken*> tokens;
  CJasonScanner scanner;
  ASSERT_TRUE(scanner.ScanJasonText(text, tokens));
  ASSERT_EQ(tokens.size(), 5u);
  EXPECT_EQ(tokens[1]->text.size(), (1u << 20) + 1);
  EXPECT_EQ(tokens[3]->text.size(), 1u << 20);
  for (CJasonToken* token : tokens) delete token;
}

}  // namespace
