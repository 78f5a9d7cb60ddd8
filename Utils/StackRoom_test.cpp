#include "Utils/StackRoom.h"

#include <pthread.h>

#include <cstddef>

#include <gtest/gtest.h>

namespace {

// Recurses with a frame of about 1 KiB until the stack says no; returns the
// depth reached. Reaching it without a crash shows the bound is true.
std::size_t RecurseWhileRoom(std::size_t depth) {
  volatile char frame[1024];
  frame[0] = static_cast<char>(depth);
  if (!HasStackRoom()) return depth;
  std::size_t reached = RecurseWhileRoom(depth + 1);
  return reached + static_cast<std::size_t>(frame[0] != static_cast<char>(depth));
}

struct ThreadResult {
  std::size_t roomAtStart = 0;
  std::size_t depth = 0;
};

void* MeasureOnThread(void* argument) {
  auto* result = static_cast<ThreadResult*>(argument);
  result->roomAtStart = StackRoomLeft();
  result->depth = RecurseWhileRoom(0);
  return nullptr;
}

ThreadResult RunOnThreadWithStack(std::size_t stackSize) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stackSize);
  ThreadResult result;
  pthread_t thread;
  EXPECT_EQ(0, pthread_create(&thread, &attributes, MeasureOnThread, &result));
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  return result;
}

TEST(StackRoomTest, MainThreadHasRoomAndTheBoundHolds) {
  EXPECT_GT(StackRoomLeft(), kStackSafetyMargin);
  EXPECT_TRUE(HasStackRoom());
  EXPECT_GT(RecurseWhileRoom(0), 100u);
}

TEST(StackRoomTest, SmallThreadStackIsMeasuredFromItsOwnBounds) {
  ThreadResult result = RunOnThreadWithStack(256 * 1024);
  EXPECT_GT(result.roomAtStart, 0u);
  EXPECT_LT(result.roomAtStart, 256u * 1024);
}

TEST(StackRoomTest, RecursionOnALargerThreadStackStopsBeforeTheEnd) {
  ThreadResult result = RunOnThreadWithStack(4 * 1024 * 1024);
  EXPECT_GT(result.roomAtStart, 3u * 1024 * 1024);
  EXPECT_GT(result.depth, 1000u);
}

}  // namespace
