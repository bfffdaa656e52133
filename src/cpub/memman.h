// Memory manager: every block of the library comes from one, with the file and line of the request,
// so that use can be counted, leaks reported with their place, and a failing allocation tried at
// every place. One manager is used by one thread at a time; parallel regions allocate nothing.
//
// With debugging on, every block is numbered, kept in a list and has guards around it, and a block
// can be locked against changes; what is found broken goes to the manager's fatal function. Off, it
// costs a branch for each call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "cpub/rescode.h"

struct memman;  // opaque; made and freed by memman_create and memman_delete

// A caller's allocator pair. Both null: the system allocator.
using memman_allocfn = void* (*)(void* usrptr, size_t size);
using memman_freefn = void (*)(void* usrptr, void* block);
// Gets the text of each fault found in a block, and the place of the call that found it. May return.
using memman_fatalfn = void (*)(void* ctx, const char* file, int line, const char* text);

// memman_create: a manager of its own. Returns null when there is no space for it.
memman* memman_create(void* usrptr, memman_allocfn allocfn, memman_freefn freefn,
                      bool debug) noexcept;
// memman_createchild: a manager with the allocator pair and debugging switch of parent, registered
// with it. It counts for itself, and may live longer than its parent. Callers see to it that only
// one thread makes or deletes children of one parent at a time.
memman* memman_createchild(memman& parent) noexcept;
// memman_delete: frees the manager; returns the number of blocks that were still allocated. These
// blocks are not freed.
size_t memman_delete(memman* mman) noexcept;

// memman_openlog: with debugging on, writes all that happens from now on into a file. label names
// the manager in it and must live as long.
rescode memman_openlog(memman& mman, const char* filename, const char* label) noexcept;
void memman_setfatal(memman& mman, void* ctx, memman_fatalfn fatalfn) noexcept;

// memman_alloc: an uninitialised block of number * size bytes, aligned for any scalar; null when out
// of space or when the product overflows. A zero size gives null, and so does a null manager.
void* memman_alloc(memman* mman, size_t number, size_t size, const char* file, int line) noexcept;
// memman_calloc: the same, zeroed.
void* memman_calloc(memman* mman, size_t number, size_t size, const char* file, int line) noexcept;
// memman_resize: the block, of oldbytes, moved to one of newbytes; null leaves it as it was.
void* memman_resize(memman* mman, void* block, size_t oldbytes, size_t newbytes, const char* file,
                    int line) noexcept;
// memman_strdup: a copy of a text; null when out of space.
char* memman_strdup(memman* mman, const char* text, const char* file, int line) noexcept;
void memman_free(memman* mman, void* block, const char* file, int line) noexcept;

// memman_scan: with debugging on, checks the guards of every block and the contents of the locked.
void memman_scan(memman& mman, const char* file, int line) noexcept;
// memman_lock, memman_unlock: with debugging on, a block that must not change in between.
void memman_lock(memman& mman, const void* block) noexcept;
void memman_unlock(memman& mman, const void* block) noexcept;

size_t memman_usage(const memman& mman) noexcept;     // bytes now in use by callers
size_t memman_maxusage(const memman& mman) noexcept;  // largest value of it so far
size_t memman_numblocks(const memman& mman) noexcept;
size_t memman_numchildren(const memman& mman) noexcept;

// memman_sizetext: a number of bytes with its unit, as "17 B" or "2.50 MB" of 1024 * 1024 bytes.
struct memman_text {
  char text[24];
};
memman_text memman_sizetext(size_t bytes) noexcept;

// Where a container's blocks come from and who asked: built by mm_at at the container's definition.
struct mm_place {
  memman* mman;
  const char* file;
  int line;
};
inline mm_place mm_at(memman& mman, const char* file = __builtin_FILE(),
                      int line = __builtin_LINE()) noexcept {
  return {&mman, file, line};
}

template <class T>
struct mm_alloc {
  using value_type = T;
  using propagate_on_container_copy_assignment = std::true_type;
  using propagate_on_container_move_assignment = std::true_type;
  using propagate_on_container_swap = std::true_type;
  using is_always_equal = std::false_type;

  mm_place place;

  mm_alloc(mm_place at) noexcept : place(at) {}  // NOLINT: implicit, so that vectors take a place
  template <class U>
  mm_alloc(const mm_alloc<U>& other) noexcept : place(other.place) {}  // NOLINT: rebinding

  T* allocate(size_t n) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): T may be a pointer
    void* block = memman_alloc(place.mman, n, sizeof(T), place.file, place.line);
    if (block == nullptr) throw std::bad_alloc();
    return static_cast<T*>(block);
  }
  void deallocate(T* block, size_t) noexcept {
    memman_free(place.mman, block, place.file, place.line);
  }
  template <class U>
  bool operator==(const mm_alloc<U>& other) const noexcept {
    return place.mman == other.place.mman;
  }
};

// The only owning containers of the library. There is no default constructor: a manager is required.
template <class T>
using mm_vector = std::vector<T, mm_alloc<T>>;
using mm_string = std::basic_string<char, std::char_traits<char>, mm_alloc<char>>;

// mm_make: a record in a block of the manager; null when there is no space for the block. What the
// constructor throws passes through, the block is freed. mm_destroy takes null too.
template <class T, class... Args>
T* mm_make(mm_place at, Args&&... args) {
  void* block = memman_alloc(at.mman, 1, sizeof(T), at.file, at.line);
  if (block == nullptr) return nullptr;
  try {
    return std::construct_at(static_cast<T*>(block), std::forward<Args>(args)...);
  } catch (...) {
    memman_free(at.mman, block, at.file, at.line);
    throw;
  }
}
template <class T>
void mm_destroy(mm_place at, T* record) noexcept {
  if (record == nullptr) return;
  std::destroy_at(record);
  memman_free(at.mman, record, at.file, at.line);
}
