// Builds without the HTTP library (the i386 build) have no server:
// orv-host says so and fails, and everything else still works.
#include <gtest/gtest.h>

#include "tests/CliSupport.h"

namespace {

using orvtest::RunHost;

TEST(ServeMissing, SaysServeIsNotBuiltWithANonZeroStatus) {
  for (const char* arguments : {"serve examples/model.json", "serve", "serve --help"}) {
    auto r = RunHost(arguments);
    EXPECT_EQ(r.status, 6) << arguments;
    EXPECT_EQ(r.err, "orv-host: serve is not built in this build\n") << arguments;
    EXPECT_EQ(r.out, "") << arguments;
  }
  auto r = RunHost("--print 2 examples/model.json GetNativeLinkInformation BLK-STATION old");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
}

}  // namespace
