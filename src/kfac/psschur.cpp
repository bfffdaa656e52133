#include "kfac/psschur.h"

#include <algorithm>
#include <cmath>

#include "kfac/pchsolve.h"

void psschur_make(const symface& sym, int32_t numextra, psschur& sc) {
  const auto n = size_t(sym.n);
  sc.capacity = int32_t(sc.cols.size()) + numextra;
  sc.qt.resize(size_t(sc.capacity) * n);
  sc.rhs.resize(parblas_maxrhs * n);
  sc.z.resize(size_t(sc.capacity));
  sc.ones.assign(n, 0.0);
  sc.kernelwork.resize(size_t(parblas_worksize(sc.capacity, sym.n)));
  densefac_reserve(sc.dense, sc.capacity);
}

namespace {

// Column k of W: a dense column of A or, behind these, a replaced pivot.
void load_column(const spmat_view& a, std::span<const double> d, const symface& sym,
                 const pcholfac& fac, int32_t col, int32_t pivot, double* x) {
  std::fill_n(x, sym.n, 0.0);
  if (col >= 0) {
    const double root = std::sqrt(d[col]);
    for (ptrdiff_t p = a.ptr[col]; p < a.ptr[col + 1]; ++p)
      x[sym.iperm[a.sub[p]]] = a.val[p] * root;
  } else if (pivot >= 0) {
    x[pivot] = std::sqrt(fac.delta[pivot]);
  }
}

void store_rows(const psschur& sc, int32_t n, int32_t k, int32_t count, double* qt) {
  for (int32_t i = 0; i < n; ++i) {
    double* to = qt + ptrdiff_t(i) * sc.capacity + k;
    for (int32_t r = 0; r < count; ++r) to[r] = sc.rhs[i + ptrdiff_t(r) * n];
  }
}

}  // namespace

int32_t psschur_factor(const spmat_view& a, std::span<const double> d, const symface& sym,
                       const pcholfac& fac, psschur& sc, std::span<double> front) {
  const int32_t n = sym.n, numcol = int32_t(sc.cols.size());
  int32_t numlost = 0;
  sc.num = numcol;
  // z counts as the list of replaced pivots until the first solve.
  for (int32_t i = 0; i < n; ++i) {
    if (!(fac.delta[i] > 0)) continue;
    if (sc.num == sc.capacity) {
      ++numlost;
    } else {
      sc.z[sc.num++] = i;
    }
  }
  for (int32_t k = 0; k < sc.num; k += parblas_maxrhs) {
    const int32_t count = std::min(sc.num - k, parblas_maxrhs);
    for (int32_t r = 0; r < parblas_maxrhs; ++r) {
      const int32_t w = k + r;
      const int32_t col = w < numcol ? sc.cols[w] : -1;
      const int32_t pivot = w >= numcol && w < sc.num ? int32_t(sc.z[w]) : -1;
      load_column(a, d, sym, fac, col, pivot, sc.rhs.data() + ptrdiff_t(r) * n);
    }
    pchsolve_lower(sym, fac, sc.rhs.data(), n, parblas_maxrhs, front);
    store_rows(sc, n, k, count, sc.qt.data());
  }
  for (int32_t i = 0; i < n; ++i) sc.ones[i] = -fac.dinv[i];
  parblas_update u;
  u.m = u.n = sc.num;
  u.k = n;
  u.a = u.b = sc.qt.data();
  u.lda = u.ldb = sc.capacity;
  u.scale = sc.ones.data();
  u.c = sc.dense.a.data();
  u.ldc = sc.dense.lda;
  u.lower = u.fresh = true;
  u.work = sc.kernelwork.data();
  fac.family->update(u);
  for (int32_t k = 0; k < sc.num; ++k) {
    sc.dense.a[k + ptrdiff_t(k) * sc.dense.lda] += k < numcol ? 1.0 : -1.0;
  }
  sc.dense.n = sc.num;
  densefac_factor(sc.dense);
  const double num = sc.num;
  sc.flops = num * num * n + num * num * num / 3;
  return numlost;
}

void psschur_correct(const pcholfac& fac, psschur& sc, std::span<double> x) {
  const auto z = std::span(sc.z).first(size_t(sc.num));
  std::ranges::fill(z, 0.0);
  for (size_t i = 0; i < x.size(); ++i) {
    const double f = x[i] * fac.dinv[i];
    const double* q = sc.qt.data() + ptrdiff_t(i) * sc.capacity;
    for (size_t k = 0; k < z.size(); ++k) z[k] += q[k] * f;
  }
  densefac_solve(sc.dense, z);
  for (size_t i = 0; i < x.size(); ++i) {
    const double* q = sc.qt.data() + ptrdiff_t(i) * sc.capacity;
    double sum = x[i];
    for (size_t k = 0; k < z.size(); ++k) sum -= q[k] * z[k];
    x[i] = sum;
  }
}
