#include "kfac/pchsolve.h"

#include <algorithm>

namespace {

struct frontview {
  int32_t first, ncol, nrow;
  const int32_t* rows;  // below
  const double* panel;
  ptrdiff_t ld;
};

frontview look_front(const symface& sym, const pcholfac& fac, int32_t s) {
  const int32_t ncol = sym.first[s + 1] - sym.first[s];
  return {sym.first[s],
          ncol,
          ncol + int32_t(sym.rowptr[s + 1] - sym.rowptr[s]),
          sym.rowsub.data() + sym.rowptr[s],
          pcholfac_panel(fac, sym, s),
          sym.panelld[s]};
}

}  // namespace

void pchsolve_lower(const symface& sym, const pcholfac& fac, double* x, ptrdiff_t ldx, int32_t nrhs,
                    std::span<double> front) {
  double* v = front.data();
  for (int32_t s = 0; s < sym.numsn; ++s) {
    const frontview f = look_front(sym, fac, s);
    const int32_t below = f.nrow - f.ncol;
    for (int32_t r = 0; r < nrhs; ++r) {
      double* to = v + ptrdiff_t(r) * f.nrow;
      std::copy_n(x + r * ldx + f.first, f.ncol, to);
      std::fill_n(to + f.ncol, below, 0.0);
    }
    fac.family->forward(f.ncol, f.nrow, f.panel, f.ld, v, f.nrow, nrhs);
    for (int32_t r = 0; r < nrhs; ++r) {
      const double* from = v + ptrdiff_t(r) * f.nrow;
      double* to = x + r * ldx;
      std::copy_n(from, f.ncol, to + f.first);
      from += f.ncol;
      for (int32_t i = 0; i < below; ++i) to[f.rows[i]] += from[i];
    }
  }
}

void pchsolve_upper(const symface& sym, const pcholfac& fac, double* x, ptrdiff_t ldx, int32_t nrhs,
                    std::span<double> front) {
  double* v = front.data();
  for (int32_t s = sym.numsn - 1; s >= 0; --s) {
    const frontview f = look_front(sym, fac, s);
    const int32_t below = f.nrow - f.ncol;
    for (int32_t r = 0; r < nrhs; ++r) {
      double* to = v + ptrdiff_t(r) * f.nrow;
      const double* from = x + r * ldx;
      std::copy_n(from + f.first, f.ncol, to);
      to += f.ncol;
      for (int32_t i = 0; i < below; ++i) to[i] = from[f.rows[i]];
    }
    fac.family->backward(f.ncol, f.nrow, f.panel, f.ld, v, f.nrow, nrhs);
    for (int32_t r = 0; r < nrhs; ++r) {
      std::copy_n(v + ptrdiff_t(r) * f.nrow, f.ncol, x + r * ldx + f.first);
    }
  }
}

void pchsolve_diag(const pcholfac& fac, double* x, ptrdiff_t ldx, int32_t nrhs) {
  const auto n = ptrdiff_t(fac.dinv.size());
  for (int32_t r = 0; r < nrhs; ++r) {
    double* to = x + r * ldx;
    for (ptrdiff_t i = 0; i < n; ++i) to[i] *= fac.dinv[i];
  }
}
