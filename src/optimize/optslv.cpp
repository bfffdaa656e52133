#include "optimize/optslv.h"

rescode opt_ipmslv(const opt_problem& prob, const hs_settings& set, const monitor& mon,
                   memman& mman, hs_info& info, opt_solution& sol) {
  if (opt_trivial(prob, sol)) return rescode::ok;
  opt_internal in(mm_at(mman));
  opt_prepare(prob, in);
  hs_solution internal(mm_at(mman));
  const rescode r = hs_optimize(opt_internalview(in, prob), set, mon, mman, info, internal);
  if (!internal.x.empty() || in.a.ncol == 0) opt_reverse(prob, in, internal, sol);
  return r;
}
