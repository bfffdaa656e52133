// Substitution of implied free columns in Markowitz order. A column is implied free when rows keep it
// within its bounds; it can then be taken from an equation and put into its other rows. The pivot
// rules keep the errors small that x_j and the multiplier of the equation inherit when they are
// recovered, the fill rule keeps the problem as sparse as it was.
#include "prslv/prselim.h"

#include <algorithm>

#include "misc/prique.h"

namespace {

constexpr int32_t elimmaxcol = 10;     // entries of a column
constexpr int32_t elimmaxrow = 200;    // entries of its equation
constexpr double elimpivotcol = 0.01;  // of the largest entry of the column
constexpr double elimpivotrow = 1e-2;  // of the largest entry of the equation
// Entries that may come net of those that go, times the fill setting.
constexpr int64_t elimfillunit = 10;
// Entries touched, times the entries of the problem.
constexpr double elimworklim = 20;

struct elim_pick {
  int32_t entry = -1;
  int64_t cost = 0;
};

// Whether the entry may be the pivot, by its row; without columns that must stay as they are.
bool rowallows(prslv_work& w, int32_t e) {
  const double pivot = std::abs(w.ent[e].val);
  w.work += w.rlen[w.ent[e].row];
  for (int32_t f = w.rhead[w.ent[e].row]; f >= 0; f = w.ent[f].rnext) {
    if (prslv_isheld(w, w.ent[f].col) || pivot < elimpivotrow * std::abs(w.ent[f].val))
      return false;
  }
  return true;
}

// The equation of the column with the least possible fill, at least beyond; entry -1: there is none.
elim_pick pick(prslv_work& w, int32_t j, int64_t beyond) {
  elim_pick best;
  if (w.clive[j] == 0 || prslv_isheld(w, j)) return best;
  if (w.clen[j] < 1 || w.clen[j] > elimmaxcol) return best;
  double colmax = 0;
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    colmax = std::max(colmax, std::abs(w.ent[e].val));
  }
  w.work += w.clen[j];
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    const int32_t len = w.rlen[ent.row];
    if (!prslv_isequ(w, ent.row) || len > elimmaxrow || len < 2) continue;
    const int64_t cost = int64_t(len - 1) * (w.clen[j] - 1);
    if (cost < beyond || (best.entry >= 0 && cost >= best.cost)) continue;
    if (std::abs(ent.val) >= elimpivotcol * colmax) best = {e, cost};
  }
  return best;
}

// Entries more than before after the substitution; counting ends beyond limit.
int64_t netfill(prslv_work& w, int32_t i, int32_t j, int64_t limit) {
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) w.place[w.ent[e].col] = e;
  int64_t fill = -int64_t(w.rlen[i]) - w.clen[j] + 1;
  for (int32_t e = w.chead[j]; e >= 0 && fill <= limit; e = w.ent[e].cnext) {
    const int32_t row = w.ent[e].row;
    if (row == i) continue;
    int32_t common = 0;
    for (int32_t f = w.rhead[row]; f >= 0; f = w.ent[f].rnext) {
      common += w.place[w.ent[f].col] >= 0 ? 1 : 0;
    }
    fill += w.rlen[i] - common;
    w.work += w.rlen[row];
  }
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) w.place[w.ent[e].col] = -1;
  return fill;
}

// Adds factor times row i, but for its entry of column j, to another row.
void addrow(prslv_work& w, int32_t i, int32_t j, int32_t row, double factor) {
  for (int32_t f = w.rhead[row]; f >= 0; f = w.ent[f].rnext) w.place[w.ent[f].col] = f;
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
    const int32_t k = w.ent[e].col;
    if (k == j) continue;
    const double delta = factor * w.ent[e].val;
    if (const int32_t f = w.place[k]; f >= 0) {
      const double old = w.ent[f].val;
      w.place[k] = -1;
      prslv_changeentry(w, f, old + delta, std::abs(old) + std::abs(delta));
    } else {
      prslv_addentry(w, row, k, delta);
    }
  }
  for (int32_t f = w.rhead[row]; f >= 0; f = w.ent[f].rnext) w.place[w.ent[f].col] = -1;
  w.work += 2.0 * (w.rlen[row] + w.rlen[i]);
}

void substitute(prslv_work& w, int32_t pivot) {
  const int32_t i = w.ent[pivot].row, j = w.ent[pivot].col;
  const double a = w.ent[pivot].val, rhs = w.blc[i], cost = w.c[j];
  prslv_push(w.rec.stack, prslv_opcode::subst, {{i, j, 0}}, {{a, rhs, cost}});
  prslv_pushrow(w, i, j);
  prslv_pushcol(w, j, i);
  w.cfix.add(cost / a * rhs);
  if (cost != 0) {
    for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
      if (e != pivot) prslv_addcost(w, w.ent[e].col, -(cost / a) * w.ent[e].val);
    }
  }
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const int32_t row = w.ent[e].row;
    if (row == i) continue;
    const double factor = -w.ent[e].val / a;
    prslv_shiftsides(w, row, factor * rhs);
    addrow(w, i, j, row, factor);
  }
  prslv_removerow(w, i);
  prslv_removecol(w, j);
  ++w.rec.info.numelim;
}

// Beside cones and quadratic terms one unit less: the systems there eliminate free columns themselves, in
// an order that makes less fill, and what was substituted is out of its reach.
int64_t fillallowed(const prslv_work& w) {
  return elimfillunit * std::max(w.set.elimfill - (w.numheld > 0 ? 1 : 0), 0);
}

// Substitutes column j if an equation of it allows that. Equations of like length count as one.
bool trycolumn(prslv_work& w, int32_t j, mm_vector<int32_t>& touched) {
  for (elim_pick p = pick(w, j, 0); p.entry >= 0; p = pick(w, j, p.cost + 1)) {
    const int32_t i = w.ent[p.entry].row;
    const int64_t limit = fillallowed(w);
    if (!rowallows(w, p.entry) || netfill(w, i, j, limit) > limit) continue;
    touched.clear();
    for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) touched.push_back(w.ent[e].col);
    substitute(w, p.entry);
    return true;
  }
  return false;
}

bool impliedfree(prslv_work& w, int32_t j) {
  w.work += w.clen[j];
  return prslv_isimplied(w, j, false) && prslv_isimplied(w, j, true);
}

}  // namespace

void prslv_eliminate(prslv_work& w) {
  const double limit = w.work + elimworklim * (double(w.numanz) + w.numlivecon + w.numlivevar);
  prique queue(w.n, w.tmpsub.get_allocator().place);
  const auto offer = [&](int32_t j) {
    const elim_pick p = pick(w, j, 0);
    if (p.entry >= 0 && impliedfree(w, j)) prique_update(queue, j, p.cost);
  };
  for (int32_t j = prslv_dequeue(w.elimq); j >= 0; j = prslv_dequeue(w.elimq)) offer(j);
  mm_vector<int32_t> touched(w.tmpsub.get_allocator().place);
  for (int32_t j = prique_min(queue); j >= 0 && w.work < limit; j = prique_min(queue)) {
    prique_remove(queue, j);
    if (!prslv_poll(w)) return;
    if (w.clive[j] == 0 || !impliedfree(w, j) || !trycolumn(w, j, touched)) continue;
    for (const int32_t k : touched) offer(k);
  }
}
