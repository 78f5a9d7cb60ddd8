// The stacks a host may call the library on, for tests that run the same
// input on each of them and expect the same answer.
// NOT SAFE TO CALL FROM PRODUCTION CODE.
#ifndef TESTING_STACKS_H_
#define TESTING_STACKS_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace orvtest {

// One kind of stack: the test's own (main) thread, a new thread with a stack
// of `bytes`, or a ucontext stack of `bytes` that the calling thread switches
// to and back from.
struct StackKind {
  enum class Where { kMainThread, kThread, kSwitchedStack } where;
  std::size_t bytes;  // 0 for kMainThread
  std::string name;   // for test output: "main", "thread 64 KiB", ...
};

// The stacks every depth test runs on: the main thread, threads with 64 KiB
// and 32 KiB stacks, and a switched (ucontext) stack of 256 KiB. Sanitizer
// builds, whose frames are several times larger, get eight times the sizes.
const std::vector<StackKind>& EveryStack();

// Runs `body` on the stack `kind` and waits for it. Returns false (without
// running `body`) when the thread or stack cannot be made. Exceptions must
// not leave `body`.
bool RunOnStack(const StackKind& kind, const std::function<void()>& body);

// Runs `body` on a new thread whose stack is `bytes` long and waits for it;
// false when the thread cannot be made.
bool RunOnThreadWithStack(std::size_t bytes, const std::function<void()>& body);

}  // namespace orvtest

#endif  // TESTING_STACKS_H_
