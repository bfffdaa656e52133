#include <algorithm>
#include <cmath>
#include <limits>

#include "cpub/callback.h"
#include "misc/exactsum.h"
#include "simplex/simcore.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
// A ray is one when what keeps it from being exact is so much smaller than its objective, both in
// the caller's units.
constexpr double finish_ray = 1e-8;
// The objective of a ray must exceed what rounding may have left of its terms, relative to them.
constexpr double finish_noise = 1e-11;
// Entries of a ray that bounds forbid count as zero up to this share of the largest.
constexpr double finish_drop = 1e-9;
// Entries touched between two polls.
constexpr int64_t finish_pollwork = 200000;

struct ray_sum {
  exact_sum value;
  double size = 0, viol = 0;
  void add(double mult, double lo, double up) {
    if (mult == 0) return;
    const double bound = mult > 0 ? lo : up;
    if (!std::isfinite(bound)) {
      viol = std::max(viol, std::abs(mult));
      return;
    }
    value.add(mult * bound);
    size += std::abs(mult * bound);
  }
};

double column_dot(const lp_view& lp, int32_t j, std::span<const double> y) {
  exact_sum s;
  for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) s.add(lp.a.val[k] * y[lp.a.sub[k]]);
  return s.value();
}

double dot_size(const lp_view& lp, int32_t j, std::span<const double> y) {
  double s = 0;
  for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
    s = std::max(s, std::abs(lp.a.val[k] * y[lp.a.sub[k]]));
  }
  return s;
}

// y in the caller's units, changed: what rows cannot carry is dropped, the ray scaled to value 1.
bool prove_dual(const lp_view& lp, std::span<double> y) {
  double largest = 0;
  for (const double v : y) largest = std::max(largest, std::abs(v));
  if (!(largest > 0) || !std::isfinite(largest)) return false;
  ray_sum s;
  for (int32_t i = 0; i < lp.numcon; ++i) {
    if (!std::isfinite(y[i] > 0 ? lp.blc[i] : lp.buc[i])) {
      if (std::abs(y[i]) > finish_drop * largest) return false;
      y[i] = 0;
    }
    s.add(y[i], lp.blc[i], lp.buc[i]);
  }
  for (int32_t j = 0; j < lp.numvar; ++j) {
    double z = -column_dot(lp, j, y);
    // What is left of terms that cancel is zero where no bound is there to carry it.
    if (!std::isfinite(z > 0 ? lp.blx[j] : lp.bux[j]) &&
        std::abs(z) <= std::numeric_limits<double>::epsilon() * dot_size(lp, j, y)) {
      z = 0;
    }
    s.add(z, lp.blx[j], lp.bux[j]);
  }
  const double value = s.value.value();
  if (!(value > finish_noise * s.size) || !(s.viol <= finish_ray * value)) return false;
  for (double& v : y) v /= value;
  return true;
}

// x in the caller's units, changed: what bounds forbid is dropped, the ray scaled to cost -1.
bool prove_primal(const lp_view& lp, std::span<double> x, std::span<double> act) {
  double largest = 0;
  for (const double v : x) largest = std::max(largest, std::abs(v));
  if (!(largest > 0) || !std::isfinite(largest)) return false;
  exact_sum cost;
  double size = 0, viol = 0;
  for (int32_t j = 0; j < lp.numvar; ++j) {
    if (x[j] != 0 && std::isfinite(x[j] > 0 ? lp.bux[j] : lp.blx[j])) {
      if (std::abs(x[j]) > finish_drop * largest) return false;
      x[j] = 0;
    }
    cost.add(lp.c[j] * x[j]);
    size += std::abs(lp.c[j] * x[j]);
  }
  std::fill(act.begin(), act.end(), 0.0);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    if (x[j] == 0) continue;
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k)
      act[lp.a.sub[k]] += lp.a.val[k] * x[j];
  }
  for (int32_t i = 0; i < lp.numcon; ++i) {
    if (std::isfinite(lp.blc[i])) viol = std::max(viol, -act[i]);
    if (std::isfinite(lp.buc[i])) viol = std::max(viol, act[i]);
  }
  const double value = -cost.value();
  if (!(value > finish_noise * size) || !(viol <= finish_ray * value)) return false;
  for (double& v : x) v /= value;
  return true;
}

void add_violation(double v, double tol, double& largest, double& sum, int32_t& num) {
  if (!(v > tol)) return;
  largest = std::max(largest, v);
  sum += v;
  ++num;
}

// By how much d has the wrong sign for a variable at x between lo and up.
double dual_violation(double d, double x, double lo, double up) {
  if (lo == up) return 0;
  if (x <= lo) return std::max(0.0, -d);
  if (x >= up) return std::max(0.0, d);
  return std::abs(d);
}

}  // namespace

bool sim_provedual(sim_state& st, std::span<const double> y) {
  lp_point& out = *st.point;
  mm_vector<double> ray(mm_at(st.mman));
  ray.resize(st.m);
  for (const double sign : {1.0, -1.0}) {
    for (int32_t i = 0; i < st.m; ++i) ray[i] = sign * y[i] * st.scale.row[i];
    if (!prove_dual(st.prob, ray)) continue;
    out.x.assign(st.n, 0.0);
    out.y.swap(ray);
    out.verdict = lp_verdict::priminfeas;
    return true;
  }
  return false;
}

bool sim_proveprimal(sim_state& st, std::span<const double> x) {
  lp_point& out = *st.point;
  mm_vector<double> ray(mm_at(st.mman)), act(mm_at(st.mman));
  ray.resize(st.n);
  act.resize(st.m);
  for (int32_t j = 0; j < st.n; ++j) ray[j] = x[j] * st.scale.col[j];
  if (!prove_primal(st.prob, ray, act)) return false;
  out.x.swap(ray);
  out.y.assign(st.m, 0.0);
  out.verdict = lp_verdict::dualinfeas;
  return true;
}

sim_measures sim_measure(const sim_state& st) {
  sim_measures s;
  for (int32_t p = 0; p < st.m; ++p) {
    const int32_t k = st.basic[p];
    const double v = std::max(st.lo0[k] - st.xb[p], st.xb[p] - st.up0[k]);
    add_violation(v, st.tolx, s.maxprim, s.sumprim, s.numprim);
  }
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] >= 0) continue;
    const double v = dual_violation(st.d[k], st.xval[k], st.lo0[k], st.up0[k]);
    add_violation(v, st.tols, s.maxdual, s.sumdual, s.numdual);
  }
  return s;
}

sim_measures sim_truemeasure(sim_state& st) {
  const lp_view& lp = st.prob;
  lp_point& out = *st.point;
  sim_measures s;
  mm_vector<exact_sum> act(mm_at(st.mman));
  mm_vector<double> size(mm_at(st.mman));  // of the terms of each activity
  act.resize(st.m);
  size.assign(st.m, 0.0);
  const double relx = st.set.relx, rels = st.set.rels;
  out.x.resize(st.n);
  out.y.resize(st.m);
  out.verdict = lp_verdict::none;
  for (int32_t j = 0; j < st.n; ++j) {
    const double xs = st.pos[j] >= 0 ? st.xb[st.pos[j]] : st.xval[j];
    const double x = out.x[j] = xs * st.scale.col[j];
    add_violation(std::max(lp.blx[j] - x, x - lp.bux[j]), st.set.tolx + relx * std::abs(x),
                  s.maxprim, s.sumprim, s.numprim);
    if (x == 0) continue;
    for (ptrdiff_t k = lp.a.ptr[j]; k < lp.a.ptr[j + 1]; ++k) {
      act[lp.a.sub[k]].add(lp.a.val[k] * x);
      size[lp.a.sub[k]] += std::abs(lp.a.val[k] * x);
    }
  }
  for (int32_t i = 0; i < st.m; ++i) {
    const int32_t k = st.n + i;
    const double r = act[i].value();
    out.y[i] = st.pos[k] >= 0 ? 0 : st.d[k] * st.scale.row[i] / st.scale.cost;
    add_violation(std::max(lp.blc[i] - r, r - lp.buc[i]), st.set.tolx + relx * size[i], s.maxprim,
                  s.sumprim, s.numprim);
    if (st.pos[k] >= 0) continue;
    add_violation(dual_violation(out.y[i], st.xval[k], st.lo0[k], st.up0[k]), st.set.tols,
                  s.maxdual, s.sumdual, s.numdual);
  }
  for (int32_t j = 0; j < st.n; ++j) {
    const double z = lp.c[j] - column_dot(lp, j, out.y);
    const double v =
        st.pos[j] >= 0 ? std::abs(z) : dual_violation(z, st.xval[j], st.lo0[j], st.up0[j]);
    const double tol = st.set.tols + rels * (std::abs(lp.c[j]) + dot_size(lp, j, out.y));
    add_violation(lp.blx[j] == lp.bux[j] ? 0 : v, tol, s.maxdual, s.sumdual, s.numdual);
  }
  return s;
}

void sim_polish(sim_state& st) {
  const spmat_view& a = st.lp.a;
  mm_vector<exact_sum> act(mm_at(st.mman));
  act.resize(st.m);
  for (int32_t j = 0; j < st.n; ++j) {
    const double x = st.pos[j] >= 0 ? st.xb[st.pos[j]] : st.xval[j];
    for (ptrdiff_t k = a.ptr[j]; k < a.ptr[j + 1]; ++k) act[a.sub[k]].add(a.val[k] * x);
  }
  lu_vector& v = st.work;
  lu_vecclear(v);
  for (int32_t i = 0; i < st.m; ++i) {
    const int32_t k = st.n + i;
    act[i].add(-(st.pos[k] >= 0 ? st.xb[st.pos[k]] : st.xval[k]));
    v.val[i] = act[i].value();
  }
  v.num = -1;
  sim_ftran(st, v);
  for (int32_t p = 0; p < st.m; ++p) st.xb[p] -= v.val[p];
  lu_vecclear(v);
  // y stands in the reduced costs of the logicals.
  mm_vector<double> y(mm_at(st.mman));
  for (int32_t i = 0; i < st.m; ++i) y.push_back(st.pos[st.n + i] >= 0 ? 0.0 : st.d[st.n + i]);
  for (int32_t p = 0; p < st.m; ++p) {
    const int32_t k = st.basic[p];
    v.val[p] = k < st.n ? st.lp.c[k] - column_dot(st.lp, k, y) : y[k - st.n];
  }
  v.num = -1;
  sim_btran(st, v);
  for (int32_t i = 0; i < st.m; ++i) y[i] += v.val[i];
  lu_vecclear(v);
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] >= 0) continue;
    st.d[k] = k < st.n ? st.lp.c[k] - column_dot(st.lp, k, y) : y[k - st.n];
  }
}

double sim_dualbound(const sim_state& st) {
  double obj = 0;
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] >= 0 || st.d[k] == 0) continue;
    const double bound = st.d[k] > 0 ? st.lo0[k] : st.up0[k];
    if (std::isfinite(bound)) {
      obj += st.d[k] * bound;
    } else if (std::abs(st.d[k]) > st.tols) {
      return -inf;
    }
  }
  return obj;
}

double sim_objective(const sim_state& st, double scaled) {
  return scaled / st.scale.cost + st.prob.cfix;
}

rescode sim_poll(sim_state& st, monitor_where where) {
  if (where == monitor::monitor_quiet && st.pollwork < finish_pollwork) return rescode::ok;
  st.pollwork = 0;
  const rescode r = st.mon.poll(where);
  if (r != rescode::ok) st.code = r;
  return r;
}
