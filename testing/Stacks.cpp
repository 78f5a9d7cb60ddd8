#include "testing/Stacks.h"

#include <pthread.h>
#include <ucontext.h>

#include <memory>

namespace orvtest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kFrameFactor = 8;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr std::size_t kFrameFactor = 8;
#else
constexpr std::size_t kFrameFactor = 1;
#endif
#else
constexpr std::size_t kFrameFactor = 1;
#endif

// makecontext passes only ints; the body's address goes through a global of
// this translation unit instead, set just before the switch.
thread_local const std::function<void()>* t_switchedBody = nullptr;

void RunSwitchedBody() { (*t_switchedBody)(); }

bool RunOnSwitchedStack(std::size_t bytes, const std::function<void()>& body) {
  std::unique_ptr<char[]> stack(new char[bytes]);
  ucontext_t caller;
  ucontext_t callee;
  if (getcontext(&callee) != 0) return false;
  callee.uc_stack.ss_sp = stack.get();
  callee.uc_stack.ss_size = bytes;
  callee.uc_link = &caller;
  t_switchedBody = &body;
  makecontext(&callee, RunSwitchedBody, 0);
  bool switched = swapcontext(&caller, &callee) == 0;
  t_switchedBody = nullptr;
  return switched;
}

}  // namespace

const std::vector<StackKind>& EveryStack() {
  static const std::vector<StackKind> kinds = {
      {StackKind::Where::kMainThread, 0, "main"},
      {StackKind::Where::kThread, 64 * 1024 * kFrameFactor, "thread 64 KiB"},
      {StackKind::Where::kThread, 32 * 1024 * kFrameFactor, "thread 32 KiB"},
      {StackKind::Where::kSwitchedStack, 256 * 1024 * kFrameFactor, "ucontext 256 KiB"},
  };
  return kinds;
}

bool RunOnThreadWithStack(std::size_t bytes, const std::function<void()>& body) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  bool made = pthread_attr_setstacksize(&attributes, bytes) == 0;
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

bool RunOnStack(const StackKind& kind, const std::function<void()>& body) {
  switch (kind.where) {
    case StackKind::Where::kMainThread:
      body();
      return true;
    case StackKind::Where::kThread:
      return RunOnThreadWithStack(kind.bytes, body);
    case StackKind::Where::kSwitchedStack:
      return RunOnSwitchedStack(kind.bytes, body);
  }
  return false;
}

}  // namespace orvtest
