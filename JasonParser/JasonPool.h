#ifndef JASONPARSER_JASONPOOL_H_
#define JASONPARSER_JASONPOOL_H_

// Memory for tree nodes and scanner tokens.
//
// A parse makes one token per lexeme and one node per value, all small and
// all freed together soon after, so a general-purpose allocator call for
// each is most of the cost of parsing. The pool hands out fixed-size slots
// from 32 KiB chunks, one free list per size (in steps of 8 bytes, up to 128
// bytes; larger requests go to the global operator new). When the last slot
// of a size is given back, all chunks of that size but one go back to the
// global allocator, so memory is held only while trees or tokens are alive.
//
// Not thread-safe: the library runs on the host's one thread. In sanitizer
// builds every request goes to the global operator new, so that the
// sanitizers see each node and token as an allocation of its own.

#include <cstddef>

// Returns memory for one object of `size` bytes, aligned for any node or
// token. Throws std::bad_alloc when memory runs out.
void* JasonPoolAllocate(std::size_t size);

// Gives back memory from JasonPoolAllocate made with the same `size`.
void JasonPoolFree(void* p, std::size_t size) noexcept;

#endif  // JASONPARSER_JASONPOOL_H_
