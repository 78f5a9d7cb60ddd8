// Allocation counting and failure injection for tests.
//
// Linking this file into a test program replaces the global operator new
// (every form without an alignment argument) and operator delete with
// versions that count per thread and can be told to throw std::bad_alloc.
// NOT SAFE TO CALL FROM PRODUCTION CODE: it changes the program's allocator.
#ifndef TESTING_ALLOCATIONFAULTS_H_
#define TESTING_ALLOCATIONFAULTS_H_

#include <functional>

namespace orvtest {

// Calls of the global operator new made on this thread so far.
long NewCallsOnThisThread();

// Blocks handed out by the global operator new on this thread and not yet
// given back by operator delete on this thread. A test that deletes on the
// thread that allocated sees this return to its starting value.
long LiveBlocksOnThisThread();

// While set, every global operator new on this thread throws std::bad_alloc.
void FailNewOnThisThread(bool fail);

// From the next call on, the n-th global operator new on this thread (n >= 1)
// throws std::bad_alloc, and so does every one after it while `sticky`. n = 0
// turns failure off.
void FailNthNewOnThisThread(long n, bool sticky = false);

// Runs `run` once with the first allocation failing, then with the second,
// and so on, until a run makes no more allocations than the one that was to
// fail (it completed without an injected failure). After each run, `check` is
// called with the number of the failed allocation (0 for the run in which
// none failed) and must assert what the failure left behind. Exceptions from
// `run` are not caught: the code under test must not let bad_alloc escape.
// Returns the number of runs. Stops after `limit` runs (a test failure).
long SweepAllocationFailures(const std::function<void()>& run,
                             const std::function<void(long failedAt)>& check,
                             long limit = 1000000);

}  // namespace orvtest

#endif  // TESTING_ALLOCATIONFAULTS_H_
