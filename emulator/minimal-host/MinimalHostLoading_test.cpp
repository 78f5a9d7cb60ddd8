// The plug-in loads, with every symbol bound at once (RTLD_NOW), into a
// process whose only host is MinimalHost: the host interface's operations and
// nothing more. A plug-in that needed any other host symbol would fail here
// with "undefined symbol".
#include <dlfcn.h>

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(MinimalHostLoading, PluginLoadsWithEverySymbolBoundAndFindsItsAgents) {
  void* plugin = dlopen(ORV_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  const char* error = plugin == nullptr ? dlerror() : nullptr;
  ASSERT_NE(plugin, nullptr) << (error == nullptr ? "" : error);
  for (const char* agent : {"TransformControlInfoToJason", "GetPropertyPageControls", "GetNativeLinkInformation",
                            "GetModelViewChildNodes", "GenerateSVGWithAnnotations",
                            "GenerateSVGWithAnnotationsCustomizationAgent", "g_strJasonText"}) {
    EXPECT_NE(dlsym(plugin, agent), nullptr) << agent;
  }
  EXPECT_EQ(dlclose(plugin), 0);
}

// The process really is such a host: the emulator is not in it, and the
// minimal host is.
TEST(MinimalHostLoading, TheProcessOffersOnlyTheMinimalHost) {
  EXPECT_EQ(dlopen("libQmEmulator.so", RTLD_NOLOAD | RTLD_NOW), nullptr);
  void* host = dlopen("libQmMinimalHost.so", RTLD_NOLOAD | RTLD_NOW);
  ASSERT_NE(host, nullptr);
  dlclose(host);  // drops the reference that RTLD_NOLOAD took
  EXPECT_NE(dlsym(RTLD_DEFAULT, "_ZN5qmdll14defaultChangerE"), nullptr);  // qmdll::defaultChanger
  // qm::AgentParameter::Release(qm::AgentParameter*): inline, no host operation.
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "_ZN2qm14AgentParameter7ReleaseEPS0_"), nullptr);
}

}  // namespace
