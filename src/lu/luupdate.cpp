// Forrest-Tomlin exchange of a column. The spike becomes the last column of U, the row of the column
// that goes is eliminated by one row transformation, and that row's pivot moves to the end.
// Forrest, Tomlin, "Updated triangular factors of the basis to maintain sparsity in the product form
// simplex method", Math. Program. 2 (1972).
#include <cmath>

#include "lu/lufactor_impl.h"

namespace {

// r' = (row t of U) U^-1 without the pivot, from U^-T e_t = (1, -r) / u_tt. Solved for when no
// lu_btran has left it.
void row_of_inverse(lu_rec& f, int32_t t) {
  if (f.ueinvrow == t) return;
  double* val = f.dense.data();
  const auto end = int32_t(f.useq.size());
  int32_t num = 0;
  val[t] = 1;
  for (int32_t k = f.useqat[t]; k < end; ++k) {
    const int32_t i = f.useq[k];
    if (i < 0 || val[i] == 0) continue;
    const double v = val[i] / f.udiag[i];
    val[i] = 0;
    if (std::abs(v) < f.set.droptol) continue;
    if (i != t) {
      f.ueinvind[num] = i;
      f.ueinvval[num++] = v;
    }
    const lu_slot r = f.urowat[i];
    for (int32_t e = r.beg; e < r.beg + r.num; ++e) val[f.urow.sub[e]] -= f.urow.val[e] * v;
    f.count.solvework += r.num;
  }
  f.count.solvework += double(end - f.useqat[t]) / 4;
  f.ueinvnum = num;
  f.ueinvrow = t;
}

// Takes the entry of subscript s out of a vector; its place becomes a zero.
template <class Range>
void take_out(lu_file& file, Range& at, int32_t s) {
  const int32_t* sub = file.sub.data();
  int32_t e = at.beg;
  while (sub[e] != s) ++e;
  const int32_t last = at.beg + --at.num;
  file.sub[e] = file.sub[last];
  file.val[e] = file.val[last];
  file.val[last] = 0;
}

void put_in_row(lu_rec& f, int32_t i, int32_t t, double v) {
  lu_slot& at = f.urowat[i];
  lu_makeroom(f.urow, at);
  f.urow.sub[at.beg + at.num] = t;
  f.urow.val[at.beg + at.num++] = v;
}

void exchange(lu_rec& f, int32_t t, double diag) {
  const lu_slot row = f.urowat[t];
  for (int32_t e = row.beg; e < row.beg + row.num; ++e)
    take_out(f.ucol, f.ucolat[f.urow.sub[e]], t);
  f.urowat[t].num = 0;
  const lu_range col = f.ucolat[t];
  for (int32_t e = col.beg; e < col.beg + col.num; ++e)
    take_out(f.urow, f.urowat[f.ucol.sub[e]], t);
  std::fill_n(f.ucol.val.begin() + col.beg, col.num, 0.0);

  f.ucolat[t] = {int32_t(f.ucol.sub.size()), 0};
  for (int32_t k = 0; k < f.spikenum; ++k) {
    const int32_t i = f.spikeind[k];
    if (i == t) continue;
    f.ucol.sub.push_back(i);
    f.ucol.val.push_back(f.spikeval[k] / diag);
    f.ucolof.push_back(t);
    put_in_row(f, i, t, f.spikeval[k]);
  }
  f.ucolat[t].num = int32_t(f.ucol.sub.size()) - f.ucolat[t].beg;
  f.count.nnzupdate += f.ucolat[t].num;

  const double old = f.udiag[t];
  for (int32_t k = 0; k < f.ueinvnum; ++k) {
    const double r = -old * f.ueinvval[k];
    if (std::abs(r) < f.set.droptol) continue;
    f.reta.sub.push_back(f.ueinvind[k]);
    f.reta.val.push_back(r);
  }
  if (const auto end = int32_t(f.reta.sub.size()); end > f.retabeg.back()) {
    f.count.nnzupdate += end - f.retabeg.back();
    f.retabeg.push_back(end);
    f.retarow.push_back(t);
  }
  f.udiag[t] = diag;
  f.useq[f.useqat[t]] = -1;
  f.useqat[t] = int32_t(f.useq.size());
  f.useq.push_back(t);
}

}  // namespace

lu_state lu_update(lu_rec& f, int32_t p, double alpha) {
  if (!f.isspike || !f.isfactored) return lu_state::unstable;
  const int32_t t = f.rowofpos[p];
  row_of_inverse(f, t);
  // The new pivot, by elimination of the row and by the determinant's quotient.
  double st = 0, sum = 0, most = 0;
  for (int32_t k = 0; k < f.ueinvnum; ++k) {
    f.dense[f.ueinvind[k]] = f.ueinvval[k];
    most = std::max(most, std::abs(f.ueinvval[k]));
  }
  most *= std::abs(f.udiag[t]);
  for (int32_t k = 0; k < f.spikenum; ++k) {
    const int32_t i = f.spikeind[k];
    if (i == t) st = f.spikeval[k];
    sum += f.dense[i] * f.spikeval[k];
  }
  for (int32_t k = 0; k < f.ueinvnum; ++k) f.dense[f.ueinvind[k]] = 0;
  const double diag = st + f.udiag[t] * sum, expected = f.udiag[t] * alpha;
  const double differ = std::abs(diag - expected), size = std::abs(diag) + std::abs(expected);
  if (!(differ <= f.set.updtol * size) || diag == 0) return lu_state::unstable;

  f.isfactored = false;  // until all is in place
  exchange(f, t, diag);
  f.isfactored = true;
  f.isspike = false;
  f.ueinvrow = -1;
  f.count.extrawork += f.ueinvnum + f.spikenum;
  ++f.count.numupdate;
  ++f.count.totupdate;
  const double room = f.set.maxfill * (double(f.count.nnzl + f.count.nnzu) + f.m);
  const bool worn =
      (differ > f.set.agedtol * size || most > f.set.maxmult) && f.count.numupdate >= f.set.minaged;
  const bool full = f.count.numupdate >= f.set.maxupdate || double(f.count.nnzupdate) > room;
  return worn || full ? lu_state::refactor : lu_state::ok;
}

bool lu_wantfactor(const lu_rec& f) {
  if (f.count.numupdate == 0) return false;
  return f.count.extrawork > f.count.facwork;
}
