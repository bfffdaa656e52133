#include "misc/simscale.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

// Entries within these limits need no scaling.
constexpr double scale_goodmin = 0.2, scale_goodmax = 5.0;
// Passes over rows and columns, and the largest exponent of a factor.
struct scale_limits {
  int32_t maxpass, maxexp;
};
constexpr scale_limits scale_moderate = {6, 10}, scale_aggressive = {12, 20};
// The passes end when one lowers the sum of squared logarithms by less than this share.
constexpr double scale_mingain = 0.02;
// Exponents of the cost factor stay within this; dual tolerances are relative to scaled costs.
constexpr int32_t scale_costexp = 10;

double power_near(double value, int32_t maxexp) {  // 2^k nearest to value in ratio
  if (!(value > 0) || !std::isfinite(value)) return 1.0;
  const double e = std::clamp(std::nearbyint(std::log2(value)), -double(maxexp), double(maxexp));
  return std::ldexp(1.0, int(e));
}

struct scale_range {
  double low = std::numeric_limits<double>::infinity(), high = 0;
  void add(double v) {
    low = std::min(low, v);
    high = std::max(high, v);
  }
  double centre() const { return high > 0 ? std::sqrt(low) * std::sqrt(high) : 1.0; }
};

// Largest ratio of entries is what geometric scaling is after; its logarithm, summed over columns.
double column_spread(const lp_view& lp, const mm_vector<double>& row) {
  double sum = 0;
  for (int32_t j = 0; j < lp.numvar; ++j) {
    scale_range r;
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
      r.add(std::abs(lp.a.val[k]) * row[lp.a.sub[k]]);
    }
    if (r.high > 0) sum += std::log2(r.high / r.low);
  }
  return sum;
}

void geometric_pass(const lp_view& lp, mm_vector<scale_range>& range, sim_scale& s) {
  std::fill(range.begin(), range.end(), scale_range());
  for (int32_t j = 0; j < lp.numvar; ++j) {
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
      range[lp.a.sub[k]].add(std::abs(lp.a.val[k]) * s.col[j]);
    }
  }
  for (int32_t i = 0; i < lp.numcon; ++i) s.row[i] = 1.0 / range[i].centre();
  for (int32_t j = 0; j < lp.numvar; ++j) {
    scale_range r;
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
      r.add(std::abs(lp.a.val[k]) * s.row[lp.a.sub[k]]);
    }
    s.col[j] = 1.0 / r.centre();
  }
}

// Rows rounded first, then columns so that the largest entry of each is about 1.
void equilibrate(const lp_view& lp, int32_t maxexp, sim_scale& s) {
  for (double& r : s.row) r = power_near(r, maxexp);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    double high = 0;
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
      high = std::max(high, std::abs(lp.a.val[k]) * s.row[lp.a.sub[k]]);
    }
    s.col[j] = power_near(1.0 / high, maxexp);
  }
}

// The middle one of the scaled costs that are not zero becomes about 1.
double cost_factor(const lp_view& lp, mm_vector<double>& work, const sim_scale& s) {
  work.clear();
  for (int32_t j = 0; j < lp.numvar; ++j) {
    if (lp.c[j] != 0) work.push_back(std::abs(lp.c[j]) * s.col[j]);
  }
  if (work.empty()) return 1.0;
  const auto middle = work.begin() + ptrdiff_t(work.size() / 2);
  std::nth_element(work.begin(), middle, work.end());
  return power_near(1.0 / *middle, scale_costexp);
}

}  // namespace

void sim_scale_make(const lp_view& lp, sim_scaling mode, memman& mman, sim_scale& out) {
  sim_scale s(mm_at(mman));
  s.row.assign(lp.numcon, 1.0);
  s.col.assign(lp.numvar, 1.0);
  scale_range all;
  for (const double v : lp.a.val.subspan(0, lp.a.ptr.empty() ? 0 : lp.a.ptr[lp.numvar])) {
    all.add(std::abs(v));
  }
  const bool isgood = !(all.low < scale_goodmin) && !(all.high > scale_goodmax);
  if (mode == sim_scaling::none || (mode == sim_scaling::free && isgood)) {
    out = std::move(s);
    return;
  }
  mm_vector<scale_range> range(mm_at(mman));
  mm_vector<double> work(mm_at(mman));
  range.resize(lp.numcon);
  work.reserve(lp.numvar);
  const scale_limits lim = mode == sim_scaling::aggressive ? scale_aggressive : scale_moderate;
  double spread = column_spread(lp, s.row);
  for (int32_t pass = 0; pass < lim.maxpass; ++pass) {
    geometric_pass(lp, range, s);
    const double now = column_spread(lp, s.row);
    const bool isslow = now > (1 - scale_mingain) * spread;
    spread = now;
    if (isslow) break;
  }
  equilibrate(lp, lim.maxexp, s);
  s.cost = cost_factor(lp, work, s);
  const auto isone = [](double f) { return f == 1.0; };
  s.isused = s.cost != 1.0 || !std::all_of(s.row.begin(), s.row.end(), isone) ||
             !std::all_of(s.col.begin(), s.col.end(), isone);
  out = std::move(s);
}

lp_view sim_scale_apply(const lp_view& lp, const sim_scale& scale, sim_scaled& store) {
  store.val.resize(lp.a.val.size());
  for (auto* v : {&store.blc, &store.buc}) v->resize(lp.numcon);
  for (auto* v : {&store.blx, &store.bux, &store.c}) v->resize(lp.numvar);
  for (int32_t i = 0; i < lp.numcon; ++i) {
    store.blc[i] = lp.blc[i] * scale.row[i];
    store.buc[i] = lp.buc[i] * scale.row[i];
  }
  for (int32_t j = 0; j < lp.numvar; ++j) {
    store.blx[j] = lp.blx[j] / scale.col[j];
    store.bux[j] = lp.bux[j] / scale.col[j];
    store.c[j] = scale.cost * lp.c[j] * scale.col[j];
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
      store.val[k] = lp.a.val[k] * scale.row[lp.a.sub[k]] * scale.col[j];
    }
  }
  lp_view out = lp;
  out.a.val = store.val;
  out.blc = store.blc;
  out.buc = store.buc;
  out.blx = store.blx;
  out.bux = store.bux;
  out.c = store.c;
  out.cfix = scale.cost * lp.cfix;
  return out;
}
