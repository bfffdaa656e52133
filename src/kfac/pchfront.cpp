#include "kfac/pchfront.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double pollflops = 2e8;  // between two polls, at most some ten milliseconds
constexpr double taskflops = 1e6;  // a task is worth handing out
constexpr double taskmost = 2e8;   // and ends soon enough for a poll
constexpr double taskshare = 8;    // tasks for each member
constexpr int32_t narrow = 32;     // columns of a task at least

struct front {
  int32_t number, first, ncol, below;
  ptrdiff_t ld, ldup;
  double *panel, *up, *childup;
  parblas_pivots piv;
};

front look_front(const symface& sym, pcholfac& fac, int32_t s, const pchbase& base) {
  front f;
  f.number = s;
  f.first = sym.first[s];
  f.ncol = sym.first[s + 1] - f.first;
  f.below = int32_t(sym.rowptr[s + 1] - sym.rowptr[s]);
  f.ld = sym.panelld[s];
  f.ldup = symface_upld(f.below);
  f.panel = pcholfac_panel(fac, sym, s);
  double* stack = fac.stack.data() + fac.stackbase;
  f.up = stack + base.own + sym.stackpos[s];
  f.childup = stack + base.children;
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
    args.u = f.childup + sym.stackpos[c];
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
  u.blockm = fac.blockm;
  u.work = work;
  fac.family->update(u);
  assemble_children(sym, fac, f, f.ncol + j0, f.ncol + j1);
}

double* work_of(pcholfac& fac, int32_t member) {
  return fac.work.data() + member * fac.worksize;
}

// Tasks that work of that many flops is cut into, each of at least one of the num units.
int32_t count_tasks(double flops, int32_t num, const pchcrew& crew) {
  const int32_t count = crew.team == nullptr ? 1 : crew.team->count;
  const double few = count == 1 ? 1 : std::min(flops / taskflops, taskshare * count);
  return std::max(1, std::min(num, int32_t(std::max(few, flops / taskmost))));
}

template <class F>
void share(pchcrew& crew, int32_t num, double flops, F&& work) {
  double left = flops;  // that the leader did not do itself
  const auto one = [&](int32_t task, int32_t member) noexcept {
    if (crew.stop.load(std::memory_order_relaxed) != 0) return;
    work(task, member);
    if (crew.poll == nullptr || member != 0) return;
    crew.poll->add(flops / num);
    left -= flops / num;
  };
  if (crew.team != nullptr) {
    kteam_share(*crew.team, num, one);
    if (crew.poll != nullptr) crew.poll->add(left);
  } else {
    for (int32_t k = 0; k < num; ++k) one(k, crew.member);
  }
}

// First column of a share of the lower trapezoid of m rows and n columns, by equal areas.
int32_t share_begin(int32_t m, int32_t n, int32_t number, int32_t count) {
  if (number >= count) return n;
  constexpr int32_t step = 8;  // whole cache lines and register tiles
  const double area = (double(m) * n - 0.5 * n * n) * number / count;
  const double begin = m - std::sqrt(std::max(0.0, double(m) * m - 2 * area));
  return std::clamp(int32_t(begin) / step * step, 0, n);
}
int32_t even_begin(int32_t n, int32_t number, int32_t count) {
  return number >= count ? n : int32_t(int64_t(n) * number / count) / 8 * 8;
}

// A block of columns of the panel: l at its diagonal block.
struct panelblock {
  double* l;
  ptrdiff_t ld;
  int32_t ncol;
  parblas_pivots piv;
};

panelblock look_block(const front& f, int32_t j) {
  panelblock b;
  b.l = f.panel + j + j * f.ld;
  b.ld = f.ld;
  b.ncol = std::min(f.ncol - j, parblas_panelblock);
  const auto at = [j](auto* p) { return p == nullptr ? nullptr : p + j; };
  b.piv = {at(f.piv.thr),  at(f.piv.rep),   at(f.piv.d),
           at(f.piv.dinv), at(f.piv.delta), at(f.piv.sign)};
  return b;
}

// Subtracts what block b gives to rows row .. row+m-1 and columns col .. col+n-1, counted from behind
// its diagonal block.
void update_panel(const pcholfac& fac, const panelblock& b, int32_t row, int32_t m, int32_t col,
                  int32_t n, double* work) {
  if (m <= 0 || n <= 0) return;
  parblas_update u;
  u.m = m;
  u.n = n;
  u.k = b.ncol;
  u.a = b.l + b.ncol + row;
  u.b = b.l + b.ncol + col;
  u.lda = u.ldb = u.ldc = b.ld;
  u.scale = b.piv.d;
  u.c = b.l + b.ncol + row + (b.ncol + col) * b.ld;
  u.lower = row == col;
  u.blockm = fac.blockm;
  u.work = work;
  fac.family->update(u);
}

// The panel by blocks of columns: the rows below a block, then the columns behind it, of which the
// next diagonal block comes first and is factorized at once.
int32_t share_panel(pcholfac& fac, const front& f, pchcrew& crew) {
  const parblas_family& family = *fac.family;
  const int32_t nrow = f.ncol + f.below;
  const auto factor = [&](const panelblock& b, int32_t member) {
    return family.panel(b.ncol, b.ncol, b.l, b.ld, b.piv, work_of(fac, member));
  };
  int32_t refused = factor(look_block(f, 0), crew.member);
  for (int32_t j = 0; j < f.ncol; j += parblas_panelblock) {
    const panelblock b = look_block(f, j);
    const int32_t left = nrow - j - b.ncol, rest = f.ncol - j - b.ncol;
    const double rowflops = double(left) * b.ncol * b.ncol;
    const int32_t numrows = count_tasks(rowflops, left / narrow + 1, crew);
    share(crew, numrows, rowflops, [&](int32_t task, int32_t member) {
      const int32_t r0 = even_begin(left, task, numrows), r1 = even_begin(left, task + 1, numrows);
      if (r1 > r0) {
        family.rows(b.ncol, r1 - r0, b.l, b.piv, b.l + b.ncol + r0, b.ld, work_of(fac, member));
      }
    });
    if (rest == 0) break;
    const panelblock next = look_block(f, j + b.ncol);
    const int32_t below = left - next.ncol, behind = rest - next.ncol;
    const double sideflops = 2.0 * below * next.ncol * b.ncol;
    const double tailflops = (2.0 * below - behind) * behind * b.ncol;
    const int32_t numside = count_tasks(sideflops, below / narrow + 1, crew);
    const int32_t numtail = count_tasks(tailflops, behind / narrow + 1, crew);
    share(crew, 1 + numside + numtail, sideflops + tailflops, [&](int32_t task, int32_t member) {
      double* work = work_of(fac, member);
      if (task == 0) {
        update_panel(fac, b, 0, next.ncol, 0, next.ncol, work);
        refused += factor(next, member);
        return;
      }
      if (task <= numside) {
        const int32_t r0 = even_begin(below, task - 1, numside),
                      r1 = even_begin(below, task, numside);
        update_panel(fac, b, next.ncol + r0, r1 - r0, 0, next.ncol, work);
        return;
      }
      const int32_t c0 = share_begin(below, behind, task - numside - 1, numtail),
                    c1 = share_begin(below, behind, task - numside, numtail);
      update_panel(fac, b, next.ncol + c0, below - c0, next.ncol + c0, c1 - c0, work);
    });
    if (crew.stop.load(std::memory_order_relaxed) != 0) break;
  }
  return refused;
}

}  // namespace

void pchpoll::add(double more) noexcept {
  flops += more;
  if (flops >= pollflops) now();
}

void pchpoll::now() noexcept {
  flops = 0;
  if (const rescode r = mon.poll(); r != rescode::ok) stop.store(int32_t(r));
}

int32_t pchfront_do(const symface& sym, pcholfac& fac, int32_t s, const pchbase& base,
                    int32_t member) noexcept {
  const front f = look_front(sym, fac, s, base);
  double* work = work_of(fac, member);
  assemble_children(sym, fac, f, 0, f.ncol);
  const int32_t refused = fac.family->panel(f.ncol, f.ncol + f.below, f.panel, f.ld, f.piv, work);
  make_update(sym, fac, f, 0, f.below, work);
  return refused;
}

int32_t pchfront_share(const symface& sym, pcholfac& fac, int32_t s, const pchbase& base,
                       pchcrew& crew) noexcept {
  const front f = look_front(sym, fac, s, base);
  const int32_t nrow = f.ncol + f.below;
  const double entries = double(nrow) * f.ncol;
  const int32_t numpanel = count_tasks(4 * entries, f.ncol / narrow + 1, crew);
  share(crew, numpanel, entries, [&](int32_t task, int32_t) {
    assemble_children(sym, fac, f, share_begin(nrow, f.ncol, task, numpanel),
                      share_begin(nrow, f.ncol, task + 1, numpanel));
  });
  const int32_t refused = share_panel(fac, f, crew);
  const double flops = double(f.below) * f.below * f.ncol;
  const int32_t numup = count_tasks(flops, f.below / narrow + 1, crew);
  share(crew, numup, flops, [&](int32_t task, int32_t member) {
    make_update(sym, fac, f, share_begin(f.below, f.below, task, numup),
                share_begin(f.below, f.below, task + 1, numup), work_of(fac, member));
  });
  return refused;
}
