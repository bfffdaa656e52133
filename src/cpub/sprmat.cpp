#include "cpub/sprmat.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace {

constexpr ptrdiff_t leastspare = 3;  // spare places of a vector that moves to get one more element
constexpr int32_t maxmeagre = 3;  // compactions that free less than an eighth before the pool grows

void move_elements(sprmat& a, ptrdiff_t from, ptrdiff_t to, ptrdiff_t num) noexcept {
  if (num == 0 || from == to) return;
  std::memmove(a.sub.data() + to, a.sub.data() + from, size_t(num) * sizeof(int32_t));
  std::memmove(a.val.data() + to, a.val.data() + from, size_t(num) * sizeof(double));
}

// Whether the vectors lie in the pool in vector order, so that they can slide to the front.
bool is_in_order(const sprmat& a) noexcept {
  ptrdiff_t last = 0;
  for (const sprmat_vec& v : a.vec) {
    if (v.beg == v.lim) continue;
    if (v.beg < last) return false;
    last = v.lim;
  }
  return true;
}

// Where a vector lies when it begins at place to, with or without its spare places.
sprmat_vec moved(const sprmat_vec& v, ptrdiff_t to, bool withspare) noexcept {
  return {to, to + v.end - v.beg, to + (withspare ? v.lim : v.end) - v.beg};
}

void slide(sprmat& a, bool withspare) noexcept {
  ptrdiff_t to = 0;
  for (sprmat_vec& v : a.vec) {
    move_elements(a, v.beg, to, v.end - v.beg);
    v = moved(v, to, withspare);
    to = v.lim;
  }
  a.used = to;
  a.garbage = 0;
}

// The vectors in vector order at the front of arrays of cap places, which replace the pool.
void rewrite(sprmat& a, ptrdiff_t cap, bool withspare) {
  mm_vector<int32_t> sub(size_t(cap), 0, a.sub.get_allocator());
  mm_vector<double> val(size_t(cap), 0.0, a.val.get_allocator());
  ptrdiff_t to = 0;
  for (sprmat_vec& v : a.vec) {
    std::copy_n(a.sub.data() + v.beg, v.end - v.beg, sub.data() + to);
    std::copy_n(a.val.data() + v.beg, v.end - v.beg, val.data() + to);
    v = moved(v, to, withspare);
    to = v.lim;
  }
  a.used = to;
  a.garbage = 0;
  a.cap = cap;
  a.sub.swap(sub);
  a.val.swap(val);
}

// More places behind the used part; the elements stay where they are.
void enlarge(sprmat& a, ptrdiff_t cap) {
  if (cap > sprmat_maxcap) throw std::length_error("sprmat");
  a.sub.reserve(size_t(cap));
  a.val.reserve(size_t(cap));
  a.sub.resize(size_t(cap));
  a.val.resize(size_t(cap));
  a.cap = cap;
}

// In place and without spare places, for when there is no space for a second pool: vectors keep
// their order of places.
void slide_by_place(sprmat& a) noexcept {
  ptrdiff_t to = 0;
  for (ptrdiff_t from = 0; from < a.used;) {
    // The next vector by place; the search makes this quadratic, and it runs only out of space.
    sprmat_vec* next = nullptr;
    for (sprmat_vec& v : a.vec) {
      if (v.beg >= from && v.end > v.beg && (next == nullptr || v.beg < next->beg)) next = &v;
    }
    if (next == nullptr) break;
    const ptrdiff_t len = next->end - next->beg;
    from = next->end;
    move_elements(a, next->beg, to, len);
    *next = {to, to + len, to + len};
    to += len;
  }
  for (sprmat_vec& v : a.vec) {
    if (v.beg == v.end) v = {to, to, to};
  }
  a.used = to;
  a.garbage = 0;
}

// The vector's spare places behind the used part, at least m of them beyond its elements.
void relocate(sprmat& a, int32_t k, ptrdiff_t m) {
  sprmat_reserve(a, sprmat_len(a, k) + m);
  sprmat_vec& v = a.vec[k];
  if (v.lim == a.used && v.beg < v.end) {  // the last one: it grows where it is
    v.lim = v.end + m;
    a.used = v.lim;
    return;
  }
  const ptrdiff_t len = v.end - v.beg;
  a.garbage += v.lim - v.beg;
  move_elements(a, v.beg, a.used, len);
  v = {a.used, a.used + len, a.used + len + m};
  a.used = v.lim;
}

}  // namespace

ptrdiff_t sprmat_find(const sprmat& a, int32_t k, int32_t s) {
  const sprmat_vec& v = a.vec[k];
  for (ptrdiff_t p = v.beg; p < v.end; ++p) {
    if (a.sub[p] == s) return p;
  }
  return -1;
}

void sprmat_setcap(sprmat& a, ptrdiff_t cap) {
  assert(cap >= a.num);
  if (cap > sprmat_maxcap) throw std::length_error("sprmat");
  if (cap == a.cap) return;
  rewrite(a, cap, false);
}

void sprmat_compact(sprmat& a) noexcept {
  const bool withspare = a.used - a.garbage <= 2 * a.num;
  if (is_in_order(a)) {
    slide(a, withspare);
  } else {
    try {
      rewrite(a, a.cap, withspare);
    } catch (const std::bad_alloc&) {
      slide_by_place(a);
    }
  }
  ++a.numcompact;
}

void sprmat_reserve(sprmat& a, ptrdiff_t m) {
  if (m > sprmat_maxcap) throw std::length_error("sprmat");
  const ptrdiff_t before = a.used;
  if (a.garbage > 0 && a.used + m >= a.cap - a.garbage) {
    sprmat_compact(a);
    a.nummeagre = before - a.used < a.num / 8 ? a.nummeagre + 1 : 0;
  }
  const bool isneeded = a.used + m + 1 >= a.cap;
  if (!isneeded && a.nummeagre < maxmeagre) return;
  const ptrdiff_t candidate = a.cap >= a.growtrh ? a.cap + a.cap / 2 : 2 * a.cap;
  const ptrdiff_t required = a.used + m + 1 + a.addnum;
  ptrdiff_t cap = std::max(required, candidate) + 1;
  if (cap > sprmat_maxcap) cap = std::min<ptrdiff_t>(std::max(a.used + m, a.cap), sprmat_maxcap);
  if (cap < a.used + m) throw std::length_error("sprmat");
  try {
    enlarge(a, cap);
    ++a.numgrow;
  } catch (const std::bad_alloc&) {
    if (isneeded) throw;
  }
  a.nummeagre = 0;
}

void sprmat_append(sprmat& a, int32_t num) {
  const size_t want = a.vec.size() + size_t(num);
  if (want > a.vec.capacity()) a.vec.reserve(std::max(want, a.vec.capacity() * 3 / 2));
  a.vec.resize(want, sprmat_vec{a.used, a.used, a.used});
}

void sprmat_put(sprmat& a, int32_t k, std::span<const int32_t> sub, std::span<const double> val) {
  const auto len = ptrdiff_t(sub.size());
  if (len > a.vec[k].lim - a.vec[k].beg) {
    sprmat_reserve(a, len);
    const ptrdiff_t old = sprmat_len(a, k);
    sprmat_vec& v = a.vec[k];
    if (v.lim == a.used) {
      a.used = v.beg;  // the last one: its places are free again
    } else {
      a.garbage += v.lim - v.beg;
    }
    a.num -= old;
    v = {a.used, a.used, a.used + len};
    a.used = v.lim;
  } else {
    a.num -= sprmat_len(a, k);
  }
  sprmat_vec& v = a.vec[k];
  std::copy_n(sub.data(), len, a.sub.data() + v.beg);
  std::copy_n(val.data(), len, a.val.data() + v.beg);
  v.end = v.beg + len;
  a.num += len;
}

void sprmat_set(sprmat& a, int32_t k, int32_t s, double value) {
  const ptrdiff_t p = sprmat_find(a, k, s);
  if (p >= 0) {
    a.val[p] = value;
  } else {
    sprmat_add(a, k, s, value);
  }
}

void sprmat_add(sprmat& a, int32_t k, int32_t s, double value) {
  if (a.vec[k].end == a.vec[k].lim) {
    const ptrdiff_t len = sprmat_len(a, k);
    relocate(a, k, std::max(leastspare, len / 2) + 1);
  }
  sprmat_vec& v = a.vec[k];
  a.sub[v.end] = s;
  a.val[v.end] = value;
  ++v.end;
  ++a.num;
}

void sprmat_erase(sprmat& a, int32_t k, ptrdiff_t place) {
  sprmat_vec& v = a.vec[k];
  assert(place >= v.beg && place < v.end);
  move_elements(a, place + 1, place, v.end - place - 1);
  --v.end;
  --a.num;
}

void sprmat_removevecs(sprmat& a, std::span<const uint8_t> gone) noexcept {
  size_t to = 0;
  for (size_t k = 0; k < a.vec.size(); ++k) {
    if (gone[k] != 0) {
      a.num -= a.vec[k].end - a.vec[k].beg;
      a.garbage += a.vec[k].lim - a.vec[k].beg;
    } else {
      a.vec[to++] = a.vec[k];
    }
  }
  a.vec.resize(to, sprmat_vec{});
}

void sprmat_renumber(sprmat& a, std::span<const int32_t> map) noexcept {
  for (sprmat_vec& v : a.vec) {
    ptrdiff_t to = v.beg;
    for (ptrdiff_t p = v.beg; p < v.end; ++p) {
      const int32_t s = map[a.sub[p]];
      if (s < 0) continue;
      a.sub[to] = s;
      a.val[to++] = a.val[p];
    }
    a.num -= v.end - to;
    v.end = to;
  }
}

void sprmat_pack(const sprmat& a, int32_t numsub, spmat& packed) {
  spmat out(packed.ptr.get_allocator().place);
  out.nrow = numsub;
  out.ncol = sprmat_numvec(a);
  out.ptr.reserve(a.vec.size() + 1);
  out.sub.reserve(size_t(a.num));
  out.val.reserve(size_t(a.num));
  out.ptr.push_back(0);
  for (int32_t k = 0; k < out.ncol; ++k) {
    const auto sub = sprmat_sub(a, k);
    const auto val = sprmat_val(a, k);
    out.sub.insert(out.sub.end(), sub.begin(), sub.end());
    out.val.insert(out.val.end(), val.begin(), val.end());
    out.ptr.push_back(ptrdiff_t(out.sub.size()));
  }
  packed = std::move(out);
}

void sprmat_transpose(const sprmat& a, int32_t numsub, ptrdiff_t mincap, sprmat& at) {
  sprmat out(at.vec.get_allocator().place);
  out.growtrh = a.growtrh;
  out.addnum = a.addnum;
  out.vec.resize(size_t(numsub), sprmat_vec{});
  const int32_t numvec = sprmat_numvec(a);
  for (int32_t k = 0; k < numvec; ++k) {
    for (const int32_t s : sprmat_sub(a, k)) ++out.vec[s].lim;
  }
  ptrdiff_t at_place = 0;
  for (sprmat_vec& v : out.vec) {
    const ptrdiff_t len = v.lim;
    v = {at_place, at_place, at_place + len};
    at_place += len;
  }
  enlarge(out, std::max(mincap, at_place));
  for (int32_t k = 0; k < numvec; ++k) {
    for (ptrdiff_t p = a.vec[k].beg; p < a.vec[k].end; ++p) {
      const ptrdiff_t q = out.vec[a.sub[p]].end++;
      out.sub[q] = k;
      out.val[q] = a.val[p];
    }
  }
  out.used = out.num = at_place;
  at = std::move(out);
}

const char* sprmat_check(const sprmat& a) {
  if (a.used > a.cap || a.num > a.used) return "counts";
  if (a.sub.size() != size_t(a.cap) || a.val.size() != size_t(a.cap)) return "pool arrays";
  mm_vector<uint8_t> taken(size_t(a.used), 0, a.vec.get_allocator().place);
  ptrdiff_t num = 0;
  ptrdiff_t places = a.garbage;
  for (const sprmat_vec& v : a.vec) {
    if (v.beg < 0 || v.beg > v.end || v.end > v.lim || v.lim > a.used) return "places of a vector";
    num += v.end - v.beg;
    places += v.lim - v.beg;
    for (ptrdiff_t p = v.beg; p < v.lim; ++p) {
      if (taken[p]++ != 0) return "place of two vectors";
    }
  }
  if (places != a.used) return "number of garbage places";
  return num == a.num ? nullptr : "number of elements";
}
