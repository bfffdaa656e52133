// The order of the reductions, the verdict, and the reduced problem.
#include "prslv/prslv.h"

#include <algorithm>

#include "cpub/timer.h"
#include "prslv/prsdom.h"
#include "prslv/prsdup.h"
#include "prslv/prselim.h"
#include "prslv/prsimpl.h"
#include "prslv/prslin.h"
#include "prslv/prsray.h"
#include "prslv/prsrow.h"
#include "prslv/prswork.h"

namespace {

// Another round is worth it after one that took at least this part of the rows, columns and entries.
constexpr double worthround = 0.01;

// Everything that one row or one column shows, until nothing changes.
void simplepass(prslv_work& w) {
  for (;;) {
    for (int32_t i = prslv_dequeue(w.rowq); i >= 0; i = prslv_dequeue(w.rowq)) {
      prslv_rowcheck(w, i);
      if (!prslv_poll(w)) return;
    }
    bool any = false;
    for (int32_t j = prslv_dequeue(w.colq); j >= 0; j = prslv_dequeue(w.colq)) {
      prslv_colcheck(w, j);
      any = true;
      if (!prslv_poll(w)) return;
    }
    for (int32_t i = prslv_dequeue(w.slackq); i >= 0; i = prslv_dequeue(w.slackq)) {
      prslv_slackrow(w, i);
      if (!prslv_poll(w)) return;
    }
    if (!any) return;
  }
}

double sizeof_problem(const prslv_work& w) {
  return double(w.numlivecon) + w.numlivevar + double(w.numanz);
}

// One search and, after it, what it made simple. Returns whether to go on.
bool timed(prslv_work& w, void (*search)(prslv_work&), double prslv_info::*time) {
  const timer clock = timer_start();
  search(w);
  if (time != nullptr) w.rec.info.*time += timer_cpu(clock);
  if (prslv_poll(w)) simplepass(w);
  return prslv_poll(w);
}

bool oneround(prslv_work& w) {
  ++w.rec.info.numpass;
  if (!timed(w, &prslv_impliedrows, nullptr) ||
      !timed(w, &prslv_duprows, &prslv_info::dupcputime) ||
      !timed(w, &prslv_dupcols, &prslv_info::dupcputime) ||
      !timed(w, &prslv_domcols, &prslv_info::domcputime)) {
    return false;
  }
  return !w.set.eliminatoruse || timed(w, &prslv_eliminate, &prslv_info::elicputime);
}

// Rounds until one is not worth it; then the dependency check, and rounds again if that took rows.
void reducerounds(prslv_work& w) {
  bool checked = !w.set.lindepuse;
  simplepass(w);
  for (int32_t round = 0; round < w.set.maxround && prslv_poll(w); ++round) {
    const double before = sizeof_problem(w);
    if (!oneround(w)) return;
    if (before - sizeof_problem(w) > worthround * before) continue;
    const int32_t numlindep = w.rec.info.numlindep;
    if (checked || !timed(w, &prslv_dependent, &prslv_info::lindepcputime)) return;
    checked = true;
    if (w.rec.info.numlindep == numlindep) return;
  }
}

void takeprob(const prslv_work& w, prslv_rec& rec) {
  for (int32_t i = 0; i < w.m; ++i) {
    if (w.rlive[i] == 0) continue;
    rec.redcon[i] = int32_t(rec.conof.size());
    rec.conof.push_back(i);
    rec.blc.push_back(w.blc[i]);
    rec.buc.push_back(w.buc[i]);
  }
  rec.a.ptr.assign(1, 0);
  for (int32_t j = 0; j < w.n; ++j) {
    if (w.clive[j] == 0) continue;
    rec.redvar[j] = int32_t(rec.varof.size());
    rec.varof.push_back(j);
    rec.blx.push_back(w.blx[j]);
    rec.bux.push_back(w.bux[j]);
    rec.c.push_back(w.c[j]);
    rec.a.ptr.push_back(rec.a.ptr.back() + w.clen[j]);
  }
  rec.cfix = w.cfix.value();
  rec.a.nrow = int32_t(rec.conof.size());
  rec.a.ncol = int32_t(rec.varof.size());
  rec.a.sub.resize(rec.a.ptr.back());
  rec.a.val.resize(rec.a.ptr.back());
  for (int32_t jj = 0; jj < rec.a.ncol; ++jj) {
    const ptrdiff_t first = rec.a.ptr[jj];
    ptrdiff_t p = first;
    for (int32_t e = w.chead[rec.varof[jj]]; e >= 0; e = w.ent[e].cnext, ++p) {
      const int32_t i = rec.redcon[w.ent[e].row];
      ptrdiff_t q = p;  // few entries are out of order: those that came by substitutions
      for (; q > first && rec.a.sub[q - 1] > i; --q) {
        rec.a.sub[q] = rec.a.sub[q - 1];
        rec.a.val[q] = rec.a.val[q - 1];
      }
      rec.a.sub[q] = i;
      rec.a.val[q] = w.ent[e].val;
    }
  }
}

// The certificate found, in the original problem; undecided when it does not prove it there.
void takeray(prslv_work& w, prslv_rec& rec) {
  prslv_seed seed(rec.conof.get_allocator().place);
  seed.x.assign(w.n, 0.0);
  seed.y.assign(w.m, 0.0);
  seed.z.assign(w.n, 0.0);
  const bool infeas = w.verdict == prslv_verdict::infeas;
  for (const auto& [k, value] : w.seed) {
    (infeas ? seed.y : seed.x)[k] = value;
    if (!infeas) continue;
    for (int32_t e = w.rhead[k]; e >= 0; e = w.ent[e].rnext) {
      seed.z[w.ent[e].col] -= w.ent[e].val * value;
    }
  }
  prslv_postseed(rec, std::move(seed), rec.ray);
  const bool proves =
      infeas ? prslv_provesinfeas(rec.orig, rec.ray) : prslv_provesunbound(rec.orig, rec.ray);
  rec.ray.verdict = infeas ? lp_verdict::priminfeas : lp_verdict::dualinfeas;
  rec.verdict = proves ? w.verdict : prslv_verdict::undecided;
}

void logresult(const prslv_rec& rec, const monitor& mon) {
  if (!mon.wants(1)) return;
  const prslv_info& in = rec.info;
  mon.log(2, "%-12s: %-12d  %-12s: %-12d  %-12s: %-12d\n", "Empty rows", in.numemptyrow,
          "Single rows", in.numsingleton, "Redundant", in.numredundant);
  mon.log(2, "%-12s: %-12d  %-12s: %-12d  %-12s: %-12d\n", "Forcing", in.numforcing, "Dup. rows",
          in.numduprow, "Dependent", in.numlindep);
  mon.log(2, "%-12s: %-12d  %-12s: %-12d  %-12s: %-12d\n", "Empty cols", in.numemptycol,
          "Fixed cols", in.numfixed, "Dominated", in.numdomcol + in.numforcecol);
  mon.log(2, "%-12s: %-12d  %-12s: %-12d  %-12s: %-12d\n", "Dup. cols", in.numdupcol, "Slacks",
          in.numslack, "Implied free", in.numimplfree);
  mon.log(2, "%-12s: %-12d  %-12s: %-12d  %-12s: %-12d\n", "Doubletons", in.numdoubleton,
          "Eliminations", in.numelim, "Passes", in.numpass);
  mon.log(1, "Presolve     rows    %-10d -> %d\n", in.numcon0, in.numcon);
  mon.log(1, "Presolve     columns %-10d -> %d\n", in.numvar0, in.numvar);
  mon.log(1, "Presolve     nonzeros %-9lld -> %lld\n", static_cast<long long>(in.numanz0),
          static_cast<long long>(in.numanz));
  mon.log(1, "Presolve     time    %.2f\n", in.realtime);
}

void clear(prslv_rec& rec, const lp_view& prob) {
  prslv_unreduce(rec);
  rec.verdict = prslv_verdict::undecided;
  rec.info = {};
  rec.orig = prob;
  rec.ray.x.clear();
  rec.ray.y.clear();
  rec.ray.verdict = lp_verdict::none;
  rec.redcon.assign(prob.numcon, -1);
  rec.redvar.assign(prob.numvar, -1);
}

}  // namespace

lp_view prslv_look(const prslv_rec& rec) {
  lp_view view;
  view.numcon = rec.a.nrow;
  view.numvar = rec.a.ncol;
  view.a = spmat_look(rec.a);
  view.blc = rec.blc;
  view.buc = rec.buc;
  view.blx = rec.blx;
  view.bux = rec.bux;
  view.c = rec.c;
  view.cfix = rec.cfix;
  return view;
}

rescode prslv_reduce(const lp_view& prob, std::span<const prslv_hold> held,
                     const prslv_settings& set, const monitor& mon, memman& mman, prslv_rec& rec) {
  const timer clock = timer_start();
  clear(rec, prob);
  prslv_work w(rec, set, mon, mman);
  prslv_setup(w, prob, held);
  rec.info.numcon0 = prob.numcon;
  rec.info.numvar0 = prob.numvar;
  rec.info.numanz0 = ptrdiff_t(prob.a.sub.size());
  if (set.use) reducerounds(w);
  if (w.code != rescode::ok) return w.code;
  if (w.stop) {
    takeray(w, rec);
  } else {
    takeprob(w, rec);
    rec.verdict = prslv_verdict::reduced;
  }
  rec.info.numcon = rec.a.nrow;
  rec.info.numvar = rec.a.ncol;
  rec.info.numanz = ptrdiff_t(rec.a.sub.size());
  rec.info.cputime = timer_cpu(clock);
  rec.info.realtime = timer_wall(clock);
  logresult(rec, mon);
  return rescode::ok;
}

void prslv_unreduce(prslv_rec& rec) {
  const auto drop = [](auto& v) {
    std::remove_reference_t<decltype(v)>(v.get_allocator()).swap(v);
  };
  drop(rec.stack.op);
  drop(rec.stack.ival);
  drop(rec.stack.dval);
  for (auto* v : {&rec.blc, &rec.buc, &rec.blx, &rec.bux, &rec.c, &rec.a.val}) drop(*v);
  for (auto* v : {&rec.conof, &rec.varof, &rec.redcon, &rec.redvar, &rec.a.sub}) drop(*v);
  drop(rec.a.ptr);
  rec.a.nrow = rec.a.ncol = 0;
}
