// The annotation cache, reached through its functions.
#include "SVGCustomization/SvgCache.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "emulator/ModelFile.h"

namespace {

TEST(SvgCacheTest, EntriesAreFoundReplacedAndForgottenPerDiagram) {
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(
      R"({"root": {"children": [{"guid": "D1", "meta": "Diagram"}, {"guid": "D2", "meta": "Diagram"},
                                 {"guid": "R1", "meta": "InstanceExpr"}, {"guid": "R2", "meta": "InstanceExpr"}]}})",
      "cache.json", error);
  ASSERT_NE(model, nullptr) << error;
  qm::IVelEntity* d1 = model->find("D1")->asEntity();
  qm::IVelEntity* d2 = model->find("D2")->asEntity();
  qm::IVelEntity* r1 = model->find("R1")->asEntity();
  qm::IVelEntity* r2 = model->find("R2")->asEntity();

  EXPECT_EQ(nullptr, FindCachedSVGRoot(d1));
  CacheSVGRoot(d1, r1);
  EXPECT_EQ(r1, FindCachedSVGRoot(d1));
  EXPECT_EQ(nullptr, FindCachedSVGRoot(d2));
  CacheSVGRoot(d2, r2);
  CacheSVGRoot(d1, r2);  // replaces
  EXPECT_EQ(r2, FindCachedSVGRoot(d1));
  EXPECT_EQ(r2, FindCachedSVGRoot(d2));
  ForgetCachedSVGRoot(d1);
  EXPECT_EQ(nullptr, FindCachedSVGRoot(d1));
  EXPECT_EQ(r2, FindCachedSVGRoot(d2));
  ForgetCachedSVGRoot(d1);  // forgetting twice is harmless
  ForgetCachedSVGRoot(d2);
  EXPECT_EQ(nullptr, FindCachedSVGRoot(d2));
}

}  // namespace
