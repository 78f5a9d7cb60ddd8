#ifndef JASONPARSER_JASONPOOL_H_
#define JASONPARSER_JASONPOOL_H_

// Memory for tree nodes and scanner tokens.
//
// A parse makes one token per lexeme and one node per value, all small and
// all freed together soon after, so a general-purpose allocator call for
// each would be much of the cost of parsing. The pool hands out fixed-size
// slots (sizes in steps of 8 bytes, up to 128 bytes; larger requests go to
// the global operator new) from 32 KiB chunks. Each slot starts with the
// address of its chunk.
//
// Memory belongs to the objects that use it, not to the library:
// - Each thread fills chunks of its own, one current chunk per size; a full
//   chunk stops being current. The only per-thread state is the pointer to
//   each current chunk.
// - A freed slot goes back to the chunk it came from. A chunk goes back to
//   the global allocator as soon as its last slot is freed, whichever thread
//   frees it. So once every node and token a thread made is freed, the pool
//   holds nothing for that thread.
// - Freeing on another thread than the one that allocated is safe. In that
//   case only, a chunk emptied by another thread while it is still its
//   thread's current chunk stays with that thread, which goes on using it
//   and gives it back once it is full or the thread's own slots in it are
//   freed again; were the thread to end first, that chunk (at most one per
//   size) would stay allocated. The library builds and deletes every tree
//   within one call on one thread, so this does not arise there.
//
// The per-thread state is plain thread_local data of the default TLS model
// (no initial-exec TLS, which a library loaded with dlopen must not need),
// zero at the start of every thread and holding no memory between calls.
//
// In AddressSanitizer builds the pool is bypassed: every node and token is a
// block of its own from the global operator new, so that LeakSanitizer
// reports a single leaked node and AddressSanitizer a use after free.

#include <cstddef>

// Returns memory for one object of `size` bytes, aligned for any node or
// token. Throws std::bad_alloc when memory runs out.
void* JasonPoolAllocate(std::size_t size);

// Gives back memory from JasonPoolAllocate made with the same `size`, on
// any thread. Null does nothing.
void JasonPoolFree(void* p, std::size_t size) noexcept;

// For tests: chunks the calling thread has taken from the global allocator
// minus chunks it has given back (a chunk freed on another thread is counted
// there). 0 on a thread whose nodes and tokens are all freed, when none
// crossed threads.
long JasonPoolChunkBalanceOfThisThread() noexcept;

// False in AddressSanitizer builds, where JasonPoolAllocate and JasonPoolFree
// go straight to the global operator new and delete (and the chunk balance
// stays 0); true elsewhere.
bool JasonPoolIsInUse() noexcept;

#endif  // JASONPARSER_JASONPOOL_H_
