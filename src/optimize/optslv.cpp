#include "optimize/optslv.h"

namespace {

// The dual solved in place of lp; iterations and objectives are told in lp's terms.
rescode solve_dual(const hs_lp& lp, hs_settings set, const monitor& mon, memman& mman,
                   hs_info& info, hs_solution& sol) {
  opt_dual dual(mm_at(mman));
  opt_makedual(lp, dual);
  set.solvedual = true;
  hs_solution from(mm_at(mman));
  const rescode r = hs_optimize(opt_dualview(dual, lp), set, mon, mman, info, from);
  if (!from.x.empty()) opt_fromdual(lp, dual, from, sol);
  return r;
}

bool is_verdict(hs_status status) {
  return status == hs_status::optimal || status == hs_status::priminfeas ||
         status == hs_status::dualinfeas;
}

}  // namespace

rescode opt_ipmslv(const opt_problem& prob, opt_form form, const hs_settings& set,
                   const monitor& mon, memman& mman, hs_info& info, opt_solution& sol) {
  if (opt_trivial(prob, sol)) return rescode::ok;
  opt_internal in(mm_at(mman));
  opt_prepare(prob, in);
  const hs_lp lp = opt_internalview(in, prob);
  hs_solution internal(mm_at(mman));
  const bool freely = form == opt_form::free && opt_prefersdual(lp, set.kkt.offcoltrh, mman);
  const bool forced = form == opt_form::dual && lp.a.nrow > 0 && lp.a.ncol > 0;
  rescode r = freely || forced ? solve_dual(lp, set, mon, mman, info, internal)
                               : hs_optimize(lp, set, mon, mman, info, internal);
  // The free choice takes a dual run without a verdict back.
  if (freely && (r == rescode::ok || r == rescode::trm_stall) && !is_verdict(internal.status)) {
    r = hs_optimize(lp, set, mon, mman, info, internal);
  }
  if (!internal.x.empty() || in.a.ncol == 0) opt_reverse(prob, in, internal, sol);
  return r;
}
