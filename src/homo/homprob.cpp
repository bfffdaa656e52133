// Scaling: geometric passes over rows and columns, then the column maximum, all factors powers of
// two so that scaling itself makes no rounding error; then one scalar for b and u and one for c.
// With Q: row and column maxima of [Q A'; A 0] are brought to 1 by repeated square roots.
// Ruiz, "A scaling algorithm to equilibrate both rows and columns norms in matrices", RAL-TR-2001-034.

#include "homo/homprob.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double spread_trh = 100;  // |A| within this factor is not scaled by the free choice
constexpr int maxpass_moderate = 4, maxpass_aggressive = 10;
constexpr int maxexp_matrix = 14;  // row and column factors stay in 2^-14 .. 2^14
constexpr int maxexp_vector = 60;  // the factors of b and c may be as large as the data
constexpr double shift_share = 0.01;
constexpr int maxpass_ruiz = 10;
constexpr double curvature_least =
    1e-8;                          // a smaller diagonal entry of the scaled Q holds no column
constexpr double pass_gain = 0.9;  // a pass that does not shrink the spread this much is the last

double power_of_two(double value, int maxexp) {
  if (!(value > 0) || !std::isfinite(value)) return 1;
  return std::ldexp(1.0, std::clamp(int(std::lround(std::log2(value))), -maxexp, maxexp));
}

struct extremes {
  double least = std::numeric_limits<double>::infinity(), most = 0;
  void add(double v) {
    if (v == 0) return;
    least = std::min(least, v);
    most = std::max(most, v);
  }
};

double spread(const spmat_view& a, std::span<const double> r, std::span<const double> c) {
  extremes all;
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      all.add(std::abs(a.val[p]) * r[a.sub[p]] * c[j]);
    }
  }
  return all.most > 0 ? all.most / all.least : 1;
}

// One past the last of the columns that share their factor with column j, the first of them.
int32_t group_end(std::span<const int32_t> group, int32_t j) {
  int32_t end = j + 1;
  if (group.empty() || group[j] < 0) return end;
  while (end < int32_t(group.size()) && group[end] == group[j]) ++end;
  return end;
}

// One geometric pass: rows, then columns, each divided by the root of its least times its most.
void geometric_pass(const spmat_view& a, std::span<const int32_t> group, std::span<extremes> row,
                    std::span<double> r, std::span<double> c) {
  std::fill(row.begin(), row.end(), extremes{});
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      row[a.sub[p]].add(std::abs(a.val[p]) * c[j]);
    }
  }
  for (int32_t i = 0; i < a.nrow; ++i) {
    if (row[i].most > 0) r[i] = 1 / std::sqrt(row[i].least * row[i].most);
  }
  for (int32_t j = 0, end; j < a.ncol; j = end) {
    end = group_end(group, j);
    extremes col;
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[end]; ++p) col.add(std::abs(a.val[p]) * r[a.sub[p]]);
    if (col.most > 0) std::fill(&c[j], &c[j] + (end - j), 1 / std::sqrt(col.least * col.most));
  }
}

void choose_factors(const spmat_view& a, std::span<const int32_t> group, hs_scaling scaling,
                    hom_prob& prob) {
  if (scaling == hs_scaling::none) return;
  double before = spread(a, prob.rowfac, prob.colfac);
  if (scaling == hs_scaling::free && before < spread_trh) return;
  mm_vector<extremes> row(size_t(a.nrow), extremes{}, prob.b.get_allocator());
  const int maxpass = scaling == hs_scaling::aggressive ? maxpass_aggressive : maxpass_moderate;
  for (int pass = 0; pass < maxpass; ++pass) {
    geometric_pass(a, group, row, prob.rowfac, prob.colfac);
    const double after = spread(a, prob.rowfac, prob.colfac);
    if (after > pass_gain * before) break;
    before = after;
  }
  for (double& r : prob.rowfac) r = power_of_two(r, maxexp_matrix);
  for (int32_t j = 0, end; j < a.ncol; j = end) {
    end = group_end(group, j);
    double most = 0;
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[end]; ++p) {
      most = std::max(most, std::abs(a.val[p]) * prob.rowfac[a.sub[p]]);
    }
    const double factor = most > 0 ? power_of_two(1 / most, maxexp_matrix) : 1;
    std::fill(&prob.colfac[j], &prob.colfac[j] + (end - j), factor);
  }
}

double largest(std::span<const double> v) {
  double most = 0;
  for (const double e : v) most = std::max(most, std::abs(e));
  return most;
}

// Column maxima of C Q C, both triangles.
void q_maxima(const spmat_view& q, std::span<const double> c, std::span<double> most) {
  std::fill(most.begin(), most.end(), 0.0);
  for (int32_t j = 0; j < q.ncol; ++j) {
    for (ptrdiff_t p = q.ptr[j]; p < q.ptr[j + 1]; ++p) {
      const int32_t i = q.sub[p];
      const double v = std::abs(q.val[p]) * c[i] * c[j];
      most[i] = std::max(most[i], v);
      most[j] = std::max(most[j], v);
    }
  }
}

// One pass on [w Q A'; A 0], where the weight w brings the mean column of Q (over the columns that
// have any) to 1: the size of the objective is not to move the columns.
void ruiz_pass(const hs_lp& lp, std::span<double> row, std::span<double> col, hom_prob& prob) {
  const spmat_view& a = lp.a;
  std::span<double> r = prob.rowfac, c = prob.colfac;
  q_maxima(lp.q, c, col);
  double sum = 0, num = 0;
  for (const double v : col) {
    sum += v;
    num += v > 0 ? 1 : 0;
  }
  const double weight = sum > 0 ? num / sum : 0;
  for (double& v : col) v *= weight;
  std::fill(row.begin(), row.end(), 0.0);
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      const double v = std::abs(a.val[p]) * r[a.sub[p]] * c[j];
      row[a.sub[p]] = std::max(row[a.sub[p]], v);
      col[j] = std::max(col[j], v);
    }
  }
  for (size_t i = 0; i < row.size(); ++i) r[i] /= row[i] > 0 ? std::sqrt(row[i]) : 1;
  for (size_t j = 0; j < col.size(); ++j) c[j] /= col[j] > 0 ? std::sqrt(col[j]) : 1;
}

void choose_factors_q(const hs_lp& lp, hs_scaling scaling, hom_prob& prob) {
  if (scaling == hs_scaling::none) return;
  mm_vector<double> row(prob.rowfac.size(), 0.0, prob.b.get_allocator());
  mm_vector<double> col(prob.colfac.size(), 0.0, prob.b.get_allocator());
  for (int pass = 0; pass < maxpass_ruiz; ++pass) ruiz_pass(lp, row, col, prob);
  for (double& r : prob.rowfac) r = power_of_two(r, maxexp_matrix);
  for (double& c : prob.colfac) c = power_of_two(c, maxexp_matrix);
}

void copy_q(const hs_lp& lp, hom_prob& prob) {
  bool isdiagonal = true;
  for (int32_t j = 0; j < lp.q.ncol; ++j) {
    for (ptrdiff_t p = lp.q.ptr[j]; p < lp.q.ptr[j + 1]; ++p) {
      isdiagonal = isdiagonal && (lp.q.sub[p] == j || lp.q.val[p] == 0);
    }
  }
  if (isdiagonal) prob.qdiag.assign(lp.a.ncol, 0.0);
  for (int32_t j = 0; j < lp.q.ncol; ++j) {
    for (ptrdiff_t p = lp.q.ptr[j]; p < lp.q.ptr[j + 1]; ++p) {
      const int32_t i = lp.q.sub[p];
      const double v = lp.q.val[p] * prob.colfac[i] * prob.colfac[j];
      if (v == 0) continue;
      if (isdiagonal) {
        prob.qdiag[j] = v;
      } else {
        prob.q.sub.push_back(i);
        prob.q.val.push_back(v);
      }
    }
    prob.q.ptr[j + 1] = ptrdiff_t(prob.q.sub.size());
  }
}

void copy_matrix(const spmat_view& a, hom_prob& prob) {
  prob.a.nrow = a.nrow;
  prob.a.ncol = a.ncol;
  prob.a.ptr.assign(a.ptr.begin(), a.ptr.end());
  prob.a.sub.assign(a.sub.begin(), a.sub.end());
  prob.a.val.resize(a.sub.size());
  for (int32_t j = 0; j < a.ncol; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      prob.a.val[p] = a.val[p] * prob.rowfac[a.sub[p]] * prob.colfac[j];
    }
  }
  spmat_transpose(spmat_look(prob.a), prob.at);
}

}  // namespace

void hom_findbare(hom_prob& prob) {
  prob.bcol.clear();
  for (const int32_t j : prob.fcol) {
    if (prob.qdiag.empty() || !(prob.qdiag[j] > curvature_least)) prob.bcol.push_back(j);
  }
}

void hs_scaleproblem(const hs_lp& lp, hs_scaling scaling, hom_prob& prob) {
  const int32_t m = lp.a.nrow, n = lp.a.ncol;
  prob.m = m;
  prob.n = n;
  prob.cfix = lp.cfix;
  prob.objsign = lp.objsign;
  prob.rowfac.assign(m, 1.0);
  prob.colfac.assign(n, 1.0);
  const bool hasq = lp.q.ncol > 0 && largest(lp.q.val) > 0;
  if (hasq) {
    choose_factors_q(lp, scaling, prob);
  } else {
    choose_factors(lp.a, lp.group, scaling, prob);
  }
  copy_matrix(lp.a, prob);
  prob.q.nrow = prob.q.ncol = n;
  prob.q.ptr.assign(size_t(n) + 1, 0);
  if (hasq) copy_q(lp, prob);
  prob.isfree.assign(lp.isfree.begin(), lp.isfree.end());
  prob.b.resize(m);
  for (int32_t i = 0; i < m; ++i) prob.b[i] = lp.b[i] * prob.rowfac[i];
  prob.c.resize(n);
  for (int32_t j = 0; j < n; ++j) {
    prob.c[j] = lp.c[j] * prob.colfac[j];
    if (lp.isfree[j] != 0) {
      prob.fcol.push_back(j);
    } else if (std::isfinite(lp.u[j])) {
      prob.ucol.push_back(j);
      prob.u.push_back(lp.u[j] / prob.colfac[j]);
      prob.nrmu = std::max(prob.nrmu, lp.u[j]);
    }
  }
  // Shifts can make b far larger than what the caller wrote; part of that counts, since rounding does.
  prob.nrmb = lp.nrmb >= 0 ? std::max(lp.nrmb, shift_share * largest(lp.b)) : largest(lp.b);
  prob.nrmc = largest(lp.c);
  if (scaling != hs_scaling::none) {
    // Bounds do not count: a few huge ones would shrink everything else to nothing.
    prob.sb = power_of_two(std::max(1.0, largest(prob.b)), maxexp_vector);
    prob.sc = power_of_two(std::max({1.0, largest(prob.c), prob.sb * largest(prob.q.val),
                                     prob.sb * largest(prob.qdiag)}),
                           maxexp_vector);
  }
  for (double& e : prob.b) e /= prob.sb;
  for (double& e : prob.u) e /= prob.sb;
  for (double& e : prob.c) e /= prob.sc;
  for (double& e : prob.q.val) e *= prob.sb / prob.sc;
  for (double& e : prob.qdiag) e *= prob.sb / prob.sc;
  hom_findbare(prob);
}

void hom_addqx(const hom_prob& prob, double alpha, std::span<const double> x,
               std::span<double> out) {
  if (!prob.qdiag.empty()) {
    for (int32_t j = 0; j < prob.n; ++j) out[j] += alpha * prob.qdiag[j] * x[j];
    return;
  }
  if (prob.q.sub.empty()) return;
  for (int32_t j = 0; j < prob.n; ++j) {
    double sum = 0;
    const double xj = alpha * x[j];
    for (ptrdiff_t p = prob.q.ptr[j]; p < prob.q.ptr[j + 1]; ++p) {
      const int32_t i = prob.q.sub[p];
      sum += prob.q.val[p] * x[i];
      if (i != j) out[i] += prob.q.val[p] * xj;
    }
    out[j] += alpha * sum;
  }
}

void hs_rescale(double factorb, double factorc, hom_prob& prob) {
  const double fb = power_of_two(factorb, maxexp_vector), fc = power_of_two(factorc, maxexp_vector);
  prob.sb *= fb;
  prob.sc *= fc;
  for (double& e : prob.b) e /= fb;
  for (double& e : prob.u) e /= fb;
  for (double& e : prob.c) e /= fc;
  for (double& e : prob.q.val) e *= fb / fc;
  for (double& e : prob.qdiag) e *= fb / fc;
  hom_findbare(prob);
}

void hom_sizeqx(const hom_prob& prob, std::span<const double> x, std::span<double> out) {
  std::fill(out.begin(), out.end(), 0.0);
  for (size_t j = 0; j < prob.qdiag.size(); ++j) out[j] = prob.qdiag[j] * std::abs(x[j]);
  if (prob.q.sub.empty()) return;
  for (int32_t j = 0; j < prob.n; ++j) {
    for (ptrdiff_t p = prob.q.ptr[j]; p < prob.q.ptr[j + 1]; ++p) {
      const int32_t i = prob.q.sub[p];
      const double size = std::abs(prob.q.val[p]);
      out[j] += size * std::abs(x[i]);
      if (i != j) out[i] += size * std::abs(x[j]);
    }
  }
}

double hs_objective(const hom_prob& prob, double scaled) {
  return prob.objsign * (scaled * prob.sb * prob.sc + prob.cfix);
}
