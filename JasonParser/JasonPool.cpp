#include "JasonParser/JasonPool.h"

#include <atomic>
#include <cstdint>
#include <new>

// AddressSanitizer builds give every node and token a block of its own from
// the global allocator, so that LeakSanitizer sees each one: a node leaked
// inside a pool chunk would stay reachable through the chunk and go unseen.
#if defined(__SANITIZE_ADDRESS__)
#define JASON_POOL_BYPASSED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define JASON_POOL_BYPASSED 1
#endif
#endif

#ifdef JASON_POOL_BYPASSED
constexpr bool kBypassed = true;
#else
constexpr bool kBypassed = false;
#endif

namespace {

constexpr std::size_t kGranule = 8;
constexpr std::size_t kMaxPooled = 128;
constexpr std::size_t kChunkBytes = 32 * 1024;
constexpr std::size_t kHeaderBytes = 32;
// Every slot starts with the address of its chunk, written when the slot is
// first carved out; the object follows it. (Aligning chunks to their size
// and masking the address instead would need aligned allocations, which
// cost glibc far more than the extra word.)
constexpr std::size_t kPrefixBytes = kGranule;
constexpr std::size_t kClasses = (kMaxPooled + kPrefixBytes) / kGranule + 1;
// Added to a chunk's count while it is current (see Chunk::count); far above
// any number of slots, so the count cannot reach zero while it is added.
constexpr std::uint32_t kHold = 1u << 31;

struct FreeSlot {
  FreeSlot* next;
};

// The header at the start of every chunk; the slots follow it.
//
// While a chunk is its thread's current chunk, that thread (the owner) alone
// hands out its slots and takes its own frees back without atomic
// operations: `handedOut` and `ownerFrees` count them and `freeList` keeps
// the slots for reuse. Frees from anywhere else only decrement `count`,
// which is then kHold minus those frees; their slots are not reused. When
// the owner lets go of the chunk it adds its own balance and takes kHold
// away, so that `count` becomes the number of live slots; from then on every
// free decrements it, and the free that brings it to zero gives the chunk
// back. All counts are modulo 2^32; only differences are used.
struct Chunk {
  std::atomic<std::uint32_t> count;
  std::uint32_t handedOut;
  std::uint32_t ownerFrees;
  std::uint32_t bumpOffset;  // first never-used byte, from the chunk's start
  FreeSlot* freeList;
};
static_assert(sizeof(Chunk) <= kHeaderBytes, "chunk header must fit before the slots");

// The pool's only per-thread state: no memory of its own, nothing to destroy
// when the thread ends, zero at the start of every thread.
struct ThreadChunks {
  Chunk* current[kClasses];
  long balance;  // chunks taken minus chunks given back, for tests
};

thread_local ThreadChunks t_chunks;

// The class of an object of `size` bytes; its slot, prefix included, has
// ClassOf(size) * kGranule bytes.
std::size_t ClassOf(std::size_t size) { return (size + kPrefixBytes + kGranule - 1) / kGranule; }

Chunk*& PrefixOf(void* object) { return *reinterpret_cast<Chunk**>(static_cast<char*>(object) - kPrefixBytes); }

char* BytesOf(Chunk* chunk) { return reinterpret_cast<char*>(chunk); }

Chunk* NewChunk() {
  void* memory = ::operator new(kChunkBytes);
  Chunk* chunk = new (memory) Chunk{{kHold}, 0, 0, kHeaderBytes, nullptr};
  ++t_chunks.balance;
  return chunk;
}

void DeleteChunk(Chunk* chunk) noexcept {
  --t_chunks.balance;
  chunk->~Chunk();
  ::operator delete(static_cast<void*>(chunk));
}

// The owner lets go of its current chunk: from now on `count` is the number
// of live slots, and the chunk goes back once that is zero.
void LetGo(Chunk* chunk) noexcept {
  const std::uint32_t delta = chunk->handedOut - chunk->ownerFrees - kHold;
  if (chunk->count.fetch_add(delta, std::memory_order_acq_rel) + delta == 0) DeleteChunk(chunk);
}

// A fresh current chunk for slots of class `index`, replacing a full one.
Chunk* Replace(std::size_t index) {
  Chunk* fresh = NewChunk();  // may throw; nothing has changed then
  Chunk*& current = t_chunks.current[index];
  if (current != nullptr) LetGo(current);
  current = fresh;
  return fresh;
}

}  // namespace

void* JasonPoolAllocate(std::size_t size) {
  if (kBypassed || size == 0 || size > kMaxPooled) return ::operator new(size);
  const std::size_t index = ClassOf(size);
  const std::size_t slot = index * kGranule;
  Chunk* chunk = t_chunks.current[index];
  if (chunk == nullptr || (chunk->freeList == nullptr && kChunkBytes - chunk->bumpOffset < slot)) {
    chunk = Replace(index);
  }
  void* p;
  if (chunk->freeList != nullptr) {
    p = chunk->freeList;
    chunk->freeList = chunk->freeList->next;
  } else {
    char* carved = BytesOf(chunk) + chunk->bumpOffset;
    chunk->bumpOffset += static_cast<std::uint32_t>(slot);
    p = carved + kPrefixBytes;
    PrefixOf(p) = chunk;
  }
  ++chunk->handedOut;
  return p;
}

void JasonPoolFree(void* p, std::size_t size) noexcept {
  if (p == nullptr) return;
  if (kBypassed || size == 0 || size > kMaxPooled) {
    ::operator delete(p);
    return;
  }
  const std::size_t index = ClassOf(size);
  Chunk* chunk = PrefixOf(p);
  Chunk*& current = t_chunks.current[index];
  if (chunk == current) {
    FreeSlot* freed = static_cast<FreeSlot*>(p);
    freed->next = chunk->freeList;
    chunk->freeList = freed;
    ++chunk->ownerFrees;
    // Empty when the owner's balance equals the frees made elsewhere.
    const std::uint32_t elsewhere = kHold - chunk->count.load(std::memory_order_acquire);
    if (chunk->handedOut - chunk->ownerFrees == elsewhere) {
      current = nullptr;
      DeleteChunk(chunk);
    }
    return;
  }
  if (chunk->count.fetch_sub(1, std::memory_order_acq_rel) == 1) DeleteChunk(chunk);
}

long JasonPoolChunkBalanceOfThisThread() noexcept { return t_chunks.balance; }

bool JasonPoolIsInUse() noexcept { return !kBypassed; }
