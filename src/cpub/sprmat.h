// Editable sparse matrices: vectors (columns or rows, as the owner means them) of elements in one
// pool. A vector that no longer fits its places moves behind the used part; what it leaves is
// garbage until the pool is compacted. One element added or one vector rewritten costs, amortised,
// time in proportion to its size. Elements of a vector keep the order in which they came.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"

// Places of one vector: beg .. end-1 hold elements, end .. lim-1 are spare.
struct sprmat_vec {
  ptrdiff_t beg = 0, end = 0, lim = 0;
};

struct sprmat {
  ptrdiff_t cap = 0;      // places of the pool, at most sprmat_maxcap
  ptrdiff_t used = 0;     // end of the used part
  ptrdiff_t garbage = 0;  // places of the used part that no vector has
  ptrdiff_t num = 0;      // elements
  int32_t growtrh = 0;    // the pool doubles below this capacity and grows by half from it on
  int32_t addnum = 0;     // places added to what is required whenever the pool grows
  int32_t numcompact = 0, numgrow = 0;  // how often, for statistics and tests
  int32_t nummeagre = 0;                // compactions in a row that freed little
  mm_vector<sprmat_vec> vec;
  mm_vector<int32_t> sub;  // cap places
  mm_vector<double> val;
  explicit sprmat(mm_place at) : vec(at), sub(at), val(at) {}
};

constexpr ptrdiff_t sprmat_maxcap = 2147483647;  // so that every count fits 32 bits

inline int32_t sprmat_numvec(const sprmat& a) {
  return int32_t(a.vec.size());
}
inline int32_t sprmat_len(const sprmat& a, int32_t k) {
  return int32_t(a.vec[k].end - a.vec[k].beg);
}
inline std::span<const int32_t> sprmat_sub(const sprmat& a, int32_t k) {
  return {a.sub.data() + a.vec[k].beg, a.sub.data() + a.vec[k].end};
}
inline std::span<const double> sprmat_val(const sprmat& a, int32_t k) {
  return {a.val.data() + a.vec[k].beg, a.val.data() + a.vec[k].end};
}
// sprmat_find: the place of subscript s in vector k, -1 when it is not there. O(length).
ptrdiff_t sprmat_find(const sprmat& a, int32_t k, int32_t s);

// The functions that need space leave the matrix's contents as they were when they throw
// std::bad_alloc, or std::length_error beyond sprmat_maxcap.

// sprmat_setcap: the pool gets exactly cap >= num places; a smaller pool is compacted first.
void sprmat_setcap(sprmat& a, ptrdiff_t cap);
// sprmat_reserve: makes room for m more places behind the used part, compacting or growing.
void sprmat_reserve(sprmat& a, ptrdiff_t m);
void sprmat_append(sprmat& a, int32_t num);  // empty vectors at the end
// sprmat_put: vector k becomes the elements given; subscripts differ from each other.
void sprmat_put(sprmat& a, int32_t k, std::span<const int32_t> sub, std::span<const double> val);
// sprmat_set: one element, replaced or added. O(length of the vector).
void sprmat_set(sprmat& a, int32_t k, int32_t s, double value);
// sprmat_add: one element that is known not to be there. Amortised O(1).
void sprmat_add(sprmat& a, int32_t k, int32_t s, double value);

// These never fail.
void sprmat_erase(sprmat& a, int32_t k, ptrdiff_t place);  // later elements of k move down
void sprmat_removevecs(sprmat& a, std::span<const uint8_t> gone) noexcept;
// sprmat_renumber: subscript s becomes map[s]; elements with a negative map[s] leave.
void sprmat_renumber(sprmat& a, std::span<const int32_t> map) noexcept;
// sprmat_compact: moves the vectors to the front in vector order. They keep their spare places unless
// these are more than the elements, so that adding goes on cheaply.
void sprmat_compact(sprmat& a) noexcept;

// sprmat_pack: the vectors as the columns of packed, one behind the other; packed.nrow is set to
// numsub. packed is replaced, and unchanged when std::bad_alloc is thrown.
void sprmat_pack(const sprmat& a, int32_t numsub, spmat& packed);
// sprmat_transpose: at = a', numsub vectors with increasing subscripts and at least mincap places.
void sprmat_transpose(const sprmat& a, int32_t numsub, ptrdiff_t mincap, sprmat& at);
// sprmat_check: null, or what is broken: places outside the pool or shared, wrong counts.
const char* sprmat_check(const sprmat& a);
