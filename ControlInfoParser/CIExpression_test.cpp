#include "ControlInfoParser/CIExpression.h"

#include <gtest/gtest.h>

namespace {

// A string value that counts its destructions, to see what a deletion frees.
int g_destroyed = 0;

class CountedValue : public CCIStringValue {
 public:
  explicit CountedValue(const char* v) : CCIStringValue(v) {}
  ~CountedValue() override { ++g_destroyed; }
};

TEST(CIExpressionTest, ConcreteClassesCarryTheirKindCodes) {
  CCIInstanceExpr instance;
  CCIAssignmentExpr assignment;
  CCIListExpr list;
  CCIStringValue value;
  EXPECT_EQ(0, instance.kind);
  EXPECT_EQ(1, assignment.kind);
  EXPECT_EQ(2, list.kind);
  EXPECT_EQ(3, value.kind);
  EXPECT_EQ(nullptr, assignment.value);
  EXPECT_TRUE(instance.arguments.empty());
  EXPECT_TRUE(list.items.empty());
}

TEST(CIExpressionTest, DeletingRootFreesEveryNodeOfTheTree) {
  g_destroyed = 0;
  auto* list = new CCIListExpr;
  list->items.push_back(new CountedValue("a"));
  auto* instance = new CCIInstanceExpr;
  instance->name = "X";
  auto* assignment = new CCIAssignmentExpr;
  assignment->name = "text";
  assignment->value = new CountedValue("b");
  instance->arguments.push_back(assignment);
  instance->arguments.push_back(new CountedValue("c"));
  list->items.push_back(instance);
  list->items.push_back(new CountedValue("d"));
  delete static_cast<CCIExpression*>(list);
  EXPECT_EQ(4, g_destroyed);
}

TEST(CIExpressionTest, AssignmentWithoutValueDeletesSafely) {
  CCIExpression* assignment = new CCIAssignmentExpr;
  delete assignment;
  SUCCEED();
}

// A million nested lists and a million chained assignments would overflow
// the stack if the destructors recursed.
TEST(CIExpressionTest, DeletingVeryDeepTreeDoesNotRecurse) {
  g_destroyed = 0;
  auto* root = new CCIListExpr;
  CCIListExpr* innermost = root;
  for (int i = 0; i < 1000000; ++i) {
    auto* next = new CCIListExpr;
    innermost->items.push_back(next);
    innermost = next;
  }
  innermost->items.push_back(new CountedValue("leaf"));
  delete root;
  EXPECT_EQ(1, g_destroyed);

  auto* chain = new CCIAssignmentExpr;
  CCIAssignmentExpr* last = chain;
  for (int i = 0; i < 1000000; ++i) {
    auto* next = new CCIAssignmentExpr;
    last->value = next;
    last = next;
  }
  last->value = new CountedValue("end");
  delete chain;
  EXPECT_EQ(2, g_destroyed);
}

}  // namespace
