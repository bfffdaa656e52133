// A row with one side gives its multiplier a sign; a column with an infinite bound gives its reduced
// cost one, which is a linear inequality of the multipliers. With the signs of the other rows it
// bounds each of them; from these bounds follow signs of reduced costs and of multipliers. A bound
// that rows imply is as good as none, if it is given up when a conclusion rests on that.
//
// What is concluded takes a condition away: z_j >= 0 fixes x_j, so that z_j >= 0 is not asked for any
// more; y_i > 0 makes row i an equation, so that y_i >= 0 is not. Therefore a conclusion rests only
// on conditions of other rows and columns, and what one rested on stays until the next call: then the
// problem after it has the same dual feasible points, even when that is none. z_j >= 0 is enough: a
// little more cost makes it sharp, and takes away no bound of y, so an optimum with x_j at its bound
// is the limit.
#include "prslv/prsdom.h"

#include <algorithm>

namespace {

// A reduced cost that is not beyond this has a sign; relative to its largest term.
constexpr double signtol = 1e-13;
// A derived bound beyond this is not used: it would come from dividing by something tiny.
constexpr double maxmult = 1e9;

struct dom_bounds {
  mm_vector<double> lower, upper;           // of the multiplier of each row
  mm_vector<int32_t> lowerfrom, upperfrom;  // 2 * column that gave it + isup; -1: the row's sign
  mm_vector<uint8_t> rowused, colused;      // a conclusion rests on its sign
  mm_vector<uint8_t> rowgone, colgone;      // its sign was taken away
  dom_bounds(int32_t m, int32_t n, mm_place at)
      : lower(m, -prslv_inf, at),
        upper(m, prslv_inf, at),
        lowerfrom(m, -1, at),
        upperfrom(m, -1, at),
        rowused(m, 0, at),
        colused(n, 0, at),
        rowgone(m, 0, at),
        colgone(n, 0, at) {}
};

struct dom_sum {
  exact_sum sum;
  int32_t numinf = 0;
  double scale = 0;
  void add(double val, double bound) {
    if (std::isinf(bound)) {
      ++numinf;
    } else if (bound != 0) {
      sum.add(val * bound);
      scale = std::max(scale, std::abs(val * bound));
    }
  }
};

bool haslower(const prslv_work& w, int32_t i) {  // y_i >= 0
  return std::isinf(w.buc[i]);
}
bool hasupper(const prslv_work& w, int32_t i) {
  return std::isinf(w.blc[i]);
}

void offer(double value, int32_t from, bool upper, int32_t i, dom_bounds& y) {
  if (std::abs(value) > maxmult) return;
  double& at = upper ? y.upper[i] : y.lower[i];
  if (upper ? value >= at : value <= at) return;
  at = value;
  (upper ? y.upperfrom : y.lowerfrom)[i] = from;
}

// The column's product with y is at most (at least) c: by the signs of the other rows, its terms but
// for one are at least (at most) zero.
void derive(const prslv_work& w, int32_t j, bool atmost, dom_bounds& y) {
  int32_t wild = -1;  // the only entry whose term may have either sign
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    if ((ent.val > 0) == atmost ? haslower(w, ent.row) : hasupper(w, ent.row)) continue;
    if (wild >= 0) return;
    wild = e;
  }
  if (!prslv_isimplied(w, j, atmost)) return;
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    if (wild >= 0 && e != wild) continue;
    offer(w.c[j] / ent.val, 2 * j + (atmost ? 1 : 0), (ent.val > 0) == atmost, ent.row, y);
  }
}

// Whether the bound of row i from column k is still founded without column j; marks what it rests on.
bool founded(const prslv_work& w, dom_bounds& y, int32_t i, int32_t from, int32_t j, bool mark) {
  if (from < 0) {
    if (mark) y.rowused[i] = 1;
    return y.rowgone[i] == 0;
  }
  const int32_t k = from / 2;
  if (k == j || y.colgone[k] != 0) return false;
  if (mark) y.colused[k] = 1;
  for (int32_t e = w.chead[k]; e >= 0; e = w.ent[e].cnext) {
    const int32_t row = w.ent[e].row;
    if (row == i) continue;
    if (y.rowgone[row] != 0) return false;
    if (mark) y.rowused[row] = 1;
  }
  return true;
}

int32_t fromof(const dom_bounds& y, const prslv_entry& ent, bool largest) {
  return ((ent.val > 0) == largest ? y.upperfrom : y.lowerfrom)[ent.row];
}

// Takes the bounds away whose absence was supposed: their rows keep the columns within them.
bool relaxfor(prslv_work& w, const dom_bounds& y, int32_t j, bool largest) {
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const int32_t from = fromof(y, w.ent[e], largest);
    if (from >= 0 && !prslv_relax(w, from / 2, from % 2 != 0)) return false;
  }
  return true;
}

// Whether all bounds behind the least (largest) product of column j are founded without it.
bool colfounded(const prslv_work& w, dom_bounds& y, int32_t j, bool largest, bool mark) {
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    const int32_t from = fromof(y, ent, largest);
    if (!founded(w, y, ent.row, from, j, mark)) return false;
  }
  return true;
}

dom_sum product(const prslv_work& w, const dom_bounds& y, int32_t j, bool largest) {
  dom_sum out;
  for (int32_t e = w.chead[j]; e >= 0 && out.numinf == 0; e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    out.add(ent.val, (ent.val > 0) == largest ? y.upper[ent.row] : y.lower[ent.row]);
  }
  return out;
}

void fixcolumn(prslv_work& w, dom_bounds& y, int32_t j) {
  if (y.colused[j] != 0) return;
  const double c = w.c[j];
  const dom_sum most = product(w, y, j, true), least = product(w, y, j, false);
  const auto sure = [&](double z, const dom_sum& sum) {
    return sum.numinf == 0 && z >= -signtol * (std::abs(c) + sum.scale);
  };
  const bool down = std::abs(w.blx[j]) < prslv_hugebound && sure(c - most.sum.value(), most);
  const bool up =
      !down && std::abs(w.bux[j]) < prslv_hugebound && sure(least.sum.value() - c, least);
  if (down == up) return;
  const double bound = down ? w.blx[j] : w.bux[j];
  if (!colfounded(w, y, j, down, false) || !relaxfor(w, y, j, down)) return;
  colfounded(w, y, j, down, true);
  y.colgone[j] = 1;
  prslv_fixcol(w, j, bound);
  ++w.rec.info.numdomcol;
}

void fixrow(prslv_work& w, dom_bounds& y, int32_t i) {
  if (y.rowused[i] != 0) return;
  const double tol = 1e1 * w.set.tols;
  const bool low = y.lower[i] > tol, high = y.upper[i] < -tol;
  const double side = low ? w.blc[i] : w.buc[i];
  if (low == high || std::isinf(side)) return;
  const int32_t from = low ? y.lowerfrom[i] : y.upperfrom[i];
  if (!founded(w, y, i, from, -1, false) || !prslv_relax(w, from / 2, from % 2 != 0)) return;
  founded(w, y, i, from, -1, true);
  y.rowgone[i] = 1;
  prslv_setsides(w, i, side, side);
  ++w.rec.info.numimplequ;
}

}  // namespace

void prslv_domcols(prslv_work& w) {
  dom_bounds y(w.m, w.n, w.tmpsub.get_allocator().place);
  for (int32_t i = 0; i < w.m; ++i) {
    if (w.rlive[i] == 0) continue;
    if (haslower(w, i)) y.lower[i] = 0;
    if (hasupper(w, i)) y.upper[i] = 0;
  }
  for (int32_t j = 0; j < w.n; ++j) {
    if (w.clive[j] == 0 || prslv_isheld(w, j)) continue;
    derive(w, j, true, y);
    derive(w, j, false, y);
  }
  for (int32_t j = 0; j < w.n; ++j) {
    if (w.clive[j] != 0 && !prslv_isheld(w, j) && w.clen[j] > 0) fixcolumn(w, y, j);
  }
  for (int32_t i = 0; i < w.m; ++i) {
    if (w.rlive[i] != 0 && w.rlen[i] > 0 && !prslv_isequ(w, i)) fixrow(w, y, i);
  }
  w.work += 3.0 * double(w.numanz);
}
