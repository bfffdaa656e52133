// Sparse matrices by columns: an owning record and a view. Rows and columns count from 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "cpub/memman.h"

// Columns j hold entries ptr[j] .. ptr[j+1]-1 of sub (row) and val. Whether rows increase within a
// column and whether zeros occur is said by whoever makes the view; val may be empty for a pattern.
struct spmat_view {
  int32_t nrow = 0, ncol = 0;
  std::span<const ptrdiff_t> ptr;  // ncol + 1, ptr[0] = 0, never decreasing
  std::span<const int32_t> sub;
  std::span<const double> val;
};

struct spmat {
  int32_t nrow = 0, ncol = 0;
  mm_vector<ptrdiff_t> ptr;  // ncol + 1
  mm_vector<int32_t> sub;
  mm_vector<double> val;
  explicit spmat(mm_place at) : ptr(at), sub(at), val(at) {}
};
inline spmat_view spmat_look(const spmat& a) {
  return {a.nrow, a.ncol, a.ptr, a.sub, a.val};
}

// spmat_transpose: at = a', its columns (the rows of a) with increasing subscripts. O(nnz + sizes).
//   at     out, replaced; as it was when std::bad_alloc is thrown
void spmat_transpose(const spmat_view& a, spmat& at);

// spmat_addax: y += alpha A x; x has ncol entries, y has nrow.
void spmat_addax(const spmat_view& a, double alpha, std::span<const double> x, std::span<double> y);
// spmat_addatx: y += alpha A' x; x has nrow entries, y has ncol.
void spmat_addatx(const spmat_view& a, double alpha, std::span<const double> x,
                  std::span<double> y);
