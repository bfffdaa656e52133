#include "cpub/spmat.h"

#include <utility>

void spmat_transpose(const spmat_view& a, spmat& at) {
  const mm_place place = at.ptr.get_allocator().place;
  const auto nnz = size_t(a.ptr[size_t(a.ncol)]);
  const bool values = !a.val.empty();
  mm_vector<ptrdiff_t> ptr(size_t(a.nrow) + 1, 0, place);
  mm_vector<int32_t> sub(nnz, 0, place);
  mm_vector<double> val(values ? nnz : 0, 0.0, place);
  for (size_t p = 0; p < nnz; ++p) ++ptr[size_t(a.sub[p])];
  ptrdiff_t sum = 0;
  for (auto& entry : ptr) sum += std::exchange(entry, sum);  // begins of the rows
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[size_t(j)]; p < a.ptr[size_t(j) + 1]; ++p) {
      const auto q = size_t(ptr[size_t(a.sub[size_t(p)])]++);
      sub[q] = j;
      if (values) val[q] = a.val[size_t(p)];
    }
  }
  for (size_t i = size_t(a.nrow); i > 0; --i) ptr[i] = ptr[i - 1];
  ptr[0] = 0;
  at.nrow = a.ncol;
  at.ncol = a.nrow;
  at.ptr = std::move(ptr);
  at.sub = std::move(sub);
  at.val = std::move(val);
}

void spmat_addax(const spmat_view& a, double alpha, std::span<const double> x,
                 std::span<double> y) {
  for (int32_t j = 0; j < a.ncol; ++j) {
    const double xj = alpha * x[size_t(j)];
    if (xj == 0) continue;
    for (ptrdiff_t p = a.ptr[size_t(j)]; p < a.ptr[size_t(j) + 1]; ++p) {
      y[size_t(a.sub[size_t(p)])] += a.val[size_t(p)] * xj;
    }
  }
}

void spmat_addatx(const spmat_view& a, double alpha, std::span<const double> x,
                  std::span<double> y) {
  for (int32_t j = 0; j < a.ncol; ++j) {
    double sum = 0;
    for (ptrdiff_t p = a.ptr[size_t(j)]; p < a.ptr[size_t(j) + 1]; ++p) {
      sum += a.val[size_t(p)] * x[size_t(a.sub[size_t(p)])];
    }
    y[size_t(j)] += alpha * sum;
  }
}
