// Markowitz elimination of the kernel with threshold pivoting. A pivot is searched in a few lists of
// short columns and rows; the column of an acceptable pivot gives multipliers, its row a row of U.
// Suhl, Suhl, "Computing sparse LU factorizations for large-scale linear programming bases", ORSA J.
// Comput. 2 (1990).
#include "lu/lukernel.h"

#include <cmath>

#include "lu/lufactor_impl.h"

namespace {

// Lists looked into once a candidate is known.
constexpr int32_t searchlimit = 4;
// The rest of the kernel becomes dense when it has that many rows and that share of entries.
constexpr int32_t densemin = 24;
constexpr double densefrac = 0.5;
// Pivots between two polls.
constexpr int32_t pollevery = 256;

void lists_begin(lu_lists& l, int32_t m, int32_t maxcount) {
  lu_ensure(l.head, size_t(maxcount) + 1);
  lu_ensure(l.next, size_t(m));
  lu_ensure(l.prev, size_t(m));
  lu_ensure(l.count, size_t(m));
  std::fill_n(l.head.begin(), maxcount + 1, -1);
}

void lists_put(lu_lists& l, int32_t node, int32_t count) {
  const int32_t first = l.head[count];
  l.head[count] = node;
  l.next[node] = first;
  l.prev[node] = -1;
  if (first >= 0) l.prev[first] = node;
  l.count[node] = count;
}

void lists_take(lu_lists& l, int32_t node) {
  const int32_t next = l.next[node], prev = l.prev[node];
  if (next >= 0) l.prev[next] = prev;
  if (prev >= 0)
    l.next[prev] = next;
  else
    l.head[l.count[node]] = next;
  l.count[node] = -1;
}

void lists_move(lu_lists& l, int32_t node, int32_t count) {
  if (l.count[node] == count) return;
  lists_take(l, node);
  lists_put(l, node, count);
}

// Room for extra more entries in a column, a row.
void col_grow(lu_kernel& ker, int32_t p, int32_t extra) {
  lu_slot& at = ker.cat[p];
  if (at.num + extra <= at.cap) return;
  const int32_t beg = int32_t(ker.csub.size());
  const int32_t cap = 2 * (at.num + extra);
  if (int64_t(beg) + cap > std::numeric_limits<int32_t>::max()) throw std::bad_alloc();
  ker.csub.resize(size_t(beg) + size_t(cap));
  ker.cval.resize(size_t(beg) + size_t(cap));
  std::copy_n(ker.csub.begin() + at.beg, at.num, ker.csub.begin() + beg);
  std::copy_n(ker.cval.begin() + at.beg, at.num, ker.cval.begin() + beg);
  at.beg = beg;
  at.cap = cap;
}

void row_grow(lu_kernel& ker, int32_t i, int32_t extra) {
  lu_slot& at = ker.rat[i];
  if (at.num + extra <= at.cap) return;
  const int32_t beg = int32_t(ker.rsub.size());
  const int32_t cap = 2 * (at.num + extra);
  if (int64_t(beg) + cap > std::numeric_limits<int32_t>::max()) throw std::bad_alloc();
  ker.rsub.resize(size_t(beg) + size_t(cap));
  std::copy_n(ker.rsub.begin() + at.beg, at.num, ker.rsub.begin() + beg);
  at.beg = beg;
  at.cap = cap;
}

void row_remove(lu_kernel& ker, int32_t i, int32_t p) {
  lu_slot& at = ker.rat[i];
  int32_t* sub = ker.rsub.data() + at.beg;
  int32_t k = 0;
  while (sub[k] != p) ++k;
  sub[k] = sub[--at.num];
}

// The place of row i in column p, and out of it.
int32_t col_find(const lu_kernel& ker, int32_t p, int32_t i) {
  const int32_t* sub = ker.csub.data();
  int32_t e = ker.cat[p].beg;
  while (sub[e] != i) ++e;
  return e;
}

void col_drop(lu_kernel& ker, int32_t p, int32_t e) {
  lu_slot& at = ker.cat[p];
  const int32_t last = at.beg + --at.num;
  ker.csub[e] = ker.csub[last];
  ker.cval[e] = ker.cval[last];
}

// A column that has nothing of use left goes.
void reject(lu_rec& f, int32_t p) {
  lu_kernel& ker = f.ker;
  const lu_slot at = ker.cat[p];
  for (int32_t e = at.beg; e < at.beg + at.num; ++e) {
    const int32_t i = ker.csub[e];
    row_remove(ker, i, p);
    lists_move(ker.rlist, i, ker.rat[i].num);
  }
  ker.nnz -= at.num;
  ker.cat[p].num = 0;
  lists_take(ker.clist, p);
  --ker.numcol;
  ker.state[p] = lu_colrejected;
}

struct candidate {
  int32_t row = -1, pos = -1;
  double merit = std::numeric_limits<double>::infinity();
  double value = 0;
};

void try_column(const lu_rec& f, int32_t p, candidate& best) {
  const lu_kernel& ker = f.ker;
  const lu_slot at = ker.cat[p];
  const double least = f.set.pivrel * ker.cmax[p];
  for (int32_t e = at.beg; e < at.beg + at.num; ++e) {
    const double v = std::abs(ker.cval[e]);
    if (v < least) continue;
    const int32_t i = ker.csub[e];
    const double merit = double(at.num - 1) * double(ker.rat[i].num - 1);
    if (merit < best.merit || (merit == best.merit && v > best.value)) best = {i, p, merit, v};
  }
}

void try_row(const lu_rec& f, int32_t i, candidate& best) {
  const lu_kernel& ker = f.ker;
  const lu_slot at = ker.rat[i];
  for (int32_t k = at.beg; k < at.beg + at.num; ++k) {
    const int32_t p = ker.rsub[k];
    const double merit = double(at.num - 1) * double(ker.cat[p].num - 1);
    if (merit >= best.merit) continue;
    const double v = std::abs(ker.cval[col_find(ker, p, i)]);
    if (v >= f.set.pivrel * ker.cmax[p] && v > ker.czero[p]) best = {i, p, merit, v};
  }
}

// A row with one active entry needs no comparison within its column: no other pivot is possible.
bool try_single(const lu_rec& f, candidate& best) {
  const lu_kernel& ker = f.ker;
  if (const int32_t p = ker.clist.head[1]; p >= 0) {
    best = {ker.csub[ker.cat[p].beg], p, 0, ker.cmax[p]};
    return true;
  }
  for (int32_t i = ker.rlist.head[1]; i >= 0; i = ker.rlist.next[i]) {
    const int32_t p = ker.rsub[ker.rat[i].beg];
    const double v = std::abs(ker.cval[col_find(ker, p, i)]);
    if (v <= ker.czero[p]) continue;
    best = {i, p, 0, v};
    return true;
  }
  return false;
}

candidate search(const lu_rec& f) {
  const lu_kernel& ker = f.ker;
  candidate best;
  if (try_single(f, best)) return best;
  int32_t searched = 0;
  const int32_t most = std::max(ker.numrow, ker.numcol);
  for (int32_t count = 2; count <= most; ++count) {
    if (best.merit <= double(count - 1) * double(count - 1)) return best;
    if (count <= ker.numrow) {
      for (int32_t p = ker.clist.head[count]; p >= 0; p = ker.clist.next[p]) {
        try_column(f, p, best);
        if (++searched >= searchlimit && best.row >= 0) return best;
      }
    }
    if (best.merit <= double(count) * double(count - 1)) return best;
    if (count <= ker.numcol) {
      for (int32_t i = ker.rlist.head[count]; i >= 0; i = ker.rlist.next[i]) {
        try_row(f, i, best);
        if (++searched >= searchlimit && best.row >= 0) return best;
      }
    }
  }
  return best;
}

// Takes the pivot's column out of the active part; leaves its multipliers in L and in mult.
void pivot_column(lu_rec& f, int32_t r, int32_t c) {
  lu_kernel& ker = f.ker;
  lists_take(ker.clist, c);
  const lu_slot at = ker.cat[c];
  const double pivot = ker.cval[col_find(ker, c, r)];
  const auto lbeg = int32_t(f.lcol.sub.size());
  for (int32_t e = at.beg; e < at.beg + at.num; ++e) {
    const int32_t i = ker.csub[e];
    row_remove(ker, i, c);
    if (i == r) continue;
    const double l = ker.cval[e] / pivot;
    f.lcol.sub.push_back(i);
    f.lcol.val.push_back(l);
    ker.mult[i] = l;
    ker.mark[i] = 1;
  }
  ker.nnz -= at.num;
  ker.cat[c].num = 0;
  --ker.numcol;
  lu_pivoted(f, r, c, pivot);
  ++f.count.numkernel;
  f.lcolat[r] = {lbeg, int32_t(f.lcol.sub.size()) - lbeg};
  if (f.lcolat[r].num > 0) f.lseq.push_back(r);
}

// The entries of column j that meet multipliers, minus u times these. Returns how many; big is the
// largest entry that stays. Pointers are local: a store to mark could change any member otherwise.
int32_t update_met(lu_rec& f, int32_t j, double u, double& big) {
  lu_kernel& ker = f.ker;
  lu_slot& at = ker.cat[j];
  int32_t* sub = ker.csub.data() + at.beg;
  double* val = ker.cval.data() + at.beg;
  uint8_t* mark = ker.mark.data();
  const double *mult = ker.mult.data(), droptol = f.set.droptol;
  int32_t met = 0, num = at.num;
  double most = 0;
  for (int32_t e = 0;
       e < num;) {  // mult is zero where there is no mark, so there is no branch on it
    const int32_t i = sub[e];
    const double v = val[e] - u * mult[i];
    met += mark[i];
    mark[i] = 0;
    if (std::abs(v) <= droptol) {
      --num;
      sub[e] = sub[num];
      val[e] = val[num];
      row_remove(ker, i, j);
      continue;
    }
    val[e] = v;
    most = std::max(most, std::abs(v));
    ++e;
  }
  ker.nnz -= at.num - num;
  at.num = num;
  big = most;
  return met;
}

// Column j minus u times the multipliers, with its largest value.
void update_column(lu_rec& f, int32_t j, double u, const lu_range& lat) {
  lu_kernel& ker = f.ker;
  double big = 0;
  const int32_t met = update_met(f, j, u, big);
  lu_slot& at = ker.cat[j];
  f.count.facwork += at.num + lat.num;
  const int32_t* lsub = f.lcol.sub.data() + lat.beg;
  const double* lval = f.lcol.val.data() + lat.beg;
  uint8_t* mark = ker.mark.data();
  if (met < lat.num) {
    col_grow(ker, j, lat.num - met);
    int32_t* sub = ker.csub.data() + at.beg;
    double* val = ker.cval.data() + at.beg;
    int32_t num = at.num;
    for (int32_t k = 0; k < lat.num; ++k) {
      const int32_t i = lsub[k];
      if (mark[i] == 0) continue;
      const double v = -u * lval[k];
      if (std::abs(v) <= f.set.droptol) continue;
      sub[num] = i;
      val[num++] = v;
      big = std::max(big, std::abs(v));
      row_grow(ker, i, 1);
      lu_slot& row = ker.rat[i];
      ker.rsub[row.beg + row.num++] = j;
    }
    ker.nnz += num - at.num;
    at.num = num;
  }
  for (int32_t k = 0; k < lat.num; ++k) mark[lsub[k]] = 1;
  ker.cmax[j] = big;
  ker.most = std::max(ker.most, big);
}

void eliminate(lu_rec& f, int32_t r, int32_t c) {
  lu_kernel& ker = f.ker;
  lists_take(ker.rlist, r);
  --ker.numrow;
  pivot_column(f, r, c);
  const lu_range lat = f.lcolat[r];
  const lu_slot row = ker.rat[r];
  lu_kernelrow(ker, r);
  for (int32_t k = row.beg; k < row.beg + row.num; ++k) {
    const int32_t j = ker.rsub[k];
    const int32_t e = col_find(ker, j, r);
    const double u = ker.cval[e];
    lu_kernelu(ker, j, u);
    const bool wasmax = std::abs(u) >= ker.cmax[j];
    col_drop(ker, j, e);
    --ker.nnz;
    if (lat.num > 0 || wasmax) update_column(f, j, u, lat);
    lists_move(ker.clist, j, ker.cat[j].num);
  }
  for (int32_t k = lat.beg; k < lat.beg + lat.num; ++k) {
    const int32_t i = f.lcol.sub[k];
    ker.mult[i] = 0;
    ker.mark[i] = 0;
    lists_move(ker.rlist, i, ker.rat[i].num);
  }
  for (int32_t k = row.beg; k < row.beg + row.num; ++k) {
    const int32_t j = ker.rsub[k];
    if (ker.cmax[j] <= ker.czero[j]) reject(f, j);
  }
  ker.rat[r].num = 0;
}

}  // namespace

void lu_kernelempty(lu_rec& f) {
  lu_kernel& ker = f.ker;
  ker.csub.clear();
  ker.cval.clear();
  ker.loaded.clear();
  ker.numrow = ker.numcol = 0;
  ker.nnz = 0;
  for (int32_t i = 0; i < f.m; ++i) {
    ker.numrow += int32_t(ker.rank[i] < 0);
    ker.rat[i].num = 0;
  }
}

// The entries of a column from beg on are there: its slot, largest value and place in the lists.
static void column_ended(lu_kernel& ker, int32_t p, int32_t beg) {
  const int32_t num = int32_t(ker.csub.size()) - beg;
  double big = 0;
  for (size_t e = size_t(beg); e < ker.cval.size(); ++e) big = std::max(big, std::abs(ker.cval[e]));
  ker.cat[p] = {beg, num, num};
  ker.cmax[p] = big;
  ker.nnz += num;
  ++ker.numcol;
  ker.loaded.push_back(p);
}

void lu_kernelcolumn(lu_rec& f, int32_t p, const lu_vector& x) {
  lu_kernel& ker = f.ker;
  const auto beg = int32_t(ker.csub.size());
  const int32_t end = x.num >= 0 ? x.num : f.m;
  for (int32_t k = 0; k < end; ++k) {
    const int32_t i = x.num >= 0 ? x.ind[k] : k;
    if (ker.rank[i] >= 0 || std::abs(x.val[i]) <= f.set.droptol) continue;
    ker.csub.push_back(i);
    ker.cval.push_back(x.val[i]);
    ++ker.rat[i].num;
  }
  column_ended(ker, p, beg);
}

// Lists of what is loaded; columns without a usable value go.
static void start_lists(lu_rec& f) {
  lu_kernel& ker = f.ker;
  lists_begin(ker.clist, int32_t(ker.cat.size()), std::max(ker.numrow, 1));
  lists_begin(ker.rlist, f.m, std::max(ker.numcol, 1));
  ker.most = 0;
  for (const int32_t p : ker.loaded) {
    lists_put(ker.clist, p, ker.cat[p].num);
    ker.most = std::max(ker.most, ker.cmax[p]);
  }
  ker.mostfirst = ker.most;
  for (int32_t i = 0; i < f.m; ++i)
    if (ker.rank[i] < 0) lists_put(ker.rlist, i, ker.rat[i].num);
  for (const int32_t p : ker.loaded)
    if (ker.cmax[p] <= ker.czero[p]) reject(f, p);
}

void lu_kernelrows(lu_rec& f) {
  lu_kernel& ker = f.ker;
  int32_t sum = 0;
  for (int32_t i = 0; i < f.m; ++i) {
    lu_slot& row = ker.rat[i];
    row = {sum, 0, row.num};
    sum += row.cap;
  }
  ker.rsub.resize(size_t(sum));
  for (const int32_t p : ker.loaded) {
    const lu_slot at = ker.cat[p];
    for (int32_t e = at.beg; e < at.beg + at.num; ++e) {
      lu_slot& row = ker.rat[ker.csub[e]];
      ker.rsub[row.beg + row.num++] = p;
    }
  }
  start_lists(f);
}

void lu_kernelload(lu_rec& f, const lu_columns& b) {
  lu_kernel& ker = f.ker;
  lu_kernelempty(f);
  for (int32_t p = 0; p < f.m; ++p) {
    if (ker.state[p] != lu_colactive) continue;
    const auto beg = int32_t(ker.csub.size());
    for (ptrdiff_t e = b.beg(p); e < b.end(p); ++e) {
      const int32_t i = b.a.sub[e];
      if (ker.rank[i] >= 0) continue;
      ker.csub.push_back(i);
      ker.cval.push_back(b.a.val[e]);
      ++ker.rat[i].num;
    }
    column_ended(ker, p, beg);
  }
  lu_kernelrows(f);
}

rescode lu_kernelrun(lu_rec& f, const monitor& mon) {
  lu_kernel& ker = f.ker;
  for (int32_t k = 1; ker.numcol > 0 && ker.numrow > 0; ++k) {
    if (k % pollevery == 0)
      if (const rescode r = mon.poll(); r != rescode::ok) return r;
    if (ker.numcol >= densemin &&
        double(ker.nnz) >= densefrac * double(ker.numcol) * double(ker.numrow)) {
      lu_densetail(f);
      break;
    }
    const candidate best = search(f);
    if (best.row < 0) break;
    eliminate(f, best.row, best.pos);
  }
  for (const int32_t p : ker.loaded)
    if (ker.state[p] == lu_colactive) ker.state[p] = lu_colrejected;
  return rescode::ok;
}
