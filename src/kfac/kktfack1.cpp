// Driver of the factorization: the object, and setup, numeric phase and solves of the normal
// equations.
#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>
#include <utility>

#include "cpub/fault.h"
#include "cpub/timer.h"
#include "kfac/kktfac.h"
#include "kfac/kktfacrec.h"
#include "kfac/kopenmp.h"
#include "kfac/pchfront.h"
#include "kfac/psymface.h"
#include "kfac/sorder1.h"

void kktfac_deleter::operator()(kktfac* fac) const noexcept {
  memman* mman = fac->mman;
  fac->~kktfac();
  memman_free(mman, fac, __FILE__, __LINE__);
}

kktfac_ptr kktfac_make(kktfac_kind kind, int32_t numrow, int32_t numcol, memman& mman) {
  if (kind != kktfac_kind::ada && kind != kktfac_kind::sqd) fault_raise(fault_here(), "Wrong ktpe");
  void* space = memman_alloc(&mman, 1, sizeof(kktfac), __FILE__, __LINE__);
  if (space == nullptr) throw std::bad_alloc();
  return kktfac_ptr(new (space) kktfac(kind, numrow, numcol, mman));
}

void kktfac_inaij(kktfac& fac, const spmat_view& a) {
  fac.a = a;
  fac.hasa = true;
  fac.isset = fac.isfactored = false;
}

const kktfac_stats& kktfac_getstats(const kktfac& fac) noexcept {
  return fac.stats;
}

namespace {

constexpr double pivabs = 1e-30;   // a pivot below it is refused whatever its diagonal; absolute
constexpr int32_t cgmaxiter = 15;  // of the refinement with dense columns
constexpr double cgstop = 1e-14;   // residual, relative to the right-hand side
constexpr int32_t cgvectors = 5;

void reserve_scratch(kktfac& fac, bool check) {
  const auto m = size_t(fac.numrow);
  if (fac.form.mapptr.empty()) fac.place.resize(m * size_t(fac.sched.numthreads));
  fac.diag.resize(m);
  pchsolve_make(fac.sym, fac.sched.numthreads, fac.solve);
  fac.rhs.resize(m * parblas_maxrhs);
  fac.chk.resize(check ? 2 * m : 0);
  if (fac.schur.cols.empty() && !check) return;
  fac.d.resize(size_t(fac.numcol));
  fac.cgcol.resize(size_t(fac.numcol));
  fac.cg.resize(m * cgvectors);
}

// The symbolic factor, from the sparser of two patterns that have the same.
void analyse(kktfac& fac, std::span<const uint8_t> isoff, const spmat& graph,
             std::span<const int32_t> order) {
  if (graph.sub.size() <= 2 * fac.a.sub.size()) {
    symface_make(spmat_look(graph), order, fac.sym);
    return;
  }
  const mm_place at = mm_at(*fac.mman);
  mm_vector<int32_t> iperm(order.size(), 0, at);
  for (size_t k = 0; k < order.size(); ++k) iperm[order[k]] = int32_t(k);
  spmat star(at);
  psymface_star(fac.a, isoff, iperm, star);
  symface_make(spmat_look(star), order, fac.sym);
}

void fill_stats(kktfac& fac, int64_t matnumnz) {
  kktfac_stats& st = fac.stats;
  st.dim = fac.numrow;
  st.numoffcol = int32_t(fac.schur.cols.size());
  st.dendim = st.numoffcol;
  st.matnumnz = matnumnz;
  st.numnz = fac.sym.numnz;
  st.storednz = int64_t(fac.sym.panelpos[fac.sym.numsn]);
  st.flops = fac.sym.flops;
  st.adaflops = fac.form.flops;
}

}  // namespace

rescode kktfac_adasetup(kktfac& fac, const kktfac_settings& set, const monitor& mon,
                        const monitor& orderlog) {
  if (fac.kind != kktfac_kind::ada) fault_raise(fault_here(), "ADAT and big system mix");
  if (!fac.hasa) fault_raise(fault_here(), "acol==NULL");
  fac.isset = fac.isfactored = false;
  const timer clock = timer_start();
  memman& mman = *fac.mman;
  const auto m = size_t(fac.numrow);
  spmat at(mm_at(mman)), graph(mm_at(mman));
  spmat_transpose({fac.a.nrow, fac.a.ncol, fac.a.ptr, fac.a.sub, {}}, at);
  mm_vector<uint8_t> isoff(size_t(fac.numcol), 0, mm_at(mman));
  psymface_offcol(fac.a, set.offcoltrh, fac.schur.cols);
  for (const int32_t j : fac.schur.cols) isoff[j] = 1;
  par_setup_aat(fac.a, spmat_look(at), isoff, graph);
  if (const rescode r = mon.poll(); r != rescode::ok) return r;
  mm_vector<int32_t> order(m, 0, mm_at(mman));
  const timer orderclock = timer_start();
  sorder1_result part;
  const rescode r = sorder1_order(spmat_look(graph), set.ordermethod, orderlog, mman, order, part);
  fac.stats.torder += timer_wall(orderclock);
  fac.stats.tgporder += part.tgporder;
  fac.stats.gpused = part.gpused;
  fac.stats.gpsavednz = part.gpsavednz;
  fac.stats.gpsavedflops = part.gpsavedflops;
  if (r != rescode::ok) return r;
  analyse(fac, isoff, graph, order);
  if (const rescode stop = mon.poll(); stop != rescode::ok) return stop;
  adaform_make(fac.a, isoff, fac.sym, 0, false, fac.form);
  const bool replaces = !fac.schur.cols.empty();
  psched_make(fac.sym, set.numthreads, fac.sched);
  pcholfac_make(fac.sym, fac.sched, parblas_choose(set.cputype), set.cachel2, replaces, fac.chol);
  if (replaces) psschur_make(fac.sym, fac.schur);
  fac.chklog = mon;
  reserve_scratch(fac, set.check);
  fill_stats(fac, int64_t(graph.sub.size()) / 2 + fac.numrow);
  fac.stats.tsetup += timer_wall(clock);
  fac.isset = true;
  return mon.poll();
}

namespace {

void form_panels(kktfac& fac, kteam& team, pchpoll& poll) {
  const mm_vector<int32_t>& cut = fac.form.cut;
  const size_t size = fac.form.mapptr.empty() ? size_t(fac.numrow) : 0;
  kteam_share(team, int32_t(cut.size()) - 1, [&](int32_t task, int32_t member) {
    if (poll.stop.load(std::memory_order_relaxed) != 0) return;
    par_arow_adanumfac(fac.form, fac.sym, cut[task], cut[task + 1], pcholfac_panels(fac.chol),
                       fac.diag, std::span(fac.place).subspan(size_t(member) * size, size));
    if (member == 0) poll.add(pchpoll_formed);
  });
}

// What the pivots are held against: the diagonal before elimination. With dense columns a refused
// pivot is replaced by that threshold, since a dense column may still hold its row.
void set_pivots(kktfac& fac, const kktfac_regul& regul) {
  for (int32_t i = 0; i < fac.numrow; ++i) {
    fac.chol.thr[i] = std::max(regul.pivrel * fac.diag[i], pivabs);
  }
  if (!fac.schur.cols.empty()) std::ranges::copy(fac.chol.thr, fac.chol.rep.begin());
}

}  // namespace

rescode kktfac_numfac(kktfac& fac, std::span<const double> d, const kktfac_regul& regul,
                      const monitor& mon) {
  if (fac.kind != kktfac_kind::ada) fault_raise(fault_here(), "Wrong factor type");
  if (!fac.isset) return rescode::err_internal;
  fac.isfactored = false;
  const timer clock = timer_start();
  int32_t numrefused = 0;
  rescode r = rescode::ok;
  std::atomic<int32_t> stop{0};
  pchpoll poll{mon, stop};
  kteam_run(fac.sched.numthreads, [&](kteam& team) {
    std::ranges::fill(fac.diag, regul.shift);
    adaform_scale(fac.form, d, fac.diag);
    form_panels(fac, team, poll);
    set_pivots(fac, regul);
    fac.stats.tada += timer_wall(clock);
    r = pcholfac_numeric(fac.sym, fac.sched, fac.chol, poll, team, numrefused);
  });
  fac.shift = regul.shift;
  if (r != rescode::ok) return r;
  if (!fac.d.empty()) std::ranges::copy(d, fac.d.begin());
  if (!fac.schur.cols.empty()) {
    const timer denseclock = timer_start();
    r = sc_calschur_par({fac.a, d, fac.sym, fac.chol}, mon, fac.solve, fac.schur, numrefused);
    if (r != rescode::ok) return r;
    fac.stats.denseflops = fac.schur.flops;
    fac.stats.tdense += timer_wall(denseclock);
  }
  fac.stats.numskipped = numrefused;
  ++fac.stats.num;
  fac.stats.tfactor += timer_wall(clock);
  fac.isfactored = true;
  return rescode::ok;
}

namespace {

// x := factor^-1 x for nrhs (1, 2 or 4) vectors one after the other, in the matrix' own order.
void solve_once(kktfac& fac, double* x, int32_t nrhs) {
  const int32_t m = fac.numrow;
  double* y = fac.rhs.data();
  for (int32_t r = 0; r < nrhs; ++r) {
    for (int32_t k = 0; k < m; ++k) {
      y[k + ptrdiff_t(r) * m] = x[fac.sym.perm[k] + ptrdiff_t(r) * m];
    }
  }
  kteam_run(fac.solve.numthreads, [&](kteam& team) {
    const pchsolve_vectors v{y, m, nrhs};
    pchsolve_lower(fac.sym, fac.chol, fac.solve, team, v);
    if (!fac.schur.cols.empty()) {
      for (int32_t r = 0; r < nrhs; ++r) {
        psschur_correct(fac.chol, fac.schur, std::span(y + ptrdiff_t(r) * m, size_t(m)));
      }
    }
    pchsolve_diag(fac.chol, v);
    pchsolve_upper(fac.sym, fac.chol, fac.solve, team, v);
  });
  for (int32_t r = 0; r < nrhs; ++r) {
    for (int32_t k = 0; k < m; ++k) {
      x[fac.sym.perm[k] + ptrdiff_t(r) * m] = y[k + ptrdiff_t(r) * m];
    }
  }
}

// y := (A D A' + shift I) x with all columns.
void multiply(kktfac& fac, std::span<const double> x, std::span<double> y) {
  for (size_t i = 0; i < x.size(); ++i) y[i] = fac.shift * x[i];
  std::ranges::fill(fac.cgcol, 0.0);
  spmat_addatx(fac.a, 1.0, x, fac.cgcol);
  for (size_t j = 0; j < fac.cgcol.size(); ++j) fac.cgcol[j] *= fac.d[j];
  spmat_addax(fac.a, 1.0, fac.cgcol, y);
}

double dot(std::span<const double> x, std::span<const double> y) {
  return std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
}

// Conjugate gradients with the Schur complement form as preconditioner: that form loses digits when
// the dense columns outweigh the others. x keeps the iterate of least residual.
void solve_refined(kktfac& fac, std::span<double> x) {
  const auto m = size_t(fac.numrow);
  const auto part = [&](size_t k) { return std::span(fac.cg).subspan(k * m, m); };
  const auto res = part(0), dir = part(1), prec = part(2), prod = part(3), iterate = part(4);
  for (size_t i = 0; i < m; ++i) {
    res[i] = x[i];
    x[i] = iterate[i] = 0;
  }
  const double norm = std::sqrt(dot(res, res));
  double least = norm, rz = 0;
  for (int32_t iter = 0; iter <= cgmaxiter && least > cgstop * norm; ++iter) {
    for (size_t i = 0; i < m; ++i) prec[i] = res[i];
    solve_once(fac, prec.data(), 1);
    const double newrz = dot(res, prec);
    const double beta = iter == 0 ? 0.0 : newrz / rz;
    rz = newrz;
    for (size_t i = 0; i < m; ++i) dir[i] = prec[i] + (iter == 0 ? 0.0 : beta * dir[i]);
    multiply(fac, dir, prod);
    const double curvature = dot(dir, prod);
    if (!(curvature > 0) || !(rz > 0)) break;
    const double step = rz / curvature;
    for (size_t i = 0; i < m; ++i) {
      iterate[i] += step * dir[i];
      res[i] -= step * prod[i];
    }
    const double now = std::sqrt(dot(res, res));
    if (!(now < least) && iter > 0) continue;  // not monotone in this norm
    least = now;
    for (size_t i = 0; i < m; ++i) x[i] = iterate[i];
  }
}

}  // namespace

namespace {

// Of one solve; b stands in the first half of chk.
void check_solve(kktfac& fac, std::span<const double> x) {
  const size_t m = x.size();
  const std::span<double> b = std::span(fac.chk).first(m), r = std::span(fac.chk).subspan(m, m);
  multiply(fac, x, r);
  for (size_t i = 0; i < m; ++i) r[i] -= b[i];
  const double size = std::sqrt(dot(b, b));
  fac.stats.chkfactor = size > 0 ? std::sqrt(dot(r, r)) / size : 0;
  fac.chklog.log(0, "\nchk factor=%e", fac.stats.chkfactor);
}

}  // namespace

void kktfac_adasolve(kktfac& fac, std::span<double> x, int32_t nrhs) {
  if (fac.kind != kktfac_kind::ada) fault_raise(fault_here(), "Wrong factor type");
  if (!fac.isfactored) return;
  const timer clock = timer_start();
  const auto m = size_t(fac.numrow);
  if (!fac.chk.empty()) std::ranges::copy(x.first(m), fac.chk.begin());
  if (!fac.schur.cols.empty()) {
    for (int32_t r = 0; r < nrhs; ++r) solve_refined(fac, x.subspan(size_t(r) * m, m));
  } else {
    for (int32_t r = 0; r < nrhs;) {
      const int32_t left = nrhs - r;
      const int32_t now = left >= parblas_maxrhs ? parblas_maxrhs : left >= 2 ? 2 : 1;
      solve_once(fac, x.data() + size_t(r) * m, now);
      r += now;
    }
  }
  if (!fac.chk.empty()) check_solve(fac, x.first(m));
  fac.stats.numsolve += nrhs;
  fac.stats.tsolve += timer_wall(clock);
}
