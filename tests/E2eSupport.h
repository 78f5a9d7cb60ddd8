// Helpers for end-to-end tests: a host session over a model and the real
// plug-in, loaded with dlopen as the host loads it.
#ifndef TESTS_E2ESUPPORT_H_
#define TESTS_E2ESUPPORT_H_

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/Session.h"

namespace orvtest {

// Writes `text` to a new temporary file whose name ends in `suffix` (for
// tools that go by the extension) and returns its path; the caller removes it.
inline std::string TempFile(const std::string& text, const std::string& suffix) {
  std::string pattern = "/tmp/orv-e2e-XXXXXX" + suffix;
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  const int fd = mkstemps(name.data(), static_cast<int>(suffix.size()));
  EXPECT_GE(fd, 0);
  close(fd);
  std::ofstream(name.data(), std::ios::binary) << text;
  return name.data();
}

// A session over the model file at `path` (relative to the repository) and
// the plug-in of this build. Fails the test and answers null on error.
inline std::unique_ptr<qmemu::Session> OpenSessionFile(const std::string& path) {
  std::string error;
  auto session = qmemu::Session::Open(std::string(ORV_SOURCE_DIR) + "/" + path, ORV_PLUGIN_PATH, error);
  EXPECT_NE(session, nullptr) << error;
  return session;
}

// The same for model text written in the test.
inline std::unique_ptr<qmemu::Session> OpenSessionText(const std::string& modelText) {
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(modelText, "test-model.json", error);
  EXPECT_NE(model, nullptr) << error;
  if (model == nullptr) return nullptr;
  std::unique_ptr<qmemu::Plugin> plugin = qmemu::Plugin::Open(ORV_PLUGIN_PATH, error);
  EXPECT_NE(plugin, nullptr) << error;
  if (plugin == nullptr) return nullptr;
  return std::make_unique<qmemu::Session>(std::move(model), std::move(plugin));
}

// Runs `agent` on `context` with text parameters; fails the test when the
// tool-level call fails (unknown agent or entity, escaped exception).
inline qmemu::AgentRun Run(qmemu::Session& session, const std::string& agent, const std::string& context,
                           const std::vector<std::string>& texts) {
  qmemu::AgentRun run;
  std::string error;
  EXPECT_TRUE(session.Run(agent, context, texts, run, error)) << error;
  return run;
}

}  // namespace orvtest

#endif  // TESTS_E2ESUPPORT_H_
