// An allocator pair for ZLV_makeenv that can fail its k-th allocation and counts what is not freed.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>

struct faulty_alloc {
  long failat = -1;         // the allocation that fails, counted from 0; negative: none
  bool failsafter = false;  // all later ones fail too
  std::atomic<long> numcalls{0}, numlive{0};

  explicit faulty_alloc(long k = -1) : failat(k) {}

  static void* alloc(void* self, size_t size) {
    auto& me = *static_cast<faulty_alloc*>(self);
    const long call = me.numcalls++;
    if (me.failat >= 0 && (call == me.failat || (me.failsafter && call > me.failat)))
      return nullptr;
    void* block = std::malloc(size);
    if (block != nullptr) ++me.numlive;
    return block;
  }
  static void free(void* self, void* block) {
    if (block == nullptr) return;
    --static_cast<faulty_alloc*>(self)->numlive;
    std::free(block);
  }
};
