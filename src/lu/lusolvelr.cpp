// The stages of a solve for the multipliers of the factorization (L) and of the exchanges (R).
#include "lu/lusolve_impl.h"

namespace {

// Up to this expected density a pass over all pivots keeps the list of nonzeros.
constexpr double listdensity = 0.05;
// Nodes that can be looked at for the cost of one nonzero in a search.
constexpr double searchshare = 8;
// Cost of an entry met by following columns of row transformations, against one in a dot product.
constexpr double sparsecost = 4;

// A unit triangular factor: the multipliers of a node, the node of each entry, and the nodes that have
// entries in order of elimination.
struct unit_factor {
  lu_stage stage;
  const lu_range* at;
  const int32_t* sub;
  const double* mult;
  const int32_t* of;
  std::span<const int32_t> seq;
};

// From the nonzeros of x on along the edges; false: they lead too far.
bool unit_search(lu_rec& f, const unit_factor& t, lu_vector& x) {
  const int32_t top = lu_reach(f, t.at, t.sub, x);
  if (top < 0) return false;
  double* val = x.val.data();
  int32_t num = 0;
  int64_t work = f.m - top;
  for (int32_t k = top; k < f.m; ++k) {
    const int32_t i = f.topo[k];
    const double v = val[i];
    if (std::abs(v) < f.set.droptol) {
      val[i] = 0;
      continue;
    }
    x.ind[num++] = i;
    const lu_range r = t.at[i];
    for (int32_t e = r.beg; e < r.beg + r.num; ++e) val[t.sub[e]] -= t.mult[e] * v;
    work += r.num;
  }
  x.num = num;
  lu_expect(f, t.stage, num);
  f.count.solvework += 2.0 * double(work);
  return true;
}

// All entries in the order of their file: no branch depends on the data.
void unit_flat(lu_rec& f, const unit_factor& t, lu_vector& x) {
  double* val = x.val.data();
  const int64_t num = f.count.nnzl;
  for (int64_t e = 0; e < num; ++e) val[t.sub[e]] -= t.mult[e] * val[t.of[e]];
  x.num = -1;
  f.density[f.kind][t.stage] *= lu_unlistedfade;
  f.count.solvework += double(num);
}

// All nodes that are not zero. With listed, x keeps its list.
template <bool listed>
void unit_pass(lu_rec& f, const unit_factor& t, lu_vector& x) {
  double* val = x.val.data();
  int32_t* ind = x.ind.data();
  int32_t num = x.num;
  int64_t work = int64_t(t.seq.size()) >> 2;
  for (const int32_t i : t.seq) {
    const double v = val[i];
    if (std::abs(v) < f.set.droptol) continue;
    const lu_range r = t.at[i];
    work += r.num;
    for (int32_t e = r.beg; e < r.beg + r.num; ++e) {
      if constexpr (listed)
        lu_subtract(val, ind, num, t.sub[e], t.mult[e] * v);
      else
        val[t.sub[e]] -= t.mult[e] * v;
    }
  }
  f.count.solvework += double(work);
  if constexpr (listed) {
    x.num = num;
    lu_expect(f, t.stage, num);
  } else {
    x.num = -1;
    f.density[f.kind][t.stage] *= lu_unlistedfade;
  }
}

// x := T^-1 x.
void unit_solve(lu_rec& f, const unit_factor& t, lu_vector& x) {
  if (t.seq.empty()) return;
  // With few nodes that have entries, looking at each of them costs less than a search.
  if (double(t.seq.size()) > searchshare * x.num && lu_worthsearch(f, t.stage, x) &&
      unit_search(f, t, x))
    return;
  if (lu_worthflat(f, t.stage, f.count.nnzl, int64_t(t.seq.size())))
    unit_flat(f, t, x);
  else if (x.num >= 0 && f.density[f.kind][t.stage] <= listdensity)
    unit_pass<true>(f, t, x);
  else
    unit_pass<false>(f, t, x);
}

}  // namespace

void lu_ftranl(lu_rec& f, lu_vector& x) {
  unit_solve(f,
             {lu_stage_ftranl, f.lcolat.data(), f.lcol.sub.data(), f.lcol.val.data(),
              f.lcolof.data(), f.lseq},
             x);
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
      lu_subtract(val, x.ind.data(), x.num, t, sum);
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
      lu_subtract(val, x.ind.data(), x.num, f.retarow[k], sum);
    else
      val[f.retarow[k]] -= sum;
  }
  f.count.solvework += beg[num];
  f.count.extrawork += beg[num];
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
    for (int32_t e = beg[k]; e < beg[k + 1]; ++e) lu_subtract(val, ind, x.num, sub[e], mult[e] * v);
    work += beg[k + 1] - beg[k];
  }
  work += int64_t(f.retarow.size());
  f.count.solvework += double(work);
  f.count.extrawork += double(work);
}

void lu_btranl(lu_rec& f, lu_vector& x) {
  unit_solve(f,
             {lu_stage_btranl, f.lrowat.data(), f.lrow.sub.data(), f.lrow.val.data(),
              f.lrowof.data(), f.lrseq},
             x);
}
