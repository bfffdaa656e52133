// Solves with the factors. Each stage either follows the graph of its factor from the nonzeros of
// the right-hand side (depth-first search, so that it costs what the result costs) or goes through
// all pivots and skips zeros; the densities that results had before decide.
// Gilbert, Peierls, "Sparse partial pivoting in time proportional to arithmetic operations", SIAM J.
// Sci. Stat. Comput. 9 (1988); Hall, McKinnon, "Hyper-sparsity in the revised simplex method and how
// to exploit it", Comput. Optim. Appl. 32 (2005).
#include <algorithm>
#include <bit>
#include <cmath>

#include "lu/lufactor_impl.h"

namespace {

enum stage { stage_ftranl, stage_ftranu, stage_btranu, stage_btranl };

// Stands for a listed zero while a stage works, so that the position is not listed twice.
constexpr double listedzero = 1e-100;
// Weight of the last result in the expected density.
constexpr double densityweight = 0.1;
// Up to this expected density a pass over all pivots keeps the list of nonzeros.
constexpr double listdensity = 0.05;
// From this expected density on, a pass over all entries without a look at zeros may be faster: one
// entry costs 1 then, and else an entry that is met costs 0.7 and a node 3 (by its branches).
constexpr double flatdensity = 0.3;
constexpr double metcost = 0.7, nodecost = 3;
// Where nobody counts the nonzeros, the expected density fades until a listed pass is tried again.
constexpr double unlistedfade = 0.99;
// Below this order searches do not pay.
constexpr int32_t searchorder = 64;
// A search that reaches this multiple of what was thought sparse is given up.
constexpr double giveup = 2;
// Cost of an entry met by following columns of row transformations, against one in a dot product.
constexpr double sparsecost = 4;

void expect(lu_rec& f, stage s, int32_t num) {
  double& d = f.density[f.kind][s];
  d += densityweight * (double(num) / double(std::max(f.m, 1)) - d);
}

bool worth_search(const lu_rec& f, stage s, const lu_vector& x) {
  return x.num >= 0 && f.m >= searchorder && x.num <= f.set.sparsedens * f.m &&
         f.density[f.kind][s] <= f.set.sparseexpected;
}

bool worth_flat(const lu_rec& f, stage s, int64_t nnz, int64_t numnode) {
  const double d = f.density[f.kind][s];
  return f.isfactored && d > flatdensity &&
         double(nnz) * (1 - metcost * d) < nodecost * double(numnode);
}

// Entry i minus d in a listed vector.
inline void subtract(double* x, int32_t* ind, int32_t& num, int32_t i, double d) {
  const double old = x[i];
  if (old == 0) ind[num++] = i;
  const double now = old - d;
  x[i] = std::abs(now) < listedzero ? listedzero : now;
}

// The nodes reached from the nonzeros of x, in topological order in f.topo from the place that is
// returned on; -1 when they are too many. at gives the edges of a node in sub.
template <class Range>
int32_t reach(lu_rec& f, const Range* at, const int32_t* sub, const lu_vector& x) {
  uint8_t* mark = f.mark.data();
  int32_t *out = f.topo.data(), *stack = f.stack.data(), *next = f.stackpos.data();
  const double* val = x.val.data();
  const auto limit = int32_t(giveup * f.set.sparseexpected * f.m);
  const int32_t least = f.m - limit;
  int32_t top = f.m, depth = -1;
  bool given = false;
  for (int32_t k = 0; k < x.num && !given; ++k) {
    const int32_t start = x.ind[k];
    if (mark[start] != 0 || val[start] == 0) continue;
    mark[start] = 1;
    depth = 0;
    stack[0] = start;
    next[0] = at[start].beg;
    while (depth >= 0) {
      const int32_t node = stack[depth], end = at[node].beg + at[node].num;
      int32_t e = next[depth];
      while (e < end && mark[sub[e]] != 0) ++e;
      if (e == end) {
        --depth;
        out[--top] = node;
        continue;
      }
      next[depth] = e + 1;
      const int32_t child = sub[e];
      mark[child] = 1;
      if (at[child].num == 0) {
        out[--top] = child;
      } else {
        stack[++depth] = child;
        next[depth] = at[child].beg;
      }
      if (top <= least) break;
    }
    given = top <= least;
  }
  for (int32_t k = top; k < f.m; ++k) mark[out[k]] = 0;
  if (!given) return top;
  for (int32_t d = 0; d <= depth; ++d) mark[stack[d]] = 0;
  f.count.solvework += limit;
  return -1;
}

// A pass over all entries in the order of their file: no branch depends on the data.
void flat_pass(const int32_t* sub, const int32_t* of, const double* mult, int64_t num,
               double* val) {
  for (int64_t e = 0; e < num; ++e) val[sub[e]] -= mult[e] * val[of[e]];
}

// x := T^-1 x for a unit triangular factor with the multipliers at, file; seq are the nodes with
// entries in order of elimination.
void unit_solve(lu_rec& f, stage s, const lu_range* at, const lu_file& file, const int32_t* of,
                const mm_vector<int32_t>& seq, lu_vector& x) {
  if (seq.empty()) return;
  double* val = x.val.data();
  int32_t* ind = x.ind.data();
  const int32_t* sub = file.sub.data();
  const double* mult = file.val.data();
  int64_t work = 0;
  // With few nodes that have entries, looking at each of them costs less than a search.
  if (double(seq.size()) > 8.0 * x.num && worth_search(f, s, x)) {
    const int32_t top = reach(f, at, sub, x);
    if (top >= 0) {
      int32_t num = 0;
      for (int32_t k = top; k < f.m; ++k) {
        const int32_t i = f.topo[k];
        const double v = val[i];
        if (std::abs(v) < f.set.droptol) {
          val[i] = 0;
          continue;
        }
        ind[num++] = i;
        const lu_range r = at[i];
        for (int32_t e = r.beg; e < r.beg + r.num; ++e) val[sub[e]] -= mult[e] * v;
        work += r.num;
      }
      x.num = num;
      expect(f, s, num);
      f.count.solvework += double(2 * work + 2 * (f.m - top));
      return;
    }
  }
  if (worth_flat(f, s, f.count.nnzl, int64_t(seq.size()))) {
    flat_pass(sub, of, mult, f.count.nnzl, val);
    x.num = -1;
    f.density[f.kind][s] *= unlistedfade;
    f.count.solvework += double(f.count.nnzl);
    return;
  }
  const bool listed = x.num >= 0 && f.density[f.kind][s] <= listdensity;
  int32_t num = listed ? x.num : -1;
  for (const int32_t i : seq) {
    const double v = val[i];
    if (std::abs(v) < f.set.droptol) continue;
    const lu_range r = at[i];
    work += r.num;
    if (listed) {
      for (int32_t e = r.beg; e < r.beg + r.num; ++e) subtract(val, ind, num, sub[e], mult[e] * v);
    } else {
      for (int32_t e = r.beg; e < r.beg + r.num; ++e) val[sub[e]] -= mult[e] * v;
    }
  }
  if (listed) {
    x.num = num;
    expect(f, s, num);
  } else {
    x.num = -1;
    f.density[f.kind][s] *= unlistedfade;
  }
  f.count.solvework += double(work + int64_t(seq.size()) / 4);
}

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

void lu_ftranl(lu_rec& f, lu_vector& x) {
  unit_solve(f, stage_ftranl, f.lcolat.data(), f.lcol, f.lcolof.data(), f.lseq, x);
}

namespace {

// Brings the columns of the row transformations up to date: only where sparse vectors are met.
void rcol_catchup(lu_rec& f) {
  const auto num = int32_t(f.retarow.size());
  if (f.rcolnum == num) return;
  f.isfactored = false;  // until all is in place
  lu_ensure(f.rsum, size_t(num));
  lu_ensure(f.rwaiting, size_t(num) / 64 + 1);
  for (int32_t k = f.rcolnum; k < num; ++k) {
    for (int32_t e = f.retabeg[k]; e < f.retabeg[k + 1]; ++e) {
      lu_slot& at = f.rcolat[f.reta.sub[e]];
      lu_makeroom(f.rcol, at);
      f.rcol.sub[at.beg + at.num] = k;
      f.rcol.val[at.beg + at.num++] = f.reta.val[e];
    }
    f.count.extrawork += f.retabeg[k + 1] - f.retabeg[k];
  }
  f.rcolnum = num;
  f.isfactored = true;
}

// Row transformations by columns: what the nonzeros of x add to each dot product is summed up, and
// the transformations with a sum are done in their order; what one changes goes to those behind it.
int64_t ftranr_sparse(lu_rec& f, lu_vector& x) {
  double *val = x.val.data(), *sums = f.rsum.data();
  uint64_t* waiting = f.rwaiting.data();
  const int32_t* sub = f.rcol.sub.data();
  const double* mult = f.rcol.val.data();
  const auto words = (int32_t(f.retarow.size()) + 63) / 64;
  int64_t work = words + x.num;
  const auto spread = [&](int32_t beg, int32_t end, double v) {
    for (int32_t e = beg; e < end; ++e) {
      sums[sub[e]] += mult[e] * v;
      waiting[sub[e] / 64] |= uint64_t(1) << (sub[e] % 64);
    }
    work += end - beg;
  };
  for (int32_t k = 0; k < x.num; ++k) {
    const int32_t i = x.ind[k];
    const lu_slot at = f.rcolat[i];
    spread(at.beg, at.beg + at.num, val[i]);
  }
  for (int32_t w = 0; w < words; ++w) {
    while (waiting[w] != 0) {
      const int32_t k = 64 * w + std::countr_zero(waiting[w]);
      waiting[w] &= waiting[w] - 1;
      const double sum = sums[k];
      sums[k] = 0;
      if (std::abs(sum) < f.set.droptol) continue;
      const int32_t t = f.retarow[k];
      subtract(val, x.ind.data(), x.num, t, sum);
      const lu_slot at = f.rcolat[t];
      int32_t beg = at.beg + at.num;
      while (beg > at.beg && sub[beg - 1] > k) --beg;
      spread(beg, at.beg + at.num, -sum);
    }
  }
  return work;
}

}  // namespace

// Each row transformation is one dot product; a sparse vector meets few of them.
void lu_ftranr(lu_rec& f, lu_vector& x) {
  const auto num = int32_t(f.retarow.size());
  const double entries = double(f.reta.sub.size());
  if (x.num >= 0 && num > 0 && x.num * sparsecost * (1 + entries / f.m) < entries) {
    rcol_catchup(f);
    const auto work = double(ftranr_sparse(f, x));
    f.count.solvework += work;
    f.count.extrawork += work;
    return;
  }
  const int32_t *sub = f.reta.sub.data(), *beg = f.retabeg.data();
  const double* mult = f.reta.val.data();
  double* val = x.val.data();
  for (int32_t k = 0; k < num; ++k) {
    double sum = 0;
    for (int32_t e = beg[k]; e < beg[k + 1]; ++e) sum += mult[e] * val[sub[e]];
    if (std::abs(sum) < f.set.droptol) continue;
    if (x.num >= 0)
      subtract(val, x.ind.data(), x.num, f.retarow[k], sum);
    else
      val[f.retarow[k]] -= sum;
  }
  f.count.solvework += beg[num];
  f.count.extrawork += beg[num];
}

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
  if (x.num < 0) expect(f, stage_ftranl, num);
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
  expect(f, stage_ftranu, num);
}

void lu_ftranu(lu_rec& f, lu_vector& x) {
  if (worth_flat(f, stage_ftranu, int64_t(f.ucol.sub.size()), f.m)) return ftranu_flat(f, x);
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
  const int32_t top = worth_search(f, stage_ftranu, x) ? reach(f, at, f.ucol.sub.data(), x) : -1;
  if (top >= 0) {
    for (int32_t k = top; k < f.m; ++k) eliminate(f.topo[k]);
    f.count.solvework += double(2 * work + 2 * (f.m - top));
  } else {
    for (auto k = int32_t(f.useq.size()) - 1; k >= 0; --k) {
      const int32_t i = f.useq[k];
      if (i >= 0 && val[i] != 0) eliminate(i);
    }
    f.count.solvework += double(work + int64_t(f.useq.size()) / 4);
  }
  for (int32_t k = 0; k < num; ++k) {
    val[outind[k]] = outval[k];
    x.ind[k] = outind[k];
  }
  x.num = num;
  expect(f, stage_ftranu, num);
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
  const int32_t top = worth_search(f, stage_btranu, x) ? reach(f, at, sub, x) : -1;
  if (top >= 0) {
    for (int32_t k = top; k < f.m; ++k) eliminate(f.topo[k]);
    f.count.solvework += double(2 * work + 2 * (f.m - top));
  } else {
    const auto end = int32_t(f.useq.size());
    for (int32_t k = from; k < end; ++k) {
      const int32_t i = f.useq[k];
      if (i >= 0 && val[i] != 0) eliminate(i);
    }
    f.count.solvework += double(work + int64_t(end - from) / 4);
  }
  x.num = num;
  expect(f, stage_btranu, num);
}

void lu_btranr(lu_rec& f, lu_vector& x) {
  const int32_t *sub = f.reta.sub.data(), *beg = f.retabeg.data();
  const double* mult = f.reta.val.data();
  double* val = x.val.data();
  int32_t* ind = x.ind.data();
  int64_t work = 0;
  for (auto k = int32_t(f.retarow.size()) - 1; k >= 0; --k) {
    const double v = val[f.retarow[k]];
    if (std::abs(v) < f.set.droptol) continue;
    for (int32_t e = beg[k]; e < beg[k + 1]; ++e) subtract(val, ind, x.num, sub[e], mult[e] * v);
    work += beg[k + 1] - beg[k];
  }
  work += int64_t(f.retarow.size());
  f.count.solvework += double(work);
  f.count.extrawork += double(work);
}

void lu_btranl(lu_rec& f, lu_vector& x) {
  unit_solve(f, stage_btranl, f.lrowat.data(), f.lrow, f.lrowof.data(), f.lrseq, x);
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
    expect(f, stage_btranl, x.num);
  }
}
