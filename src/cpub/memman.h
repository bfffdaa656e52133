// Memory manager: every block of the library comes from one, with the file and line of the request,
// so that use can be counted, leaks reported with their place, and a failing allocation tried at
// every place. One manager is used by one thread at a time; parallel regions allocate nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>
#include <vector>

struct memman;  // opaque; made and freed by memman_create and memman_delete

// A caller's allocator pair. Both null: the system allocator.
using memman_allocfn = void* (*)(void* usrptr, size_t size);
using memman_freefn = void (*)(void* usrptr, void* block);

// memman_create: a manager of its own. Returns null when there is no space for it.
memman* memman_create(void* usrptr, memman_allocfn allocfn, memman_freefn freefn,
                      bool debug) noexcept;
// memman_delete: frees the manager; returns the number of blocks that were still allocated. These
// blocks are not freed.
size_t memman_delete(memman* mman) noexcept;

// memman_alloc: an uninitialised block of number * size bytes, aligned for any scalar; null when out
// of space or when the product overflows. A zero size gives null.
void* memman_alloc(memman* mman, size_t number, size_t size, const char* file, int line) noexcept;
void memman_free(memman* mman, void* block, const char* file, int line) noexcept;

size_t memman_usage(const memman& mman) noexcept;     // bytes now in use by callers
size_t memman_maxusage(const memman& mman) noexcept;  // largest value of it so far
size_t memman_numblocks(const memman& mman) noexcept;

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

// The only owning container of the library. There is no default constructor: a manager is required.
template <class T>
using mm_vector = std::vector<T, mm_alloc<T>>;
