#include "optimize/optslv.h"

#include <algorithm>

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

// The homogeneous optimizer on an internal form, itself or its dual.
rescode solve_internal(const hs_lp& lp, const opt_settings& set, const monitor& mon, memman& mman,
                       hs_info& info, hs_solution& sol) {
  if (!lp.q.sub.empty()) return hs_optqp(lp, set.ipm, mon, mman, info, sol);
  const bool freely =
      set.form == opt_form::free && opt_prefersdual(lp, set.ipm.kkt.offcoltrh, mman);
  const bool forced = set.form == opt_form::dual && lp.a.nrow > 0 && lp.a.ncol > 0;
  const rescode r = freely || forced ? solve_dual(lp, set.ipm, mon, mman, info, sol)
                                     : hs_optimize(lp, set.ipm, mon, mman, info, sol);
  // The free choice takes a dual run without a verdict back.
  if (freely && (r == rescode::ok || r == rescode::trm_stall) && !is_verdict(sol.status)) {
    return hs_optimize(lp, set.ipm, mon, mman, info, sol);
  }
  return r;
}

struct interior_point {
  bool isfilled = false;  // a run that is stopped before its first iteration leaves nothing
  opt_status status;
  lp_point point;
  explicit interior_point(mm_place place) : point(place) {}
};

// An interior point of a problem without presolve.
rescode solve_interior(const opt_problem& prob, const opt_settings& set, const monitor& mon,
                       memman& mman, hs_info& info, interior_point& out) {
  opt_internal in(mm_at(mman));
  opt_prepare(prob, in);
  hs_solution internal(mm_at(mman));
  const rescode r = solve_internal(opt_internalview(in, prob), set, mon, mman, info, internal);
  if (internal.x.empty() && in.a.ncol > 0) return r;
  opt_reverse(prob, in, internal, out.point);
  out.status = opt_statusof(internal.status);
  out.isfilled = true;
  return r;
}

}  // namespace

rescode opt_ipmslv(const opt_problem& prob, const opt_settings& set, const opt_monitors& mon,
                   memman& mman, opt_info& info, opt_solution& sol) {
  if (opt_trivial(prob, sol)) return rescode::ok;
  interior_point found(mm_at(mman));
  const rescode r = solve_interior(prob, set, mon.ipm, mman, info.ipm, found);
  if (found.isfilled) opt_fill(prob, found.point, found.status, sol);
  return r;
}
