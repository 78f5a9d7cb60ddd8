// How the ControlInfo code turns memory running out into a failure result.
//
// Inside a scan, parse or transformation, an allocation that fails throws as
// usual and unwinds to the public function, which owns what was built so far
// through RAII and answers with its documented failure result (false or
// null). Nothing of the exception leaves the function.
#ifndef CONTROLINFOPARSER_CIMEMORY_H_
#define CONTROLINFOPARSER_CIMEMORY_H_

#include <new>
#include <stdexcept>

// Runs `work`. Returns true when it ran to its end; false when memory ran out
// on the way: an allocation failed (std::bad_alloc) or a container was asked
// to grow beyond its maximum size (std::length_error). Every other exception
// passes through.
template <typename Work>
bool RunUnlessMemoryRunsOut(Work&& work) {
  try {
    work();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {
    return false;
  }
}

#endif  // CONTROLINFOPARSER_CIMEMORY_H_
