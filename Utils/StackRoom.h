// How much machine stack the calling thread has left.
//
// The library recurses over what it is given: JSON text, control-information
// text and host structures (attribute definitions, SVG trees). None of these
// has a depth limit of its own; the only limit is the stack of the thread on
// which the host calls the agent. Every recursive step asks HasStackRoom()
// first and, when it says no, fails the way that step fails on malformed
// input, so that any depth the stack can hold works and no input can
// overflow the host's stack.
#ifndef UTILS_STACKROOM_H_
#define UTILS_STACKROOM_H_

#include <cstddef>

// Bytes a recursive step must leave free below its frame: enough for one more
// level plus the non-recursive calls (allocation, host operations) made from
// the deepest level. Sanitizer builds use larger frames and keep more.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kStackSafetyMargin = 256 * 1024;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr std::size_t kStackSafetyMargin = 256 * 1024;
#else
constexpr std::size_t kStackSafetyMargin = 64 * 1024;
#endif
#else
constexpr std::size_t kStackSafetyMargin = 64 * 1024;
#endif

// Returns the number of bytes between the caller's frame and the lowest
// address of the calling thread's stack; 0 when the frame is not on that
// stack (a stack the thread switched to on its own). Never fails.
std::size_t StackRoomLeft() noexcept;

// True while more than kStackSafetyMargin bytes of stack are left below the
// caller's frame. A false answer means: do not recurse further.
bool HasStackRoom() noexcept;

#endif  // UTILS_STACKROOM_H_
