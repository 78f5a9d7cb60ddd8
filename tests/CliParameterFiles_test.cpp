// Parameters given as @FILE, @- and @@TEXT on the command line.
#include <unistd.h>

#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/CliSupport.h"

namespace {

using orvtest::RunHost;

// A scratch file that is removed when the test ends.
class ScratchFile {
 public:
  explicit ScratchFile(const std::string& bytes) {
    char name[] = "/tmp/orv-parameter-XXXXXX";
    int fd = mkstemp(name);
    close(fd);
    path_ = name;
    std::ofstream(path_, std::ios::binary) << bytes;
  }
  ~ScratchFile() { unlink(path_.c_str()); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// With three parameters the link agent leaves every parameter as it was, so
// the first one shows exactly the text the tool handed over.
std::string FirstParameterOf(const std::string& argument, const std::string& redirect = "") {
  auto r = RunHost("--print 1 tests/data/minimal.json GetNativeLinkInformation " + argument + " b c" + redirect);
  EXPECT_EQ(r.status, 0) << r.err;
  return r.out;
}

TEST(CliParameterFiles, AtPathGivesTheFilesBytes) {
  const std::string bytes("line 1\r\nline 2\n\x01\xff end", 20);
  ScratchFile file(bytes);
  EXPECT_EQ(FirstParameterOf("@" + file.path()), bytes);
}

TEST(CliParameterFiles, AtDashGivesStandardInput) {
  ScratchFile file("from standard input\n");
  EXPECT_EQ(FirstParameterOf("@-", " <" + file.path()), "from standard input\n");
}

TEST(CliParameterFiles, DoubleAtGivesALiteralLeadingAt) {
  struct Row {
    const char* argument;
    const char* text;
  };
  const Row rows[] = {
      {"@@", "@"},
      {"@@-", "@-"},
      {"@@@x", "@@x"},
      {"'@@OrvServer@GetNativeLinkInformation'", "@OrvServer@GetNativeLinkInformation"},
      {"a@b", "a@b"},
      {"''", ""},
  };
  for (const Row& row : rows) EXPECT_EQ(FirstParameterOf(row.argument), row.text) << row.argument;
}

TEST(CliParameterFiles, EmptyFileGivesEmptyText) {
  ScratchFile file("");
  EXPECT_EQ(FirstParameterOf("@" + file.path()), "");
}

TEST(CliParameterFiles, MissingFileIsAUsageErrorNamingIt) {
  auto r = RunHost("tests/data/minimal.json GetNativeLinkInformation a @/nonexistent/client.json");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: parameter 2: @/nonexistent/client.json: cannot open: No such file or directory\n");
  EXPECT_EQ(r.out, "");
}

TEST(CliParameterFiles, LoneAtNamesNoFile) {
  auto r = RunHost("tests/data/minimal.json GetNativeLinkInformation @ b");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: parameter 1: @: cannot open: No such file or directory\n");
}

TEST(CliParameterFiles, DirectoryIsRefused) {
  auto r = RunHost("tests/data/minimal.json GetNativeLinkInformation @tests b");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: parameter 1: @tests: cannot read: Is a directory\n");
}

TEST(CliParameterFiles, StandardInputServesOneParameterOnly) {
  auto r = RunHost("tests/data/minimal.json GetNativeLinkInformation @- @- </dev/null");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: parameter 2: @-: standard input can be read for one parameter only\n");
}

TEST(CliParameterFiles, ContextAndModelAreNeverReadFromFiles) {
  // "@Predefined@..." paths name entities; only parameters stand for files.
  auto r = RunHost("--context @Predefined@ExternalObject --print 1 tests/data/minimal.json "
                   "GetNativeLinkInformation x y z");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "x");
}

// A client JSON far larger than a command line: a note of 50 MiB on the
// valve. The answer carries the note as its comment and the icon beside it.
TEST(CliParameterFiles, FiftyMebibyteClientJsonReachesTheSvgAgent) {
  const std::size_t kNoteSize = 50u * 1024 * 1024;
  std::string note(kNoteSize, 'n');
  ScratchFile client(R"([{"objID": "BLK-VALVE", "relInfo": {"note": ")" + note + R"("}}])");
  // A generous time limit: the test is about size, and sanitizer builds are slow.
  auto r = RunHost("--timeout 300 --context DIA-LINKS --print 2 examples/model.json GenerateSVGWithAnnotations @" +
                   client.path() + " ''");
  ASSERT_EQ(r.status, 0) << r.err.substr(0, 400);
  const std::string comment = "<!--{\"note\": \"" + note + "\"}-->";
  EXPECT_NE(r.out.find(comment), std::string::npos);
  EXPECT_NE(r.out.find("ERIcon.gif"), std::string::npos);
  EXPECT_GT(r.out.size(), kNoteSize);
}

}  // namespace
