// An allocator pair for ZLV_makeenv that can fail its k-th allocation and counts what is not freed.
// What is left when it goes it frees itself, so that a test may leak on purpose.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <mutex>

struct faulty_alloc {
  long failat = -1;         // the allocation that fails, counted from 0; negative: none
  bool failsafter = false;  // all later ones fail too
  long numcalls = 0, numlive = 0;

  explicit faulty_alloc(long k = -1) : failat(k) { ends.prev = ends.next = &ends; }
  ~faulty_alloc() {
    while (ends.next != &ends) free(this, ends.next + 1);
  }
  faulty_alloc(const faulty_alloc&) = delete;
  faulty_alloc& operator=(const faulty_alloc&) = delete;

  static void* alloc(void* self, size_t size) {
    auto& me = *static_cast<faulty_alloc*>(self);
    const std::lock_guard<std::mutex> hold(me.lock);
    const long call = me.numcalls++;
    if (me.failat >= 0 && (call == me.failat || (me.failsafter && call > me.failat)))
      return nullptr;
    auto* b = static_cast<link*>(std::malloc(sizeof(link) + size));
    if (b == nullptr) return nullptr;
    ++me.numlive;
    b->prev = &me.ends;
    b->next = me.ends.next;
    b->prev->next = b->next->prev = b;
    return b + 1;
  }
  static void free(void* self, void* block) {
    if (block == nullptr) return;
    auto& me = *static_cast<faulty_alloc*>(self);
    const std::lock_guard<std::mutex> hold(me.lock);
    link* b = static_cast<link*>(block) - 1;
    b->prev->next = b->next;
    b->next->prev = b->prev;
    --me.numlive;
    std::free(b);
  }

 private:
  struct alignas(std::max_align_t) link {  // in front of every block
    link *prev, *next;
  };
  link ends;  // of the ring of blocks
  std::mutex lock;
};
