// Reductions of one column: those that the signs of its cost and entries decide, and columns with a
// single entry.
#include <algorithm>

#include "prslv/prsrow.h"

namespace {

// A singleton column leaves through its row only when its coefficient is at least this part of the
// largest of the row: its value is the row's rest divided by it.
constexpr double slackpivot = 1e-3;
// The slacks of a longer row leave together: each alone costs a pass over the row.
constexpr int32_t slackrowlen = 50;

// Which ways the rows of a column keep it from growing or from falling.
struct col_locks {
  bool up = false, down = false;
};
col_locks locksof(prslv_work& w, int32_t j) {
  col_locks locks;
  int32_t seen = 0;
  for (int32_t e = w.chead[j]; e >= 0 && !(locks.up && locks.down); e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    const bool haslower = std::isfinite(w.blc[ent.row]), hasupper = std::isfinite(w.buc[ent.row]);
    locks.up = locks.up || (ent.val > 0 ? hasupper : haslower);
    locks.down = locks.down || (ent.val > 0 ? haslower : hasupper);
    ++seen;
  }
  w.work += seen;
  return locks;
}

void unboundcol(prslv_work& w, int32_t j, double dir) {
  w.seed.assign(1, {j, dir});
  prslv_unbound(w);
}

double nearzero(const prslv_work& w, int32_t j) {
  return std::clamp(0.0, w.blx[j], w.bux[j]);
}

// A column without entries stands where its cost is least.
void emptycol(prslv_work& w, int32_t j) {
  const double c = w.c[j];
  const double best = c > 0 ? w.blx[j] : c < 0 ? w.bux[j] : nearzero(w, j);
  if (std::isfinite(best)) {
    prslv_fixcol(w, j, best);
    ++w.rec.info.numemptycol;
  } else if (std::abs(c) <= w.set.tols) {
    prslv_fixcol(w, j, nearzero(w, j));
    ++w.rec.info.numemptycol;
  } else {
    unboundcol(w, j, c > 0 ? -1 : 1);
  }
}

// A column without cost that can run to infinity and satisfies every one of its rows there: all these
// rows bind nothing, and the column takes the value that they need in the end.
void forcecol(prslv_work& w, int32_t j, int32_t dir) {
  mm_vector<int32_t> rows(w.tmpsub.get_allocator().place);
  prslv_push(w.rec.stack, prslv_opcode::forcecol, {{j, dir, w.clen[j]}}, {{w.blx[j], w.bux[j]}});
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const int32_t i = w.ent[e].row;
    rows.push_back(i);
    prslv_pushint(w.rec.stack, i);
    for (const double v : {w.ent[e].val, w.blc[i], w.buc[i]}) w.rec.stack.dval.push_back(v);
    prslv_pushrow(w, i, j);
  }
  for (const int32_t i : rows) prslv_removerow(w, i);
  prslv_removecol(w, j);
  ++w.rec.info.numforcecol;
}

// A column that nothing keeps from falling (rising) although its cost wants it to, or is zero.
bool weaklydominated(prslv_work& w, int32_t j) {
  const double c = w.c[j];
  const col_locks locks = locksof(w, j);
  const bool down = c >= 0 && !locks.down, up = c <= 0 && !locks.up;
  if (!down && !up) return false;
  const bool godown = down && (!up || std::isfinite(w.blx[j]));
  const double bound = godown ? w.blx[j] : w.bux[j];
  if (std::abs(bound) < prslv_hugebound) {
    prslv_fixcol(w, j, bound);
    ++w.rec.info.numdomcol;
    return true;
  }
  if (std::isfinite(bound)) return false;
  if (std::abs(c) > w.set.tols) {
    unboundcol(w, j, godown ? -1 : 1);
    return true;
  }
  if (c != 0) return false;
  forcecol(w, j, godown ? -1 : 1);
  return true;
}

// Whether the row of e alone, as an equation with this side, keeps the column within its bounds.
bool impliedfreeat(prslv_work& w, const prslv_entry& e, double side) {
  const double low = w.blc[e.row], high = w.buc[e.row];
  w.blc[e.row] = w.buc[e.row] = side;
  const bool isfree = prslv_impliedlower(w, e) >= w.blx[e.col] - prslv_equtol &&
                      prslv_impliedupper(w, e) <= w.bux[e.col] + prslv_equtol;
  w.blc[e.row] = low;
  w.buc[e.row] = high;
  return isfree;
}

// Whether the entry is large enough beside the others of its row to be solved for.
bool maypivot(prslv_work& w, int32_t e) {
  const int32_t i = w.ent[e].row;
  const double most = std::abs(w.ent[e].val) / slackpivot;
  if (w.rowmax[i] <= most) return true;
  if (w.rowmaxlen[i] == w.rlen[i]) return false;
  double rowmax = 0;
  for (int32_t f = w.rhead[i]; f >= 0; f = w.ent[f].rnext) {
    rowmax = std::max(rowmax, std::abs(w.ent[f].val));
  }
  w.work += w.rlen[i];
  w.rowmax[i] = rowmax;
  w.rowmaxlen[i] = w.rlen[i];
  return rowmax <= most;
}

struct row_sides {
  double lower, upper;
};

// Adds the slack column of e to the record begun last; returns the sides that the rest of its row gets.
row_sides pushslack(prslv_work& w, int32_t e, int32_t side, const row_sides& now) {
  const int32_t j = w.ent[e].col;
  const double a = w.ent[e].val;
  prslv_pushint(w.rec.stack, j);
  prslv_pushint(w.rec.stack, side);
  for (const double v : {a, now.lower, now.upper, w.blx[j], w.bux[j], w.c[j]}) {
    w.rec.stack.dval.push_back(v);
  }
  const double lower = a > 0 ? w.blx[j] : w.bux[j], upper = a > 0 ? w.bux[j] : w.blx[j];
  return {std::isfinite(upper) ? prslv_cleansum(now.lower, -a * upper) : -prslv_inf,
          std::isfinite(lower) ? prslv_cleansum(now.upper, -a * lower) : prslv_inf};
}

// A held column with one value left stays, but its terms join the sides of its rows.
void emptyfixed(prslv_work& w, int32_t j) {
  if (prslv_keepsbounds(w, j) || w.blx[j] != w.bux[j] || w.clen[j] == 0) return;
  w.work += w.clen[j];
  prslv_push(w.rec.stack, prslv_opcode::emptycol, {{j}}, {});
  prslv_pushcol(w, j, -1);
  for (int32_t e = w.chead[j], next = -1; e >= 0; e = next) {
    next = w.ent[e].cnext;
    prslv_shiftsides(w, w.ent[e].row, -w.ent[e].val * w.blx[j]);
    prslv_removeentry(w, e);
  }
}

}  // namespace

bool prslv_slackcol(prslv_work& w, int32_t j, int32_t e) {
  const int32_t i = w.ent[e].row;
  const double a = w.ent[e].val, c = w.c[j];
  int32_t side = 0;
  double low = w.blc[i], high = w.buc[i];
  if (c != 0 && low != high) {
    // The multiplier of the row is c / a if no bound of x_j can hold: the row stands at one side.
    side = (c > 0) == (a > 0) ? prslv_lower : prslv_upper;
    const double at = side == prslv_lower ? low : high;
    if (!std::isfinite(at) || !impliedfreeat(w, w.ent[e], at)) return false;
    low = high = at;
  }
  if (!maypivot(w, e)) return false;
  prslv_push(w.rec.stack, prslv_opcode::slack, {{i, 1}}, {});
  prslv_pushrow(w, i, j);
  const row_sides rest = pushslack(w, e, side, {low, high});
  if (c != 0) {
    w.cfix.add(c / a * low);
    for (int32_t f = w.rhead[i]; f >= 0; f = w.ent[f].rnext) {
      if (f != e) prslv_addcost(w, w.ent[f].col, -(c / a) * w.ent[f].val);
    }
  }
  prslv_removecol(w, j);
  if (side != 0) {
    ++w.rec.info.numimplfree;
    prslv_droprow(w, i);
  } else {
    ++w.rec.info.numslack;
    prslv_setsides(w, i, rest.lower, rest.upper);
  }
  return true;
}

void prslv_slackrow(prslv_work& w, int32_t i) {
  if (w.rlive[i] == 0) return;
  mm_vector<int32_t> free(w.tmpsub.get_allocator().place), dear(free.get_allocator());
  w.tmpsub.clear();
  w.tmpval.clear();
  w.work += w.rlen[i];
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
    const int32_t j = w.ent[e].col;
    const bool isslack = w.clen[j] == 1 && !prslv_isheld(w, j);
    if (isslack && w.c[j] == 0 && maypivot(w, e)) {
      free.push_back(e);
      continue;
    }
    if (isslack && w.c[j] != 0) dear.push_back(j);
    w.tmpsub.push_back(j);
    w.tmpval.push_back(w.ent[e].val);
  }
  if (!free.empty()) {
    prslv_push(w.rec.stack, prslv_opcode::slack, {{i, int32_t(free.size())}}, {});
    prslv_pushlist(w.rec.stack, w.tmpsub, w.tmpval);
    row_sides side = {w.blc[i], w.buc[i]};
    for (const int32_t e : free) side = pushslack(w, e, 0, side);
    for (const int32_t e : free) prslv_removecol(w, w.ent[e].col);
    w.rec.info.numslack += int32_t(free.size());
    prslv_setsides(w, i, side.lower, side.upper);
  }
  for (const int32_t j : dear) {
    if (w.rlive[i] == 0) return;
    if (w.clive[j] != 0 && w.clen[j] == 1 && w.c[j] != 0) prslv_slackcol(w, j, w.chead[j]);
  }
}

void prslv_colcheck(prslv_work& w, int32_t j) {
  if (w.clive[j] == 0) return;
  w.work += 2;
  if (prslv_isheld(w, j)) return emptyfixed(w, j);
  const double l = w.blx[j], u = w.bux[j];
  if (w.clen[j] == 0) {
    emptycol(w, j);
    return;
  }
  if (std::isfinite(u - l) && u - l <= prslv_equtol * (1 + std::abs(l))) {
    prslv_fixcol(w, j, w.c[j] >= 0 ? l : u);
    ++w.rec.info.numfixed;
    return;
  }
  if (weaklydominated(w, j) || w.stop) return;
  if (w.clen[j] != 1) return;
  const int32_t e = w.chead[j], i = w.ent[e].row;
  if (w.rlen[i] > slackrowlen) {
    prslv_enqueue(w.slackq, i);
  } else {
    prslv_slackcol(w, j, e);
  }
}
