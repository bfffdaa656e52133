// All text of the homogeneous method: lines of the setup, head and rows of the iteration log, the
// closing trace and the time report. All but the traces are the conic method's too.

#include <algorithm>
#include <cmath>

#include "homo/homopt.h"

void hom_logsetup(const hom_prob& prob, const hs_settings& set, const kktfac_stats& fs,
                  const monitor& mon, const memman& mman) {
  constexpr int word = -10, label = -22, value = -16, second = 16;
  mon.log(1, "%*s - %*s : %-*d\n", word, "Optimizer", label, "threads", -value, set.kkt.numthreads);
  mon.log(1, "%*s - %*s : %-*s\n", word, "Optimizer", label, "solved problem", -value,
          set.solvedual ? "the dual" : "the primal");
  mon.log(1, "%*s - %*s : %*d  %*s : %*d\n", word, "Optimizer", label, "constraints", value, prob.m,
          label, "variables", value, prob.n);
  mon.log(1, "%*s - %*s : %-*.2f  %*s : %-*.2f\n", word, "Factor", label, "setup time", -value,
          fs.tsetup, label, "order time", -value, fs.torder);
  mon.log(1, "%*s - %*s : %-*s  %*s : %-*.2f\n", word, "Factor", label, "GP order used", -value,
          fs.gpused ? "yes" : "no", label, "GP order time", -value, fs.tgporder);
  mon.log(1, "%*s - %*s : %-*lld  %*s : %*lld\n", word, "Factor", label, "nonzeros before factor",
          -value, static_cast<long long>(fs.matnumnz), label, "after factor", -second,
          static_cast<long long>(fs.numnz));
  mon.log(1, "%*s - %*s : %-*d  %*s : %-*.2e\n", word, "Factor", label, "offending columns", -value,
          fs.numoffcol, label, "flops", -value, fs.flops);
  if (fs.gpused) {
    mon.log(1, "%*s - %*s : %-*lld  %*s : %-*.2e\n", word, "Factor", label, "GP saved nzs", -value,
            static_cast<long long>(fs.gpsavednz), label, "GP saved flops", -value, fs.gpsavedflops);
  }

  mon.log(1, "%*s - %*s : %-*s  %*s : %-*s\n", word, "Memory", label, "Cur. usage", -value,
          memman_sizetext(memman_usage(mman)).text, label, "Max usage", -value,
          memman_sizetext(memman_maxusage(mman)).text);
}

void hom_loghead(const monitor& mon) {
  mon.log(1, "%-3s %-8s %-8s %-8s %-17s %-17s %-8s %-6s\n", "ITE", "PFEAS", "DFEAS", "KAP/TAU",
          "POBJ", "DOBJ", "MU", "TIME");
}

void hom_logrow(const monitor& mon, const hs_info& info) {
  mon.log(1, "%-3d %-8.1e %-8.1e %-8.1e %-17.9e %-17.9e %-8.1e %-6.2f\n", info.iter, info.pfeas,
          info.dfeas, info.kapdivtau, info.pobj, info.dobj, info.mu, mon.elapsed());
}

void hom_logtrace(const hom_state& st) {
  if (!st.mon.wants(6)) return;
  const hom_measures& ms = st.meas;
  st.mon.log(6, "%-12s: %-12.4e  %-12s: %-12.4e  %-12s: %-12.4e\n", "pfeasf", ms.pf, "dfeasf",
             ms.df, "gfeasf", ms.gf);
  st.mon.log(6, "%-12s: %-12.4e  %-12s: %-12.4e  %-12s: %-12.4e\n", "cgapf", ms.cf, "relgap",
             ms.gap, "lpval", ms.merit);
  st.mon.log(6, "%-12s: %-12.4e  %-12s: %-12.4e  %-12s: %-12.4e\n", "alphap", st.alphap, "alphad",
             st.alphad, "tau", st.it.tau);
  st.mon.log(6, "%-12s: %-12d  %-12s: %-12d  %-12s: %-12d\n", "Use cor", st.numcor, "Max ncor",
             st.maxncor, "regulevel", st.regulevel);
}

void hom_logend(const hom_state& st, const hom_outcome& outcome) {
  if (!st.mon.wants(6)) return;
  double xmax = 0, xmin = INFINITY, smax = 0, smin = INFINITY, ymax = 0, vmax = 0;
  for (int32_t j = 0; j < st.prob.n; ++j) {
    if (st.prob.isfree[j] != 0) continue;
    xmax = std::max(xmax, st.it.x[j]);
    xmin = std::min(xmin, st.it.x[j]);
    smax = std::max(smax, st.it.s[j]);
    smin = std::min(smin, st.it.s[j]);
  }
  for (const double e : st.it.y) ymax = std::max(ymax, std::abs(e));
  for (const double e : st.it.v) vmax = std::max(vmax, std::abs(e));
  const monitor& mon = st.mon;
  mon.log(6, "min lpval: %18.6e  Final lpval: %18.6e\n", st.bestmerit, st.meas.merit);
  mon.log(6, "nrm(y)   : %18.6e\n", ymax);
  mon.log(6, "nrm(yup) : %18.6e\n", vmax);
  mon.log(6, "resp     : %d prosta: %d solsta: %d\n", int32_t(outcome.code),
          int32_t(outcome.status), int32_t(outcome.status));
  mon.log(6, "xmax       : %18.6e\n", xmax);
  mon.log(6, "xmin       : %18.6e\n", xmin);
  mon.log(6, "smax       : %18.6e\n", smax);
  mon.log(6, "smin       : %18.6e\n", smin);
  mon.log(6, "numdropcor : %d\n", st.numdropcor);
}

void hom_logtimes(const monitor& mon, const hom_times& t, const kktfac_stats& fs, double total) {
  constexpr int32_t lev = 2;
  if (!mon.wants(lev)) return;
  const double share = total > 0 ? 100 / total : 0;
  mon.log(lev, "Init. iter.         : %-6.2f (%.2f%%)\n", t.init, t.init * share);
  mon.log(lev, "Factor              : %-6.2f (%.2f%%)\n", t.factor, t.factor * share);
  mon.log(lev, "Init. sd.           : %-6.2f (%.2f%%)\n", t.initsd, t.initsd * share);
  mon.log(lev, "Compute sd.         : %-6.2f (%.2f%%)\n", t.computesd, t.computesd * share);
  mon.log(lev, "Line search         : %-6.2f (%.2f%%)\n", t.linesearch, t.linesearch * share);
  mon.log(lev, "Total               : %-6.2f (%.2f%%)\n", total, total * share);
  mon.log(lev, "Dense dim.          : %d\n", fs.dendim);
  mon.log(lev, "Factor time         : %-6.2f\n", fs.tfactor);
  mon.log(lev, "ADA' time         : %-6.2f\n", fs.tada);
  mon.log(lev, "Dense factor time : %-6.2f\n", fs.tdense);
  mon.log(lev, "Solve time          : %-6.2f\n", fs.tsolve);
}
