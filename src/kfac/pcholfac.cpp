#include "kfac/pcholfac.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace {

constexpr double pollflops = 2e8;   // between two polls, about ten milliseconds
constexpr ptrdiff_t lineunits = 8;  // doubles of a cache line

// Doubles to skip so that what follows starts on a cache line.
ptrdiff_t line_offset(const mm_vector<double>& v) {
  const auto address = reinterpret_cast<uintptr_t>(v.data());
  constexpr auto bytes = uintptr_t(lineunits) * sizeof(double);
  return ptrdiff_t((bytes - address % bytes) % bytes / sizeof(double));
}

void assemble_child(const symface& sym, const pcholfac& fac, int32_t c, bool panelpart, double* dst,
                    ptrdiff_t ldd, int32_t ncol) {
  parblas_assemble args;
  args.n = int32_t(sym.rowptr[c + 1] - sym.rowptr[c]);
  args.rel = sym.rel.data() + sym.rowptr[c];
  const int32_t split = int32_t(std::lower_bound(args.rel, args.rel + args.n, ncol) - args.rel);
  args.j0 = panelpart ? 0 : split;
  args.j1 = panelpart ? split : args.n;
  if (args.j0 >= args.j1) return;
  args.contfrom = sym.contfrom[c];
  args.run = sym.run.data() + sym.runptr[c];
  args.numrun = std::max(0, int32_t(sym.runptr[c + 1] - sym.runptr[c]) - 1);
  args.u = fac.stack.data() + fac.stackbase + sym.stackpos[c];
  args.ldu = symface_upld(args.n);
  args.dst = dst;
  args.ldd = ldd;
  args.rowoff = args.coloff = panelpart ? 0 : ncol;
  fac.family->assemble(args);
}

// One front: the children's contributions to the panel, the panel's factor, its update matrix.
int32_t do_front(const symface& sym, pcholfac& fac, int32_t s) {
  const int32_t first = sym.first[s], ncol = sym.first[s + 1] - first;
  const auto below = int32_t(sym.rowptr[s + 1] - sym.rowptr[s]);
  const int32_t ld = sym.panelld[s];
  double* panel = pcholfac_panel(fac, sym, s);
  for (int32_t c = sym.child[s]; c >= 0; c = sym.next[c]) {
    assemble_child(sym, fac, c, true, panel, ld, ncol);
  }
  parblas_pivots piv;
  piv.thr = fac.thr.data() + first;
  piv.rep = fac.rep.empty() ? nullptr : fac.rep.data() + first;
  piv.delta = fac.delta.empty() ? nullptr : fac.delta.data() + first;
  piv.d = fac.d.data() + first;
  piv.dinv = fac.dinv.data() + first;
  const int32_t refused = fac.family->panel(ncol, ncol + below, panel, ld, piv, fac.work.data());
  if (below == 0) return refused;
  parblas_update u;
  u.m = u.n = below;
  u.k = ncol;
  u.a = u.b = panel + ncol;
  u.lda = u.ldb = ld;
  u.scale = piv.d;
  u.c = fac.stack.data() + fac.stackbase + sym.stackpos[s];
  u.ldc = symface_upld(below);
  u.lower = u.fresh = true;
  u.work = fac.work.data();
  fac.family->update(u);
  for (int32_t c = sym.child[s]; c >= 0; c = sym.next[c]) {
    assemble_child(sym, fac, c, false, u.c, u.ldc, ncol);
  }
  return refused;
}

}  // namespace

void pcholfac_make(const symface& sym, const parblas_family& family, bool replaces, pcholfac& fac) {
  pcholfac made(fac.d.get_allocator().place);
  made.family = &family;
  const auto n = size_t(sym.n);
  made.values.resize(size_t(sym.panelpos[sym.numsn] + lineunits));
  made.base = line_offset(made.values);
  made.stack.resize(size_t(sym.stacksize + lineunits));
  made.stackbase = line_offset(made.stack);
  made.work.resize(size_t(parblas_worksize(sym.maxrow, sym.maxcol)));
  for (auto* v : {&made.d, &made.dinv, &made.thr}) v->resize(n);
  if (replaces) {
    made.rep.resize(n);
    made.delta.resize(n);
  }
  fac = std::move(made);
}

rescode pcholfac_numeric(const symface& sym, pcholfac& fac, const monitor& mon,
                         int32_t& numrefused) {
  numrefused = 0;
  double flops = 0;
  for (int32_t s = 0; s < sym.numsn; ++s) {
    numrefused += do_front(sym, fac, s);
    const double ncol = sym.first[s + 1] - sym.first[s];
    const auto below = double(sym.rowptr[s + 1] - sym.rowptr[s]);
    flops += ncol * (ncol + below) * (ncol + below);
    if (flops < pollflops) continue;
    flops = 0;
    if (const rescode r = mon.poll(); r != rescode::ok) return r;
  }
  return rescode::ok;
}
