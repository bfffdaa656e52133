// The point that the pushes start from, and the first basis: variables between their bounds, those
// farthest from a bound first, and logicals where these do not suffice.
#include <algorithm>
#include <cmath>

#include "basic/bascore.h"
#include "lu/luselect.h"

namespace {

// A variable that is nearer to a bound than this stands at it, absolute.
constexpr double neardist = 1e-9;
// Distances from a bound, absolute, where a class of less preferred columns begins.
constexpr double classdist[] = {1e-1, 1e-3, 1e-5};
constexpr int32_t numclass = int32_t(std::size(classdist)) + 2;  // free ones in front
// Pivots of the crash: a smaller one counts as zero, relative to its column. A column that depends on
// others but for less than that would make the basis ill-conditioned; it is pushed instead.
constexpr double crashzero = 1e-3;
// Threshold of the crash, relative; larger than that of later factorizations, as what is dependent
// must be told from what is not.
constexpr double crashpivrel = 0.1;

// Entries of the inverse beyond this, scaled, mean that the basis is close to a singular one.
constexpr double hugeinverse = 1e7;
// Columns that may be replaced for it, and solves in search of one such entry.
constexpr int32_t maxrepair = 1000, maxclimb = 6;

int32_t class_of(const bas_state& st, int32_t j) {
  const double dist = std::min(st.x[j] - st.lo[j], st.up[j] - st.x[j]);
  if (std::isinf(dist)) return 0;
  int32_t k = 1;
  for (const double limit : classdist) k += int32_t(dist < limit);
  return k;
}

bas_place place_of(double x, double z, double lo, double up) {
  if (lo == up) return bas_place::fixed;
  const double below = x - lo, above = up - x;
  if (below <= neardist && below <= above) return bas_place::lower;
  if (above <= neardist) return bas_place::upper;
  if (z > 0 && below <= z) return bas_place::lower;
  if (z < 0 && above <= -z) return bas_place::upper;
  return bas_place::inside;
}

// The place of the largest entry of a vector of length m.
int32_t largest(const lu_vector& x) {
  int32_t big = 0;
  for (int32_t i = 1; i < int32_t(x.val.size()); ++i)
    if (std::abs(x.val[i]) > std::abs(x.val[big])) big = i;
  return big;
}

struct inverse_entry {
  int32_t pos = 0, row = 0;
  double value = 0;
};

// A large entry of the inverse: from a row of mixed signs on, alternately the largest entry of a row
// and of a column, while they grow.
// Hager, "Condition estimates", SIAM J. Sci. Stat. Comput. 5 (1984).
inverse_entry climb(bas_state& st) {
  inverse_entry best;
  for (int32_t p = 0; p < st.m; ++p) st.work.val[p] = (p % 2 == 0 ? 1.0 : -1.0) / (1.0 + p);
  st.work.num = -1;
  lu_btran(st.lu, st.work);
  for (int32_t k = 0; k < maxclimb; ++k) {
    inverse_entry next;
    next.row = largest(st.work);
    lu_vecclear(st.work);
    lu_vecset(st.work, next.row, 1);
    lu_ftran(st.lu, st.work);
    next.pos = largest(st.work);
    next.value = st.work.val[next.pos];
    lu_vecclear(st.work);
    if (std::abs(next.value) <= std::abs(best.value)) break;
    best = next;
    lu_vecset(st.work, best.pos, 1);
    lu_btran(st.lu, st.work);
  }
  lu_vecclear(st.work);
  return best;
}

// A basis far from singular ones: the column at a large entry of the inverse gives its place to the
// logical of that entry's row. Factors of a basis that is nearly singular say where to change it, but
// not what the values of its variables are: these are computed anew, from the dropped point.
rescode repair(bas_state& st, const mm_vector<double>& dropped) {
  int32_t numold = 0;
  for (int32_t k = 0; k < maxrepair && st.m > 0; ++k) {
    if (const rescode r = st.mon.poll(); r != rescode::ok) return r;
    const inverse_entry big = climb(st);
    const bool isgood = !(std::abs(big.value) > hugeinverse);
    if (isgood && numold == 0) break;
    bool isfresh = isgood;
    if (!isgood) {
      bas_loadcolumn(st, st.n + big.row);
      lu_ftran(st.lu, st.work, true);
      const double alpha = st.work.val[big.pos];
      lu_vecclear(st.work);
      isfresh = lu_update(st.lu, big.pos, alpha) != lu_state::ok;
      st.posof[st.basic[big.pos]] = -1;
      st.basic[big.pos] = st.n + big.row;
      st.posof[st.n + big.row] = big.pos;
      ++numold;
    }
    if (!isfresh) continue;
    st.x = dropped;
    if (const rescode r = bas_factor(st); r != rescode::ok) return r;
    numold = 0;
  }
  if (numold == 0) return rescode::ok;
  st.x = dropped;
  return bas_factor(st);
}

}  // namespace

void bas_drop(bas_state& st, std::span<const double> x) {
  std::copy(x.begin(), x.end(), st.x.begin());
  std::fill(st.sums.begin(), st.sums.end(), 0.0);
  spmat_addax(st.lp.a, 1, x, st.sums);
  std::copy(st.sums.begin(), st.sums.end(), st.x.begin() + st.n);
  std::copy(st.lp.c.begin(), st.lp.c.end(), st.z.begin());
  std::copy(st.y.begin(), st.y.end(), st.z.begin() + st.n);
  spmat_addatx(st.lp.a, -1, st.y, std::span<double>(st.z).first(size_t(st.n)));
  st.info.numinside = 0;
  for (int32_t j = 0; j < st.nt; ++j) {
    st.place[j] = place_of(st.x[j], st.z[j], st.lo[j], st.up[j]);
    if (st.place[j] == bas_place::inside) {
      st.z[j] = 0;
      ++st.info.numinside;
    } else {
      st.x[j] = bas_boundof(st, j);
    }
  }
}

rescode bas_crash(bas_state& st) {
  const timer clock = timer_start();
  mm_vector<int32_t> vars(mm_at(st.mman));
  int32_t classend[numclass] = {};
  for (int32_t j = 0; j < st.nt; ++j)
    if (st.place[j] == bas_place::inside) ++classend[class_of(st, j)];
  int32_t sum = 0, next[numclass];
  for (int32_t k = 0; k < numclass; ++k) {
    next[k] = sum;
    sum += classend[k];
    classend[k] = sum;
  }
  vars.resize(size_t(sum));
  for (int32_t j = st.nt - 1; j >= 0; --j)  // logicals first
    if (st.place[j] == bas_place::inside) vars[next[class_of(st, j)]++] = j;

  lu_selection sel(mm_at(st.mman));
  const lu_settings keep = st.lu.set;
  st.lu.set.pivabs = crashzero;
  st.lu.set.pivrel = crashpivrel;
  const rescode r = lu_select(st.lu, st.lp.a, vars, classend, st.mon, sel);
  st.lu.set = keep;
  if (r != rescode::ok) return r;
  int32_t p = 0;
  for (const int32_t k : sel.taken) st.basic[p++] = vars[k];
  for (const int32_t i : sel.rest) st.basic[p++] = st.n + i;
  ++st.info.numfactor;
  const mm_vector<double> dropped(st.x);
  if (const rescode f = bas_factor(st); f != rescode::ok) return f;
  if (const rescode f = repair(st, dropped); f != rescode::ok) return f;
  st.info.numsuper = 0;
  for (int32_t j = 0; j < st.nt; ++j)
    st.info.numsuper += int32_t(st.posof[j] < 0 && st.place[j] == bas_place::inside);
  st.info.crashtime = timer_cpu(clock);
  return rescode::ok;
}
