#include "optimize/optdat.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "misc/exactsum.h"
#include "zalvo.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();

// Value of a column that was taken out: its fixed value, or the bound that its cost prefers.
double removed_value(const opt_problem& prob, int32_t j) {
  const double cost = prob.maximize ? -prob.c[j] : prob.c[j];
  const bool lower = opt_haslower(prob.bkx[j]), upper = opt_hasupper(prob.bkx[j]);
  if (lower && (cost >= 0 || !upper)) return prob.blx[j];
  return upper ? prob.bux[j] : 0;
}

bool hasq(const opt_problem& prob) {
  return prob.q.ncol > 0;
}

bool is_emptycolumn(const opt_problem& prob, int32_t j) {
  if (hasq(prob) && prob.q.ptr[j] < prob.q.ptr[j + 1]) return false;
  if (!prob.incone.empty() && prob.incone[j] != 0) return false;
  for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
    if (prob.bkc[prob.a.sub[p]] != ZLV_BK_FR && prob.a.val[p] != 0) return false;
  }
  return true;
}

void zero(opt_solution& sol) {
  for (std::span<double> part : {sol.xc, sol.xx, sol.y, sol.slc, sol.suc, sol.slx, sol.sux}) {
    std::fill(part.begin(), part.end(), 0.0);
  }
  std::fill(sol.skc.begin(), sol.skc.end(), ZLV_SK_UNK);
  std::fill(sol.skx.begin(), sol.skx.end(), ZLV_SK_UNK);
}

void set_infeasible(opt_solution& sol) {
  sol.prosta = ZLV_PRO_STA_PRIM_INFEAS;
  sol.solsta = ZLV_SOL_STA_PRIM_INFEAS_CER;
}

// What is known of the rows before any optimizer: kept in arrays of the solution until it is filled.
struct row_scan {
  std::span<double> live;      // nonzero when the row has an entry in a column that can move
  std::span<double> activity;  // of the fixed columns
  std::span<double> size;      // sum of the magnitudes in it
};

row_scan scan_rows(const opt_problem& prob, opt_solution& sol) {
  row_scan scan{sol.xc, sol.slc, sol.suc};
  for (size_t i = 0; i < prob.curved.size(); ++i) scan.live[i] = prob.curved[i];
  for (int32_t j = 0; j < prob.numvar; ++j) {
    const bool isfixed = prob.bkx[j] == ZLV_BK_FX;
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      const int32_t i = prob.a.sub[p];
      const double term = isfixed ? prob.a.val[p] * prob.blx[j] : 0;
      if (!isfixed && prob.a.val[p] != 0) scan.live[i] = 1;
      scan.activity[i] += term;
      scan.size[i] += std::abs(term);
    }
  }
  return scan;
}

// The multiplier that proves a row without movable entries infeasible; 0 when the row holds.
double dead_row_multiplier(const opt_problem& prob, const row_scan& scan, int32_t i) {
  constexpr double tol =
      1e-9;  // of an activity that is a sum of known terms, relative to their size
  const double act = scan.activity[i];
  const double lower = prob.blc[i] - act, upper = prob.buc[i] - act;
  if (opt_haslower(prob.bkc[i]) && lower > tol * (1 + std::abs(prob.blc[i]) + scan.size[i])) {
    return 1 / lower;
  }
  if (opt_hasupper(prob.bkc[i]) && -upper > tol * (1 + std::abs(prob.buc[i]) + scan.size[i])) {
    return 1 / upper;
  }
  return 0;
}

// The certificate of row i: its multiplier, and bound duals of the fixed columns to balance it.
void prove_dead_row(const opt_problem& prob, int32_t i, double y, opt_solution& sol) {
  const double sign = prob.maximize ? -1 : 1;
  sol.y[i] = sign * y;
  (y > 0 ? sol.slc[i] : sol.suc[i]) = sign * std::abs(y);
  for (int32_t j = 0; j < prob.numvar; ++j) {
    double d = 0;
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      if (prob.a.sub[p] == i) d -= prob.a.val[p] * y;
    }
    (d > 0 ? sol.slx[j] : sol.sux[j]) = sign * std::abs(d);
  }
}

bool infeasible_bounds(const opt_problem& prob, opt_solution& sol) {
  const double sign = prob.maximize ? -1 : 1;
  for (int32_t j = 0; j < prob.numvar; ++j) {
    if (prob.bkx[j] == ZLV_BK_RA && prob.blx[j] > prob.bux[j]) {
      sol.slx[j] = sol.sux[j] = sign / (prob.blx[j] - prob.bux[j]);
      return true;
    }
  }
  for (int32_t i = 0; i < prob.numcon; ++i) {
    if (prob.bkc[i] == ZLV_BK_RA && prob.blc[i] > prob.buc[i]) {
      sol.slc[i] = sol.suc[i] = sign / (prob.blc[i] - prob.buc[i]);
      return true;
    }
  }
  return false;
}

}  // namespace

bool opt_haslower(int32_t key) {
  return key == ZLV_BK_LO || key == ZLV_BK_RA || key == ZLV_BK_FX;
}
bool opt_hasupper(int32_t key) {
  return key == ZLV_BK_UP || key == ZLV_BK_RA || key == ZLV_BK_FX;
}

bool opt_trivial(const opt_problem& prob, opt_solution& sol) {
  zero(sol);
  if (infeasible_bounds(prob, sol)) return set_infeasible(sol), true;
  const row_scan scan = scan_rows(prob, sol);
  int32_t deadrow = -1;
  double multiplier = 0;
  for (int32_t i = 0; i < prob.numcon && deadrow < 0; ++i) {
    if (scan.live[i] != 0) continue;
    multiplier = dead_row_multiplier(prob, scan, i);
    if (multiplier != 0) deadrow = i;
  }
  zero(sol);
  if (deadrow >= 0) {
    prove_dead_row(prob, deadrow, multiplier, sol);
    set_infeasible(sol);
    return true;
  }
  for (int32_t j = 0; j < prob.numvar; ++j) {
    const double cost = prob.maximize ? -prob.c[j] : prob.c[j];
    if (cost == 0 || (cost > 0 ? opt_haslower(prob.bkx[j]) : opt_hasupper(prob.bkx[j]))) continue;
    if (!is_emptycolumn(prob, j)) continue;
    sol.xx[j] = -1 / cost;
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {  // free rows only
      sol.xc[prob.a.sub[p]] += prob.a.val[p] * sol.xx[j];
    }
    sol.prosta = ZLV_PRO_STA_DUAL_INFEAS;
    sol.solsta = ZLV_SOL_STA_DUAL_INFEAS_CER;
    return true;
  }
  return false;
}

namespace {

// Rows that stay: those with a finite bound and an entry in a column that stays.
void map_rows(const opt_problem& prob, opt_internal& in) {
  in.rowof.assign(prob.numcon, -1);
  for (size_t i = 0; i < prob.curved.size(); ++i) in.rowof[i] = prob.curved[i] != 0 ? 0 : -1;
  for (int32_t j = 0; j < prob.numvar; ++j) {
    if (prob.bkx[j] == ZLV_BK_FX) continue;
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      if (prob.a.val[p] != 0) in.rowof[prob.a.sub[p]] = 0;
    }
  }
  int32_t row = 0;
  for (int32_t i = 0; i < prob.numcon; ++i) {
    if (prob.bkc[i] == ZLV_BK_FR) in.rowof[i] = -1;
    if (in.rowof[i] == 0) in.rowof[i] = row++;
  }
  in.a.nrow = row;
}

// Whether a column or row with this key is counted from its upper bound. Of two bounds the lower one
// serves, unless it is so far that a shift to it would drown the right-hand sides.
bool from_upper(int32_t key, double lower, double upper) {
  constexpr double far = 100;  // times the upper bound, or 1
  if (key != ZLV_BK_RA) return key == ZLV_BK_UP;
  return std::abs(lower) > far * std::max(1.0, std::abs(upper));
}

// Where x = 0 of the internal form lies: the value of a column taken out, or the bound shifted to.
double origin(const opt_problem& prob, int32_t j) {
  const int32_t key = prob.bkx[j];
  if (key == ZLV_BK_FX || is_emptycolumn(prob, j)) return removed_value(prob, j);
  if (key == ZLV_BK_FR) return 0;
  return from_upper(key, prob.blx[j], prob.bux[j]) ? prob.bux[j] : prob.blx[j];
}

// fixed, numcon: what the columns taken out and the shifts contribute to the activities.
void add_column(const opt_problem& prob, int32_t j, opt_internal& in, std::span<double> fixed) {
  const int32_t key = prob.bkx[j];
  const double cost = prob.maximize ? -prob.c[j] : prob.c[j];
  const bool taken = key == ZLV_BK_FX || is_emptycolumn(prob, j);
  const bool flip = from_upper(key, prob.blx[j], prob.bux[j]);
  const double shift = origin(prob, j);
  in.cfix += cost * shift;
  for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
    const int32_t i = prob.a.sub[p];
    fixed[i] += prob.a.val[p] * shift;
    if (taken || in.rowof[i] < 0 || prob.a.val[p] == 0) continue;
    in.a.sub.push_back(in.rowof[i]);
    in.a.val.push_back(flip ? -prob.a.val[p] : prob.a.val[p]);
  }
  if (taken) return;
  in.colof[j] = in.a.ncol++;
  in.flipped[j] = uint8_t(flip);
  in.a.ptr.push_back(ptrdiff_t(in.a.sub.size()));
  in.c.push_back(flip ? -cost : cost);
  in.isfree.push_back(uint8_t(key == ZLV_BK_FR));
  in.u.push_back(key == ZLV_BK_RA ? prob.bux[j] - prob.blx[j] : inf);
}

// Q of the columns that stay, and what the others and the shifts add to c and the constant:
// (x + d)'Q(x + d)/2 = x'Qx/2 + (Q d)'x + d'Q d/2.
void add_quadratic(const opt_problem& prob, opt_internal& in) {
  const double sense = prob.maximize ? -1 : 1;
  const auto sign = [&](int32_t j) { return in.flipped[j] != 0 ? -sense : sense; };
  exact_sum constant;
  in.q.ptr.reserve(size_t(in.a.ncol) + 1);
  in.q.ptr.push_back(0);
  for (int32_t j = 0; j < prob.numvar; ++j) {
    const int32_t jj = in.colof[j];
    exact_sum slope;
    for (ptrdiff_t p = prob.q.ptr[j]; p < prob.q.ptr[j + 1]; ++p) {
      const int32_t i = prob.q.sub[p];
      slope.add(prob.q.val[p] * origin(prob, i));
      if (jj < 0 || i < j || in.colof[i] < 0) continue;
      in.q.sub.push_back(in.colof[i]);
      in.q.val.push_back(in.flipped[i] != 0 ? -sign(j) * prob.q.val[p] : sign(j) * prob.q.val[p]);
    }
    constant.add(sense * slope.value() * origin(prob, j) / 2);
    if (jj < 0) continue;
    in.q.ptr.push_back(ptrdiff_t(in.q.sub.size()));
    in.c[jj] += sign(j) * slope.value();
  }
  in.cfix += constant.value();
  in.q.ptr.resize(size_t(in.a.ncol) + 1,
                  ptrdiff_t(in.q.sub.size()));  // slack columns have no entry
  in.q.nrow = in.q.ncol = in.a.ncol;
}

void add_slack(const opt_problem& prob, int32_t i, opt_internal& in) {
  const int32_t key = prob.bkc[i];
  in.a.sub.push_back(in.rowof[i]);
  in.a.val.push_back(from_upper(key, prob.blc[i], prob.buc[i]) ? 1.0 : -1.0);
  in.a.ptr.push_back(ptrdiff_t(in.a.sub.size()));
  ++in.a.ncol;
  in.c.push_back(0);
  in.isfree.push_back(0);
  in.u.push_back(key == ZLV_BK_RA ? prob.buc[i] - prob.blc[i] : inf);
}

}  // namespace

void opt_prepare(const opt_problem& prob, opt_internal& in) {
  const mm_place place = in.b.get_allocator().place;
  mm_vector<double> fixed(prob.numcon, 0.0, place);
  const size_t room = prob.a.sub.size() + prob.numcon;
  in.a.sub.reserve(room);
  in.a.val.reserve(room);
  in.a.ptr.reserve(size_t(prob.numvar) + prob.numcon + 1);
  in.a.ptr.push_back(0);
  in.colof.assign(prob.numvar, -1);
  in.flipped.assign(prob.numvar, 0);
  in.cfix = prob.maximize ? -prob.cfix : prob.cfix;
  map_rows(prob, in);
  for (int32_t j = 0; j < prob.numvar; ++j) add_column(prob, j, in, fixed);
  in.b.assign(in.a.nrow, 0.0);
  for (int32_t i = 0; i < prob.numcon; ++i) {
    if (in.rowof[i] < 0) continue;
    const bool upper = from_upper(prob.bkc[i], prob.blc[i], prob.buc[i]);
    const double bound = upper ? prob.buc[i] : prob.blc[i];
    in.b[in.rowof[i]] = bound - fixed[i];
    if (prob.bkc[i] != ZLV_BK_FX) add_slack(prob, i, in);
  }
  if (hasq(prob)) add_quadratic(prob, in);
}

hs_lp opt_internalview(const opt_internal& in, const opt_problem& prob) {
  hs_lp lp{spmat_look(in.a), in.b, in.c, in.u, in.isfree};
  lp.nrmb = 0;
  for (int32_t i = 0; i < prob.numcon; ++i) {
    if (opt_haslower(prob.bkc[i])) lp.nrmb = std::max(lp.nrmb, std::abs(prob.blc[i]));
    if (opt_hasupper(prob.bkc[i])) lp.nrmb = std::max(lp.nrmb, std::abs(prob.buc[i]));
  }
  lp.cfix = in.cfix;
  lp.objsign = prob.maximize ? -1.0 : 1.0;
  lp.q = spmat_look(in.q);
  return lp;
}

namespace {

struct status_row {
  hs_status of;
  opt_status status;
};

constexpr status_row statuses[] = {
    {hs_status::optimal, {ZLV_PRO_STA_PRIM_AND_DUAL_FEAS, ZLV_SOL_STA_OPTIMAL}},
    {hs_status::nearoptimal, {ZLV_PRO_STA_PRIM_AND_DUAL_FEAS, ZLV_SOL_STA_NEAR_OPTIMAL}},
    {hs_status::priminfeas, {ZLV_PRO_STA_PRIM_INFEAS, ZLV_SOL_STA_PRIM_INFEAS_CER}},
    {hs_status::nearpriminfeas, {ZLV_PRO_STA_PRIM_INFEAS, ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER}},
    {hs_status::dualinfeas, {ZLV_PRO_STA_DUAL_INFEAS, ZLV_SOL_STA_DUAL_INFEAS_CER}},
    {hs_status::neardualinfeas, {ZLV_PRO_STA_DUAL_INFEAS, ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER}},
    {hs_status::illposed, {ZLV_PRO_STA_ILL_POSED, ZLV_SOL_STA_UNKNOWN}},
    {hs_status::unknown, {ZLV_PRO_STA_UNKNOWN, ZLV_SOL_STA_UNKNOWN}},
};

}  // namespace

opt_status opt_statusof(hs_status status) {
  for (const status_row& row : statuses) {
    if (row.of == status) return row.status;
  }
  return {};
}

opt_status opt_statusof(lp_verdict verdict) {
  switch (verdict) {
    case lp_verdict::optimal:
      return opt_statusof(hs_status::optimal);
    case lp_verdict::priminfeas:
      return opt_statusof(hs_status::priminfeas);
    case lp_verdict::dualinfeas:
      return opt_statusof(hs_status::dualinfeas);
    case lp_verdict::none:
      break;
  }
  return opt_statusof(hs_status::unknown);
}

opt_kind opt_kindof(opt_status status) {
  switch (status.solsta) {
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
      return opt_kind::dualray;
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
      return opt_kind::primalray;
    default:
      return opt_kind::point;
  }
}

namespace {

// Status key of an item from its bounds, value and bound duals: at the bound whose dual is larger
// than the distance to it.
int32_t status_key(int32_t bk, double value, double lower, double upper, double sl, double su) {
  if (bk == ZLV_BK_FX) return ZLV_SK_FIX;
  if (opt_haslower(bk) && sl > value - lower) return ZLV_SK_LOW;
  if (opt_hasupper(bk) && su > upper - value) return ZLV_SK_UPR;
  return bk == ZLV_BK_FR ? ZLV_SK_SUPBAS : ZLV_SK_BAS;
}

void set_status_keys(const opt_problem& prob, opt_solution& sol) {
  for (int32_t i = 0; i < prob.numcon; ++i) {
    sol.skc[i] =
        status_key(prob.bkc[i], sol.xc[i], prob.blc[i], prob.buc[i], sol.slc[i], sol.suc[i]);
  }
  for (int32_t j = 0; j < prob.numvar; ++j) {
    sol.skx[j] =
        status_key(prob.bkx[j], sol.xx[j], prob.blx[j], prob.bux[j], sol.slx[j], sol.sux[j]);
  }
}

// Scales a ray to an objective of 1; what the clean-up of its multipliers gained is in it.
void normalise_ray(const opt_problem& prob, opt_kind kind, opt_solution& sol) {
  double objective = 0;
  if (kind == opt_kind::primalray) {
    for (int32_t j = 0; j < prob.numvar; ++j) {
      objective -= (prob.maximize ? -prob.c[j] : prob.c[j]) * sol.xx[j];
    }
  } else {
    auto add = [&](int32_t key, double lower, double upper, double sl, double su) {
      if (opt_haslower(key)) objective += lower * sl;
      if (opt_hasupper(key)) objective -= upper * su;
    };
    for (int32_t i = 0; i < prob.numcon; ++i) {
      add(prob.bkc[i], prob.blc[i], prob.buc[i], sol.slc[i], sol.suc[i]);
    }
    for (int32_t j = 0; j < prob.numvar; ++j) {
      add(prob.bkx[j], prob.blx[j], prob.bux[j], sol.slx[j], sol.sux[j]);
    }
  }
  if (!(objective > 0) || !std::isfinite(1 / objective)) return;
  for (std::span<double> part : {sol.xc, sol.xx, sol.y, sol.slc, sol.suc, sol.slx, sol.sux}) {
    for (double& e : part) e /= objective;
  }
}

// The bound duals of the columns: what their reduced costs c + Q x - A'y leave for a finite bound to
// carry; Q x only at a point.
void column_duals(const opt_problem& prob, opt_kind kind, opt_solution& sol) {
  const double costsign = kind == opt_kind::dualray ? 0 : 1;
  const double sense = prob.maximize ? -1 : 1;
  for (int32_t j = 0; j < prob.numvar; ++j) {
    exact_sum sum;
    sum.add(costsign * (prob.maximize ? -prob.c[j] : prob.c[j]));
    if (hasq(prob) && kind == opt_kind::point) {
      for (ptrdiff_t p = prob.q.ptr[j]; p < prob.q.ptr[j + 1]; ++p) {
        sum.add(sense * prob.q.val[p] * sol.xx[prob.q.sub[p]]);
      }
    }
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      sum.add(-prob.a.val[p] * sol.y[prob.a.sub[p]]);
    }
    const double d = sum.value();
    if (opt_haslower(prob.bkx[j])) sol.slx[j] = std::max(d, 0.0);
    if (opt_hasupper(prob.bkx[j])) sol.sux[j] = std::max(-d, 0.0);
  }
}

// What becomes of values that are outside of their bounds by no more than tolerances. The basic variables
// of a basic solution stay where the others put them.
enum class fill_mode { clipped, exact };

void fill_primal(const opt_problem& prob, const lp_point& point, opt_kind kind, fill_mode mode,
                 opt_solution& sol) {
  for (int32_t j = 0; j < prob.numvar; ++j) {
    const int32_t key = prob.bkx[j];
    double x = point.x[j];
    if (kind == opt_kind::primalray) {
      // Only zero moves between two bounds.
      if (opt_haslower(key)) x = std::max(x, 0.0);
      if (opt_hasupper(key)) x = std::min(x, 0.0);
    } else if (mode == fill_mode::clipped) {
      if (opt_haslower(key)) x = std::max(x, prob.blx[j]);
      if (opt_hasupper(key)) x = std::min(x, prob.bux[j]);
    }
    sol.xx[j] = x;
  }
  spmat_addax(prob.a, 1, sol.xx, sol.xc);
}

void fill_dual(const opt_problem& prob, const lp_point& point, opt_kind kind, fill_mode mode,
               opt_solution& sol) {
  const bool isclipped = mode == fill_mode::clipped || kind != opt_kind::point;
  for (int32_t i = 0; i < prob.numcon; ++i) {
    double y = point.y[i];
    if (isclipped && !opt_haslower(prob.bkc[i])) y = std::min(y, 0.0);
    if (isclipped && !opt_hasupper(prob.bkc[i])) y = std::max(y, 0.0);
    sol.y[i] = y;
    sol.slc[i] = std::max(y, 0.0);
    sol.suc[i] = std::max(-y, 0.0);
  }
  column_duals(prob, kind, sol);
}

// All but the status keys and the signs of a maximization.
void fill_values(const opt_problem& prob, const lp_point& point, opt_status status, fill_mode mode,
                 opt_solution& sol) {
  zero(sol);
  sol.prosta = status.prosta;
  sol.solsta = status.solsta;
  const opt_kind kind = opt_kindof(status);
  if (kind != opt_kind::dualray) fill_primal(prob, point, kind, mode, sol);
  if (kind != opt_kind::primalray) fill_dual(prob, point, kind, mode, sol);
  if (kind == opt_kind::point) return;
  normalise_ray(prob, kind, sol);
  if (kind == opt_kind::dualray) column_duals(prob, kind, sol);  // for y as it is after rounding
}

void negate_duals(opt_solution& sol) {
  for (std::span<double> part : {sol.y, sol.slc, sol.suc, sol.slx, sol.sux}) {
    for (double& e : part) e = -e;
  }
}

}  // namespace

void opt_reverse(const opt_problem& prob, const opt_internal& in, const hs_solution& from,
                 lp_point& point) {
  const opt_kind kind = opt_kindof(opt_statusof(from.status));
  point.x.assign(prob.numvar, 0.0);
  point.y.assign(prob.numcon, 0.0);
  for (int32_t j = 0; j < prob.numvar && kind != opt_kind::dualray; ++j) {
    const int32_t jj = in.colof[j];
    const bool isray = kind == opt_kind::primalray;
    if (jj < 0) {
      point.x[j] = isray ? 0 : removed_value(prob, j);
      continue;
    }
    const double x = in.flipped[j] != 0 ? -from.x[jj] : from.x[jj];
    const bool shifted = !isray && prob.bkx[j] != ZLV_BK_FR;
    point.x[j] = shifted ? (in.flipped[j] != 0 ? prob.bux[j] : prob.blx[j]) + x : x;
  }
  for (int32_t i = 0; i < prob.numcon && kind != opt_kind::primalray; ++i) {
    if (in.rowof[i] >= 0) point.y[i] = from.y[in.rowof[i]];
  }
}

void opt_fill(const opt_problem& prob, const lp_point& point, opt_status status,
              opt_solution& sol) {
  fill_values(prob, point, status, fill_mode::clipped, sol);
  if (opt_kindof(status) == opt_kind::point) set_status_keys(prob, sol);
  if (prob.maximize) negate_duals(sol);
}

void opt_fillbasic(const opt_problem& prob, const lp_point& point, const lp_basis& basis,
                   opt_status status, opt_solution& sol) {
  fill_values(prob, point, status, fill_mode::exact, sol);
  for (int32_t i = 0; i < prob.numcon; ++i) sol.skc[i] = int32_t(basis.con[i]);
  for (int32_t j = 0; j < prob.numvar; ++j) sol.skx[j] = int32_t(basis.var[j]);
  if (prob.maximize) negate_duals(sol);
}

void opt_makelp(const opt_problem& prob, opt_lp& lp) {
  auto side = [](std::span<const int32_t> bk, std::span<const double> from, double infinite,
                 bool (*has)(int32_t), mm_vector<double>& to) {
    to.resize(bk.size());
    for (size_t k = 0; k < bk.size(); ++k) to[k] = has(bk[k]) ? from[k] : infinite;
  };
  side(prob.bkc, prob.blc, -inf, opt_haslower, lp.blc);
  side(prob.bkc, prob.buc, inf, opt_hasupper, lp.buc);
  side(prob.bkx, prob.blx, -inf, opt_haslower, lp.blx);
  side(prob.bkx, prob.bux, inf, opt_hasupper, lp.bux);
  lp.c.assign(prob.c.begin(), prob.c.end());
  if (prob.maximize) {
    for (double& e : lp.c) e = -e;
  }
  lp.cfix = prob.maximize ? -prob.cfix : prob.cfix;
  lp.a = prob.a;
}

lp_view opt_lpview(const opt_lp& lp) {
  return {int32_t(lp.blc.size()),
          int32_t(lp.blx.size()),
          lp.a,
          lp.blc,
          lp.buc,
          lp.blx,
          lp.bux,
          lp.c,
          lp.cfix};
}

namespace {

int32_t key_of(double lower, double upper) {
  if (lower == upper) return ZLV_BK_FX;
  if (std::isinf(lower)) return std::isinf(upper) ? ZLV_BK_FR : ZLV_BK_UP;
  return std::isinf(upper) ? ZLV_BK_LO : ZLV_BK_RA;
}

}  // namespace

opt_problem opt_addkeys(const lp_view& lp, opt_keyed& keyed) {
  keyed.bkc.resize(lp.numcon);
  keyed.bkx.resize(lp.numvar);
  for (int32_t i = 0; i < lp.numcon; ++i) keyed.bkc[i] = key_of(lp.blc[i], lp.buc[i]);
  for (int32_t j = 0; j < lp.numvar; ++j) keyed.bkx[j] = key_of(lp.blx[j], lp.bux[j]);
  opt_problem prob;
  prob.numcon = lp.numcon;
  prob.numvar = lp.numvar;
  prob.a = lp.a;
  prob.bkc = keyed.bkc;
  prob.bkx = keyed.bkx;
  prob.blc = lp.blc;
  prob.buc = lp.buc;
  prob.blx = lp.blx;
  prob.bux = lp.bux;
  prob.c = lp.c;
  prob.cfix = lp.cfix;
  return prob;
}
