#include "kfac/pcholfac.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <utility>

namespace {

constexpr double pollflops = 2e8;    // between two polls, about ten milliseconds
constexpr double sharedflops = 2e6;  // a smaller front of the top is left to one thread
constexpr ptrdiff_t lineunits = 8;   // doubles of a cache line

// Doubles to skip so that what follows starts on a cache line.
ptrdiff_t line_offset(const mm_vector<double>& v) {
  const auto address = reinterpret_cast<uintptr_t>(v.data());
  constexpr auto bytes = uintptr_t(lineunits) * sizeof(double);
  return ptrdiff_t((bytes - address % bytes) % bytes / sizeof(double));
}

struct front {
  int32_t number, first, ncol, below;
  ptrdiff_t ld, ldup;
  double *panel, *up;
  parblas_pivots piv;
};

front look_front(const symface& sym, pcholfac& fac, int32_t s) {
  front f;
  f.number = s;
  f.first = sym.first[s];
  f.ncol = sym.first[s + 1] - f.first;
  f.below = int32_t(sym.rowptr[s + 1] - sym.rowptr[s]);
  f.ld = sym.panelld[s];
  f.ldup = symface_upld(f.below);
  f.panel = pcholfac_panel(fac, sym, s);
  f.up = fac.stack.data() + fac.stackbase + sym.stackpos[s];
  f.piv.thr = fac.thr.data() + f.first;
  f.piv.rep = fac.rep.empty() ? nullptr : fac.rep.data() + f.first;
  f.piv.sign = fac.sign.empty() ? nullptr : fac.sign.data() + f.first;
  f.piv.delta = fac.delta.empty() ? nullptr : fac.delta.data() + f.first;
  f.piv.d = fac.d.data() + f.first;
  f.piv.dinv = fac.dinv.data() + f.first;
  return f;
}

// Adds the children's contributions to columns c0 .. c1-1 of the front, which lie all in the panel or
// all in the update matrix.
void assemble_children(const symface& sym, const pcholfac& fac, const front& f, int32_t c0,
                       int32_t c1) {
  const bool inpanel = c0 < f.ncol;
  for (int32_t c = sym.child[f.number]; c >= 0; c = sym.next[c]) {
    parblas_assemble args;
    args.n = int32_t(sym.rowptr[c + 1] - sym.rowptr[c]);
    args.rel = sym.rel.data() + sym.rowptr[c];
    const auto index = [&](int32_t col) {
      return int32_t(std::lower_bound(args.rel, args.rel + args.n, col) - args.rel);
    };
    args.j0 = c0 == 0 ? 0 : index(c0);
    args.j1 = index(c1);
    if (args.j0 >= args.j1) continue;
    args.contfrom = sym.contfrom[c];
    args.run = sym.run.data() + sym.runptr[c];
    args.numrun = std::max(0, int32_t(sym.runptr[c + 1] - sym.runptr[c]) - 1);
    args.u = fac.stack.data() + fac.stackbase + sym.stackpos[c];
    args.ldu = symface_upld(args.n);
    args.dst = inpanel ? f.panel : f.up;
    args.ldd = inpanel ? f.ld : f.ldup;
    args.rowoff = args.coloff = inpanel ? 0 : f.ncol;
    fac.family->assemble(args);
  }
}

// Columns j0 .. j1-1 of the update matrix.
void make_update(const symface& sym, const pcholfac& fac, const front& f, int32_t j0, int32_t j1,
                 double* work) {
  if (j0 >= j1) return;
  parblas_update u;
  u.m = f.below - j0;
  u.n = j1 - j0;
  u.k = f.ncol;
  u.a = u.b = f.panel + f.ncol + j0;
  u.lda = u.ldb = f.ld;
  u.scale = f.piv.d;
  u.c = f.up + j0 + j0 * f.ldup;
  u.ldc = f.ldup;
  u.lower = u.fresh = true;
  u.work = work;
  fac.family->update(u);
  assemble_children(sym, fac, f, f.ncol + j0, f.ncol + j1);
}

// One front by one thread: the children's contributions to the panel, its factor, its update matrix.
int32_t do_front(const symface& sym, pcholfac& fac, int32_t s, double* work) {
  const front f = look_front(sym, fac, s);
  assemble_children(sym, fac, f, 0, f.ncol);
  const int32_t refused = fac.family->panel(f.ncol, f.ncol + f.below, f.panel, f.ld, f.piv, work);
  make_update(sym, fac, f, 0, f.below, work);
  return refused;
}

struct member {  // of the team
  int32_t number, count;
  double* work;
};

// First column of a member's share of the lower trapezoid of m rows and n columns, by equal areas.
int32_t share_begin(int32_t m, int32_t n, int32_t number, int32_t count) {
  if (number >= count) return n;
  constexpr int32_t step = 8;  // whole cache lines and register tiles
  const double area = (double(m) * n - 0.5 * n * n) * number / count;
  const double begin = m - std::sqrt(std::max(0.0, double(m) * m - 2 * area));
  return std::clamp(int32_t(begin) / step * step, 0, n);
}

// The panel of a front by the team: one member factorizes the diagonal block, all do the rows below
// it and the columns behind it.
int32_t share_panel(const pcholfac& fac, const front& f, const member& me) {
  const int32_t nrow = f.ncol + f.below;
  int32_t refused = 0;
  for (int32_t j = 0; j < f.ncol; j += parblas_panelblock) {
    const int32_t nb = std::min(f.ncol - j, parblas_panelblock);
    double* block = f.panel + j + j * f.ld;
    parblas_pivots piv;
    piv.thr = f.piv.thr + j;
    piv.rep = f.piv.rep == nullptr ? nullptr : f.piv.rep + j;
    piv.sign = f.piv.sign == nullptr ? nullptr : f.piv.sign + j;
    piv.delta = f.piv.delta == nullptr ? nullptr : f.piv.delta + j;
    piv.d = f.piv.d + j;
    piv.dinv = f.piv.dinv + j;
    if (me.number == 0) refused += fac.family->panel(nb, nb, block, f.ld, piv, me.work);
#pragma omp barrier
    const int32_t left = nrow - j - nb;
    const auto cut = [&](int32_t k) { return int32_t(int64_t(left) * k / me.count) / 8 * 8; };
    const int32_t r0 = cut(me.number), r1 = me.number + 1 == me.count ? left : cut(me.number + 1);
    if (r1 > r0) fac.family->rows(nb, r1 - r0, block, piv, block + nb + r0, f.ld, me.work);
#pragma omp barrier
    const int32_t rest = f.ncol - j - nb;
    const int32_t c0 = share_begin(left, rest, me.number, me.count),
                  c1 = share_begin(left, rest, me.number + 1, me.count);
    if (c1 > c0) {
      parblas_update u;
      u.m = left - c0;
      u.n = c1 - c0;
      u.k = nb;
      u.a = u.b = block + nb + c0;
      u.lda = u.ldb = f.ld;
      u.scale = piv.d;
      u.c = block + nb + c0 + (nb + c0) * f.ld;
      u.ldc = f.ld;
      u.lower = true;
      u.work = me.work;
      fac.family->update(u);
    }
    if (rest > 0) {
#pragma omp barrier
    }
  }
  return refused;
}

int32_t share_front(const symface& sym, pcholfac& fac, int32_t s, const member& me) {
  const front f = look_front(sym, fac, s);
  const int32_t nrow = f.ncol + f.below;
  assemble_children(sym, fac, f, share_begin(nrow, f.ncol, me.number, me.count),
                    share_begin(nrow, f.ncol, me.number + 1, me.count));
#pragma omp barrier
  const int32_t refused = share_panel(fac, f, me);
  make_update(sym, fac, f, share_begin(f.below, f.below, me.number, me.count),
              share_begin(f.below, f.below, me.number + 1, me.count), me.work);
#pragma omp barrier
  return refused;
}

// Polls the monitor when enough work has been done since; only the first member of the team does.
struct poller {
  const monitor& mon;
  std::atomic<int32_t>& stop;
  double flops = 0;
  void add(double more) {
    flops += more;
    if (flops < pollflops) return;
    flops = 0;
    if (const rescode r = mon.poll(); r != rescode::ok) stop.store(int32_t(r));
  }
};

void do_subtrees(const symface& sym, const psched& sched, pcholfac& fac, int32_t thread,
                 const member& me, poller& poll) {
  int32_t refused = 0;
  for (int32_t k = sched.threadptr[thread]; k < sched.threadptr[thread + 1]; ++k) {
    for (int32_t s = sched.first[k]; s <= sched.last[k]; ++s) {
      if (poll.stop.load(std::memory_order_relaxed) != 0) return;
      refused += do_front(sym, fac, s, me.work);
      if (me.number == 0) poll.add(psched_flops(sym, s));
    }
  }
  fac.refused[thread] += refused;
}

void do_top(const symface& sym, const psched& sched, pcholfac& fac, const member& me,
            poller& poll) {
  for (const int32_t s : sched.top) {
    const double flops = psched_flops(sym, s);
    if (flops < sharedflops || me.count == 1) {
      if (me.number != 0 || poll.stop.load() != 0) continue;
      fac.refused[0] += do_front(sym, fac, s, me.work);
      poll.add(flops);
      continue;
    }
#pragma omp barrier
    if (poll.stop.load() != 0) return;  // the same for all: it changes between barriers only
#pragma omp barrier
    const int32_t refused = share_front(sym, fac, s, me);
    if (me.number != 0) continue;
    fac.refused[0] += refused;
    poll.add(flops);
  }
}

}  // namespace

void pcholfac_make(const symface& sym, const psched& sched, const parblas_family& family,
                   bool replaces, pcholfac& fac) {
  pcholfac made(fac.d.get_allocator().place);
  made.family = &family;
  const auto n = size_t(sym.n);
  made.values.resize(size_t(sym.panelpos[sym.numsn] + lineunits));
  made.base = line_offset(made.values);
  made.stack.resize(size_t(sym.stacksize + lineunits));
  made.stackbase = line_offset(made.stack);
  made.worksize = (parblas_worksize(sym.maxrow, sym.maxcol) + lineunits) & ~(lineunits - 1);
  made.work.resize(size_t(made.worksize) * size_t(sched.numthreads));
  made.refused.resize(size_t(sched.numthreads));
  for (auto* v : {&made.d, &made.dinv, &made.thr}) v->resize(n);
  if (replaces) {
    made.rep.resize(n);
    made.delta.resize(n);
  }
  fac = std::move(made);
}

rescode pcholfac_numeric(const symface& sym, const psched& sched, pcholfac& fac, const monitor& mon,
                         int32_t& numrefused) {
  std::ranges::fill(fac.refused, 0);
  std::atomic<int32_t> stop{0};
  if (sched.numthreads == 1) {
    poller poll{mon, stop};
    do_subtrees(sym, sched, fac, 0, {0, 1, fac.work.data()}, poll);
  } else {
#pragma omp parallel num_threads(sched.numthreads)
    {
      // The team may be smaller than asked for.
      const member me{omp_get_thread_num(), omp_get_num_threads(),
                      fac.work.data() + omp_get_thread_num() * fac.worksize};
      poller poll{mon, stop};
      for (int32_t t = me.number; t < sched.numthreads; t += me.count) {
        do_subtrees(sym, sched, fac, t, me, poll);
      }
#pragma omp barrier
      do_top(sym, sched, fac, me, poll);
    }
  }
  numrefused = 0;
  for (const int32_t r : fac.refused) numrefused += r;
  return rescode(stop.load());
}
