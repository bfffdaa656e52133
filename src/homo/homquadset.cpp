// Setting up rows with quadratic terms: scaling, patterns, and where the values go.

#include "homo/homquad.h"

#include <algorithm>
#include <cmath>

#include "homo/homopt.h"
#include "homo/homtool.h"

namespace {

// Part of what shifts make of right-hand sides and costs that feasibility is relative to: their rounding
// is to stay well below the tolerances.
constexpr double rounding_share = 1e-4;

double trace(const quad_form& q) {
  double sum = 0;
  for (int32_t j = 0; j < q.low.ncol; ++j) {
    const ptrdiff_t p = q.low.ptr[j];
    if (p < q.low.ptr[j + 1] && q.low.sub[p] == j) sum += q.low.val[p];
  }
  return sum;
}

// What the entries of a row with a term amount to where the term is as large as its right-hand side: this
// is what rows and columns are scaled by.
void typical_row(const hs_quad& term, std::span<double> size) {
  const quad_form& q = *term.q;
  for (size_t l = 0; l < size.size(); ++l) size[l] = std::abs(term.a[l]);
  const bool isempty = std::all_of(size.begin(), size.end(), [](double v) { return v == 0; });
  const double room = term.rhs == 0 && isempty ? 1 : std::abs(term.rhs);
  for (int32_t j = 0; j < q.low.ncol; ++j) {
    const ptrdiff_t p = q.low.ptr[j];
    if (p == q.low.ptr[j + 1] || q.low.sub[p] != j) continue;
    size[j] = std::max(size[j], std::sqrt(std::abs(q.low.val[p]) * room));
  }
}

// A with an entry in every column that a row's term has, and the sizes in the place of its values.
void extend_matrix(const hs_lp& lp, spmat& a, spmat& size) {
  const mm_place at = a.ptr.get_allocator().place;
  spmat rows(at), more(at);
  spmat_transpose(lp.a, rows);
  mm_vector<const hs_quad*> of(size_t(lp.a.nrow), nullptr, at);
  for (const hs_quad& term : lp.quads) of[term.row] = &term;
  more.nrow = lp.a.ncol;
  more.ncol = lp.a.nrow;
  more.ptr.push_back(0);
  mm_vector<double> sizes(at), part(at);
  for (int32_t i = 0; i < lp.a.nrow; ++i) {
    const std::span<const int32_t> vars =
        of[i] != nullptr ? std::span<const int32_t>(of[i]->q->vars) : std::span<const int32_t>();
    part.assign(vars.size(), 0.0);
    size_t k = 0;
    mm_vector<size_t> places(at);
    for (ptrdiff_t p = rows.ptr[i]; p < rows.ptr[i + 1] || k < vars.size();) {
      const bool ismat = p < rows.ptr[i + 1] && (k == vars.size() || rows.sub[p] <= vars[k]);
      const int32_t j = ismat ? rows.sub[p] : vars[k];
      const double v = ismat ? rows.val[p] : 0;
      if (ismat) ++p;
      if (k < vars.size() && vars[k] == j) {
        part[k++] = std::abs(v);
        places.push_back(more.sub.size());
      }
      more.sub.push_back(j);
      more.val.push_back(v);
      sizes.push_back(std::abs(v));
    }
    if (of[i] != nullptr) {
      typical_row(*of[i], part);
      for (size_t l = 0; l < part.size(); ++l) sizes[places[l]] = part[l];
    }
    more.ptr.push_back(ptrdiff_t(more.sub.size()));
  }
  spmat_transpose(spmat_look(more), a);
  more.val.swap(sizes);
  spmat_transpose(spmat_look(more), size);
}

void take_rows(const hs_lp& lp, hom_quads& quads) {
  const hom_prob& prob = quads.prob;
  const mm_place at = quads.b.get_allocator().place;
  quads.rows.resize(lp.quads.size(), hom_quadrow(at));
  for (size_t k = 0; k < lp.quads.size(); ++k) {
    hom_quadrow& row = quads.rows[k];
    const int32_t i = row.row = lp.quads[k].row;
    row.q = *lp.quads[k].q;
    row.sign = trace(row.q) < 0 ? -1 : 1;
    const mm_vector<int32_t>& vars = row.q.vars;
    for (int32_t j = 0; j < row.q.low.ncol; ++j) {
      const double factor = prob.rowfac[i] * prob.sb * prob.colfac[vars[j]];
      for (ptrdiff_t p = row.q.low.ptr[j]; p < row.q.low.ptr[j + 1]; ++p) {
        row.q.low.val[p] *= factor * prob.colfac[vars[row.q.low.sub[p]]];
      }
    }
    row.a.resize(vars.size());
    row.grad.resize(vars.size());
    row.along.resize(vars.size());
    row.in_a.resize(vars.size());
    row.in_at.resize(vars.size());
    const auto place = [](const spmat& m, int32_t sub, int32_t col) {
      const auto begin = m.sub.begin() + m.ptr[col], end = m.sub.begin() + m.ptr[col + 1];
      return std::lower_bound(begin, end, sub) - m.sub.begin();
    };
    for (size_t l = 0; l < vars.size(); ++l) {
      row.in_a[l] = place(prob.a, i, vars[l]);
      row.in_at[l] = place(prob.at, vars[l], i);
      row.a[l] = prob.a.val[row.in_a[l]];
    }
  }
}

// Which columns of which terms make up each column of H.
void count_uses(hom_quads& quads) {
  quads.use_ptr.assign(size_t(quads.prob.n) + 1, 0);
  const auto each = [&](auto&& note) {
    for (size_t k = 0; k < quads.rows.size(); ++k) {
      const quad_form& q = quads.rows[k].q;
      for (int32_t l = 0; l < q.low.ncol; ++l) {
        if (q.low.ptr[l] < q.low.ptr[l + 1]) note(q.vars[l], int32_t(k), l);
      }
    }
  };
  each([&](int32_t j, int32_t, int32_t) { ++quads.use_ptr[j + 1]; });
  for (int32_t j = 0; j < quads.prob.n; ++j) quads.use_ptr[j + 1] += quads.use_ptr[j];
  quads.use_row.resize(size_t(quads.use_ptr.back()));
  quads.use_col.resize(size_t(quads.use_ptr.back()));
  mm_vector<ptrdiff_t> next(quads.use_ptr.begin(), quads.use_ptr.end() - 1,
                            quads.b.get_allocator());
  each([&](int32_t j, int32_t k, int32_t l) {
    quads.use_row[next[j]] = k;
    quads.use_col[next[j]++] = l;
  });
}

// The pattern of H in prob.q, with the values of Q; or in prob.qdiag, when it is a diagonal.
void make_hessian(hom_quads& quads) {
  hom_prob& prob = quads.prob;
  const mm_place at = quads.b.get_allocator().place;
  const bool isdiagonal =
      prob.q.sub.empty() && std::all_of(quads.rows.begin(), quads.rows.end(), [](const auto& row) {
        return row.q.low.val.size() == row.q.vars.size();  // each variable has its diagonal entry
      });
  if (isdiagonal) {
    prob.qdiag.resize(prob.n, 0.0);
    quads.h = prob.qdiag;
    return;
  }
  spmat q(at);
  q.nrow = q.ncol = prob.n;
  q.ptr.push_back(0);
  mm_vector<double> value(size_t(prob.n), 0.0, at);
  mm_vector<int32_t> mark(size_t(prob.n), -1, at);
  for (int32_t j = 0; j < prob.n; ++j) {
    const size_t first = q.sub.size();
    const auto add = [&](int32_t i, double v) {
      if (mark[i] != j) q.sub.push_back(i), value[i] = 0;
      mark[i] = j;
      value[i] += v;
    };
    if (!prob.qdiag.empty() && prob.qdiag[j] != 0) add(j, prob.qdiag[j]);
    for (ptrdiff_t p = prob.q.ptr[j]; p < prob.q.ptr[j + 1]; ++p) add(prob.q.sub[p], prob.q.val[p]);
    for (ptrdiff_t u = quads.use_ptr[j]; u < quads.use_ptr[j + 1]; ++u) {
      const quad_form& form = quads.rows[quads.use_row[u]].q;
      const int32_t l = quads.use_col[u];
      for (ptrdiff_t p = form.low.ptr[l]; p < form.low.ptr[l + 1]; ++p) {
        add(form.vars[form.low.sub[p]], 0);
      }
    }
    std::sort(q.sub.begin() + ptrdiff_t(first), q.sub.end());
    for (size_t p = first; p < q.sub.size(); ++p) q.val.push_back(value[q.sub[p]]);
    q.ptr.push_back(ptrdiff_t(q.sub.size()));
  }
  std::swap(prob.q, q);
  prob.qdiag.clear();
  quads.h = prob.q.val;
}

}  // namespace

void homquad_scale(const hs_lp& lp, hs_scaling scaling, hom_quads& quads) {
  hom_prob& prob = quads.prob;
  const mm_place at = quads.b.get_allocator().place;
  spmat a(at), size(at);
  extend_matrix(lp, a, size);
  hs_lp typical = lp;
  typical.a = spmat_look(size);
  mm_vector<double> b(lp.b.begin(), lp.b.end(), at);
  for (const hs_quad& term : lp.quads) b[term.row] = term.rhs;
  typical.b = b;
  hs_scaleproblem(typical, scaling, prob);
  if (lp.nrmc >= 0) prob.nrmc = std::max(lp.nrmc, rounding_share * prob.nrmc);
  for (const hs_quad& term : lp.quads) {
    prob.b[term.row] = lp.b[term.row] * prob.rowfac[term.row] / prob.sb;
    prob.nrmb = std::max(prob.nrmb, rounding_share * std::abs(lp.b[term.row]));
  }
  for (int32_t j = 0; j < prob.n; ++j) {
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      prob.a.val[p] = a.val[p] * prob.rowfac[prob.a.sub[p]] * prob.colfac[j];
    }
  }
  spmat_transpose(spmat_look(prob.a), prob.at);
  take_rows(lp, quads);
  count_uses(quads);
  make_hessian(quads);
  hom_findbare(prob);
  quads.b = prob.b;
  quads.c = prob.c;
  quads.origin.assign(prob.n, 0.0);
  for (int32_t j = 0; j < prob.n; ++j) {
    quads.origin[j] = lp.origin[j] / (prob.colfac[j] * prob.sb);
  }
  quads.z.assign(prob.n, 0.0);
  quads.place.assign(prob.n, 0);
  quads.weight.assign(quads.rows.size(), 0.0);
  quads.qx.assign(prob.n, 0.0);
}
