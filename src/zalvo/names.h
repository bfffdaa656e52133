// Names of variables, constraints and cones, of the objective and the task: all texts in one pool,
// each item holding an offset into it, and a hash table per kind, so that putting and finding a name
// take constant time. Names are unique within a kind; an item without a name has the empty one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "cpub/memman.h"

constexpr int32_t names_numkinds = 3;  // by ZLV_PI_*

struct names_slot {
  uint32_t hash = 0;
  int32_t item = -1;  // -1: free
};
struct names_kind {
  mm_vector<ptrdiff_t> off;    // of each item's text; 0: none
  mm_vector<names_slot> slot;  // open addressing, a power of two of places or none
  int32_t num = 0;             // items with a name
  explicit names_kind(mm_place at) : off(at), slot(at) {}
};
struct names_store {
  mm_vector<char> pool;   // zero-terminated texts; the first is the empty one
  ptrdiff_t garbage = 0;  // characters of the pool that nobody refers to
  std::array<names_kind, names_numkinds> kind;
  ptrdiff_t objoff = 0, taskoff = 0;
  explicit names_store(mm_place at)
      : pool(at), kind{names_kind(at), names_kind(at), names_kind(at)} {}
};

// A text of the store; zero-terminated behind its end, valid until the next change of the store.
inline std::string_view names_text(const names_store& names, ptrdiff_t off) {
  return off == 0 ? std::string_view("") : std::string_view(names.pool.data() + off);
}
inline std::string_view names_get(const names_store& names, int32_t kind, int32_t i) {
  return names_text(names, names.kind[kind].off[i]);
}
// names_find: the item that has this name, -1 when none.
int32_t names_find(const names_store& names, int32_t kind, std::string_view name);

// The functions that need space change nothing when they throw std::bad_alloc.
// names_append: num items without a name at the end.
void names_append(names_store& names, int32_t kind, int32_t num);
// names_put: gives item i a name, or none when name is empty. Returns the item that has it already
// (then nothing changes), else -1. name may not hold a zero character.
int32_t names_put(names_store& names, int32_t kind, int32_t i, std::string_view name);
void names_putobj(names_store& names, std::string_view name);
void names_puttask(names_store& names, std::string_view name);
// names_reserve: makes room for numchar characters of num names of a kind, for fast loading.
void names_reserve(names_store& names, int32_t kind, int32_t num, ptrdiff_t numchar);
// names_remove: the items with gone[i] != 0 leave and the later ones move down.
void names_remove(names_store& names, int32_t kind, std::span<const uint8_t> gone) noexcept;
int32_t names_maxlen(const names_store& names);  // longest of all texts, without terminator
void names_copy(const names_store& from, names_store& to);
