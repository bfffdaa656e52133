#include "kfac/sqdform.h"

#include <algorithm>
#include <utility>

namespace {

// Places of the rows of a panel.
void place_rows(const symface& sym, int32_t s, std::span<int32_t> place) {
  const int32_t ncol = sym.first[s + 1] - sym.first[s];
  for (int32_t k = 0; k < ncol; ++k) place[sym.first[s] + k] = k;
  for (ptrdiff_t p = sym.rowptr[s]; p < sym.rowptr[s + 1]; ++p) {
    place[sym.rowsub[p]] = ncol + int32_t(p - sym.rowptr[s]);
  }
}

struct fixed_entry {
  int32_t low, high;  // places in the order, low < high
  ptrdiff_t from;
};

// Every entry between two nodes, once.
template <class F>
void each_fixed(const spmat_view& a, const spmat_view& h, const sqdplan& plan, const symface& sym,
                F&& take) {
  const auto put = [&](int32_t x, int32_t y, ptrdiff_t from) {
    const int32_t p = sym.iperm[x], q = sym.iperm[y];
    take(fixed_entry{std::min(p, q), std::max(p, q), from});
  };
  for (int32_t j = 0; j < a.ncol; ++j) {
    const int32_t x = plan.node[j];
    if (x < 0) continue;
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) put(x, plan.numcolnode + a.sub[p], p);
    for (ptrdiff_t p = h.ptr[j]; p < h.ptr[j + 1]; ++p) {
      if (h.sub[p] != j) put(x, plan.node[h.sub[p]], -1 - p);
    }
  }
}

void place_fixed(const spmat_view& a, const spmat_view& h, const sqdplan& plan, const symface& sym,
                 sqdform& form) {
  const mm_place at = form.ptr.get_allocator().place;
  const auto n = size_t(sym.n);
  form.ptr.assign(n + 1, 0);
  each_fixed(a, h, plan, sym, [&](const fixed_entry& x) { ++form.ptr[x.low + 1]; });
  for (size_t k = 0; k < n; ++k) form.ptr[k + 1] += form.ptr[k];
  const auto num = size_t(form.ptr.back());
  form.from.resize(num);
  form.to.resize(num);
  mm_vector<ptrdiff_t> fill(form.ptr.begin(), form.ptr.end(), at);
  each_fixed(a, h, plan, sym, [&](const fixed_entry& x) {
    const ptrdiff_t k = fill[x.low]++;
    form.from[k] = x.from;
    form.to[k] = x.high;
  });
  mm_vector<int32_t> place(n, 0, at);
  for (int32_t s = 0; s < sym.numsn; ++s) {
    place_rows(sym, s, place);
    for (ptrdiff_t k = form.ptr[sym.first[s]]; k < form.ptr[sym.first[s + 1]]; ++k) {
      form.to[k] = place[form.to[k]];
    }
  }
}

}  // namespace

void sqdform_make(const spmat_view& a, const spmat_view& h, const sqdplan& plan, const symface& sym,
                  sqdform& form) {
  const mm_place at = form.ptr.get_allocator().place;
  sqdform made(at);
  const auto n = size_t(a.ncol);
  made.isnode.resize(n);
  made.hdiag.assign(n, -1);
  made.theta.assign(n, 0.0);
  made.index.resize(size_t(sym.n));
  for (int32_t j = 0; j < a.ncol; ++j) {
    made.isnode[j] = plan.node[j] >= 0 ? 1 : 0;
    if (plan.node[j] >= 0) made.index[sym.iperm[plan.node[j]]] = j;
    for (ptrdiff_t p = h.ptr[j]; p < h.ptr[j + 1]; ++p) {
      if (h.sub[p] == j) made.hdiag[j] = p;
    }
  }
  for (int32_t i = 0; i < a.nrow; ++i) {
    made.index[sym.iperm[plan.numcolnode + i]] = a.ncol + i;
  }
  adaform_make(a, made.isnode, sym, plan.numcolnode, true, made.elim);
  place_fixed(a, h, plan, sym, made);
  form = std::move(made);
}

void sqdform_begin(const sqdmatrix& k, sqdform& form, std::span<double> diag) {
  const int32_t n = k.a.ncol;
  const auto whole = [&](int32_t j) {
    const double hjj = form.hdiag[j] >= 0 ? k.h.val[form.hdiag[j]] : 0.0;
    return hjj + k.d[j] + k.regcol;
  };
  for (int32_t j = 0; j < n; ++j) {
    if (form.isnode[j] != 0) continue;
    const double own = whole(j);
    form.theta[j] = own > 0 ? 1 / own : 0.0;
  }
  for (size_t p = 0; p < diag.size(); ++p) {
    const int32_t x = form.index[p];
    diag[p] = x < n ? -whole(x) : k.e[x - n] + k.regrow;
  }
  adaform_reread(form.elim, k.a.val);
  adaform_scale(form.elim, form.theta, diag);
}

void par_a_d_h_anumfac(const sqdmatrix& k, const sqdform& form, const symface& sym, int32_t c0,
                       int32_t c1, double* panels, std::span<double> diag,
                       std::span<int32_t> place) {
  par_arow_adanumfac(form.elim, sym, c0, c1, panels, diag, place);
  int32_t s = int32_t(std::upper_bound(sym.first.begin(), sym.first.begin() + sym.numsn, c0) -
                      sym.first.begin()) -
              1;
  for (int32_t c = c0; c < c1; ++c) {
    if (c >= sym.first[s + 1]) ++s;
    double* to = panels + sym.panelpos[s] + ptrdiff_t(c - sym.first[s]) * sym.panelld[s];
    for (ptrdiff_t p = form.ptr[c]; p < form.ptr[c + 1]; ++p) {
      const ptrdiff_t from = form.from[p];
      to[form.to[p]] += from >= 0 ? k.a.val[from] : -k.h.val[-1 - from];
    }
  }
}

void sqdform_fold(const spmat_view& a, const sqdform& form, double* x, double* y) {
  double* rows = x + a.ncol;
  for (int32_t j = 0; j < a.ncol; ++j) {
    const double t = form.theta[j] * x[j];
    if (form.isnode[j] != 0 || t == 0) continue;
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) rows[a.sub[p]] += a.val[p] * t;
  }
  for (size_t k = 0; k < form.index.size(); ++k) y[k] = x[form.index[k]];
}

void sqdform_unfold(const spmat_view& a, const sqdform& form, const double* y, double* x) {
  for (size_t k = 0; k < form.index.size(); ++k) x[form.index[k]] = y[k];
  const double* rows = x + a.ncol;
  for (int32_t j = 0; j < a.ncol; ++j) {
    if (form.isnode[j] != 0) continue;
    double sum = -x[j];
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) sum += a.val[p] * rows[a.sub[p]];
    x[j] = form.theta[j] * sum;
  }
}

void sqdform_residual(const sqdmatrix& k, std::span<const double> x, std::span<const double> b,
                      std::span<double> r) {
  const int32_t n = k.a.ncol;
  const double* rows = x.data() + n;
  double* resrows = r.data() + n;
  for (int32_t i = 0; i < k.a.nrow; ++i) resrows[i] = b[n + i] - k.e[i] * rows[i];
  for (int32_t j = 0; j < n; ++j) r[j] = b[j] + k.d[j] * x[j];
  for (int32_t j = 0; j < n; ++j) {
    const double xj = x[j];
    double sum = 0;
    for (ptrdiff_t p = k.a.ptr[j]; p < k.a.ptr[j + 1]; ++p) {
      sum += k.a.val[p] * rows[k.a.sub[p]];
      resrows[k.a.sub[p]] -= k.a.val[p] * xj;
    }
    double own = 0;
    for (ptrdiff_t p = k.h.ptr[j]; p < k.h.ptr[j + 1]; ++p) {
      const int32_t i = k.h.sub[p];
      own += k.h.val[p] * x[i];
      if (i != j) r[i] += k.h.val[p] * xj;
    }
    r[j] += own - sum;
  }
}
