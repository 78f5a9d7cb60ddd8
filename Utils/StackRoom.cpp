#include "Utils/StackRoom.h"

#include <pthread.h>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace {

// The stack of a thread other than the main one is a fixed block, which the
// thread library describes.
std::uintptr_t ThreadStackLow() noexcept {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return 0;
  void* low = nullptr;
  std::size_t size = 0;
  int status = pthread_attr_getstack(&attributes, &low, &size);
  pthread_attr_destroy(&attributes);
  return status == 0 ? reinterpret_cast<std::uintptr_t>(low) : 0;
}

// The main thread's stack grows on demand from its top down to the stack size
// limit. The kernel copies the program's file name to the very top of the
// stack before anything else, so the end of that string is the top.
std::uintptr_t MainStackLow() noexcept {
  const char* name = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  if (name == nullptr) return 0;
  const std::uintptr_t page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  std::uintptr_t top = reinterpret_cast<std::uintptr_t>(name) + std::strlen(name) + 1;
  top = (top + page - 1) / page * page;
  // An unlimited or huge limit does not mean the space is free: other
  // mappings may sit below the stack. Count on the usual 8 MiB then.
  constexpr std::uintptr_t kAssumedSize = 8u * 1024 * 1024;
  rlimit limit{};
  std::uintptr_t size = kAssumedSize;
  if (getrlimit(RLIMIT_STACK, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < size) {
    size = static_cast<std::uintptr_t>(limit.rlim_cur);
  }
  return top > size ? top - size : 0;
}

// The lowest address of the calling thread's stack, found once per thread:
// it is a property of the thread, fixed for its life, not data of any call.
std::uintptr_t StackLow() noexcept {
  static thread_local __attribute__((tls_model("initial-exec"))) std::uintptr_t low = 0;
  if (low == 0) low = getpid() == gettid() ? MainStackLow() : ThreadStackLow();
  return low;
}

}  // namespace

std::size_t StackRoomLeft() noexcept {
  std::uintptr_t here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  std::uintptr_t low = StackLow();
  return here > low ? static_cast<std::size_t>(here - low) : 0;
}

bool HasStackRoom() noexcept { return StackRoomLeft() > kStackSafetyMargin; }
