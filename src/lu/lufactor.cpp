// Factorization of a basis: logicals, column singletons and row singletons in linear time, the kernel
// by lukernel.cpp, logicals where no pivot is left. Row singletons have multipliers but change
// nothing else; everything in front of them has no multipliers at all.
#include <cmath>

#include "lu/lufactor_impl.h"

namespace {

// How the relative pivot tolerance rises when entries have grown, and how far.
constexpr double pivrelfactor = 5, pivrellimit = 0.5;

// numpos: columns, at least m of them.
void size_all(lu_rec& f, int32_t m, int32_t n, int32_t numpos) {
  f.m = m;
  f.n = n;
  const auto s = size_t(m), c = size_t(numpos);
  for (auto* v :
       {&f.singpos, &f.singrow, &f.singvar, &f.posofrow, &f.useqat, &f.topo, &f.stack, &f.stackpos,
        &f.outind, &f.spikeind, &f.ueinvind, &f.ker.rcount, &f.ker.rxor, &f.ker.pivpos})
    lu_ensure(*v, s);
  for (auto* v : {&f.rowofpos, &f.ker.ccount, &f.ker.cxor}) lu_ensure(*v, c);
  for (auto* v : {&f.udiag, &f.outval, &f.spikeval, &f.ueinvval}) lu_ensure(*v, s);
  for (auto* v : {&f.ker.cmax, &f.ker.czero}) lu_ensure(*v, c);
  for (auto* v : {&f.dense, &f.ker.mult}) v->assign(s, 0.0);
  for (auto* v : {&f.mark, &f.ker.mark}) v->assign(s, 0);
  f.ker.rank.assign(s, -1);
  f.ker.state.assign(c, lu_colactive);
  for (auto* v : {&f.lcolat, &f.lrowat, &f.ucolat}) v->assign(s, lu_range{});
  for (auto* v : {&f.urowat, &f.rcolat, &f.ker.rat}) v->assign(s, lu_slot{});
  f.ker.cat.assign(c, lu_slot{});
}

void reset(lu_rec& f) {
  lu_kernel& ker = f.ker;
  f.isfactored = false;
  f.isspike = false;
  f.ueinvrow = -1;
  f.numsing = 0;
  for (auto* v : {&f.useq, &f.lseq, &f.lrseq, &f.lcol.sub, &f.retarow, &f.retabeg, &f.reta.sub,
                  &f.rcol.sub, &ker.urrow, &ker.urbeg, &ker.ursub, &ker.queue})
    v->clear();
  for (auto* v : {&f.lcol.val, &f.reta.val, &f.rcol.val, &ker.urval}) v->clear();
  f.retabeg.push_back(0);
  f.rcolnum = 0;
  std::fill(f.rsum.begin(), f.rsum.end(), 0.0);
  std::fill(f.rwaiting.begin(), f.rwaiting.end(), 0);
  ker.numrow = ker.numcol = 0;
  ker.nnz = 0;
  ker.mostfirst = ker.most = 0;
  const int64_t tot[] = {f.count.totfactor, f.count.totupdate, f.count.totsingular};
  f.count = lu_count{};
  f.count.totfactor = tot[0] + 1;
  f.count.totupdate = tot[1];
  f.count.totsingular = tot[2];
}

void logicals(lu_rec& f, const lu_columns& b) {
  for (int32_t p = 0; p < f.m; ++p) {
    if (b.isstruct(p)) continue;
    const int32_t i = b.basic[p] - f.n;
    if (f.ker.rank[i] < 0)
      lu_pivoted(f, i, p, -1);
    else
      f.ker.state[p] = lu_colrejected;  // the same logical twice
  }
}

// Counts of the active entries, and the active rows as lists of positions (unsorted).
void count_active(lu_rec& f, const lu_columns& b) {
  lu_kernel& ker = f.ker;
  std::fill_n(ker.rcount.begin(), f.m, 0);
  std::fill_n(ker.rxor.begin(), f.m, 0);
  int64_t nnz = 0;
  for (int32_t p = 0; p < f.m; ++p) {
    if (ker.state[p] != lu_colactive) continue;
    int32_t num = 0, all = 0;
    double big = 1;
    for (ptrdiff_t e = b.beg(p); e < b.end(p); ++e) {
      const int32_t i = b.a.sub[e];
      big = std::max(big, std::abs(b.a.val[e]));
      if (ker.rank[i] >= 0) continue;
      ++num;
      all ^= i;
      ++ker.rcount[i];
      ker.rxor[i] ^= p;
    }
    ker.ccount[p] = num;
    ker.cxor[p] = all;
    ker.czero[p] = f.set.pivabs * big;
    nnz += num;
    f.count.facwork += double(b.end(p) - b.beg(p));
  }
  lu_ensure(ker.rsub, size_t(nnz));
  int32_t sum = 0;
  for (int32_t i = 0; i < f.m; ++i) {
    ker.rat[i] = {sum, 0, ker.rcount[i]};
    sum += ker.rcount[i];
  }
  for (int32_t p = 0; p < f.m; ++p) {
    if (ker.state[p] != lu_colactive) continue;
    for (ptrdiff_t e = b.beg(p); e < b.end(p); ++e) {
      const int32_t i = b.a.sub[e];
      if (ker.rank[i] < 0) ker.rsub[ker.rat[i].beg + ker.rat[i].num++] = p;
    }
  }
}

double value_at(const lu_columns& b, int32_t p, int32_t i) {
  ptrdiff_t e = b.beg(p);
  while (b.a.sub[e] != i) ++e;
  return b.a.val[e];
}

void column_singletons(lu_rec& f, const lu_columns& b) {
  lu_kernel& ker = f.ker;
  for (int32_t p = 0; p < f.m; ++p)
    if (ker.state[p] == lu_colactive && ker.ccount[p] == 1) ker.queue.push_back(p);
  for (size_t q = 0; q < ker.queue.size(); ++q) {
    const int32_t p = ker.queue[q];
    if (ker.ccount[p] != 1) continue;
    const int32_t i = ker.cxor[p];
    const double v = value_at(b, p, i);
    if (std::abs(v) <= ker.czero[p]) {
      ker.state[p] = lu_colrejected;
      ker.rxor[i] ^= p;
      --ker.rcount[i];
      continue;
    }
    lu_pivoted(f, i, p, v);
    const lu_slot row = ker.rat[i];
    for (int32_t e = row.beg; e < row.beg + row.num; ++e) {
      const int32_t other = ker.rsub[e];
      ker.cxor[other] ^= i;
      if (--ker.ccount[other] == 1) ker.queue.push_back(other);
    }
    f.count.facwork += row.num;
  }
}

void row_singletons(lu_rec& f, const lu_columns& b) {
  lu_kernel& ker = f.ker;
  ker.queue.clear();
  for (int32_t i = 0; i < f.m; ++i)
    if (ker.rank[i] < 0 && ker.rcount[i] == 1) ker.queue.push_back(i);
  for (size_t q = 0; q < ker.queue.size(); ++q) {
    const int32_t i = ker.queue[q];
    if (ker.rcount[i] != 1) continue;  // its column was taken by another row
    const int32_t p = ker.rxor[i];
    const double v = value_at(b, p, i);
    if (std::abs(v) <= ker.czero[p]) continue;
    const auto lbeg = int32_t(f.lcol.sub.size());
    for (ptrdiff_t e = b.beg(p); e < b.end(p); ++e) {
      const int32_t k = b.a.sub[e];
      if (k == i || ker.rank[k] >= 0) continue;
      f.lcol.sub.push_back(k);
      f.lcol.val.push_back(b.a.val[e] / v);
      ker.rxor[k] ^= p;
      if (--ker.rcount[k] == 1) ker.queue.push_back(k);
    }
    lu_pivoted(f, i, p, v);
    f.lcolat[i] = {lbeg, int32_t(f.lcol.sub.size()) - lbeg};
    if (f.lcolat[i].num > 0) f.lseq.push_back(i);
    f.count.facwork += double(b.end(p) - b.beg(p));
  }
}

// Logicals for the positions that have no pivot. Their rows were never pivoted on, so no multiplier
// touches the unit columns, and nothing of the rejected columns is left in the factors.
void repair(lu_rec& f, std::span<int32_t> basic) {
  if (f.useq.size() == size_t(f.m)) return;
  int32_t i = 0;
  for (int32_t p = 0; p < f.m; ++p) {
    if (f.ker.state[p] == lu_colpivoted) continue;
    while (f.ker.rank[i] >= 0) ++i;
    f.singpos[f.numsing] = p;
    f.singrow[f.numsing] = i;
    f.singvar[f.numsing] = basic[p];
    ++f.numsing;
    basic[p] = f.n + i;
    lu_pivoted(f, i, p, -1);
  }
  f.count.totsingular += 1;
}

rescode eliminate(lu_rec& f, const lu_columns& b, const monitor& mon) {
  logicals(f, b);
  if (f.useq.size() == size_t(f.m)) return rescode::ok;
  count_active(f, b);
  column_singletons(f, b);
  row_singletons(f, b);
  lu_kernelload(f, b);
  return lu_kernelrun(f, mon);
}

}  // namespace

void lu_begin(lu_rec& f, int32_t m, int32_t n, int32_t numpos) {
  reset(f);
  size_all(f, m, n, std::max(m, numpos));
}

rescode lu_factorize(lu_rec& f, const spmat_view& a, std::span<int32_t> basic, const monitor& mon) {
  const lu_columns b{a, basic.data()};
  for (;;) {
    lu_begin(f, int32_t(basic.size()), a.ncol, 0);
    if (const rescode r = eliminate(f, b, mon); r != rescode::ok) return r;
    const bool hasgrown = f.ker.most > f.set.maxgrowth * f.ker.mostfirst;
    if (!hasgrown || f.set.pivrel >= pivrellimit) break;
    f.set.pivrel = std::min(pivrellimit, pivrelfactor * f.set.pivrel);
  }
  repair(f, basic);
  lu_assemble(f, b);
  f.isfactored = true;
  return rescode::ok;
}
