#include "kfac/densefac.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr double bkalpha = 0.6403882032022076;  // (1 + sqrt(17)) / 8: least growth of the elements
constexpr double dropped = 1e-14;               // of the scaled matrix, absolute: counts as zero
constexpr double tinyrow = 1e-300;              // a row below it is not scaled; absolute

double& at(densefac& fac, int32_t i, int32_t j) {
  return fac.a[i + ptrdiff_t(j) * fac.lda];
}

void scale_matrix(densefac& fac) {
  std::ranges::fill(fac.scale, 0.0);
  for (int32_t j = 0; j < fac.n; ++j) {
    for (int32_t i = j; i < fac.n; ++i) {
      const double size = std::abs(at(fac, i, j));
      fac.scale[i] = std::max(fac.scale[i], size);
      fac.scale[j] = std::max(fac.scale[j], size);
    }
  }
  for (double& s : fac.scale) s = s > tinyrow ? 1 / std::sqrt(s) : 1.0;
  for (int32_t j = 0; j < fac.n; ++j) {
    for (int32_t i = j; i < fac.n; ++i) at(fac, i, j) *= fac.scale[i] * fac.scale[j];
  }
}

// Rows and columns k and r >= k of the trailing matrix, which starts at from, trade places. Columns
// of L stay: the solves swap as they go.
void swap_rows(densefac& fac, int32_t from, int32_t k, int32_t r) {
  if (k == r) return;
  for (int32_t j = from; j < k; ++j) std::swap(at(fac, k, j), at(fac, r, j));
  std::swap(at(fac, k, k), at(fac, r, r));
  for (int32_t i = k + 1; i < r; ++i) std::swap(at(fac, i, k), at(fac, r, i));
  for (int32_t i = r + 1; i < fac.n; ++i) std::swap(at(fac, i, k), at(fac, i, r));
}

struct choice {
  int32_t size = 1, row = 0;  // order of the pivot, 0 when the column vanished; row to swap in
};

choice choose_pivot(densefac& fac, int32_t k) {
  const double diag = std::abs(at(fac, k, k));
  double colmax = 0;
  int32_t r = k;
  for (int32_t i = k + 1; i < fac.n; ++i) {
    if (std::abs(at(fac, i, k)) > colmax) {
      colmax = std::abs(at(fac, i, k));
      r = i;
    }
  }
  if (!(std::max(diag, colmax) > dropped)) return {0, k};
  if (diag >= bkalpha * colmax) return {1, k};
  double rowmax = 0;
  for (int32_t j = k; j < r; ++j) rowmax = std::max(rowmax, std::abs(at(fac, r, j)));
  for (int32_t i = r + 1; i < fac.n; ++i) rowmax = std::max(rowmax, std::abs(at(fac, i, r)));
  if (diag * rowmax >= bkalpha * colmax * colmax) return {1, k};
  if (std::abs(at(fac, r, r)) >= bkalpha * rowmax) return {1, r};
  return {2, r};
}

void eliminate_one(densefac& fac, int32_t k) {
  const double inv = 1 / at(fac, k, k);
  for (int32_t j = k + 1; j < fac.n; ++j) {
    const double f = at(fac, j, k) * inv;
    if (f == 0) continue;
    for (int32_t i = j; i < fac.n; ++i) at(fac, i, j) -= f * at(fac, i, k);
  }
  for (int32_t i = k + 1; i < fac.n; ++i) at(fac, i, k) *= inv;
}

// Solves the 2 x 2 system at k.
std::pair<double, double> solve_two(const densefac& fac, int32_t k, double x, double y) {
  const double* a = fac.a.data() + k + ptrdiff_t(k) * fac.lda;
  const double off = a[1];  // the largest of the block, so these ratios are harmless
  const double p = a[0] / off, q = a[1 + ptrdiff_t(fac.lda)] / off;
  const double det = off * (p * q - 1);
  return {(q * x - y) / det, (p * y - x) / det};
}

void eliminate_two(densefac& fac, int32_t k) {
  for (int32_t j = k + 2; j < fac.n; ++j) {
    const auto [f, g] = solve_two(fac, k, at(fac, j, k), at(fac, j, k + 1));
    for (int32_t i = j; i < fac.n; ++i) {
      at(fac, i, j) -= f * at(fac, i, k) + g * at(fac, i, k + 1);
    }
    // Row j of the two columns is needed no more.
    at(fac, j, k) = f;
    at(fac, j, k + 1) = g;
  }
}

}  // namespace

void densefac_reserve(densefac& fac, int32_t n) {
  fac.lda = (n + 7) & ~7;
  fac.a.resize(size_t(fac.lda) * size_t(n));
  fac.scale.resize(size_t(n));
  fac.swap.resize(size_t(n));
}

void densefac_factor(densefac& fac) {
  fac.numskipped = 0;
  scale_matrix(fac);
  for (int32_t k = 0; k < fac.n;) {
    const choice c = choose_pivot(fac, k);
    if (c.size == 2) {
      swap_rows(fac, k, k + 1, c.row);
      fac.swap[k] = fac.swap[k + 1] = ~c.row;
      eliminate_two(fac, k);
      k += 2;
      continue;
    }
    swap_rows(fac, k, k, c.row);
    fac.swap[k] = c.row;
    if (c.size == 1) {
      eliminate_one(fac, k);
    } else {
      for (int32_t i = k; i < fac.n; ++i) at(fac, i, k) = 0;
      ++fac.numskipped;
    }
    ++k;
  }
}

void densefac_solve(const densefac& fac, std::span<double> x) {
  const auto col = [&](int32_t j) { return fac.a.data() + ptrdiff_t(j) * fac.lda; };
  for (int32_t i = 0; i < fac.n; ++i) x[i] *= fac.scale[i];
  for (int32_t k = 0; k < fac.n;) {
    const int32_t size = fac.swap[k] < 0 ? 2 : 1;
    const int32_t r = size == 2 ? ~fac.swap[k] : fac.swap[k];
    std::swap(x[k + size - 1], x[r]);
    for (int32_t t = k; t < k + size; ++t) {
      const double* l = col(t);
      for (int32_t i = k + size; i < fac.n; ++i) x[i] -= l[i] * x[t];
    }
    k += size;
  }
  for (int32_t k = 0; k < fac.n; ++k) {
    if (fac.swap[k] < 0) {
      const auto [p, q] = solve_two(fac, k, x[k], x[k + 1]);
      x[k] = p;
      x[++k] = q;
    } else {
      const double diag = col(k)[k];
      x[k] = diag == 0 ? 0.0 : x[k] / diag;
    }
  }
  for (int32_t k = fac.n - 1; k >= 0;) {
    const int32_t size = fac.swap[k] < 0 ? 2 : 1;
    for (int32_t t = k - size + 1; t <= k; ++t) {
      const double* l = col(t);
      for (int32_t i = k + 1; i < fac.n; ++i) x[t] -= l[i] * x[i];
    }
    const int32_t r = size == 2 ? ~fac.swap[k] : fac.swap[k];
    std::swap(x[k], x[r]);
    k -= size;
  }
  for (int32_t i = 0; i < fac.n; ++i) x[i] *= fac.scale[i];
}
