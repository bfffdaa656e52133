#include "cpub/memman.h"

#include <algorithm>
#include <cstdlib>

struct memman {
  void* usrptr = nullptr;
  memman_allocfn allocfn = nullptr;
  memman_freefn freefn = nullptr;
  bool debug = false;
  size_t usage = 0, maxusage = 0, numblocks = 0;
};

namespace {

// In front of every block; its size keeps the block behind it aligned for any scalar.
struct alignas(std::max_align_t) blockhead {
  size_t size;
};

void* raw_alloc(void* usrptr, memman_allocfn allocfn, size_t size) noexcept {
  return allocfn != nullptr ? allocfn(usrptr, size) : std::malloc(size);  // NOLINT: the one place
}
void raw_free(void* usrptr, memman_freefn freefn, void* block) noexcept {
  if (freefn != nullptr) {
    freefn(usrptr, block);
  } else {
    std::free(block);  // NOLINT: the one place
  }
}

}  // namespace

memman* memman_create(void* usrptr, memman_allocfn allocfn, memman_freefn freefn,
                      bool debug) noexcept {
  void* space = raw_alloc(usrptr, allocfn, sizeof(memman));
  if (space == nullptr) return nullptr;
  return new (space) memman{usrptr, allocfn, freefn, debug, 0, 0, 0};
}

memman* memman_createlike(const memman& mman) noexcept {
  return memman_create(mman.usrptr, mman.allocfn, mman.freefn, mman.debug);
}

size_t memman_delete(memman* mman) noexcept {
  const size_t left = mman->numblocks;
  raw_free(mman->usrptr, mman->freefn, mman);
  return left;
}

void* memman_alloc(memman* mman, size_t number, size_t size, const char*, int) noexcept {
  size_t bytes = 0;
  if (__builtin_mul_overflow(number, size, &bytes) || bytes == 0 ||
      bytes > std::numeric_limits<ptrdiff_t>::max() - sizeof(blockhead)) {
    return nullptr;
  }
  void* space = raw_alloc(mman->usrptr, mman->allocfn, bytes + sizeof(blockhead));
  if (space == nullptr) return nullptr;
  auto* head = new (space) blockhead{bytes};
  mman->usage += bytes;
  mman->maxusage = std::max(mman->maxusage, mman->usage);
  ++mman->numblocks;
  return head + 1;
}

void memman_free(memman* mman, void* block, const char*, int) noexcept {
  if (block == nullptr) return;
  auto* head = static_cast<blockhead*>(block) - 1;
  mman->usage -= head->size;
  --mman->numblocks;
  raw_free(mman->usrptr, mman->freefn, head);
}

size_t memman_usage(const memman& mman) noexcept {
  return mman.usage;
}
size_t memman_maxusage(const memman& mman) noexcept {
  return mman.maxusage;
}
size_t memman_numblocks(const memman& mman) noexcept {
  return mman.numblocks;
}
