// Host-fault sweeps for tests: run a piece of code once with each of its
// host operations failing in turn.
//
// Header-only, so that both the unit tests (linked with orv_testing) and the
// end-to-end tests (linked with the emulator only) can use it. NOT FOR
// PRODUCTION CODE: it drives the emulator's HostMonitor of the calling
// thread, which it resets before and after every run.
#ifndef TESTING_HOSTFAULTS_H_
#define TESTING_HOSTFAULTS_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>

#include "emulator/HostMonitor.h"

namespace orvtest {

struct HostFaultSweep {
  // Called before each run, with no fault armed and not counted (for
  // instance to make a fresh diagram or to bring a cache into the state
  // under test). May be empty.
  std::function<void()> prepare;
  // Stop after this many faulted runs (0: no limit beyond `maxRuns`);
  // the sweep then ends without a fault-free run and without a failure.
  std::uint64_t lastFault = 0;
  // A sweep that needs more runs than this is a test failure (an endless
  // piece of code).
  std::uint64_t maxRuns = 1000000;
};

// Runs `run` with the 1st host operation failing (HostMonitor::FailAt, an
// InjectedFault thrown by that operation), then with the 2nd, and so on,
// until a run makes fewer operations than the one that was to fail: it
// completed without an injected fault. After each run `check` is called
// with the number of the operation that failed, or with 0 for the final
// fault-free run; it asserts what the fault left behind. The monitor is reset
// around every run, so `check` sees no armed fault. The sweep also stops at
// the first run after which the test has a failure, so that one broken
// path does not report itself thousands of times. Exceptions from `run` are
// not caught. Returns the number of runs made.
inline std::uint64_t SweepHostFaults(const std::function<void()>& run,
                                     const std::function<void(std::uint64_t failedAt)>& check,
                                     const HostFaultSweep& options = HostFaultSweep()) {
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  std::uint64_t runs = 0;
  for (std::uint64_t n = 1;; ++n) {
    if (options.lastFault != 0 && n > options.lastFault) break;
    if (runs >= options.maxRuns) {
      ADD_FAILURE() << "host-fault sweep still faulting after " << runs << " runs";
      break;
    }
    monitor.Reset();
    if (options.prepare) {
      options.prepare();
      monitor.Reset();
    }
    monitor.FailAt(n);
    run();
    const bool faulted = monitor.Count() >= n;
    monitor.Reset();
    ++runs;
    check(faulted ? n : 0);
    if (!faulted || ::testing::Test::HasFailure()) break;
  }
  return runs;
}

}  // namespace orvtest

#endif  // TESTING_HOSTFAULTS_H_
