// Equations with a column that no other equation has are independent and are set aside, one after the
// other. The rest is factorized as the columns of A'; those that find no pivot are candidates. One of
// them goes when it is, to rounding, the combination that the factors name and its right-hand side is
// the same combination; when the right-hand side is another, the combination is a certificate.
#include "prslv/prslin.h"

#include <algorithm>

#include "lu/lu.h"

namespace {

// A candidate goes when the combination misses its entries by at most this; relative to their terms.
// One that is only nearly dependent stays: without it the problem would be another one.
constexpr double lindeptol = 1e-10;
// Passes of the factorization's counter per entry and unit of the work limit.
constexpr double lindepunit = 10;
// An elimination of a matrix with at least this share of entries fills it at once.
constexpr double lindepdense = 0.05;

struct lin_core {
  spmat at;                     // the equations left, as columns
  mm_vector<int32_t> row, col;  // original row of each column, original column of each row
  explicit lin_core(mm_place place) : at(place), row(place), col(place) {}
};

// Which rows are equations, and how many of them each column has; entries lie by columns.
void countequations(prslv_work& w, const mm_vector<uint8_t>& in, mm_vector<int32_t>& count) {
  for (int32_t j = 0; j < w.n; ++j) {
    count[j] = 0;
    for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) count[j] += in[w.ent[e].row];
  }
  w.work += double(w.numanz);
}

// The equation that the column is alone in, if its entry may be a pivot there; -1: none.
int32_t ownequation(const prslv_work& w, const mm_vector<uint8_t>& in, int32_t j) {
  int32_t e = w.chead[j];
  while (e >= 0 && in[w.ent[e].row] == 0) e = w.ent[e].cnext;
  return e >= 0 && std::abs(w.ent[e].val) > w.set.tollindep ? w.ent[e].row : -1;
}

// Sets rows with a column of their own aside until there is none. The first of them leave together,
// before any row is walked along: often none is left then.
void peel(prslv_work& w, mm_vector<uint8_t>& in, mm_vector<int32_t>& count) {
  mm_vector<int32_t> todo(w.tmpsub.get_allocator().place);
  for (int32_t i = 0; i < w.m; ++i) {
    in[i] = w.rlive[i] != 0 && w.rlen[i] > 0 && prslv_isequ(w, i) ? 1 : 0;
  }
  countequations(w, in, count);
  for (int32_t j = 0; j < w.n; ++j) {
    if (count[j] != 1) continue;
    if (const int32_t i = ownequation(w, in, j); i >= 0) in[i] = 0;
  }
  if (std::find(in.begin(), in.end(), uint8_t(1)) == in.end()) return;
  countequations(w, in, count);
  for (int32_t j = 0; j < w.n; ++j) {
    if (count[j] == 1) todo.push_back(j);
  }
  while (!todo.empty()) {
    const int32_t j = todo.back();
    todo.pop_back();
    const int32_t i = ownequation(w, in, j);
    if (i < 0) continue;
    in[i] = 0;
    for (int32_t f = w.rhead[i]; f >= 0; f = w.ent[f].rnext) {
      if (--count[w.ent[f].col] == 1) todo.push_back(w.ent[f].col);
    }
    w.work += w.rlen[i];
  }
}

void takecore(const prslv_work& w, const mm_vector<uint8_t>& in, mm_vector<int32_t>& place,
              lin_core& core) {
  core.at.ptr.push_back(0);
  for (int32_t i = 0; i < w.m; ++i) {
    if (in[i] == 0) continue;
    for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
      int32_t& at = place[w.ent[e].col];
      if (at < 0) {
        at = int32_t(core.col.size());
        core.col.push_back(w.ent[e].col);
      }
      core.at.sub.push_back(at);
      core.at.val.push_back(w.ent[e].val);
    }
    core.row.push_back(i);
    core.at.ptr.push_back(ptrdiff_t(core.at.sub.size()));
  }
  core.at.ptr.push_back(core.at.ptr.back());  // a column of zeros, which takes the places left over
  core.at.nrow = int32_t(core.col.size());
  core.at.ncol = int32_t(core.row.size()) + 1;
}

struct lin_limit {
  const monitor* outer;
  const lu_rec* factor;
  double limit;
  bool reached = false;
};

rescode polllimit(void* ctx, monitor_where where) {
  auto& limit = *static_cast<lin_limit*>(ctx);
  limit.reached = limit.factor->count.facwork > limit.limit;
  return limit.reached ? rescode::trm_internal : limit.outer->poll(where);
}

// The equation at position p as a combination of those with a pivot: coefficients by equation.
// Returns whether it is one, and how much of the right-hand side is missed, relative to its terms.
bool combination(const prslv_work& w, lu_rec& factor, const lin_core& core, int32_t p,
                 std::span<const int32_t> basic, lu_vector& x, double& miss) {
  const auto numrow = int32_t(core.row.size());
  lu_vecclear(x);
  double size = 0;
  for (ptrdiff_t q = core.at.ptr[p]; q < core.at.ptr[p + 1]; ++q) {
    lu_vecset(x, core.at.sub[q], core.at.val[q]);
    size = std::max(size, std::abs(core.at.val[q]));
  }
  lu_ftran(factor, x);
  exact_sum rhs;
  const double own = w.blc[core.row[p]];
  rhs.add(own);
  double scale = 1 + std::abs(own);
  for (int32_t k = 0; k < x.num; ++k) {
    const int32_t at = x.ind[k], from = basic[at];
    const double value = x.val[at];
    if (from >= numrow) {
      if (std::abs(value) > lindeptol * size) return false;
      x.val[at] = 0;
      continue;
    }
    const double term = value * w.blc[core.row[from]];
    rhs.add(-term);
    scale = std::max(scale, std::abs(term));
  }
  miss = rhs.value() / scale;
  return true;
}

void removedependent(prslv_work& w, lu_rec& factor, const lin_core& core,
                     std::span<const int32_t> basic) {
  const auto numrow = int32_t(core.row.size());
  lu_vector x(w.tmpsub.get_allocator().place);
  lu_vecsize(x, core.at.nrow);
  for (int32_t k = 0; k < factor.numsing; ++k) {
    const int32_t p = factor.singvar[k];
    double miss = 0;
    if (p >= numrow || !combination(w, factor, core, p, basic, x, miss)) continue;
    if (std::abs(miss) <= prslv_equtol) {
      prslv_droprow(w, core.row[p]);
      ++w.rec.info.numlindep;
    } else if (std::abs(miss) > prslv_infeastol) {
      const double sign = miss > 0 ? 1 : -1;
      w.seed.assign(1, {core.row[p], sign});
      for (int32_t q = 0; q < x.num; ++q) {
        const int32_t at = x.ind[q];
        if (x.val[at] != 0) w.seed.emplace_back(core.row[basic[at]], -sign * x.val[at]);
      }
      prslv_infeasible(w);
      return;
    }
  }
}

}  // namespace

void prslv_dependent(prslv_work& w) {
  const mm_place at = w.tmpsub.get_allocator().place;
  mm_vector<uint8_t> in(w.m, 0, at);
  mm_vector<int32_t> count(w.n, 0, at);
  peel(w, in, count);
  count.assign(w.n, -1);
  lin_core core(at);
  takecore(w, in, count, core);
  const auto numrow = int32_t(core.row.size());
  if (numrow < 2) return;
  // More equations than columns: rows of zeros below make the matrix square.
  core.at.nrow = std::max(core.at.nrow, numrow);
  const double numanz = double(core.at.sub.size()),
               limitwork = lindepunit * w.set.lindepworklim * (numanz + numrow);
  const double full = double(numrow) * double(core.col.size());
  if (numanz > lindepdense * full && full * numrow > limitwork) {
    w.rec.info.lindepcomplete = false;
    return;
  }
  mm_vector<int32_t> basic(core.at.nrow, numrow, at);
  for (int32_t p = 0; p < numrow; ++p) basic[p] = p;
  lu_rec factor(at);
  factor.set.pivabs = w.set.tollindep;
  lin_limit limit = {&w.mon, &factor, limitwork};
  monitor mon = w.mon;
  mon.ctx = &limit;
  mon.pollfn = &polllimit;
  const rescode r = lu_factorize(factor, spmat_look(core.at), basic, mon);
  w.work += factor.count.facwork;
  if (limit.reached) {
    w.rec.info.lindepcomplete = false;
  } else if (r != rescode::ok) {
    w.code = r;
  } else {
    removedependent(w, factor, core, basic);
  }
}
