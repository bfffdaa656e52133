// Scaling: geometric passes over rows and columns, then the column maximum, all factors powers of
// two so that scaling itself makes no rounding error; then one scalar for b and u and one for c.

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

double largest(std::span<const double> v) {
  double most = 0;
  for (const double e : v) most = std::max(most, std::abs(e));
  return most;
}

}  // namespace

void hs_scaleproblem(const hs_lp& lp, hs_scaling scaling, hom_prob& prob) {
  const int32_t m = lp.a.nrow, n = lp.a.ncol;
  prob.m = m;
  prob.n = n;
  prob.cfix = lp.cfix;
  prob.objsign = lp.objsign;
  prob.rowfac.assign(m, 1.0);
  prob.colfac.assign(n, 1.0);
  choose_factors(lp.a, lp.group, scaling, prob);
  copy_matrix(lp.a, prob);
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
  if (scaling == hs_scaling::none) return;
  // Bounds do not count: a few huge ones would shrink everything else to nothing.
  prob.sb = power_of_two(std::max(1.0, largest(prob.b)), maxexp_vector);
  prob.sc = power_of_two(std::max(1.0, largest(prob.c)), maxexp_vector);
  for (double& e : prob.b) e /= prob.sb;
  for (double& e : prob.u) e /= prob.sb;
  for (double& e : prob.c) e /= prob.sc;
}

double hs_objective(const hom_prob& prob, double scaled) {
  return prob.objsign * (scaled * prob.sb * prob.sc + prob.cfix);
}
