// The model explorer on a model whose attribute definitions form a cycle:
// tests/data/model-view-cycle.json replaces the meta definition of ordinary
// children, "@MetaModel@Element", by an "Attribute" named "Element", and the
// package PKG lists itself under "Element". Every child is then an attribute
// node whose children are attribute nodes again, so asking whether a node has
// children would never end. The query meets the node it is already asking
// about and fails (answers "no") instead.
#include <gtest/gtest.h>

#include "tests/CliSupport.h"

namespace {

using orvtest::RunHost;

struct CycleRow {
  const char* parameters;  // of GetModelViewChildNodes, quoted for the shell
  const char* answer;      // parameter 3 afterwards
};

TEST(ModelViewCycle, CyclicAttributeDefinitionEndsWithoutACrash) {
  const CycleRow rows[] = {
      // The root node: its children are attribute nodes without an answer.
      {"'' '' '' ''",
       R"([ { "text" : "Plant", "hasChildren" : "no", "visual" : "no", "icon" : "-1", )"
       R"("metaclassType" : "Model", "modelguid" : "ROOT", "metaguid" : ""}])"},
      // Attribute nodes whose children cannot be told are left out.
      {"ROOT '' '' ''", "[ ]"},
      {"PKG MM-ELEMENT '' ''", "[ ]"},
  };
  for (const CycleRow& row : rows) {
    auto r = RunHost(std::string("--print 3 tests/data/model-view-cycle.json GetModelViewChildNodes ") +
                     row.parameters);
    EXPECT_EQ(r.status, 0) << row.parameters << "\n" << r.err;
    EXPECT_EQ(r.out, row.answer) << row.parameters;
  }
}

}  // namespace
