// Runs every file of the JSONTestSuite parsing corpus (read in place from the
// shared data folder) through the scanner and the parser and compares the
// verdict with the committed expectation table.

#include <dirent.h>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "JasonParser/JasonElementFinder.h"
#include "JasonParser/JasonParser.h"

namespace {

const char kCorpusDir[] = ORV_SHARED_DIR "/data/JSONTestSuite/test_parsing";
const char kExpectations[] = ORV_SOURCE_DIR "/testing/conformance_expectations.txt";
constexpr std::size_t kCorpusFiles = 318;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// File name to expected verdict (true: accept).
std::map<std::string, bool> ReadExpectations() {
  std::map<std::string, bool> table;
  std::istringstream lines(ReadFile(kExpectations));
  std::string line;
  while (std::getline(lines, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string name;
    std::string verdict;
    fields >> name >> verdict;
    EXPECT_TRUE(verdict == "accept" || verdict == "reject") << line;
    EXPECT_EQ(table.count(name), 0u) << "listed twice: " << name;
    table[name] = verdict == "accept";
  }
  return table;
}

std::set<std::string> ListCorpus() {
  std::set<std::string> names;
  DIR* dir = opendir(kCorpusDir);
  if (dir == nullptr) return names;
  while (dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name.size() > 5 && name.compare(name.size() - 5, 5, ".json") == 0) names.insert(name);
  }
  closedir(dir);
  return names;
}

// Scans and parses `text`; on success also encodes and indexes the tree, so
// that the sanitize build sees every stage run on every accepted file.
bool Accepts(std::string text) {
  {
    std::vector<CJasonToken*> tokens;
    CJasonScanner scanner;
    scanner.ScanJasonText(text, tokens);
    for (CJasonToken* token : tokens) delete token;
  }
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  if (root == nullptr) return false;
  std::string out;
  root->EncodeToString(out, true, 0);
  root->EncodeToString(out, false, 0);
  CJasonElementFinder finder;
  finder.Visit(root);
  delete root;
  return true;
}

TEST(JasonConformance, TableAndCorpusListTheSameFiles) {
  const std::map<std::string, bool> table = ReadExpectations();
  const std::set<std::string> corpus = ListCorpus();
  ASSERT_EQ(corpus.size(), kCorpusFiles) << "corpus folder: " << kCorpusDir;
  EXPECT_EQ(table.size(), kCorpusFiles);
  for (const std::string& name : corpus) EXPECT_EQ(table.count(name), 1u) << "not in table: " << name;
  for (const auto& entry : table) {
    EXPECT_EQ(corpus.count(entry.first), 1u) << "not in corpus: " << entry.first;
  }
}

TEST(JasonConformance, EveryFileGetsItsExpectedVerdict) {
  const std::map<std::string, bool> table = ReadExpectations();
  int accepted = 0;
  int checked = 0;
  for (const auto& entry : table) {
    const std::string path = std::string(kCorpusDir) + "/" + entry.first;
    std::ifstream probe(path, std::ios::binary);
    if (!probe) {
      ADD_FAILURE() << "missing file: " << path;
      continue;
    }
    const bool accepts = Accepts(ReadFile(path));
    EXPECT_EQ(accepts, entry.second) << entry.first;
    accepted += accepts ? 1 : 0;
    ++checked;
  }
  EXPECT_EQ(checked, static_cast<int>(kCorpusFiles));
  EXPECT_GT(accepted, 0);
}

}  // namespace
