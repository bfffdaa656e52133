// The memory manager's record and its debugging half: numbered blocks between guards, in a list,
// with a log of what is allocated and freed. Only the units of the manager include this.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "cpub/md5.h"
#include "cpub/memman.h"

// In front of every block when debugging is on; the guard ends where the caller's area begins.
struct alignas(std::max_align_t) memdebug_block {
  static constexpr size_t guardsize = 8;
  static constexpr size_t maxfile = 64;

  memdebug_block *prev, *next;  // in the order of the block numbers
  memdebug_block* nextsame;     // in the hash chain
  size_t size;                  // of the caller's area
  uint32_t number;
  int32_t line;        // of the request
  char file[maxfile];  // of the request: the end of its name
  md5_digest digest;   // of a locked block
  bool islocked;
  uint8_t seedbefore, seedafter;                                      // the guards' first bytes
  alignas(std::max_align_t) uint8_t tail[alignof(std::max_align_t)];  // ends with the guard
};
static_assert(sizeof(memdebug_block::tail) >= memdebug_block::guardsize &&
              offsetof(memdebug_block, tail) + sizeof(memdebug_block::tail) ==
                  sizeof(memdebug_block));

struct memdebug {
  std::FILE* log = nullptr;  // or none
  memdebug_block *first = nullptr, *last = nullptr;
  memdebug_block** bucket = nullptr;  // hash chains by the address of the caller's area
  size_t numbucket = 0;               // a power of two, or 0: then blocks are searched in the list
  uint32_t lastnumber = 0;
};

struct memman {
  void* usrptr = nullptr;
  memman_allocfn allocfn = nullptr;
  memman_freefn freefn = nullptr;
  const char* label = "";  // names the manager in its log; not owned
  memdebug* debug = nullptr;
  size_t usage = 0, maxusage = 0, numblocks = 0;
  void* fatalctx = nullptr;
  memman_fatalfn fatalfn = nullptr;
  memman *parent = nullptr, *firstchild = nullptr, *prevchild = nullptr, *nextchild = nullptr;
};

// Of the caller's pair or the system; nothing is counted.
void* memman_rawalloc(const memman& mman, size_t size) noexcept;
void memman_rawfree(const memman& mman, void* block) noexcept;

// memdebug_make: null when out of space. memdebug_delete: writes the leaks and closes the log.
memdebug* memdebug_make(const memman& mman) noexcept;
void memdebug_delete(memman& mman) noexcept;

// The functions of memman.h for a manager with debugging on.
void* memdebug_alloc(memman& mman, size_t bytes, const char* file, int line) noexcept;
void* memdebug_resize(memman& mman, void* block, size_t oldbytes, size_t newbytes, const char* file,
                      int line) noexcept;
void memdebug_free(memman& mman, void* block, const char* file, int line) noexcept;
void memdebug_scan(memman& mman, const char* file, int line) noexcept;
void memdebug_lock(memman& mman, const void* block, bool islocked) noexcept;
// memdebug_failed: logs a request that could not be served.
void memdebug_failed(memman& mman, size_t bytes, const char* file, int line) noexcept;
