#include "JasonParser/JasonTestAllocations.h"

// The replacement hands out malloc memory and the matching operator delete
// frees it; GCC cannot see that pairing across inlined library code and
// would warn at every delete.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

#include <cstdlib>
#include <new>

namespace {

thread_local long t_newCalls = 0;
thread_local bool t_failNew = false;

}  // namespace

long NewCallsOnThisThread() { return t_newCalls; }

void FailNewOnThisThread(bool fail) { t_failNew = fail; }

void* operator new(std::size_t size) {
  ++t_newCalls;
  if (!t_failNew) {
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  }
  throw std::bad_alloc();
}

void operator delete(void* p) noexcept { std::free(p); }

void operator delete(void* p, std::size_t) noexcept { std::free(p); }
