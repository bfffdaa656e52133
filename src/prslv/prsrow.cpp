// Reductions of one row. A tightened bound is kept only where the row that gave it goes, with a record
// that moves the bound's multiplier to the row; all other implied bounds are for looking only.
#include "prslv/prsrow.h"

#include <algorithm>

namespace {

// A pivot of an equation with two columns is at least this part of the other coefficient, so that
// errors of the kept column are not blown up.
constexpr double doubletonpivot = 1e-3;
// A row this far from its activity bound, relative to 1 + the side, is not looked at in full.
constexpr double forcingquick = 1e-3;

// A bound is tightened when it moves by more than rounding.
bool istighter(double gain, double bound, double coef) {
  return gain > prslv_equtol * (1 + std::abs(bound)) ||
         (gain > 0 && gain * std::abs(coef) > prslv_equtol);
}

void infeasiblerow(prslv_work& w, int32_t i, double y) {
  w.seed.assign(1, {i, y});
  prslv_infeasible(w);
}

// Whether the activity bounds contradict the sides.
bool contradicts(prslv_work& w, int32_t i) {
  const double low = prslv_actmin(w.act[i]), high = prslv_actmax(w.act[i]);
  if (low > w.buc[i] && low - w.buc[i] > prslv_infeastol * prslv_rowscale(w, i, true)) {
    infeasiblerow(w, i, -1);
    return true;
  }
  if (high < w.blc[i] && w.blc[i] - high > prslv_infeastol * prslv_rowscale(w, i, false)) {
    infeasiblerow(w, i, 1);
    return true;
  }
  return false;
}

// The row a x_j in [L, U] becomes bounds of x_j.
void singlerow(prslv_work& w, int32_t i) {
  const prslv_entry& ent = w.ent[w.rhead[i]];
  const int32_t j = ent.col;
  const double a = ent.val;
  if (prslv_keepsbounds(w, j)) return;
  double lower = (a > 0 ? w.blc[i] : w.buc[i]) / a, upper = (a > 0 ? w.buc[i] : w.blc[i]) / a;
  int32_t flags = 0;
  if (std::isfinite(lower) && (std::isinf(w.blx[j]) || istighter(lower - w.blx[j], w.blx[j], a))) {
    lower = std::min(lower, w.bux[j]);  // beyond by rounding only, or the row could not hold
    if (lower > w.blx[j]) flags |= prslv_lower;
  }
  if (std::isfinite(upper) && (std::isinf(w.bux[j]) || istighter(w.bux[j] - upper, w.bux[j], a))) {
    upper = std::max(upper, (flags & prslv_lower) != 0 ? lower : w.blx[j]);
    if (upper < w.bux[j]) flags |= prslv_upper;
  }
  prslv_push(w.rec.stack, prslv_opcode::singlerow, {{i, j, flags}}, {{a}});
  prslv_removerow(w, i);
  if ((flags & prslv_lower) != 0) prslv_setblx(w, j, lower);
  if ((flags & prslv_upper) != 0) prslv_setbux(w, j, upper);
  w.rec.info.numbound += (flags & prslv_lower) + (flags & prslv_upper) / prslv_upper;
  ++w.rec.info.numsingleton;
}

// The row can only hold with every column at the bound that gives its largest (or least) activity.
bool forcing(prslv_work& w, int32_t i, bool upper) {
  const double act = upper ? prslv_actmin(w.act[i]) : prslv_actmax(w.act[i]);
  const double side = upper ? w.buc[i] : w.blc[i];
  if (!std::isfinite(act) || !std::isfinite(side)) return false;
  if (std::abs(act - side) > forcingquick * (1 + std::abs(side))) return false;
  if (std::abs(act - side) > prslv_equtol * prslv_rowscale(w, i, upper)) return false;
  mm_vector<std::pair<int32_t, double>> fix(w.tmpsub.get_allocator().place);
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
    const prslv_entry& ent = w.ent[e];
    if (prslv_isheld(w, ent.col)) return false;
    fix.emplace_back(ent.col, (ent.val > 0) == upper ? w.blx[ent.col] : w.bux[ent.col]);
  }
  prslv_push(w.rec.stack, prslv_opcode::forcing, {{i, upper ? prslv_upper : prslv_lower}}, {});
  prslv_pushrow(w, i, -1);
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
    const int32_t j = w.ent[e].col;
    prslv_pushint(w.rec.stack, w.blx[j] == w.bux[j] ? 1 : 0);
  }
  prslv_removerow(w, i);
  for (const auto& [j, value] : fix) prslv_fixcol(w, j, value);
  ++w.rec.info.numforcing;
  return true;
}

// Takes away sides that the bounds of the columns keep anyway, and the row when none is left.
bool redundant(prslv_work& w, int32_t i) {
  const double low = prslv_actmin(w.act[i]), high = prslv_actmax(w.act[i]);
  const double tol = prslv_equtol;
  const bool freelower = std::isinf(w.blc[i]) || low >= w.blc[i] - tol;
  const bool freeupper = std::isinf(w.buc[i]) || high <= w.buc[i] + tol;
  if (freelower && freeupper) {
    prslv_droprow(w, i);
    ++w.rec.info.numredundant;
    return true;
  }
  if (prslv_isequ(w, i)) return false;  // would be forcing
  if ((freelower && std::isfinite(w.blc[i])) || (freeupper && std::isfinite(w.buc[i]))) {
    prslv_dropsides(w, i, freelower, freeupper);
    ++w.rec.info.numside;
  }
  return false;
}

// Which of the two columns goes: the shorter, if its coefficient is not small beside the other.
int32_t doubletonpick(const prslv_work& w, int32_t e1, int32_t e2) {
  const auto may = [&](int32_t e, int32_t other) {
    return std::abs(w.ent[e].val) >= doubletonpivot * std::abs(w.ent[other].val);
  };
  const bool first = w.clen[w.ent[e1].col] < w.clen[w.ent[e2].col];
  const int32_t e = first ? e1 : e2, other = first ? e2 : e1;
  return may(e, other) ? e : other;
}

// Gives the bounds of column j to k, where a x_j + b x_k = r; returns which bounds of k they replaced.
int32_t inheritbounds(prslv_work& w, int32_t j, int32_t k, double a, double b, double r) {
  const bool same = (a > 0) == (b > 0);
  const double from1 = same ? w.bux[j] : w.blx[j], from2 = same ? w.blx[j] : w.bux[j];
  double lower = std::isfinite(from1) ? (r - a * from1) / b : -prslv_inf;
  double upper = std::isfinite(from2) ? (r - a * from2) / b : prslv_inf;
  int32_t flags = 0;
  if (lower > w.blx[k] && (std::isinf(w.blx[k]) || istighter(lower - w.blx[k], w.blx[k], b / a))) {
    lower = std::min(lower, w.bux[k]);
    flags |= prslv_lower;
  }
  if (upper < w.bux[k] && (std::isinf(w.bux[k]) || istighter(w.bux[k] - upper, w.bux[k], b / a))) {
    upper = std::max(upper, (flags & prslv_lower) != 0 ? lower : w.blx[k]);
    flags |= prslv_upper;
  }
  if ((flags & prslv_lower) != 0) prslv_setblx(w, k, lower);
  if ((flags & prslv_upper) != 0) prslv_setbux(w, k, upper);
  return flags;
}

// The entry of a row in column k, or -1.
int32_t entryof(const prslv_work& w, int32_t row, int32_t k) {
  int32_t e = w.rhead[row];
  while (e >= 0 && w.ent[e].col != k) e = w.ent[e].rnext;
  return e;
}

// Puts x_j = (r - b x_k) / a into every other row of column j.
void doubletonrows(prslv_work& w, int32_t i, int32_t j, int32_t k, double ratio, double value) {
  mm_vector<std::pair<int32_t, double>> col(w.tmpsub.get_allocator().place);
  int64_t inrows = 0;  // entries of these rows
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    if (w.ent[e].row == i) continue;
    col.emplace_back(w.ent[e].row, w.ent[e].val);
    inrows += w.rlen[w.ent[e].row];
  }
  const bool isdense = inrows < w.clen[k];  // every column that gives way to a dense one comes here
  if (isdense) {
    for (const auto& [row, a] : col) w.place[row] = entryof(w, row, k);
  } else {
    for (int32_t e = w.chead[k]; e >= 0; e = w.ent[e].cnext) w.place[w.ent[e].row] = e;
  }
  w.work += double(col.size()) + double(std::min<int64_t>(inrows, w.clen[k]));
  for (const auto& [row, a] : col) {
    prslv_shiftsides(w, row, -a * value);
    const double delta = -a * ratio;
    if (const int32_t e = w.place[row]; e >= 0) {
      const double old = w.ent[e].val;
      w.place[row] = -1;
      prslv_changeentry(w, e, old + delta, std::abs(old) + std::abs(delta));
    } else {
      prslv_addentry(w, row, k, delta);
    }
  }
  if (isdense) {
    for (const auto& [row, a] : col) w.place[row] = -1;
  } else {
    for (int32_t e = w.chead[k]; e >= 0; e = w.ent[e].cnext) w.place[w.ent[e].row] = -1;
  }
}

// Whether the column of e may leave for the held column of the equation's other entry. One that keeps
// its bounds may only be copied: nothing else bounds the copy, and no error is blown up.
bool leavesforheld(prslv_work& w, int32_t e, int32_t other) {
  const prslv_entry& gone = w.ent[e];
  if (prslv_isheld(w, gone.col)) return false;
  const double pivot = std::abs(gone.val), most = pivot / doubletonpivot;
  const double size = std::abs(w.ent[other].val);
  if (size > most) return false;
  if (!prslv_keepsbounds(w, w.ent[other].col)) return true;
  if (pivot > size / doubletonpivot) return false;
  for (int32_t f = w.chead[gone.col]; f >= 0; f = w.ent[f].cnext) {
    if (std::abs(w.ent[f].val) > most) return false;
  }
  w.work += w.clen[gone.col];
  return prslv_isimplied(w, gone.col, false) && prslv_isimplied(w, gone.col, true);
}

}  // namespace

bool prslv_doubleton(prslv_work& w, int32_t i) {
  const int32_t e1 = w.rhead[i], e2 = w.ent[e1].rnext;
  const bool held1 = prslv_isheld(w, w.ent[e1].col), held2 = prslv_isheld(w, w.ent[e2].col);
  const int32_t e = held1 ? e2 : held2 ? e1 : doubletonpick(w, e1, e2);
  if ((held1 || held2) && !leavesforheld(w, e, e == e1 ? e2 : e1)) return false;
  const prslv_entry gone = w.ent[e], kept = w.ent[e == e1 ? e2 : e1];
  const int32_t j = gone.col, k = kept.col;
  const double a = gone.val, b = kept.val, r = w.blc[i];
  const int32_t flags = prslv_keepsbounds(w, k) ? 0 : inheritbounds(w, j, k, a, b, r);
  prslv_push(w.rec.stack, prslv_opcode::doubleton, {{i, j, k, flags}}, {{a, b, r, w.c[j]}});
  prslv_pushcol(w, j, i);
  doubletonrows(w, i, j, k, b / a, r / a);
  w.cfix.add(w.c[j] * (r / a));
  prslv_addcost(w, k, -w.c[j] * (b / a));
  prslv_removerow(w, i);
  prslv_removecol(w, j);
  ++w.rec.info.numdoubleton;
  return true;
}

void prslv_rowcheck(prslv_work& w, int32_t i) {
  if (w.rlive[i] == 0) return;
  w.work += 2;
  if (contradicts(w, i)) return;
  if (w.rlen[i] == 0) {
    prslv_droprow(w, i);
    ++w.rec.info.numemptyrow;
    return;
  }
  if (forcing(w, i, false) || forcing(w, i, true)) return;
  if (redundant(w, i)) return;
  if (w.rlen[i] == 1) {
    singlerow(w, i);
  } else if (w.rlen[i] == 2 && prslv_isequ(w, i)) {
    prslv_doubleton(w, i);
  }
}
