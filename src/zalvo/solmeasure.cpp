#include "zalvo/solmeasure.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "misc/exactsum.h"
#include "zalvo/frame.h"

namespace {

// raise: largest = max(largest, value), NaN when either is.
void raise(double& largest, double value) noexcept {
  if (value > largest || std::isnan(value)) largest = value;
}

bool is_primray(int32_t solsta) {
  return solsta == ZLV_SOL_STA_PRIM_INFEAS_CER || solsta == ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER;
}
bool is_dualray(int32_t solsta) {
  return solsta == ZLV_SOL_STA_DUAL_INFEAS_CER || solsta == ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER;
}

// A side of the problem's items: constraints or variables with bounds, values and bound duals.
struct bounded_items {
  int32_t count = 0;
  const int32_t* key = nullptr;
  const double *lower = nullptr, *upper = nullptr;
  std::span<const double> x, sl, su;  // sl, su may be empty
  bool haslower(int32_t i) const { return key[i] != ZLV_BK_UP && key[i] != ZLV_BK_FR; }
  bool hasupper(int32_t i) const { return key[i] != ZLV_BK_LO && key[i] != ZLV_BK_FR; }
};

struct meas_state {
  const prob_rec& prob;
  sol_view v;
  double d = 1;  // 1 minimizes, -1 maximizes
  bool hasduals = false;
  bool isprimray = false, isdualray = false;
  bounded_items con, var;
  bool hasx() const { return v.xx.size() == size_t(prob.numvar); }
};

meas_state state_of(task_rec& task, int32_t whichsol, int32_t solsta) {
  const prob_rec& p = task.prob;
  const sol_view v = sol_items(task, whichsol);
  meas_state st{.prob = p, .v = v, .con = {}, .var = {}};
  st.d = task.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX ? -1 : 1;
  st.hasduals = task.sol.rec[whichsol].isallocated && whichsol != ZLV_SOL_ITG;
  st.isprimray = is_primray(solsta) && st.hasduals;
  st.isdualray = is_dualray(solsta);
  st.con = {int32_t(v.xc.size()), p.bkc.data(), p.blc.data(), p.buc.data(), v.xc, v.slc, v.suc};
  st.var = {int32_t(v.xx.size()), p.bkx.data(), p.blx.data(), p.bux.data(), v.xx, v.slx, v.sux};
  return st;
}

// quad_form: x'Q_k x / 2.
void quad_form(const meas_state& st, int32_t k, double scale, exact_sum& sum) {
  const prob_qterms q = prob_getq(st.prob, k);
  for (size_t p = 0; p < q.val.size(); ++p) {
    const double weight = q.subi[p] == q.subj[p] ? scale / 2 : scale;
    sum.add(weight * q.val[p] * st.v.xx[q.subi[p]] * st.v.xx[q.subj[p]]);
  }
}
// quad_addgrad: grad += scale Q_k x.
void quad_addgrad(const meas_state& st, int32_t k, double scale, std::span<exact_sum> grad) {
  const prob_qterms q = prob_getq(st.prob, k);
  for (size_t p = 0; p < q.val.size(); ++p) {
    const int32_t i = q.subi[p], j = q.subj[p];
    grad[i].add(scale * q.val[p] * st.v.xx[j]);
    if (i != j) grad[j].add(scale * q.val[p] * st.v.xx[i]);
  }
}
// cone_short: by how much the entries z[sub] fall short of their cone, 0 when they are in it. With
// the scaling no square overflows.
double cone_short(const prob_cone& cone, std::span<const double> z, double sign) {
  constexpr double invsqrt2 = 1 / std::numbers::sqrt2;
  double head = sign * z[cone.sub[0]];
  size_t first = 1;
  double rotated = 0;
  if (cone.type == ZLV_CT_RQUAD) {
    const double other = sign * z[cone.sub[1]];
    rotated = invsqrt2 * head - invsqrt2 * other;
    head = invsqrt2 * head + invsqrt2 * other;
    first = 2;
  }
  double scale = std::abs(rotated);
  for (size_t k = first; k < cone.sub.size(); ++k) raise(scale, std::abs(z[cone.sub[k]]));
  if (scale == 0) return std::isnan(head) ? head : std::max(0.0, -head);
  exact_sum squares;
  squares.add((rotated / scale) * (rotated / scale));
  for (size_t k = first; k < cone.sub.size(); ++k) {
    const double part = z[cone.sub[k]] / scale;
    squares.add(part * part);
  }
  const double missing = scale * std::sqrt(squares.value()) - head;
  return missing < 0 ? 0 : missing;  // a NaN stays
}

// ---- Objectives

double primal_objective(const meas_state& st) {
  exact_sum sum;
  for (int32_t j = 0; j < st.var.count; ++j) sum.add(st.prob.c[j] * st.v.xx[j]);
  if (!st.isdualray) {
    if (st.hasx()) quad_form(st, prob_obj, 1, sum);
    sum.add(st.prob.cfix);
  }
  return sum.value();
}

void add_boundterms(const bounded_items& items, exact_sum& sum) {
  if (items.sl.empty()) return;
  for (int32_t i = 0; i < items.count; ++i) {
    if (items.haslower(i)) sum.add(items.lower[i] * items.sl[i]);
    if (items.hasupper(i)) sum.add(-items.upper[i] * items.su[i]);
  }
}
double dual_objective(const meas_state& st) {
  exact_sum sum;
  add_boundterms(st.con, sum);
  add_boundterms(st.var, sum);
  for (int32_t k = 0; k < int32_t(st.v.y.size()); ++k) quad_form(st, k, st.v.y[k], sum);
  if (!st.isprimray) {
    if (st.hasx()) quad_form(st, prob_obj, -1, sum);
    sum.add(st.prob.cfix);
  }
  return sum.value();
}

// ---- Primal violations

void bound_violations(const meas_state& st, const bounded_items& items, double& largest) {
  for (int32_t i = 0; i < items.count; ++i) {
    const double lower = st.isdualray ? 0 : items.lower[i],
                 upper = st.isdualray ? 0 : items.upper[i];
    if (std::isnan(items.x[i])) largest = items.x[i];  // of a free item too
    if (items.haslower(i)) raise(largest, lower - items.x[i]);
    if (items.hasupper(i)) raise(largest, items.x[i] - upper);
  }
}

void primal_equations(const meas_state& st, const spmat& a, mm_place at, double& largest) {
  mm_vector<exact_sum> row(size_t(st.con.count), exact_sum{}, at);
  for (int32_t j = 0; j < st.var.count; ++j) {
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) row[a.sub[p]].add(a.val[p] * st.v.xx[j]);
  }
  for (int32_t i = 0; i < st.con.count; ++i) {
    if (!st.isdualray) quad_form(st, i, 1, row[i]);
    row[i].add(-st.v.xc[i]);
    raise(largest, std::abs(row[i].value()));
  }
  if (!st.isdualray) return;
  // A ray along which a quadratic term bends is none, unless its row has no bound.
  mm_vector<exact_sum> grad(size_t(st.var.count), exact_sum{}, at);
  for (int32_t k = prob_obj; k < st.con.count; ++k) {
    if (prob_getq(st.prob, k).val.empty()) continue;
    if (k != prob_obj && st.prob.bkc[k] == ZLV_BK_FR) continue;
    std::ranges::fill(grad, exact_sum{});
    quad_addgrad(st, k, 1, grad);
    for (const exact_sum& g : grad) raise(largest, std::abs(g.value()));
  }
}

void primal_cones(const meas_state& st, double& largest) {
  if (!st.hasx()) return;
  for (const prob_cone& cone : st.prob.cone) raise(largest, cone_short(cone, st.v.xx, 1));
}

void integrality(const meas_state& st, double& largest) {
  if (st.prob.vartype.empty() || st.isdualray) return;
  for (int32_t j = 0; j < st.var.count; ++j) {
    if (st.prob.vartype[j] != ZLV_VAR_TYPE_INT) continue;
    raise(largest, std::abs(st.v.xx[j] - std::nearbyint(st.v.xx[j])));
  }
}

// ---- Dual violations

void dual_signs(const meas_state& st, const bounded_items& items, double& largest) {
  if (items.sl.empty()) return;
  for (int32_t i = 0; i < items.count; ++i) {
    raise(largest, items.haslower(i) ? -st.d * items.sl[i] : std::abs(items.sl[i]));
    raise(largest, items.hasupper(i) ? -st.d * items.su[i] : std::abs(items.su[i]));
  }
}

void dual_equations(const meas_state& st, const spmat& a, mm_place at, double& largest) {
  mm_vector<exact_sum> grad(size_t(st.var.count), exact_sum{}, at);
  if (!st.isprimray) quad_addgrad(st, prob_obj, 1, grad);
  for (int32_t k = 0; k < st.con.count; ++k) quad_addgrad(st, k, -st.v.y[k], grad);
  for (int32_t j = 0; j < st.var.count; ++j) {
    exact_sum& g = grad[j];
    if (!st.isprimray) g.add(st.prob.c[j]);
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) g.add(-a.val[p] * st.v.y[a.sub[p]]);
    g.add(-st.v.slx[j]);
    g.add(st.v.sux[j]);
    if (!st.v.snx.empty()) g.add(-st.v.snx[j]);
    raise(largest, std::abs(g.value()));
  }
  for (int32_t i = 0; i < st.con.count; ++i) {
    raise(largest, std::abs(st.v.y[i] - st.v.slc[i] + st.v.suc[i]));
  }
}

void dual_cones(const meas_state& st, mm_place at, double& largest) {
  if (st.v.snx.empty()) return;
  mm_vector<uint8_t> isincone(size_t(st.var.count), 0, at);
  for (const prob_cone& cone : st.prob.cone) {
    raise(largest, cone_short(cone, st.v.snx, st.d));
    for (const int32_t j : cone.sub) isincone[j] = 1;
  }
  for (int32_t j = 0; j < st.var.count; ++j) {
    if (isincone[j] == 0) raise(largest, std::abs(st.v.snx[j]));
  }
}

// ---- Complementarity and relative numbers

void complementarity(const meas_state& st, const bounded_items& items, double& largest) {
  if (items.sl.empty()) return;
  for (int32_t i = 0; i < items.count; ++i) {
    if (items.haslower(i)) raise(largest, std::abs(items.sl[i] * (items.x[i] - items.lower[i])));
    if (items.hasupper(i)) raise(largest, std::abs(items.su[i] * (items.upper[i] - items.x[i])));
  }
  if (&items != &st.var || st.v.snx.empty()) return;
  for (const prob_cone& cone : st.prob.cone) {
    exact_sum product;
    for (const int32_t j : cone.sub) product.add(st.v.snx[j] * st.v.xx[j]);
    raise(largest, std::abs(product.value()));
  }
}

double largest_rhs(const meas_state& st) {
  double largest = 0;
  for (int32_t i = 0; i < st.con.count; ++i) {
    if (st.con.haslower(i)) raise(largest, std::abs(st.con.lower[i]));
    if (st.con.hasupper(i)) raise(largest, std::abs(st.con.upper[i]));
  }
  return largest;
}
double largest_cost(const meas_state& st) {
  double largest = 0;
  for (int32_t j = 0; j < st.var.count; ++j) raise(largest, std::abs(st.prob.c[j]));
  return largest;
}

double largest_of(std::initializer_list<double> values) {
  double largest = 0;
  for (const double value : values) raise(largest, value);
  return largest;
}
// per_ray: a violation by the ray's objective, which has to be positive.
double per_ray(double violation, double objective) {
  if (std::isnan(violation) || std::isnan(objective)) return violation + objective;
  return objective > 0 ? violation / objective : std::numeric_limits<double>::infinity();
}

void relative_numbers(const meas_state& st, sol_measures& m) {
  const double primal = largest_of({m.maxpeqi, m.maxpbi, m.maxpcni});
  const double dual = largest_of({m.maxdeqi, m.maxdbi, m.maxdcni});
  m.relprimal =
      st.isdualray ? per_ray(primal, -st.d * m.primalobj) : primal / (1 + largest_rhs(st));
  m.reldual = st.isprimray ? per_ray(dual, st.d * m.dualobj) : dual / (1 + largest_cost(st));
  if (st.isdualray || st.isprimray || !st.hasduals) return;
  m.relgap = std::abs(m.primalobj - m.dualobj) / (1 + std::abs(m.primalobj));
  m.relcompl = m.maxcompl / (1 + std::abs(m.primalobj));
}

}  // namespace

void sol_measureas(task_rec& task, int32_t whichsol, int32_t solsta, sol_measures& m) {
  const meas_state st = state_of(task, whichsol, solsta);
  const mm_place at = mm_at(*task.mman);
  m = {};
  m.prosta = task.sol.rec[whichsol].prosta;
  m.solsta = solsta;
  m.isprimray = st.isprimray;
  m.isdualray = st.isdualray;
  spmat a(at);
  prob_acolumns(task.prob, a);
  m.primalobj = primal_objective(st);
  primal_equations(st, a, at, m.maxpeqi);
  bound_violations(st, st.con, m.maxpbi);
  bound_violations(st, st.var, m.maxpbi);
  primal_cones(st, m.maxpcni);
  integrality(st, m.maxinti);
  if (st.hasduals) {
    m.dualobj = dual_objective(st);
    dual_equations(st, a, at, m.maxdeqi);
    dual_signs(st, st.con, m.maxdbi);
    dual_signs(st, st.var, m.maxdbi);
    dual_cones(st, at, m.maxdcni);
    if (!st.isprimray && !st.isdualray) {
      complementarity(st, st.con, m.maxcompl);
      complementarity(st, st.var, m.maxcompl);
    }
  }
  relative_numbers(st, m);
}

void sol_measure(task_rec& task, int32_t whichsol, sol_measures& m) {
  sol_measureas(task, whichsol, task.sol.rec[whichsol].solsta, m);
}

double sol_primalobj(task_rec& task, int32_t whichsol) {
  return primal_objective(state_of(task, whichsol, task.sol.rec[whichsol].solsta));
}
double sol_dualobj(task_rec& task, int32_t whichsol) {
  return dual_objective(state_of(task, whichsol, task.sol.rec[whichsol].solsta));
}
