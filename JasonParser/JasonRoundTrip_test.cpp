// Round trip: every text that parses is encoded compact and pretty, parsed
// again, and must give the same tree (kinds, texts, order).

#include <dirent.h>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "JasonParser/JasonParser.h"
#include "testing/JasonTestDump.h"

namespace {

// Parses `text`; returns the dump or "FAIL", and the encodings of the tree.
struct Parsed {
  std::string dump;
  std::string compact;
  std::string pretty;
};

Parsed ParseAndEncode(std::string text) {
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  if (root == nullptr) return {"FAIL", "", ""};
  Parsed parsed{DumpJasonTree(root), "", ""};
  root->EncodeToString(parsed.compact, true, 0);
  root->EncodeToString(parsed.pretty, false, 0);
  delete root;
  return parsed;
}

// Checks that `text` survives both encodings; returns false if it does not parse.
bool ExpectRoundTrip(const std::string& text, const std::string& label) {
  const Parsed first = ParseAndEncode(text);
  if (first.dump == "FAIL") return false;
  const Parsed fromCompact = ParseAndEncode(first.compact);
  const Parsed fromPretty = ParseAndEncode(first.pretty);
  EXPECT_EQ(fromCompact.dump, first.dump) << label;
  EXPECT_EQ(fromPretty.dump, first.dump) << label;
  // Encoding is a fixed point after one round.
  EXPECT_EQ(fromCompact.compact, first.compact) << label;
  EXPECT_EQ(fromPretty.pretty, first.pretty) << label;
  return true;
}

const char* const kSamples[] = {
    "{}",
    "[]",
    "[[],{},[[{}]]]",
    "{\"a\":\"x\",\"b\":[1,true]}",
    "{\"k\":\"\\u0000\\u001f\\b\\f\\n\\r\\t\\\"\\\\\\/\"}",
    "[\"\xc3\xa9\xe2\x82\xac\xff\x7f\"]",
    "[-0, 0.5, 1e5, 1E+5, -2.5e-3, 123456789012345678901234567890]",
    "{\"\":{\"\":[\"\"]}}",
    "{\"dup\":1,\"dup\":2}",
    "[null,false,true]",
    " \r\n\t[ 1 ,\r\n 2 ] ",
};

TEST(JasonRoundTrip, SamplesSurviveCompactAndPrettyEncoding) {
  for (const char* sample : kSamples) EXPECT_TRUE(ExpectRoundTrip(sample, sample)) << sample;
}

TEST(JasonRoundTrip, AcceptedConformanceFilesSurvive) {
  const std::string folder = ORV_SHARED_DIR "/data/JSONTestSuite/test_parsing";
  DIR* dir = opendir(folder.c_str());
  ASSERT_NE(dir, nullptr) << folder;
  int roundTripped = 0;
  while (dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name.size() < 5 || name.compare(name.size() - 5, 5, ".json") != 0) continue;
    std::ifstream in(folder + "/" + name, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    if (ExpectRoundTrip(bytes.str(), name)) ++roundTripped;
  }
  closedir(dir);
  EXPECT_GT(roundTripped, 100);
}

TEST(JasonRoundTrip, BenchmarkDocumentsSurvive) {
  for (const char* name : {"twitter.json", "citm_catalog.json", "canada.json"}) {
    std::ifstream in(std::string(ORV_SHARED_DIR "/data/json-bench/") + name, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    EXPECT_TRUE(ExpectRoundTrip(bytes.str(), name)) << name;
  }
}

// Where the kept decoding rules make the bytes differ, the tree still agrees.
TEST(JasonRoundTrip, UnicodeEscapeAboveFFKeepsLowByteSoBytesDiffer) {
  const Parsed parsed = ParseAndEncode("[\"\\u0141\"]");
  EXPECT_EQ(parsed.dump, "root([\"A\"])");
  EXPECT_EQ(parsed.compact, "[ \"A\"]");
}

TEST(JasonRoundTrip, ShortEscapesOtherThanCrLfComeBackAsSixCharacters) {
  const Parsed parsed = ParseAndEncode("[\"\\t\\b\\f\\/\\n\\r\"]");
  EXPECT_EQ(parsed.compact, "[ \"\\u0009\\u0008\\u000C/\\n\\r\"]");
  EXPECT_EQ(ParseAndEncode(parsed.compact).dump, parsed.dump);
}

TEST(JasonRoundTrip, EscapedHighByteComesBackRaw) {
  const Parsed parsed = ParseAndEncode("[\"\\u00e9\"]");
  EXPECT_EQ(parsed.compact, "[ \"\xe9\"]");
  EXPECT_EQ(ParseAndEncode(parsed.compact).dump, "root([\"\\xE9\"])");
}

TEST(JasonRoundTrip, BlanksAndLayoutAreNotKept) {
  const Parsed parsed = ParseAndEncode("{\"a\":[1,2]}");
  EXPECT_EQ(parsed.compact, "{ \"a\" : [ 1, 2]}");
  EXPECT_EQ(parsed.pretty,
            "{ \r\n"
            "    \"a\" : \r\n"
            "        [ \r\n"
            "            1, \r\n"
            "            2\r\n"
            "        ]\r\n"
            "}");
}

}  // namespace
