#include "kfac/psschur.h"

#include <algorithm>
#include <cmath>

void psschur_make(const symface& sym, psschur& sc) {
  const auto n = size_t(sym.n);
  // Room to solve for the columns in full groups.
  const size_t groups = (sc.cols.size() + parblas_maxrhs - 1) / parblas_maxrhs;
  sc.w.resize(groups * parblas_maxrhs * n);
  sc.beta.resize(sc.cols.size() * n);
  sc.e.resize(n);
  sc.einv.resize(n);
}

namespace {

constexpr double held =
    10;  // a replaced pivot that has not grown by this factor is skipped after all

// N^-1 applied to four vectors at once, ldx apart: the recurrence is a chain, four hide its latency.
void lower_four(const double* w, const double* beta, int32_t n, double* x, ptrdiff_t ldx) {
  double acc[4] = {};
  for (int32_t s = 0; s < n; ++s) {
    for (int r = 0; r < 4; ++r) {
      double& xs = x[s + r * ldx];
      xs -= w[s] * acc[r];
      acc[r] += beta[s] * xs;
    }
  }
}

void lower_one(const double* w, const double* beta, int32_t n, double* x) {
  double acc = 0;
  for (int32_t s = 0; s < n; ++s) {
    x[s] -= w[s] * acc;
    acc += beta[s] * x[s];
  }
}

void upper_one(const double* w, const double* beta, int32_t n, double* x) {
  double acc = 0;
  for (int32_t s = n - 1; s >= 0; --s) {
    x[s] -= beta[s] * acc;
    acc += w[s] * x[s];
  }
}

// One more column into E: the recurrence of a positive rank-one change, which only adds.
void absorb(const double* w, double* beta, std::span<double> e) {
  double alpha = 1;
  for (size_t s = 0; s < e.size(); ++s) {
    const double old = e[s], now = old + alpha * w[s] * w[s];
    beta[s] = alpha * w[s] / now;
    alpha *= old / now;
    e[s] = now;
  }
}

}  // namespace

rescode sc_calschur_par(const psschur_input& in, const monitor& mon, pchsolve& solve, psschur& sc,
                        int32_t& numskipped) {
  const auto& [a, d, sym, fac] = in;
  const int32_t n = sym.n, num = int32_t(sc.cols.size());
  std::ranges::fill(sc.w, 0.0);
  for (int32_t k = 0; k < num; ++k) {
    const int32_t col = sc.cols[k];
    const double root = std::sqrt(d[col]);
    double* w = sc.w.data() + ptrdiff_t(k) * n;
    for (ptrdiff_t p = a.ptr[col]; p < a.ptr[col + 1]; ++p) {
      w[sym.iperm[a.sub[p]]] = a.val[p] * root;
    }
  }
  kteam_run(solve.numthreads, [&](kteam& team) {
    for (int32_t k = 0; k < num; k += parblas_maxrhs) {
      pchsolve_lower(in.sym, in.fac, solve, team,
                     {sc.w.data() + ptrdiff_t(k) * n, n, parblas_maxrhs});
    }
  });
  std::ranges::copy(fac.d, sc.e.begin());
  for (int32_t k = 0; k < num; ++k) {
    if (const rescode r = mon.poll(); r != rescode::ok) return r;
    const double* w = sc.w.data() + ptrdiff_t(k) * n;
    double* beta = sc.beta.data() + ptrdiff_t(k) * n;
    absorb(w, beta, sc.e);
    int32_t j = k + 1;
    for (; j + 4 <= num; j += 4) lower_four(w, beta, n, sc.w.data() + ptrdiff_t(j) * n, n);
    for (; j < num; ++j) lower_one(w, beta, n, sc.w.data() + ptrdiff_t(j) * n);
  }
  sc.flops = 2.0 * num * num * n;
  numskipped = 0;
  for (int32_t i = 0; i < n; ++i) {
    const bool isskipped = fac.delta[i] > 0 && sc.e[i] <= held * fac.d[i];
    sc.einv[i] = isskipped ? 0 : 1 / sc.e[i];
    numskipped += isskipped ? 1 : 0;
  }
  return rescode::ok;
}

void psschur_correct(const pcholfac& fac, const psschur& sc, std::span<double> x) {
  const auto n = int32_t(x.size()), num = int32_t(sc.cols.size());
  for (int32_t k = 0; k < num; ++k) {
    const ptrdiff_t at = ptrdiff_t(k) * n;
    lower_one(sc.w.data() + at, sc.beta.data() + at, n, x.data());
  }
  for (int32_t i = 0; i < n; ++i) x[i] *= sc.einv[i];
  for (int32_t k = num - 1; k >= 0; --k) {
    const ptrdiff_t at = ptrdiff_t(k) * n;
    upper_one(sc.w.data() + at, sc.beta.data() + at, n, x.data());
  }
  for (int32_t i = 0; i < n; ++i) x[i] *= fac.d[i];
}
