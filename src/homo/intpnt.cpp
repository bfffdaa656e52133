// Entry of the conic optimizer: checks the view, rotates and scales, sets up the factorization, runs
// the iteration and brings the final point back into the caller's units.

#include "homo/intpnt.h"

#include <algorithm>
#include <cmath>

#include "cpub/fault.h"
#include "homo/intpntco.h"
#include "homo/intpntcone.h"

namespace {

void check_view(const intpnt_prob& prob) {
  const hs_lp& lp = prob.lp;
  const int32_t numvar = lp.a.ncol, movable = numvar - prob.numbfx;
  for (int32_t j = 0; j < numvar; ++j) {
    const bool isfixed = lp.isfree[j] == 0 && lp.u[j] == 0;
    if (isfixed != (j >= movable)) {
      fault_raise(fault_here(),
                  "Fixed variables should be last i.e. (numvar: %d numbfx: %d) >= "
                  "numvar-numbfx=%d bset[%d]=%d",
                  numvar, prob.numbfx, movable, j, int32_t(isfixed));
    }
    if (isfixed && lp.a.ptr[j] != lp.a.ptr[j + 1]) {
      fault_raise(fault_here(), "Nonempty fixed variable column.");
    }
  }
  int32_t next = prob.cones.empty() ? movable : prob.cones[0].cnebeg;
  for (size_t k = 0; k < prob.cones.size(); ++k) {
    const intpnt_cone& cone = prob.cones[k];
    const int32_t least = cone.type == intpnt_ct::quad ? 1 : 2;
    if (cone.cneend - cone.cnebeg < least) {
      fault_raise(fault_here(), "Small cone. cnebeg[%d]: %d cneend[%d]: %d\n", int32_t(k),
                  cone.cnebeg, int32_t(k), cone.cneend);
    }
    fault_check(cone.cnebeg == next);
    next = cone.cneend;
  }
  fault_check(next == movable);
}

// The view with every rotated cone turned into a quadratic one, and storage for what that changes.
struct rotated_copy {
  spmat a;
  mm_vector<double> c;
  mm_vector<int32_t> group;
  explicit rotated_copy(mm_place at) : a(at), c(at), group(at) {}
};

// Columns first and first + 1 of a become (a_0 + a_1, a_0 - a_1) / sqrt(2), with the union of rows.
void rotate_columns(const spmat_view& a, int32_t first, spmat& to) {
  ptrdiff_t p = a.ptr[first], q = a.ptr[first + 1];
  const ptrdiff_t pend = q, qend = a.ptr[first + 2], begin = ptrdiff_t(to.sub.size());
  while (p < pend || q < qend) {
    const int32_t ip = p < pend ? a.sub[p] : a.nrow, iq = q < qend ? a.sub[q] : a.nrow;
    double v0 = ip <= iq ? a.val[p++] : 0, v1 = iq <= ip ? a.val[q++] : 0;
    cone_rotate(v0, v1);
    to.sub.push_back(std::min(ip, iq));
    to.val.push_back(v0);
    to.val.push_back(v1);
  }
  const ptrdiff_t len = ptrdiff_t(to.sub.size()) - begin;
  for (ptrdiff_t k = 0; k < len; ++k) to.sub.push_back(to.sub[begin + k]);
  // The values stand in pairs: the first of each go before the second.
  mm_vector<double> second(to.val.get_allocator());
  for (ptrdiff_t k = 0; k < len; ++k) {
    second.push_back(to.val[begin + 2 * k + 1]);
    to.val[begin + k] = to.val[begin + 2 * k];
  }
  std::copy(second.begin(), second.end(), to.val.begin() + begin + len);
  to.ptr.push_back(begin + len);
  to.ptr.push_back(begin + 2 * len);
}

hs_lp rotate(const intpnt_prob& prob, rotated_copy& copy) {
  hs_lp lp = prob.lp;
  const spmat_view a = lp.a;
  const int32_t movable = a.ncol - prob.numbfx;
  copy.c.assign(lp.c.begin(), lp.c.begin() + movable);
  copy.group.assign(movable, -1);
  copy.a.nrow = a.nrow;
  copy.a.ncol = movable;
  copy.a.ptr.push_back(0);
  int32_t next = 0;
  auto keep_until = [&](int32_t last) {
    copy.a.sub.insert(copy.a.sub.end(), a.sub.begin() + a.ptr[next], a.sub.begin() + a.ptr[last]);
    copy.a.val.insert(copy.a.val.end(), a.val.begin() + a.ptr[next], a.val.begin() + a.ptr[last]);
    const ptrdiff_t shift = copy.a.ptr.back() - a.ptr[next];
    for (; next < last; ++next) copy.a.ptr.push_back(a.ptr[next + 1] + shift);
  };
  for (size_t k = 0; k < prob.cones.size(); ++k) {
    const intpnt_cone& cone = prob.cones[k];
    std::fill(&copy.group[cone.cnebeg], &copy.group[cone.cnebeg] + (cone.cneend - cone.cnebeg),
              int32_t(k));
    if (cone.type != intpnt_ct::rquad) continue;
    keep_until(cone.cnebeg);
    rotate_columns(a, cone.cnebeg, copy.a);
    cone_rotate(copy.c[cone.cnebeg], copy.c[cone.cnebeg + 1]);
    next = cone.cnebeg + 2;
  }
  keep_until(movable);
  lp.a = spmat_look(copy.a);
  lp.c = copy.c;
  lp.u = lp.u.first(size_t(movable));
  lp.isfree = lp.isfree.first(size_t(movable));
  lp.group = copy.group;
  return lp;
}

void count_bounds(const intpnt_data& data, hs_info& info) {
  info.numcon = data.lp.m;
  info.numvar = data.lp.n;
  info.numbfr = int32_t(data.lp.fcol.size());
  info.numbup = int32_t(data.lp.u.size());
  info.numblo = data.numlin - info.numbfr;
}

// The final point in the caller's units, over tau, or over the objective of the ray it proves.
void intpnt_invscale(const intpnt_prob& view, const intpnt_state& st, hs_solution& sol) {
  const hom_prob& lp = st.data.lp;
  const hom_point& it = st.it;
  double primal = lp.sb / it.tau, dual = lp.sc / it.tau;
  if (sol.status == hs_status::priminfeas || sol.status == hs_status::nearpriminfeas) {
    const double by = intpnt_dualray(st).objective;
    if (by > 0) dual = lp.sc / by;
  } else if (sol.status == hs_status::dualinfeas || sol.status == hs_status::neardualinfeas) {
    const double cx = intpnt_primalray(st).objective;
    if (cx > 0) primal = lp.sb / cx;
  }
  const int32_t numvar = view.lp.a.ncol;
  sol.x.assign(numvar, 0.0);
  sol.s.assign(numvar, 0.0);
  sol.v.assign(numvar, 0.0);
  sol.y.assign(lp.m, 0.0);
  for (int32_t j = 0; j < lp.n; ++j) {
    sol.x[j] = it.x[j] * lp.colfac[j] * primal;
    sol.s[j] = it.s[j] / lp.colfac[j] * dual;
  }
  for (int32_t i = 0; i < lp.m; ++i) sol.y[i] = it.y[i] * lp.rowfac[i] * dual;
  for (size_t k = 0; k < lp.u.size(); ++k) {
    sol.v[lp.ucol[k]] = it.v[k] / lp.colfac[lp.ucol[k]] * dual;
  }
  for (const intpnt_cone& cone : view.cones) {
    if (cone.type != intpnt_ct::rquad) continue;
    cone_rotate(sol.x[cone.cnebeg], sol.x[cone.cnebeg + 1]);
    cone_rotate(sol.s[cone.cnebeg], sol.s[cone.cnebeg + 1]);
  }
}

}  // namespace

rescode intpnt_optcone(const intpnt_prob& prob, const hs_settings& set, const monitor& mon,
                       memman& mman, hs_info& info, hs_solution& sol) {
  const timer clock = timer_start();
  check_view(prob);
  intpnt_data data(mm_at(mman));
  {
    rotated_copy copy(mm_at(mman));
    hs_scaleproblem(rotate(prob, copy), set.scaling, data.lp);
  }
  data.numlin = prob.cones.empty() ? data.lp.n : prob.cones[0].cnebeg;
  for (const intpnt_cone& cone : prob.cones) data.conebeg.push_back(cone.cnebeg);
  data.conebeg.push_back(data.lp.n);
  // A bound of a cone member is none: cones are all that binds it.
  count_bounds(data, info);
  info.solvedual = false;
  intpnt_kkt kkt(data, mman);
  if (const rescode r = intpnt_kktsetup(kkt, set.kkt, mon, monitor_at(mon, set.orderlevel));
      r != rescode::ok) {
    mon.log(6, "resp(%d)\n", int32_t(r));
    return r;
  }
  info.fac = kktfac_getstats(*kkt.fac);
  intpnt_state st(data, set, mon, kkt, mman);
  hom_logsetup(data.lp, set, info.fac, mon, mman);
  const hom_outcome outcome = intpnt_coneopt(st, info);
  sol.status = outcome.status;
  intpnt_invscale(prob, st, sol);
  intpnt_logend(st, outcome);
  hom_logtimes(mon, st.times, kktfac_getstats(*kkt.fac), timer_wall(clock));
  info.fac = kktfac_getstats(*kkt.fac);
  info.cputime = timer_cpu(clock);
  info.realtime = timer_wall(clock);
  return outcome.code;
}
