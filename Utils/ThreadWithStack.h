// Test support: run a piece of code on a thread of its own with a stack of a
// chosen size, to see how deep recursion behaves when the stack is small
// (or, in sanitizer builds, big enough for their larger frames).
#ifndef UTILS_THREADWITHSTACK_H_
#define UTILS_THREADWITHSTACK_H_

#include <pthread.h>

#include <cstddef>
#include <functional>

#include "Utils/StackRoom.h"

// Sanitizer builds run unoptimised with instrumented frames, several times
// the size of those of a normal build.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitizerFrames = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitizerFrames = true;
#else
constexpr bool kSanitizerFrames = false;
#endif
#else
constexpr bool kSanitizerFrames = false;
#endif

// ThreadSanitizer keeps the whole call stack of every allocation: it stops
// the program when one is deeper than 65,536 frames, as recursion to the end
// of a large stack is, and recursion thousands of levels deep that allocates
// on every level costs it gigabytes. That build looks for races; the tests of
// deep recursion run in the other builds.
#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif
#else
constexpr bool kThreadSanitizer = false;
#endif

// For a test that recurses to the end of a large stack (see above).
#define SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER() \
  if (kThreadSanitizer) GTEST_SKIP() << "ThreadSanitizer cannot follow more than 65,536 frames"

// A stack that holds 100,000 levels of the library's recursion even with
// sanitizer frames. Reserved, not touched: only the pages used are backed
// (ThreadSanitizer backs shadow memory for the whole of it, so there it is
// smaller: deep enough for 10,000 levels).
constexpr std::size_t kHugeThreadStack = kThreadSanitizer ? std::size_t{64} << 20 : std::size_t{1} << 30;

// A small stack that still leaves 256 KiB above the safety margin of
// HasStackRoom() (which is larger in sanitizer builds): shallow input fits
// in it in every build, 100,000 levels of recursion do not.
constexpr std::size_t kSmallStackAboveMargin = kStackSafetyMargin + 256 * 1024;

// Runs `body` on a new thread whose stack is `stackSize` bytes and waits for
// it. Returns false (and does not run `body`) when the thread cannot be
// made. Exceptions must not leave `body`.
inline bool RunOnThreadWithStack(std::size_t stackSize, const std::function<void()>& body) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  bool made = pthread_attr_setstacksize(&attributes, stackSize) == 0;
  pthread_t thread;
  auto start = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  made = made && pthread_create(&thread, &attributes, start, const_cast<std::function<void()>*>(&body)) == 0;
  pthread_attr_destroy(&attributes);
  if (made) pthread_join(thread, nullptr);
  return made;
}

// Uses up the calling thread's stack, in frames of about 256 bytes, until
// HasStackRoom() says no, and then returns what `body` returns when called
// there: `body` runs as the deepest level of some recursion would.
template <typename Body>
auto SpendStackThen(const Body& body) -> decltype(body()) {
  volatile char frame[256];
  frame[0] = 1;
  // Neither call may be a tail call: the frame must stay below the caller's.
  auto result = HasStackRoom() ? SpendStackThen(body) : body();
  frame[1] = frame[0];
  return result;
}

#endif  // UTILS_THREADWITHSTACK_H_
