#include "testing/AllocationFaults.h"

// The replacement hands out malloc memory and the matching operator delete
// frees it; GCC cannot see that pairing across inlined library code and
// would warn at every delete.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace {

thread_local long t_newCalls = 0;
thread_local long t_liveBlocks = 0;
thread_local bool t_failAll = false;
thread_local long t_failAt = 0;  // value of t_newCalls that fails; 0: none
thread_local bool t_failSticky = false;

bool ShouldFail() {
  if (t_failAll) return true;
  if (t_failAt == 0) return false;
  return t_newCalls == t_failAt || (t_failSticky && t_newCalls > t_failAt);
}

}  // namespace

namespace orvtest {

long NewCallsOnThisThread() { return t_newCalls; }

long LiveBlocksOnThisThread() { return t_liveBlocks; }

void FailNewOnThisThread(bool fail) { t_failAll = fail; }

void FailNthNewOnThisThread(long n, bool sticky) {
  t_failAt = n <= 0 ? 0 : t_newCalls + n;
  t_failSticky = sticky;
}

long SweepAllocationFailures(const std::function<void()>& run,
                             const std::function<void(long)>& check, long limit) {
  for (long n = 1; n <= limit; ++n) {
    long before = t_newCalls;
    FailNthNewOnThisThread(n);
    run();
    FailNthNewOnThisThread(0);
    long made = t_newCalls - before;
    if (made < n) {  // the n-th allocation never came: nothing failed
      check(0);
      return n;
    }
    check(n);
  }
  ADD_FAILURE() << "allocation sweep did not end within " << limit << " runs";
  return limit;
}

}  // namespace orvtest

void* operator new(std::size_t size) {
  ++t_newCalls;
  if (!ShouldFail()) {
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
      ++t_liveBlocks;
      return p;
    }
  }
  throw std::bad_alloc();
}

void operator delete(void* p) noexcept {
  if (p != nullptr) --t_liveBlocks;
  std::free(p);
}

void operator delete(void* p, std::size_t) noexcept { operator delete(p); }
