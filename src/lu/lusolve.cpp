// Solves with the factors. Each stage either follows the graph of its factor from the nonzeros of
// the right-hand side (depth-first search, so that it costs what the result costs) or goes through
// all pivots and skips zeros; the densities that results had before decide.
// Gilbert, Peierls, "Sparse partial pivoting in time proportional to arithmetic operations", SIAM J.
// Sci. Stat. Comput. 9 (1988); Hall, McKinnon, "Hyper-sparsity in the revised simplex method and how
// to exploit it", Comput. Optim. Appl. 32 (2005).
#include "lu/lusolve_impl.h"

namespace {

// Lists the nonzeros of an unlisted vector.
void list_all(lu_rec& f, lu_vector& x) {
  int32_t num = 0;
  for (int32_t i = 0; i < f.m; ++i) {
    if (std::abs(x.val[i]) < f.set.droptol)
      x.val[i] = 0;
    else
      x.ind[num++] = i;
  }
  x.num = num;
}

void drop_small(lu_rec& f, lu_vector& x) {
  int32_t num = 0;
  for (int32_t k = 0; k < x.num; ++k) {
    const int32_t i = x.ind[k];
    if (std::abs(x.val[i]) < f.set.droptol)
      x.val[i] = 0;
    else
      x.ind[num++] = i;
  }
  x.num = num;
}

}  // namespace

// Keeps the vector between R and U for an update.
static void keep_spike(lu_rec& f, const lu_vector& x) {
  int32_t num = 0;
  const int32_t end = x.num >= 0 ? x.num : f.m;
  for (int32_t k = 0; k < end; ++k) {
    const int32_t i = x.num >= 0 ? x.ind[k] : k;
    const double v = x.val[i];
    if (std::abs(v) < f.set.droptol) continue;
    f.spikeind[num] = i;
    f.spikeval[num++] = v;
  }
  if (x.num < 0) lu_expect(f, lu_stage_ftranl, num);
  f.spikenum = num;
  f.isspike = true;
}

// U by a pass over all entries of its file, last column first; then all results at once.
static void ftranu_flat(lu_rec& f, lu_vector& x) {
  double* val = x.val.data();
  const int32_t *sub = f.ucol.sub.data(), *of = f.ucolof.data();
  const double* mult = f.ucol.val.data();
  for (auto e = int64_t(f.ucol.sub.size()) - 1; e >= 0; --e) val[sub[e]] -= mult[e] * val[of[e]];
  int32_t num = 0;
  for (int32_t p = 0; p < f.m; ++p) {
    const int32_t i = f.rowofpos[p];
    const bool some = std::abs(val[i]) >= f.set.droptol;
    f.outval[p] = some ? val[i] / f.udiag[i] : 0.0;
    x.ind[num] = p;
    num += int32_t(some);
  }
  std::copy_n(f.outval.begin(), f.m, val);
  x.num = num;
  f.count.solvework += double(f.ucol.sub.size()) + f.m;
  lu_expect(f, lu_stage_ftranu, num);
}

void lu_ftranu(lu_rec& f, lu_vector& x) {
  if (lu_worthflat(f, lu_stage_ftranu, int64_t(f.ucol.sub.size()), f.m)) return ftranu_flat(f, x);
  double* val = x.val.data();
  int32_t* outind = f.outind.data();
  double* outval = f.outval.data();
  const lu_range* at = f.ucolat.data();
  const int32_t *sub = f.ucol.sub.data(), *posof = f.posofrow.data();
  const double *mult = f.ucol.val.data(), *diag = f.udiag.data();
  int32_t num = 0;
  int64_t work = 0;
  const auto eliminate = [&](int32_t i) {
    const double v = val[i];
    val[i] = 0;
    if (std::abs(v) < f.set.droptol) return;
    outind[num] = posof[i];
    outval[num++] = v / diag[i];
    const lu_range r = at[i];
    for (int32_t e = r.beg; e < r.beg + r.num; ++e) val[sub[e]] -= mult[e] * v;
    work += r.num;
  };
  const int32_t top =
      lu_worthsearch(f, lu_stage_ftranu, x) ? lu_reach(f, at, f.ucol.sub.data(), x) : -1;
  if (top >= 0) {
    for (int32_t k = top; k < f.m; ++k) eliminate(f.topo[k]);
    f.count.solvework += double(2 * (work + f.m - top));
  } else {
    for (auto k = int32_t(f.useq.size()) - 1; k >= 0; --k) {
      const int32_t i = f.useq[k];
      if (i >= 0 && val[i] != 0) eliminate(i);
    }
    f.count.solvework += double(work + (int64_t(f.useq.size()) >> 2));
  }
  for (int32_t k = 0; k < num; ++k) {
    val[outind[k]] = outval[k];
    x.ind[k] = outind[k];
  }
  x.num = num;
  lu_expect(f, lu_stage_ftranu, num);
}

// From positions to rows.
static void btran_permute(lu_rec& f, lu_vector& x) {
  int32_t num = 0;
  const int32_t end = x.num >= 0 ? x.num : f.m;
  for (int32_t k = 0; k < end; ++k) {
    const int32_t p = x.num >= 0 ? x.ind[k] : k;
    const double v = x.val[p];
    x.val[p] = 0;
    if (v == 0) continue;
    f.outind[num] = f.rowofpos[p];
    f.outval[num++] = v;
  }
  for (int32_t k = 0; k < num; ++k) {
    x.val[f.outind[k]] = f.outval[k];
    x.ind[k] = f.outind[k];
  }
  x.num = num;
}

void lu_btranu(lu_rec& f, lu_vector& x) {
  double* val = x.val.data();
  int32_t* ind = x.ind.data();
  const lu_slot* at = f.urowat.data();
  const int32_t* sub = f.urow.sub.data();
  const double *mult = f.urow.val.data(), *diag = f.udiag.data();
  int32_t num = 0;
  int64_t work = 0;
  const auto eliminate = [&](int32_t i) {
    double v = val[i];
    if (std::abs(v) < f.set.droptol) {
      val[i] = 0;
      return;
    }
    v /= diag[i];
    val[i] = v;
    ind[num++] = i;
    const lu_slot r = at[i];
    for (int32_t e = r.beg; e < r.beg + r.num; ++e) val[sub[e]] -= mult[e] * v;
    work += r.num;
  };
  const int32_t from = x.num == 1 ? f.useqat[ind[0]] : 0;
  const int32_t top = lu_worthsearch(f, lu_stage_btranu, x) ? lu_reach(f, at, sub, x) : -1;
  if (top >= 0) {
    for (int32_t k = top; k < f.m; ++k) eliminate(f.topo[k]);
    f.count.solvework += double(2 * (work + f.m - top));
  } else {
    const auto end = int32_t(f.useq.size());
    for (int32_t k = from; k < end; ++k) {
      const int32_t i = f.useq[k];
      if (i >= 0 && val[i] != 0) eliminate(i);
    }
    f.count.solvework += double(work + ((end - from) >> 2));
  }
  x.num = num;
  lu_expect(f, lu_stage_btranu, num);
}

void lu_ftran(lu_rec& f, lu_vector& x, bool keepspike) {
  f.kind = keepspike ? 0 : 1;
  if (x.num >= 0) drop_small(f, x);
  lu_ftranl(f, x);
  lu_ftranr(f, x);
  if (keepspike) keep_spike(f, x);
  lu_ftranu(f, x);
}

void lu_btran(lu_rec& f, lu_vector& x) {
  btran_permute(f, x);
  const bool isunit = x.num == 1;
  f.kind = isunit ? 0 : 1;
  const int32_t row = isunit ? x.ind[0] : -1;
  const double scale = isunit ? x.val[row] : 0;
  lu_btranu(f, x);
  if (isunit) {  // U^-T e, without the diagonal entry
    int32_t num = 0;
    for (int32_t k = 0; k < x.num; ++k) {
      if (x.ind[k] == row) continue;
      f.ueinvind[num] = x.ind[k];
      f.ueinvval[num++] = x.val[x.ind[k]] / scale;
    }
    f.ueinvnum = num;
    f.ueinvrow = row;
  }
  lu_btranr(f, x);
  lu_btranl(f, x);
  if (x.num >= 0) {
    drop_small(f, x);
  } else {
    list_all(f, x);
    lu_expect(f, lu_stage_btranl, x.num);
  }
}
