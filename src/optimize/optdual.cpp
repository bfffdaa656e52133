#include "optimize/optdual.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kfac/psymface.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double maxfreeshare = 0.2;  // of the rows may become free variables of the dual freely
constexpr double worthit = 4;         // times cheaper by the estimate
constexpr double worthrisk = 8;       // the same when there are more of them
constexpr double dearentries = 5e6;   // and the primal form is at least so dear

bool closes_row(const hs_lp& lp, int32_t j) {
  return lp.a.ptr[j + 1] - lp.a.ptr[j] == 1 && lp.c[j] == 0 && lp.isfree[j] == 0 &&
         !std::isfinite(lp.u[j]);
}

// For each row the first column that closes it, or -1.
void find_slacks(const hs_lp& lp, mm_vector<int32_t>& slackof) {
  slackof.assign(lp.a.nrow, -1);
  for (int32_t j = 0; j < lp.a.ncol; ++j) {
    if (!closes_row(lp, j)) continue;
    int32_t& slack = slackof[lp.a.sub[lp.a.ptr[j]]];
    if (slack < 0) slack = j;
  }
}

hs_status swapped(hs_status status) {
  switch (status) {
    case hs_status::priminfeas:
      return hs_status::dualinfeas;
    case hs_status::nearpriminfeas:
      return hs_status::neardualinfeas;
    case hs_status::dualinfeas:
      return hs_status::priminfeas;
    case hs_status::neardualinfeas:
      return hs_status::nearpriminfeas;
    default:
      return status;
  }
}

void add_column(opt_dual& dual, double cost, bool isfree) {
  dual.a.ptr.push_back(ptrdiff_t(dual.a.sub.size()));
  ++dual.a.ncol;
  dual.c.push_back(cost);
  dual.isfree.push_back(uint8_t(isfree));
  dual.u.push_back(inf);
}

}  // namespace

bool opt_prefersdual(const hs_lp& lp, int32_t offcoltrh, memman& mman) {
  if (lp.a.nrow == 0 || lp.a.ncol == 0) return false;
  mm_vector<int32_t> slackof(mm_at(mman)), dense(mm_at(mman));
  find_slacks(lp, slackof);
  psymface_offcol(lp.a, offcoltrh, dense);
  mm_vector<double> rowcount(lp.a.nrow, 0.0, mm_at(mman));
  // Entries of the outer products that the normal equations are summed from, without the columns that
  // the primal form keeps apart.
  double primal = 0, dual = 0;
  for (int32_t j = 0; j < lp.a.ncol; ++j) {
    const double count = double(lp.a.ptr[j + 1] - lp.a.ptr[j]);
    if (count == 1) continue;
    primal += count * count;
    for (ptrdiff_t p = lp.a.ptr[j]; p < lp.a.ptr[j + 1]; ++p) ++rowcount[lp.a.sub[p]];
  }
  for (const int32_t j : dense) {
    const double count = double(lp.a.ptr[j + 1] - lp.a.ptr[j]);
    primal -= count * count;
  }
  for (const double count : rowcount) dual += count * count;
  const auto numfree = double(std::ranges::count(slackof, -1));
  if (numfree <= maxfreeshare * lp.a.nrow) return primal > worthit * dual;
  return primal > dearentries && primal > worthrisk * dual;
}

void opt_makedual(const hs_lp& lp, opt_dual& dual) {
  const int32_t m = lp.a.nrow, n = lp.a.ncol;
  const mm_place place = dual.b.get_allocator().place;
  find_slacks(lp, dual.slackof);
  dual.rowof.assign(n, -1);
  dual.sof.assign(n, -1);
  dual.vof.assign(n, -1);
  for (int32_t j = 0; j < n; ++j) {
    const bool isclosing = closes_row(lp, j) && dual.slackof[lp.a.sub[lp.a.ptr[j]]] == j;
    if (isclosing) continue;
    dual.rowof[j] = dual.a.nrow++;
    dual.b.push_back(lp.c[j]);
  }
  spmat at(place);
  spmat_transpose(lp.a, at);
  dual.a.ptr.push_back(0);
  for (int32_t i = 0; i < m; ++i) {  // y, or the s of the closing column in its place
    const int32_t slack = dual.slackof[i];
    const double scale = slack < 0 ? 1 : -1 / lp.a.val[lp.a.ptr[slack]];
    for (ptrdiff_t p = at.ptr[i]; p < at.ptr[i + 1]; ++p) {
      if (at.sub[p] == slack) continue;
      dual.a.sub.push_back(dual.rowof[at.sub[p]]);
      dual.a.val.push_back(scale * at.val[p]);
    }
    add_column(dual, -lp.b[i] * scale, slack < 0);
  }
  for (int32_t j = 0; j < n; ++j) {
    if (dual.rowof[j] < 0 || lp.isfree[j] != 0) continue;
    dual.sof[j] = dual.a.ncol;
    dual.a.sub.push_back(dual.rowof[j]);
    dual.a.val.push_back(1);
    add_column(dual, 0, false);
    if (!std::isfinite(lp.u[j])) continue;
    dual.vof[j] = dual.a.ncol;
    dual.a.sub.push_back(dual.rowof[j]);
    dual.a.val.push_back(-1);
    add_column(dual, lp.u[j], false);
  }
}

hs_lp opt_dualview(const opt_dual& dual, const hs_lp& lp) {
  hs_lp view{spmat_look(dual.a), dual.b, dual.c, dual.u, dual.isfree};
  view.cfix = -lp.cfix;
  view.objsign = -lp.objsign;
  return view;
}

void opt_fromdual(const hs_lp& lp, const opt_dual& dual, const hs_solution& from,
                  hs_solution& sol) {
  const int32_t m = lp.a.nrow, n = lp.a.ncol;
  sol.status = swapped(from.status);
  const bool isray = sol.status == hs_status::dualinfeas || sol.status == hs_status::neardualinfeas;
  sol.x.assign(n, 0.0);
  sol.s.assign(n, 0.0);
  sol.v.assign(n, 0.0);
  sol.y.assign(m, 0.0);
  for (int32_t i = 0; i < m; ++i) {
    const int32_t slack = dual.slackof[i];
    sol.y[i] = from.x[i];
    if (slack < 0) continue;
    sol.y[i] = -from.x[i] / lp.a.val[lp.a.ptr[slack]];
    sol.s[slack] = from.x[i];
    sol.x[slack] = from.s[i];
  }
  for (int32_t j = 0; j < n; ++j) {
    if (dual.rowof[j] < 0) continue;
    sol.x[j] = -from.y[dual.rowof[j]];
    if (dual.sof[j] >= 0) sol.x[j] = isray ? std::max(sol.x[j], 0.0) : from.s[dual.sof[j]];
    if (dual.sof[j] >= 0) sol.s[j] = from.x[dual.sof[j]];
    if (dual.vof[j] >= 0) sol.v[j] = from.x[dual.vof[j]];
  }
}
