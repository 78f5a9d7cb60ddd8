// Tests of the call log and the fault injector.
#include "emulator/HostMonitor.h"

#include <gtest/gtest.h>

#include "emulator/Model.h"

namespace qmemu {
namespace {

class HostMonitorTest : public ::testing::Test {
 protected:
  void SetUp() override { monitor.Reset(); }
  void TearDown() override { monitor.Reset(); }
  HostMonitor& monitor = HostMonitor::Instance();
  Model model{"ROOT"};
};

TEST_F(HostMonitorTest, CountsAndLogsHostOperations) {
  monitor.SetLogging(true);
  model.root().IsKindOf("Model");
  model.FindEntity("ROOT");
  std::string s;
  model.root().GetValue("Name", s, 0);
  model.root().IsKindOf("Package");
  EXPECT_EQ(monitor.Count(), 4u);
  EXPECT_EQ(monitor.Count("IsKindOf"), 2u);
  EXPECT_EQ(monitor.Count("CreateEntity"), 0u);
  EXPECT_EQ(monitor.Log(), (std::vector<std::string>{"IsKindOf(Model)", "FindEntity(ROOT)", "GetValue(Name)",
                                                     "IsKindOf(Package)"}));
  EXPECT_EQ(monitor.LogCount("IsKindOf(Model)"), 1u);
}

TEST_F(HostMonitorTest, EmulatorOwnApiIsNotCounted) {
  model.create("Block", "B", &model.root());
  model.find("B");
  model.root().isKindOf("Model");
  EXPECT_EQ(monitor.Count(), 0u);
}

TEST_F(HostMonitorTest, FailAtThrowsOnTheNthOperationOnce) {
  monitor.FailAt(2);
  EXPECT_NO_THROW(model.FindEntity("ROOT"));
  EXPECT_THROW(model.FindEntity("ROOT"), InjectedFault);
  EXPECT_NO_THROW(model.FindEntity("ROOT"));
}

TEST_F(HostMonitorTest, FailOperationThrowsOnTheKthCallOfThatOperation) {
  monitor.FailOperation("IsKindOf", 2);
  EXPECT_NO_THROW(model.root().IsKindOf("A"));
  EXPECT_NO_THROW(model.FindEntity("ROOT"));
  EXPECT_THROW(model.root().IsKindOf("A"), InjectedFault);
  EXPECT_NO_THROW(model.root().IsKindOf("A"));
}

TEST_F(HostMonitorTest, CallLimitStopsEveryFurtherOperation) {
  monitor.LimitCalls(3);
  for (int i = 0; i < 3; ++i) EXPECT_NO_THROW(model.root().GetOwner());
  EXPECT_THROW(model.root().GetOwner(), CallLimitExceeded);
  EXPECT_THROW(model.FindEntity("x"), CallLimitExceeded);
  monitor.LimitCalls(0);
  EXPECT_NO_THROW(model.FindEntity("x"));
}

TEST_F(HostMonitorTest, ResetForgetsEverything) {
  monitor.SetLogging(true);
  monitor.FailAt(1);
  EXPECT_THROW(model.root().GetOwner(), InjectedFault);
  monitor.FailAt(5);
  monitor.Reset();
  EXPECT_EQ(monitor.Count(), 0u);
  EXPECT_TRUE(monitor.Log().empty());
  for (int i = 0; i < 10; ++i) EXPECT_NO_THROW(model.root().GetOwner());
  EXPECT_TRUE(monitor.Log().empty());  // logging is off again
}

TEST_F(HostMonitorTest, FlagLoggingAddsTheHostFlagToOperationsThatTakeOne) {
  monitor.SetLogging(true);
  std::string s;
  model.root().GetValue("Name", s, 0);
  monitor.SetFlagLogging(true);
  model.root().GetValue("Name", s, 0);
  model.root().HasStereotype("@Predefined@trace", 1);
  model.root().QueryEntity("x (. y .)", 7);
  model.root().GetReferencedEntity("Supplier", 0);
  model.root().GetEntity("InstanceOf", 2);
  model.root().IsKindOf("Model");  // takes no flag
  EXPECT_EQ(monitor.Log(), (std::vector<std::string>{"GetValue(Name)", "GetValue(Name, 0)",
                                                     "HasStereotype(@Predefined@trace, 1)", "QueryEntity(x (. y .), 7)",
                                                     "GetReferencedEntity(Supplier, 0)", "GetEntity(InstanceOf, 2)",
                                                     "IsKindOf(Model)"}));
  monitor.Reset();
  monitor.SetLogging(true);
  model.root().HasStereotype("@Predefined@trace", 1);
  EXPECT_EQ(monitor.Log(), (std::vector<std::string>{"HasStereotype(@Predefined@trace)"}));
}

TEST_F(HostMonitorTest, OperationBudgetThrowsOnceThenGivesAGraceThenThrowsForGood) {
  monitor.SetBudget(HostMonitor::Clock::time_point::max(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_NO_THROW(model.root().GetOwner());
  EXPECT_FALSE(monitor.BudgetExhausted());
  EXPECT_THROW(model.root().GetOwner(), BudgetExceeded);
  EXPECT_TRUE(monitor.BudgetExhausted());
  // The agent's own failure path may still reach the host.
  for (std::uint64_t i = 0; i < HostMonitor::kBudgetGrace; ++i) EXPECT_NO_THROW(model.root().GetOwner());
  EXPECT_THROW(model.root().GetOwner(), BudgetExceeded);
  EXPECT_THROW(model.FindEntity("ROOT"), BudgetExceeded);
  monitor.ClearBudget();
  EXPECT_NO_THROW(model.FindEntity("ROOT"));
  EXPECT_TRUE(monitor.BudgetExhausted());  // until the next budget
}

TEST_F(HostMonitorTest, DeadlineStopsTheNextOperation) {
  monitor.SetBudget(HostMonitor::Clock::now() + std::chrono::hours(1), 0);
  for (int i = 0; i < 100; ++i) EXPECT_NO_THROW(model.root().GetOwner());
  monitor.SetBudget(HostMonitor::Clock::now() - std::chrono::seconds(1), 0);
  EXPECT_FALSE(monitor.BudgetExhausted());
  EXPECT_THROW(model.root().GetOwner(), BudgetExceeded);
  EXPECT_TRUE(monitor.BudgetExhausted());
}

TEST_F(HostMonitorTest, ANewBudgetForgetsTheSpentOne) {
  monitor.SetBudget(HostMonitor::Clock::time_point::max(), 1);
  EXPECT_NO_THROW(model.root().GetOwner());
  EXPECT_THROW(model.root().GetOwner(), BudgetExceeded);
  monitor.SetBudget(HostMonitor::Clock::time_point::max(), 2);
  EXPECT_FALSE(monitor.BudgetExhausted());
  EXPECT_NO_THROW(model.root().GetOwner());
  EXPECT_NO_THROW(model.root().GetOwner());
  EXPECT_THROW(model.root().GetOwner(), BudgetExceeded);
}

TEST_F(HostMonitorTest, NoBudgetMeansNoLimit) {
  monitor.SetBudget(HostMonitor::Clock::time_point::max(), 0);
  for (int i = 0; i < 10000; ++i) ASSERT_NO_THROW(model.root().GetOwner());
  EXPECT_FALSE(monitor.BudgetExhausted());
  monitor.SetBudget(HostMonitor::Clock::time_point::max(), 1);
  monitor.Reset();
  for (int i = 0; i < 10; ++i) EXPECT_NO_THROW(model.root().GetOwner());
}

TEST_F(HostMonitorTest, OperationBudgetIsExactForEverySize) {
  for (std::uint64_t budget : {1u, 2u, 4095u, 4096u, 4097u, 10000u}) {
    monitor.Reset();
    monitor.SetBudget(HostMonitor::Clock::now() + std::chrono::hours(1), budget);
    for (std::uint64_t i = 0; i < budget; ++i) ASSERT_NO_THROW(model.root().GetOwner()) << budget << " at " << i;
    EXPECT_THROW(model.root().GetOwner(), BudgetExceeded) << budget;
    EXPECT_TRUE(monitor.BudgetExhausted());
    EXPECT_FALSE(monitor.DeadlinePassed()) << budget;
  }
}

TEST_F(HostMonitorTest, APassedDeadlineIsSeenOnTheFirstOperationAndNamed) {
  for (std::uint64_t before : {0u, 1u, 5000u}) {
    monitor.Reset();
    for (std::uint64_t i = 0; i < before; ++i) model.root().GetOwner();  // counted before the budget
    monitor.SetBudget(HostMonitor::Clock::now() - std::chrono::milliseconds(1), 0);
    EXPECT_THROW(model.root().GetOwner(), BudgetExceeded) << before;
    EXPECT_TRUE(monitor.DeadlinePassed());
  }
}

TEST_F(HostMonitorTest, CountsByEnumAndByNameAgree) {
  model.root().GetOwner();
  model.root().GetOwner();
  model.FindEntity("ROOT");
  EXPECT_EQ(monitor.Count(HostOperation::kGetOwner), 2u);
  EXPECT_EQ(monitor.Count("GetOwner"), 2u);
  EXPECT_EQ(monitor.Count(HostOperation::kFindEntity), 1u);
  EXPECT_EQ(monitor.Count("NoSuchOperation"), 0u);
  for (std::size_t i = 0; i < static_cast<std::size_t>(HostOperation::kCount); ++i) {
    HostOperation found;
    ASSERT_TRUE(FindHostOperation(HostOperationName(static_cast<HostOperation>(i)), found));
    EXPECT_EQ(found, static_cast<HostOperation>(i));
  }
  monitor.FailOperation(HostOperation::kGetOwner, 1);
  EXPECT_THROW(model.root().GetOwner(), InjectedFault);
}

TEST_F(HostMonitorTest, AScopedMonitorSeesTheOperationsOfItsScopeOnly) {
  HostMonitor call;
  {
    HostMonitor::Scope scope(call);
    EXPECT_EQ(&HostMonitor::Instance(), &call);
    model.root().GetOwner();
  }
  EXPECT_EQ(&HostMonitor::Instance(), &monitor);
  EXPECT_EQ(call.Count(), 1u);
  EXPECT_EQ(monitor.Count(), 0u);
}

TEST_F(HostMonitorTest, CallOnRunsTheCallbackOnTheKthCallBeforeTheOperation) {
  int seen = -1;
  monitor.CallOn(HostOperation::kGetOwner, 2, [&] { seen = static_cast<int>(monitor.Count("GetOwner")); });
  model.root().GetOwner();
  EXPECT_EQ(seen, -1);
  model.root().GetOwner();
  EXPECT_EQ(seen, 2);
  model.root().GetOwner();
  EXPECT_EQ(seen, 2);  // once
}

}  // namespace
}  // namespace qmemu
