#include "ControlInfoParser/CIExpression.h"

#include <gtest/gtest.h>

#include "testing/AllocationFaults.h"
#include "testing/Stacks.h"

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
  const long live = orvtest::LiveBlocksOnThisThread();
  CCIExpression* assignment = new CCIAssignmentExpr;
  EXPECT_EQ(live + 1, orvtest::LiveBlocksOnThisThread());
  const long calls = orvtest::NewCallsOnThisThread();
  delete assignment;
  EXPECT_EQ(calls, orvtest::NewCallsOnThisThread());
  EXPECT_EQ(live, orvtest::LiveBlocksOnThisThread());
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

// A tree `depth` levels deep that uses every kind of node on the way down:
// a list holding an instance holding an assignment, and so on, with a
// string value at the bottom and a string value beside every level.
CCIExpression* DeepMixedTree(int depth) {
  auto* root = new CCIListExpr;
  CCIListExpr* list = root;
  for (int i = 0; i < depth; ++i) {
    auto* instance = new CCIInstanceExpr;
    instance->name = "ControlInfo";
    list->items.push_back(instance);
    list->items.push_back(new CountedValue("beside"));
    auto* assignment = new CCIAssignmentExpr;
    assignment->name = "children";
    instance->arguments.push_back(assignment);
    auto* next = new CCIListExpr;
    assignment->value = next;
    list = next;
  }
  list->items.push_back(new CountedValue("leaf"));
  return root;
}

// Deleting makes no allocation at all, so it cannot fail when memory is
// short: with every allocation of this thread failing, a deep tree is still
// freed, block for block.
TEST(CIExpressionTest, DeletingDeepTreeMakesNoAllocation) {
  for (int depth : {0, 1, 2, 1000, 300000}) {
    g_destroyed = 0;
    const long live = orvtest::LiveBlocksOnThisThread();
    CCIExpression* tree = DeepMixedTree(depth);
    const long calls = orvtest::NewCallsOnThisThread();
    orvtest::FailNewOnThisThread(true);
    delete tree;
    orvtest::FailNewOnThisThread(false);
    EXPECT_EQ(calls, orvtest::NewCallsOnThisThread()) << "depth " << depth;
    EXPECT_EQ(live, orvtest::LiveBlocksOnThisThread()) << "depth " << depth;
    EXPECT_EQ(depth + 1, g_destroyed) << "depth " << depth;
  }
}

// Trees of every shape are freed alike on every stack a host may call on.
TEST(CIExpressionTest, DeepTreesAreFreedOnEveryStack) {
  for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
    long leaked = -1;
    long allocations = -1;
    int destroyed = -1;
    ASSERT_TRUE(orvtest::RunOnStack(stack, [&] {
      g_destroyed = 0;
      const long live = orvtest::LiveBlocksOnThisThread();
      CCIExpression* tree = DeepMixedTree(100000);
      const long calls = orvtest::NewCallsOnThisThread();
      delete tree;
      allocations = orvtest::NewCallsOnThisThread() - calls;
      leaked = orvtest::LiveBlocksOnThisThread() - live;
      destroyed = g_destroyed;
    })) << stack.name;
    EXPECT_EQ(0, allocations) << stack.name;
    EXPECT_EQ(0, leaked) << stack.name;
    EXPECT_EQ(100001, destroyed) << stack.name;
  }
}

}  // namespace
