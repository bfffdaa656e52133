// Traces of the conic method; the log that a user sees is that of the linear method (homlog.cpp).

#include <algorithm>
#include <cmath>

#include "homo/intpntco.h"

void intpnt_logtrace(const intpnt_state& st) {
  if (!st.mon.wants(6)) return;
  const hom_measures& ms = st.meas;
  const monitor& mon = st.mon;
  mon.log(6, "%-10s: %-12.4e  %-10s: %-12.4e  %-10s: %-12.4e\n", "pfeasf", ms.pf, "dfeasf", ms.df,
          "gfeasf", ms.gf);
  mon.log(6, "%-10s: %-12.4e  %-10s: %-12.4e  %-10s: %-12.4e\n", "cgapf", ms.cf, "relgap", ms.gap,
          "lpval", ms.merit);
  mon.log(6, "%-10s: %-12.4e  %-10s: %-12d  %-10s: %-12.4e\n", "1/mu", 1 / ms.mu, "Correc.",
          st.numcor, "pres", st.residual);
  mon.log(6, "%-10s: %-12.4e  %-10s: %-12d\n", "objerr", st.objerr, "skipped",
          kktfac_getstats(*st.kkt.fac).numskipped);
}

void intpnt_logend(const intpnt_state& st, const hom_outcome& outcome) {
  if (!st.mon.wants(6)) return;
  st.mon.log(6, "Terminate Iteration: %d pobj: %24.16e\n", st.iter, st.meas.pobj);
  st.mon.log(6, "min lpval: %18.6e  Final lpval: %18.6e\n", st.best.merit, st.meas.merit);
  st.mon.log(6, "resp     : %d prosta: %d solsta: %d\n", int32_t(outcome.code),
             int32_t(outcome.status), int32_t(outcome.status));
  st.mon.log(6, "numdropcor : %d\n", st.numdropcor);
}
