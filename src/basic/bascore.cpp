// Basis, factors and what is computed anew from them.
#include "basic/bascore.h"

#include <algorithm>
#include <cmath>

bas_state::bas_state(const lp_view& scaled, const bas_settings& settings, const monitor& monit,
                     memman& mm, bas_info& told)
    : set(settings),
      mon(monit),
      info(told),
      mman(mm),
      clock(timer_start()),
      lp(scaled),
      m(scaled.numcon),
      n(scaled.numvar),
      nt(m + n),
      rows(mm_at(mm)),
      lo(mm_at(mm)),
      up(mm_at(mm)),
      x(mm_at(mm)),
      z(mm_at(mm)),
      y(mm_at(mm)),
      place(mm_at(mm)),
      basic(mm_at(mm)),
      posof(mm_at(mm)),
      lu(mm_at(mm)),
      work(mm_at(mm)),
      alpha(mm_at(mm)),
      alphaind(mm_at(mm)),
      sums(mm_at(mm)) {
  spmat_transpose(lp.a, rows);
  lo.assign(lp.blx.begin(), lp.blx.end());
  lo.insert(lo.end(), lp.blc.begin(), lp.blc.end());
  up.assign(lp.bux.begin(), lp.bux.end());
  up.insert(up.end(), lp.buc.begin(), lp.buc.end());
  for (auto* v : {&x, &z, &alpha}) v->assign(size_t(nt), 0.0);
  for (auto* v : {&y, &sums}) v->assign(size_t(m), 0.0);
  place.assign(size_t(nt), bas_place::inside);
  basic.assign(size_t(m), -1);
  posof.assign(size_t(nt), -1);
  alphaind.resize(size_t(nt));
  lu_vecsize(work, m);
  lu.set.pivrel = set.pivrel;
}

void bas_loadcolumn(bas_state& st, int32_t var) {
  if (var >= st.n) {
    lu_vecset(st.work, var - st.n, -1);
    return;
  }
  for (ptrdiff_t e = st.lp.a.ptr[var]; e < st.lp.a.ptr[var + 1]; ++e)
    lu_vecset(st.work, st.lp.a.sub[e], st.lp.a.val[e]);
}

double bas_boundof(const bas_state& st, int32_t var) {
  switch (st.place[var]) {
    case bas_place::lower:
    case bas_place::fixed:
      return st.lo[var];
    case bas_place::upper:
      return st.up[var];
    case bas_place::inside:
      break;
  }
  if (std::isinf(st.lo[var])) return std::isinf(st.up[var]) ? 0.0 : st.up[var];
  if (std::isinf(st.up[var])) return st.lo[var];
  return st.x[var] - st.lo[var] <= st.up[var] - st.x[var] ? st.lo[var] : st.up[var];
}

namespace {

// Residuals of B x_B = -N x_N beyond this, relative to the largest term, tell that the factors are bad:
// the relative pivot tolerance rises by the factor, up to the limit.
constexpr double badresidual = 1e-10;
constexpr double pivrelfactor = 5, pivrellimit = 0.5;

// sums := what is left of A x - r = 0 with sign reversed, x_B included or not. Returns the largest term.
double balance(bas_state& st, bool withbasic) {
  double most = 1;
  std::fill(st.sums.begin(), st.sums.end(), 0.0);
  for (int32_t j = 0; j < st.nt; ++j) {
    const double x = st.x[j];
    if (x == 0 || (!withbasic && st.posof[j] >= 0)) continue;
    if (j >= st.n) {
      st.sums[j - st.n] += x;
      most = std::max(most, std::abs(x));
      continue;
    }
    for (ptrdiff_t e = st.lp.a.ptr[j]; e < st.lp.a.ptr[j + 1]; ++e) {
      const double term = st.lp.a.val[e] * x;
      st.sums[st.lp.a.sub[e]] -= term;
      most = std::max(most, std::abs(term));
    }
  }
  return most;
}

// x_B += B^-1 sums.
void correct(bas_state& st) {
  std::copy(st.sums.begin(), st.sums.end(), st.work.val.begin());
  st.work.num = -1;
  lu_ftran(st.lu, st.work);
  for (int32_t e = 0; e < st.work.num; ++e)
    st.x[st.basic[st.work.ind[e]]] += st.work.val[st.work.ind[e]];
  lu_vecclear(st.work);
}

}  // namespace

double bas_primals(bas_state& st) {
  balance(st, false);
  for (const int32_t j : st.basic) st.x[j] = 0;
  correct(st);
  const double most = balance(st, true);
  double worst = 0;
  for (const double r : st.sums) worst = std::max(worst, std::abs(r));
  if (worst > 0) correct(st);
  return worst / most;
}

rescode bas_factor(bas_state& st) {
  for (;;) {
    const timer clock = timer_start();
    const rescode r = lu_factorize(st.lu, st.lp.a, st.basic, st.mon);
    st.info.lutime += timer_cpu(clock);
    ++st.info.numfactor;
    if (r != rescode::ok) return r;
    for (int32_t k = 0; k < st.lu.numsing; ++k)
      if (st.lu.singvar[k] >= 0) st.posof[st.lu.singvar[k]] = -1;
    for (int32_t p = 0; p < st.m; ++p) st.posof[st.basic[p]] = p;
    const bool isgood = bas_primals(st) <= badresidual;
    if (isgood || st.lu.set.pivrel >= pivrellimit) return rescode::ok;
    st.lu.set.pivrel = std::min(pivrellimit, pivrelfactor * st.lu.set.pivrel);
  }
}

void bas_duals(bas_state& st) {
  for (int32_t p = 0; p < st.m; ++p) {
    const int32_t j = st.basic[p];
    if (st.place[j] == bas_place::inside) st.z[j] = 0;
    st.work.val[p] = (j < st.n ? st.lp.c[j] : 0.0) - st.z[j];
  }
  st.work.num = -1;
  lu_btran(st.lu, st.work);
  std::copy(st.work.val.begin(), st.work.val.end(), st.y.begin());
  lu_vecclear(st.work);
  for (int32_t j = 0; j < st.nt; ++j) {
    if (st.posof[j] >= 0) continue;
    if (j >= st.n) {
      st.z[j] = st.y[j - st.n];
      continue;
    }
    double sum = st.lp.c[j];
    for (ptrdiff_t e = st.lp.a.ptr[j]; e < st.lp.a.ptr[j + 1]; ++e)
      sum -= st.lp.a.val[e] * st.y[st.lp.a.sub[e]];
    st.z[j] = sum;
  }
}

rescode bas_exchange(bas_state& st, int32_t p, int32_t enter, double alpha, bool& done) {
  const timer clock = timer_start();
  const lu_state state = lu_update(st.lu, p, alpha);
  st.info.lutime += timer_cpu(clock);
  done = state != lu_state::unstable;
  if (!done) return bas_factor(st);
  st.posof[st.basic[p]] = -1;
  st.basic[p] = enter;
  st.posof[enter] = p;
  if (state == lu_state::refactor || lu_wantfactor(st.lu)) return bas_factor(st);
  return rescode::ok;
}

rescode bas_poll(bas_state& st, const char* phase, int32_t iter, int32_t left,
                 monitor_where where) {
  st.info.cputime = timer_cpu(st.clock);
  if (st.set.logfreq <= 0 || iter % st.set.logfreq != 0) return st.mon.poll();
  st.mon.log(1, "%-8s %10d %10d %10d %8.2f\n", phase, iter, left,
             st.info.dualpivot + st.info.primalpivot, st.info.cputime);
  return st.mon.poll(where);
}
