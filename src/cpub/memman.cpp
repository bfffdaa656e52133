#include "cpub/memman.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cpub/memdebug.h"

namespace {

// In front of every block; its size keeps the block behind it aligned for any scalar.
struct alignas(std::max_align_t) blockhead {
  size_t size;
};

// More than any block's head and guards take; so a size and its head never overflow.
constexpr size_t maxhead = 1024;
constexpr size_t maxbytes = size_t(std::numeric_limits<ptrdiff_t>::max()) - maxhead;
static_assert(sizeof(memdebug_block) + memdebug_block::guardsize <= maxhead);

void* plain_alloc(memman& mman, size_t bytes) noexcept {
  void* space = memman_rawalloc(mman, bytes + sizeof(blockhead));
  if (space == nullptr) return nullptr;
  auto* head = std::construct_at(static_cast<blockhead*>(space), blockhead{bytes});
  mman.usage += bytes;
  mman.maxusage = std::max(mman.maxusage, mman.usage);
  ++mman.numblocks;
  return head + 1;
}

void plain_free(memman& mman, void* block) noexcept {
  auto* head = static_cast<blockhead*>(block) - 1;
  mman.usage -= head->size;
  --mman.numblocks;
  memman_rawfree(mman, head);
}

void forget_family(memman& mman) noexcept {
  for (memman* c = mman.firstchild; c != nullptr; c = c->nextchild) c->parent = nullptr;
  if (mman.parent == nullptr) return;
  (mman.prevchild != nullptr ? mman.prevchild->nextchild : mman.parent->firstchild) =
      mman.nextchild;
  if (mman.nextchild != nullptr) mman.nextchild->prevchild = mman.prevchild;
}

}  // namespace

void* memman_rawalloc(const memman& mman, size_t size) noexcept {
  if (mman.allocfn != nullptr) return mman.allocfn(mman.usrptr, size);
  return std::malloc(size);  // NOLINT: the one place
}

void memman_rawfree(const memman& mman, void* block) noexcept {
  if (mman.freefn != nullptr) {
    mman.freefn(mman.usrptr, block);
  } else {
    std::free(block);  // NOLINT: the one place
  }
}

memman* memman_create(void* usrptr, memman_allocfn allocfn, memman_freefn freefn,
                      bool debug) noexcept {
  memman first;  // to allocate the manager's own record with
  first.usrptr = usrptr;
  first.allocfn = allocfn;
  first.freefn = freefn;
  void* space = memman_rawalloc(first, sizeof(memman));
  if (space == nullptr) return nullptr;
  auto* mman = std::construct_at(static_cast<memman*>(space), first);
  if (debug && (mman->debug = memdebug_make(*mman)) == nullptr) {
    memman_rawfree(first, mman);
    return nullptr;
  }
  return mman;
}

memman* memman_createchild(memman& parent) noexcept {
  memman* mman =
      memman_create(parent.usrptr, parent.allocfn, parent.freefn, parent.debug != nullptr);
  if (mman == nullptr) return nullptr;
  mman->parent = &parent;
  mman->nextchild = parent.firstchild;
  if (parent.firstchild != nullptr) parent.firstchild->prevchild = mman;
  parent.firstchild = mman;
  return mman;
}

size_t memman_delete(memman* mman) noexcept {
  const size_t left = mman->numblocks;
  if (mman->debug != nullptr) memdebug_delete(*mman);
  forget_family(*mman);
  const memman last = *mman;
  memman_rawfree(last, mman);
  return left;
}

void memman_setfatal(memman& mman, void* ctx, memman_fatalfn fatalfn) noexcept {
  mman.fatalctx = ctx;
  mman.fatalfn = fatalfn;
}

void* memman_alloc(memman* mman, size_t number, size_t size, const char* file, int line) noexcept {
  if (mman == nullptr) {  // there is no log and no stream that this could go to
    // lint-allow: the one report that has no other place
    std::fprintf(stderr, "memman_alloc: mman==NULL file: %s line: %d\n", file, line);
    return nullptr;
  }
  size_t bytes = 0;
  const bool isfar = __builtin_mul_overflow(number, size, &bytes) || bytes > maxbytes;
  if (mman->debug != nullptr) {
    if (isfar) return memdebug_failed(*mman, maxbytes, file, line), nullptr;
    return memdebug_alloc(*mman, bytes, file, line);
  }
  return isfar || bytes == 0 ? nullptr : plain_alloc(*mman, bytes);
}

void* memman_calloc(memman* mman, size_t number, size_t size, const char* file, int line) noexcept {
  void* block = memman_alloc(mman, number, size, file, line);
  if (block != nullptr) std::memset(block, 0, number * size);
  return block;
}

void* memman_resize(memman* mman, void* block, size_t oldbytes, size_t newbytes, const char* file,
                    int line) noexcept {
  if (block == nullptr) return memman_alloc(mman, newbytes, 1, file, line);
  if (mman->debug != nullptr) {
    return memdebug_resize(*mman, block, oldbytes, newbytes, file, line);
  }
  void* moved = memman_alloc(mman, newbytes, 1, file, line);
  if (moved == nullptr) return nullptr;
  std::memcpy(moved, block, std::min(oldbytes, newbytes));
  plain_free(*mman, block);
  return moved;
}

char* memman_strdup(memman* mman, const char* text, const char* file, int line) noexcept {
  const size_t bytes = std::strlen(text) + 1;
  void* copy = memman_alloc(mman, bytes, 1, file, line);
  if (copy != nullptr) std::memcpy(copy, text, bytes);
  return static_cast<char*>(copy);
}

void memman_free(memman* mman, void* block, const char* file, int line) noexcept {
  if (block == nullptr) return;
  if (mman->debug != nullptr) {
    memdebug_free(*mman, block, file, line);
  } else {
    plain_free(*mman, block);
  }
}

void memman_scan(memman& mman, const char* file, int line) noexcept {
  if (mman.debug != nullptr) memdebug_scan(mman, file, line);
}
void memman_lock(memman& mman, const void* block) noexcept {
  if (mman.debug != nullptr) memdebug_lock(mman, block, true);
}
void memman_unlock(memman& mman, const void* block) noexcept {
  if (mman.debug != nullptr) memdebug_lock(mman, block, false);
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
size_t memman_numchildren(const memman& mman) noexcept {
  size_t count = 0;
  for (const memman* c = mman.firstchild; c != nullptr; c = c->nextchild) ++count;
  return count;
}

memman_text memman_sizetext(size_t bytes) noexcept {
  constexpr const char* unit[] = {"B", "KB", "MB", "GB", "TB", "PB", "EB"};
  memman_text t;
  int u = 0;
  double value = double(bytes);
  while (value >= 1024) {
    value /= 1024;
    ++u;
  }
  std::snprintf(t.text, sizeof t.text, "%.*f %s", u == 0 ? 0 : 2, value, unit[u]);
  return t;
}
