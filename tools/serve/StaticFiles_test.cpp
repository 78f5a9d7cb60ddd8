// Tests of the web root: what is served, and that nothing outside it is.
#include "tools/serve/StaticFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace orvtool {
namespace {

class StaticFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/orv-static-test-XXXXXX";
    base_ = mkdtemp(dir);
    root_ = base_ + "/web";
    mkdir(root_.c_str(), 0755);
    mkdir((root_ + "/css").c_str(), 0755);
    mkdir((root_ + "/empty").c_str(), 0755);
    Write(root_ + "/index.html");
    Write(root_ + "/css/site.css");
    Write(root_ + "/css/index.html");
    Write(base_ + "/secret");
    Write(base_ + "/web-other");  // shares the root's name as a prefix
    symlink("css/site.css", (root_ + "/inside-link.css").c_str());
    symlink((base_ + "/secret").c_str(), (root_ + "/outside-link").c_str());
    symlink("../web-other", (root_ + "/prefix-link").c_str());
    symlink(base_.c_str(), (root_ + "/up").c_str());
    mkdir((base_ + "/elsewhere").c_str(), 0755);
    symlink((base_ + "/secret").c_str(), (base_ + "/elsewhere/index.html").c_str());
    symlink((base_ + "/secret").c_str(), (root_ + "/empty/index.html").c_str());
    std::string error;
    ASSERT_TRUE(files_.Open(root_, error)) << error;
  }
  void TearDown() override { std::system(("rm -rf '" + base_ + "'").c_str()); }
  static void Write(const std::string& path) { std::ofstream(path) << path; }

  std::string base_, root_;
  StaticFiles files_;
};

TEST_F(StaticFilesTest, ResolvesFilesInsideTheRootAndRefusesTheRest) {
  using L = StaticFiles::Lookup;
  struct Case {
    const char* url;
    L lookup;
    const char* file;  // relative to the root, when found
  } cases[] = {
      {"/", L::kFound, "/index.html"},
      {"/index.html", L::kFound, "/index.html"},
      {"/css/site.css", L::kFound, "/css/site.css"},
      {"/css/", L::kFound, "/css/index.html"},
      {"/css", L::kFound, "/css/index.html"},
      {"/./css/./site.css", L::kFound, "/css/site.css"},
      {"/css//site.css", L::kFound, "/css/site.css"},
      {"/inside-link.css", L::kFound, "/css/site.css"},
      {"/missing.js", L::kNotFound, ""},
      {"/css/missing/", L::kNotFound, ""},
      {"", L::kNotFound, ""},
      {"index.html", L::kNotFound, ""},
      {"/..", L::kRefused, ""},
      {"/../secret", L::kRefused, ""},
      {"/css/../../secret", L::kRefused, ""},
      {"/css/..", L::kFound, "/index.html"},             // ".." applied first: still inside
      {"/css/../index.html", L::kFound, "/index.html"},
      {"/css/./../css/site.css", L::kFound, "/css/site.css"},
      {"//etc/passwd", L::kRefused, ""},
      {"/outside-link", L::kRefused, ""},
      {"/prefix-link", L::kRefused, ""},
      {"/up/secret", L::kRefused, ""},
      {"/up/web/index.html", L::kFound, "/index.html"},  // out and back in: the canonical path counts
      {"/empty/", L::kRefused, ""},                      // an index that links out
      {"/..hidden", L::kNotFound, ""},                   // a name that merely starts with dots
  };
  for (const Case& c : cases) {
    std::string file;
    EXPECT_EQ(files_.Resolve(c.url, file), c.lookup) << c.url;
    if (c.lookup == L::kFound) {
      EXPECT_EQ(file, files_.root() + c.file) << c.url;
    }
  }
  std::string file;
  EXPECT_EQ(files_.Resolve(std::string("/index.html\0.js", 15), file), L::kRefused);
}

TEST_F(StaticFilesTest, OpenNeedsADirectoryAndCanonicalisesIt) {
  StaticFiles other;
  std::string error;
  EXPECT_FALSE(other.Open(base_ + "/no-such-dir", error));
  EXPECT_EQ(error, base_ + "/no-such-dir: no such directory");
  std::string file;
  EXPECT_EQ(other.Resolve("/index.html", file), StaticFiles::Lookup::kNotFound);
  EXPECT_FALSE(other.Open(base_ + "/secret", error));
  EXPECT_FALSE(other.Open("/", error));
  EXPECT_EQ(error, "refusing to serve the whole file system as the web root");
  ASSERT_TRUE(other.Open(root_ + "/css/..", error));
  char* canonical = realpath(root_.c_str(), nullptr);
  EXPECT_EQ(other.root(), canonical);
  std::free(canonical);
}

TEST(StaticFilesTypes, ContentTypeByExtension) {
  struct Case {
    const char* file;
    const char* type;
  } cases[] = {
      {"index.html", "text/html; charset=utf-8"}, {"app.js", "text/javascript; charset=utf-8"},
      {"site.css", "text/css; charset=utf-8"},   {"data.json", "application/json"},
      {"d.svg", "image/svg+xml"},               {"i.png", "image/png"},
      {"i.gif", "image/gif"},                   {"README", "application/octet-stream"},
      {"archive.tar.gz", "application/octet-stream"},
  };
  for (const Case& c : cases) EXPECT_STREQ(StaticFiles::ContentType(c.file), c.type) << c.file;
}

TEST(StaticFilesRead, ReadsWholeFilesByteForByte) {
  char path[] = "/tmp/orv-read-test-XXXXXX";
  int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  const std::string bytes("a\0b\r\n\xff", 6);
  ASSERT_EQ(write(fd, bytes.data(), bytes.size()), 6);
  close(fd);
  std::string content;
  EXPECT_TRUE(ReadWholeFile(path, content));
  EXPECT_EQ(content, bytes);
  unlink(path);
  EXPECT_FALSE(ReadWholeFile(path, content));
}

}  // namespace
}  // namespace orvtool
