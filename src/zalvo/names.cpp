#include "zalvo/names.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace {

constexpr size_t leastslots = 16;

uint32_t hash_of(std::string_view text) noexcept {
  uint64_t h = text.size() * 0x9E3779B97F4A7C15U;
  const char* p = text.data();
  size_t left = text.size();
  while (left > 0) {
    uint64_t word = 0;
    const size_t n = std::min<size_t>(left, sizeof word);
    std::memcpy(&word, p, n);
    h = (h ^ word) * 0xBF58476D1CE4E5B9U;
    h ^= h >> 29;
    p += n;
    left -= n;
  }
  h *= 0x94D049BB133111EBU;
  return uint32_t(h >> 32);
}

// The slot that holds the name, or the free one where it would go. There is always a free one.
size_t slot_of(const names_store& names, const names_kind& k, std::string_view name,
               uint32_t hash) noexcept {
  const size_t mask = k.slot.size() - 1;
  for (size_t s = hash & mask;; s = (s + 1) & mask) {
    const names_slot& slot = k.slot[s];
    if (slot.item < 0) return s;
    if (slot.hash == hash && names_text(names, k.off[slot.item]) == name) return s;
  }
}

void insert_known(mm_vector<names_slot>& table, names_slot entry) noexcept {
  const size_t mask = table.size() - 1;
  size_t s = entry.hash & mask;
  while (table[s].item >= 0) s = (s + 1) & mask;
  table[s] = entry;
}

// Room for one name more: at most two thirds of the slots are taken.
void grow_table(names_kind& k, size_t num) {
  if (3 * num <= 2 * k.slot.size()) return;
  const size_t size = std::max(leastslots, std::bit_ceil(3 * num / 2 + 1));
  mm_vector<names_slot> table(size, names_slot{}, k.slot.get_allocator());
  for (const names_slot& slot : k.slot) {
    if (slot.item >= 0) insert_known(table, slot);
  }
  k.slot.swap(table);
}

// Takes a name out of the table; the followers of its run close the gap.
void erase_slot(names_kind& k, size_t hole) noexcept {
  const size_t mask = k.slot.size() - 1;
  for (size_t s = (hole + 1) & mask; k.slot[s].item >= 0; s = (s + 1) & mask) {
    const size_t home = k.slot[s].hash & mask;
    if (((s - home) & mask) >= ((s - hole) & mask)) {
      k.slot[hole] = k.slot[s];
      hole = s;
    }
  }
  k.slot[hole] = names_slot{};
}

void forget(names_store& names, ptrdiff_t& off) noexcept {
  if (off != 0) names.garbage += ptrdiff_t(names_text(names, off).size()) + 1;
  off = 0;
}

// The pool without its garbage; nothing happens when there is no space for a second pool.
void compact_pool(names_store& names) {
  mm_vector<char> pool(names.pool.get_allocator());
  pool.reserve(names.pool.size() - size_t(names.garbage));
  pool.push_back('\0');
  auto move = [&](ptrdiff_t& off) {
    if (off == 0) return;
    const std::string_view text = names_text(names, off);
    off = ptrdiff_t(pool.size());
    pool.insert(pool.end(), text.begin(), text.end());
    pool.push_back('\0');
  };
  for (names_kind& k : names.kind) {
    for (ptrdiff_t& off : k.off) move(off);
  }
  move(names.objoff);
  move(names.taskoff);
  names.pool.swap(pool);
  names.garbage = 0;
}

void grow_pool(names_store& names, size_t length) {
  constexpr size_t leastpool = 256;
  const size_t want = std::max<size_t>(names.pool.size(), 1) + length + 1;
  if (want > names.pool.capacity()) {
    if (size_t(names.garbage) > names.pool.size() / 2) compact_pool(names);
    names.pool.reserve(std::max({want, names.pool.capacity() * 3 / 2, leastpool}));
  }
  if (names.pool.empty()) names.pool.push_back('\0');
}

ptrdiff_t add_text(names_store& names, std::string_view name) noexcept {  // after grow_pool
  const auto off = ptrdiff_t(names.pool.size());
  names.pool.insert(names.pool.end(), name.begin(), name.end());
  names.pool.push_back('\0');
  return off;
}

void put_single(names_store& names, ptrdiff_t& off, std::string_view name) {
  grow_pool(names, name.size());
  forget(names, off);
  if (!name.empty()) off = add_text(names, name);
}

void unname(names_store& names, names_kind& k, int32_t i) noexcept {
  if (k.off[i] == 0) return;
  const std::string_view old = names_text(names, k.off[i]);
  erase_slot(k, slot_of(names, k, old, hash_of(old)));
  forget(names, k.off[i]);
  --k.num;
}

}  // namespace

int32_t names_find(const names_store& names, int32_t kind, std::string_view name) {
  const names_kind& k = names.kind[kind];
  if (k.slot.empty() || name.empty()) return -1;
  return k.slot[slot_of(names, k, name, hash_of(name))].item;
}

void names_append(names_store& names, int32_t kind, int32_t num) {
  mm_vector<ptrdiff_t>& off = names.kind[kind].off;
  const size_t want = off.size() + size_t(num);
  if (want > off.capacity()) off.reserve(std::max(want, off.capacity() * 3 / 2));
  off.resize(want, 0);
}

int32_t names_put(names_store& names, int32_t kind, int32_t i, std::string_view name) {
  names_kind& k = names.kind[kind];
  if (name.empty()) {
    unname(names, k, i);
    return -1;
  }
  const uint32_t hash = hash_of(name);
  if (!k.slot.empty()) {
    const int32_t owner = k.slot[slot_of(names, k, name, hash)].item;
    if (owner >= 0) return owner == i ? -1 : owner;
  }
  grow_table(k, size_t(k.num) + 1);
  grow_pool(names, name.size());
  unname(names, k, i);
  k.off[i] = add_text(names, name);
  insert_known(k.slot, {hash, i});
  ++k.num;
  return -1;
}

void names_putobj(names_store& names, std::string_view name) {
  put_single(names, names.objoff, name);
}
void names_puttask(names_store& names, std::string_view name) {
  put_single(names, names.taskoff, name);
}

void names_reserve(names_store& names, int32_t kind, int32_t num, ptrdiff_t numchar) {
  names_kind& k = names.kind[kind];
  grow_table(k, size_t(k.num) + size_t(num));
  names.pool.reserve(names.pool.size() + size_t(numchar) + size_t(num) + 1);
}

void names_remove(names_store& names, int32_t kind, std::span<const uint8_t> gone) noexcept {
  names_kind& k = names.kind[kind];
  size_t to = 0;
  for (size_t i = 0; i < gone.size(); ++i) {
    if (gone[i] != 0) {
      if (k.off[i] != 0) --k.num;
      forget(names, k.off[i]);
    } else {
      k.off[to++] = k.off[i];
    }
  }
  k.off.resize(to, 0);
  std::fill(k.slot.begin(), k.slot.end(), names_slot{});
  for (size_t i = 0; i < to; ++i) {
    if (k.off[i] != 0) insert_known(k.slot, {hash_of(names_text(names, k.off[i])), int32_t(i)});
  }
}

int32_t names_maxlen(const names_store& names) {
  size_t longest =
      std::max(names_text(names, names.objoff).size(), names_text(names, names.taskoff).size());
  for (const names_kind& k : names.kind) {
    for (const ptrdiff_t off : k.off) longest = std::max(longest, names_text(names, off).size());
  }
  return int32_t(longest);
}

void names_copy(const names_store& from, names_store& to) {
  names_store copy(to.pool.get_allocator().place);
  copy.pool.assign(from.pool.begin(), from.pool.end());
  copy.garbage = from.garbage;
  copy.objoff = from.objoff;
  copy.taskoff = from.taskoff;
  for (int32_t k = 0; k < names_numkinds; ++k) {
    copy.kind[k].off.assign(from.kind[k].off.begin(), from.kind[k].off.end());
    copy.kind[k].slot.assign(from.kind[k].slot.begin(), from.kind[k].slot.end());
    copy.kind[k].num = from.kind[k].num;
  }
  to = std::move(copy);
}
