#include "JasonParser/JasonPool.h"

#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define JASON_POOL_DISABLED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define JASON_POOL_DISABLED 1
#endif
#endif

#ifdef JASON_POOL_DISABLED

void* JasonPoolAllocate(std::size_t size) { return ::operator new(size); }

void JasonPoolFree(void* p, std::size_t) noexcept { ::operator delete(p); }

#else

namespace {

constexpr std::size_t kGranule = 8;
constexpr std::size_t kMaxPooled = 128;
constexpr std::size_t kChunkBytes = 32 * 1024;
// The chunk header is padded so that slots keep 16-byte alignment.
constexpr std::size_t kHeaderBytes = 16;

struct Chunk {
  Chunk* next;
};

struct FreeSlot {
  FreeSlot* next;
};

// One size of slot. All fields start zero (static storage), so the pool
// needs no constructor and works during static initialisation.
struct SizeClass {
  FreeSlot* freeList;
  char* bump;      // next never-used slot of the newest chunk
  char* bumpEnd;   // end of the newest chunk
  Chunk* chunks;   // newest first
  std::size_t live;
};

SizeClass g_classes[kMaxPooled / kGranule + 1];

char* SlotsOf(Chunk* chunk) { return reinterpret_cast<char*>(chunk) + kHeaderBytes; }

void AddChunk(SizeClass& c) {
  Chunk* chunk = static_cast<Chunk*>(::operator new(kChunkBytes));
  chunk->next = c.chunks;
  c.chunks = chunk;
  c.bump = SlotsOf(chunk);
  c.bumpEnd = reinterpret_cast<char*>(chunk) + kChunkBytes;
}

// Called when no slot of the class is in use: keeps the newest chunk for the
// next parse and frees the others.
void ReleaseIdleChunks(SizeClass& c) {
  Chunk* keep = c.chunks;
  Chunk* rest = keep->next;
  while (rest != nullptr) {
    Chunk* next = rest->next;
    ::operator delete(rest);
    rest = next;
  }
  keep->next = nullptr;
  c.freeList = nullptr;
  c.bump = SlotsOf(keep);
  c.bumpEnd = reinterpret_cast<char*>(keep) + kChunkBytes;
}

}  // namespace

void* JasonPoolAllocate(std::size_t size) {
  if (size == 0 || size > kMaxPooled) return ::operator new(size);
  const std::size_t slot = (size + kGranule - 1) / kGranule * kGranule;
  SizeClass& c = g_classes[slot / kGranule];
  void* p;
  if (c.freeList != nullptr) {
    p = c.freeList;
    c.freeList = c.freeList->next;
  } else {
    if (static_cast<std::size_t>(c.bumpEnd - c.bump) < slot) AddChunk(c);
    p = c.bump;
    c.bump += slot;
  }
  ++c.live;
  return p;
}

void JasonPoolFree(void* p, std::size_t size) noexcept {
  if (p == nullptr) return;
  if (size == 0 || size > kMaxPooled) {
    ::operator delete(p);
    return;
  }
  SizeClass& c = g_classes[(size + kGranule - 1) / kGranule];
  FreeSlot* slot = static_cast<FreeSlot*>(p);
  slot->next = c.freeList;
  c.freeList = slot;
  if (--c.live == 0) ReleaseIdleChunks(c);
}

#endif
