// Driver of the factorization: setup, numeric phase and solves of the quasi-definite system.
#include <algorithm>
#include <cmath>

#include "cpub/fault.h"
#include "cpub/timer.h"
#include "kfac/kktfac.h"
#include "kfac/kktfacrec.h"
#include "kfac/kopenmp.h"
#include "kfac/pchfront.h"
#include "kfac/sqdplan.h"

namespace {

constexpr double form1cheap = 1e6;   // flops up to which form 2 is not tried
constexpr double form1cliques = 10;  // nor when columns first joins at most that many rows an entry
constexpr double form2gain = 3;      // form 2 is taken when form 1 costs that many times as much

void check_kind(const kktfac& fac, const char* text, fault_place place = fault_here()) {
  if (fac.kind == kktfac_kind::sqd) return;
  fault_raise(place, "%s", fac.isset ? "ADAT and big system mix" : text);
}

void check_input(const kktfac& fac) {
  check_kind(fac, "wrong factor type");
  if (!fac.hasa) fault_raise(fault_here(), "acol==NULL");
  if (!fac.hash) fault_raise(fault_here(), "h!=NULL in SQDT");
}

rescode make_plan(const kktfac& fac, const kktfac_settings& set, int32_t form,
                  const monitor& orderlog, sqdplan& plan) {
  return sqdplan_make(fac.a, fac.h, form, {set.ordermethod, set.offcoltrh, fac.border}, orderlog,
                      plan);
}

// The cheaper form, with some favour for the first.
rescode choose_plan(const kktfac& fac, const kktfac_settings& set, const monitor& orderlog,
                    sqdplan& plan) {
  if (const rescode r = make_plan(fac, set, 1, orderlog, plan); r != rescode::ok) return r;
  const auto numnz = double(fac.a.sub.size()) + double(fac.h.sub.size());
  if (plan.flops <= form1cheap || plan.cliques <= form1cliques * numnz) return rescode::ok;
  sqdplan other(mm_at(*fac.mman));
  if (const rescode r = make_plan(fac, set, 2, orderlog, other); r != rescode::ok) return r;
  other.torder += plan.torder;
  if (other.flops * form2gain < plan.flops) {
    plan = std::move(other);
  } else {
    plan.torder = other.torder;
  }
  return rescode::ok;
}

void fill_stats(kktfac& fac, const sqdplan& plan) {
  kktfac_stats& st = fac.stats;
  st.form = plan.form;
  st.dim = fac.sym.n;
  st.numoffcol = plan.numoffcol;
  st.torder += plan.torder;
  st.tgporder += plan.part.tgporder;
  st.gpused = plan.part.gpused;
  st.gpsavednz = plan.part.gpsavednz;
  st.gpsavedflops = plan.part.gpsavedflops;
  st.matnumnz = int64_t(plan.graph.sub.size()) / 2 + fac.sym.n;
  st.numnz = fac.sym.numnz;
  st.storednz = int64_t(fac.sym.panelpos[fac.sym.numsn]);
  st.flops = fac.sym.flops;
  st.adaflops = fac.big.elim.flops;
}

void finish_setup(kktfac& fac, const kktfac_settings& set, const sqdplan& plan) {
  symface_make(spmat_look(plan.graph), plan.order, fac.sym);
  sqdform_make(fac.a, fac.h, plan, fac.sym, fac.big);
  psched_make(fac.sym, set.numthreads, fac.sched);
  pcholfac_make(fac.sym, fac.sched, parblas_choose(set.cputype), set.cachel2, true, fac.chol);
  const auto dim = size_t(fac.sym.n);
  fac.chol.sign.resize(dim);
  for (size_t k = 0; k < dim; ++k) fac.chol.sign[k] = fac.big.index[k] < fac.numcol ? -1 : 1;
  if (fac.big.elim.mapptr.empty()) fac.place.resize(dim * size_t(fac.sched.numthreads));
  fac.diag.resize(dim);
  pchsolve_make(fac.sym, fac.sched.numthreads, fac.solve);
  fac.rhs.resize(dim * parblas_maxrhs);
  fac.refine.resize((size_t(fac.numcol) + size_t(fac.numrow)) * 2);
  fac.chk.resize(set.check ? (size_t(fac.numcol) + size_t(fac.numrow)) * 3 : 0);
  fill_stats(fac, plan);
}

rescode setup(kktfac& fac, const kktfac_settings& set, bool open, const monitor& mon,
              const monitor& orderlog) {
  fac.isset = fac.isfactored = false;
  const timer clock = timer_start();
  sqdplan plan(mm_at(*fac.mman));
  const int32_t form = set.form != 0 ? set.form : std::max(fac.bigform, 1);
  const rescode r =
      open ? choose_plan(fac, set, orderlog, plan) : make_plan(fac, set, form, orderlog, plan);
  if (r != rescode::ok) return r;
  if (const rescode stop = mon.poll(); stop != rescode::ok) return stop;
  finish_setup(fac, set, plan);
  fac.chklog = mon;
  fac.bigform = plan.form;
  fac.stats.tsetup += timer_wall(clock);
  fac.isset = true;
  return mon.poll();
}

}  // namespace

void kktfac_inqij(kktfac& fac, const spmat_view& h) {
  if (fac.kind != kktfac_kind::sqd) fault_raise(fault_here(), "ADAT and big system mix");
  fac.h = h;
  fac.hash = true;
  fac.isset = fac.isfactored = false;
}

void kktfac_inborder(kktfac& fac, std::span<const kktfac_border> list) {
  check_kind(fac, "wrong factor type");
  fac.border.assign(list.begin(), list.end());
  fac.isset = fac.isfactored = false;
}

void kktfac_numinaij(kktfac& fac, std::span<const double> val) {
  fault_check(val.size() == fac.a.sub.size());
  fac.a.val = val;
}

void kktfac_numinqij(kktfac& fac, std::span<const double> val) {
  fault_check(val.size() == fac.h.sub.size());
  fac.h.val = val;
}

bool kktfac_checkh(const kktfac& fac) {
  check_input(fac);
  const spmat_view& h = fac.h;
  if (h.ncol != fac.numcol || h.nrow != fac.numcol) return false;
  for (int32_t j = 0; j < h.ncol; ++j) {
    for (ptrdiff_t p = h.ptr[j]; p < h.ptr[j + 1]; ++p) {
      const int32_t least = p == h.ptr[j] ? j : h.sub[p - 1] + 1;
      if (h.sub[p] < least || h.sub[p] >= h.nrow || !std::isfinite(h.val[p])) return false;
      if (h.sub[p] == j && h.val[p] < 0) return false;
    }
  }
  return true;
}

rescode kktfac_setup(kktfac& fac, const kktfac_settings& set, const monitor& mon,
                     const monitor& orderlog) {
  check_input(fac);
  return setup(fac, set, false, mon, orderlog);
}

rescode kktfac_autosetup(kktfac& fac, const kktfac_settings& set, const monitor& mon,
                         const monitor& orderlog) {
  check_input(fac);
  return setup(fac, set, set.form == 0 && fac.bigform == 0, mon, orderlog);
}

namespace {

void form_panels(kktfac& fac, const sqdmatrix& k, kteam& team, pchpoll& poll) {
  const mm_vector<int32_t>& cut = fac.big.elim.cut;
  const size_t size = fac.big.elim.mapptr.empty() ? size_t(fac.sym.n) : 0;
  kteam_share(team, int32_t(cut.size()) - 1, [&](int32_t task, int32_t member) {
    if (poll.stop.load(std::memory_order_relaxed) != 0) return;
    par_a_d_h_anumfac(k, fac.big, fac.sym, cut[task], cut[task + 1], pcholfac_panels(fac.chol),
                      fac.diag, std::span(fac.place).subspan(size_t(member) * size, size));
    if (member == 0) poll.add(pchpoll_formed);
  });
}

// A row that falls to rounding of its diagonal depends on rows before it: it leaves the system, so
// that its rounding errors are not divided by something tiny. Other refused pivots get a value.
void set_pivots(kktfac& fac, const kktfac_regul& regul) {
  for (size_t k = 0; k < fac.diag.size(); ++k) {
    const double relative = regul.pivrel * std::abs(fac.diag[k]);
    const bool leaves = fac.chol.sign[k] > 0 && !regul.keeprow;
    fac.chol.thr[k] = std::max(relative, regul.dynthr);
    fac.chol.rep[k] = leaves && relative > regul.dynthr ? 0 : std::max(relative, regul.dynval);
  }
}

}  // namespace

rescode kktfac_numfacsqd(kktfac& fac, std::span<const double> d, std::span<const double> e,
                         const kktfac_regul& regul, const monitor& mon) {
  check_kind(fac, "Wrong factor type");
  if (!fac.isset) return rescode::err_internal;
  fac.isfactored = false;
  const timer clock = timer_start();
  const sqdmatrix k{fac.a, fac.h, d, e, regul.regcol, regul.regrow};
  rescode r = rescode::ok;
  std::atomic<int32_t> stop{0};
  pchpoll poll{mon, stop};
  kteam_run(fac.sched.numthreads, [&](kteam& team) {
    sqdform_begin(k, fac.big, fac.diag);
    form_panels(fac, k, team, poll);
    set_pivots(fac, regul);
    fac.stats.tada += timer_wall(clock);
    r = pcholfac_numeric(fac.sym, fac.sched, fac.chol, poll, team, fac.stats.numskipped);
  });
  if (r != rescode::ok) return r;
  if (!fac.chk.empty()) {
    std::ranges::copy(d, fac.chk.begin());
    std::ranges::copy(e, fac.chk.begin() + fac.numcol);
    fac.regcol = regul.regcol;
    fac.regrow = regul.regrow;
  }
  ++fac.stats.num;
  fac.stats.tfactor += timer_wall(clock);
  fac.isfactored = true;
  return rescode::ok;
}

namespace {

// nrhs is 1, 2 or 4.
void solve_group(kktfac& fac, double* x, int32_t nrhs) {
  const ptrdiff_t dim = fac.sym.n, ldx = ptrdiff_t(fac.numcol) + fac.numrow;
  double* y = fac.rhs.data();
  for (int32_t r = 0; r < nrhs; ++r) sqdform_fold(fac.a, fac.big, x + r * ldx, y + r * dim);
  kteam_run(fac.solve.numthreads, [&](kteam& team) {
    const pchsolve_vectors v{y, dim, nrhs};
    pchsolve_lower(fac.sym, fac.chol, fac.solve, team, v);
    pchsolve_diag(fac.chol, v);
    pchsolve_upper(fac.sym, fac.chol, fac.solve, team, v);
  });
  for (int32_t r = 0; r < nrhs; ++r) sqdform_unfold(fac.a, fac.big, y + r * dim, x + r * ldx);
}

double largest(std::span<const double> x) {
  double most = 0;
  for (const double v : x) {
    if (!(std::abs(v) <= most)) most = std::abs(v);  // NaN is the largest
  }
  return most;
}

// Of one solve of the matrix with its regularization; b stands in the middle third of chk.
void check_solve(kktfac& fac, std::span<const double> x) {
  const auto n = size_t(fac.numcol), m = size_t(fac.numrow), dim = n + m;
  const auto part = [&](size_t k, size_t size) { return std::span(fac.chk).subspan(k, size); };
  const std::span<double> b = part(dim, dim), r = part(2 * dim, dim);
  sqdform_residual({fac.a, fac.h, part(0, n), part(n, m)}, x, b, r);
  for (size_t i = 0; i < dim; ++i) r[i] += (i < n ? fac.regcol : -fac.regrow) * x[i];
  const double size = largest(b);
  fac.stats.chkfactor = size > 0 ? largest(r) / size : 0;
  fac.chklog.log(0, "\nchk factor=%e", fac.stats.chkfactor);
}

}  // namespace

void kktfac_solve(kktfac& fac, std::span<double> x, int32_t nrhs) {
  check_kind(fac, "Wrong factor type");
  if (!fac.isfactored) return;
  const timer clock = timer_start();
  const size_t ldx = size_t(fac.numcol) + size_t(fac.numrow);
  if (!fac.chk.empty()) std::ranges::copy(x.first(ldx), fac.chk.begin() + ptrdiff_t(ldx));
  for (int32_t r = 0; r < nrhs;) {
    const int32_t left = nrhs - r;
    const int32_t now = left >= parblas_maxrhs ? parblas_maxrhs : left >= 2 ? 2 : 1;
    solve_group(fac, x.data() + size_t(r) * ldx, now);
    r += now;
  }
  if (!fac.chk.empty()) check_solve(fac, x.first(ldx));
  fac.stats.numsolve += nrhs;
  fac.stats.tsolve += timer_wall(clock);
}

void kktfac_sqdresidual(const kktfac& fac, std::span<const double> d, std::span<const double> e,
                        std::span<const double> x, std::span<const double> rhs,
                        std::span<double> r) {
  check_kind(fac, "Wrong factor type");
  sqdform_residual({fac.a, fac.h, d, e}, x, rhs, r);
}

double kktfac_sqdrefine(kktfac& fac, std::span<const double> d, std::span<const double> e,
                        std::span<const double> rhs, std::span<double> x,
                        const kktfac_refine& set) {
  check_kind(fac, "Wrong factor type");
  const size_t dim = rhs.size();
  const std::span<double> res = std::span(fac.refine).first(dim),
                          tried = std::span(fac.refine).subspan(dim, dim);
  const double size = largest(rhs);
  std::ranges::copy(rhs, x.begin());
  if (size == 0 || !fac.isfactored) return 0;
  kktfac_solve(fac, x, 1);
  kktfac_sqdresidual(fac, d, e, x, rhs, res);
  double now = largest(res);
  for (int32_t round = 0; round < set.maxround && now > set.stop * size; ++round) {
    kktfac_solve(fac, res, 1);
    for (size_t i = 0; i < dim; ++i) tried[i] = x[i] + res[i];
    kktfac_sqdresidual(fac, d, e, tried, rhs, res);
    const double next = largest(res);
    if (!(next < now)) break;
    std::ranges::copy(tried, x.begin());
    const bool isslow = next * set.gain > now;
    now = next;
    if (isslow) break;
  }
  return now / size;
}
