// The interior-point pipeline.

#include "optimize/optslv.h"

#include <algorithm>

#include "cpub/callback.h"
#include "misc/exactsum.h"
#include "optimize/optpre.h"
#include "zalvo.h"

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
rescode solve_internal(const hs_lp& lp, const opt_stage& stage, hs_solution& sol) {
  const opt_settings& set = stage.set;
  const monitor& mon = stage.mon.ipm;
  hs_info& info = stage.info.ipm;
  if (!lp.q.sub.empty()) return hs_optqp(lp, set.ipm, mon, stage.mman, info, sol);
  const bool freely =
      set.form == opt_form::free && opt_prefersdual(lp, set.ipm.kkt.offcoltrh, stage.mman);
  const bool forced = set.form == opt_form::dual && lp.a.nrow > 0 && lp.a.ncol > 0;
  const rescode r = freely || forced ? solve_dual(lp, set.ipm, mon, stage.mman, info, sol)
                                     : hs_optimize(lp, set.ipm, mon, stage.mman, info, sol);
  // The free choice takes a dual run without a verdict back.
  if (freely && (r == rescode::ok || r == rescode::trm_stall) && !is_verdict(sol.status)) {
    return hs_optimize(lp, set.ipm, mon, stage.mman, info, sol);
  }
  return r;
}

struct interior_point {
  bool isfilled = false;   // a run that is stopped before its first iteration leaves nothing
  bool istrivial = false;  // a certificate that needed no optimizer
  bool isreduced = false;  // comes from the reduced problem, whose point is kept
  hs_status ended = hs_status::unknown;
  opt_status status;
  lp_point point, reduced;
  explicit interior_point(mm_place place) : point(place), reduced(place) {}
};

// The quadratic terms of the minimization, in the columns that presolve has left: all of them.
//   rec  null: there was no presolve
void take_quadratic(const opt_problem& whole, const prslv_rec* rec, spmat& q) {
  const spmat_view& from = whole.q;
  const int32_t n = rec != nullptr ? int32_t(rec->varof.size()) : whole.numvar;
  const double sense = whole.maximize ? -1 : 1;
  q.nrow = q.ncol = n;
  q.ptr.assign(1, 0);
  for (int32_t jj = 0; jj < n; ++jj) {
    const int32_t j = rec != nullptr ? rec->varof[jj] : jj;
    for (ptrdiff_t p = from.ptr[j]; p < from.ptr[j + 1]; ++p) {
      q.sub.push_back(rec != nullptr ? rec->redvar[from.sub[p]] : from.sub[p]);
      q.val.push_back(sense * from.val[p]);
    }
    q.ptr.push_back(ptrdiff_t(q.sub.size()));
  }
}

// An interior point of lp, with the quadratic terms of the caller's problem.
//   whole  the caller's problem, for the size of its right-hand sides and its sense
//   rec    how lp was made from it; null: it is the same
rescode solve_interior(const lp_view& lp, const opt_problem& whole, const prslv_rec* rec,
                       const opt_stage& stage, interior_point& out) {
  opt_keyed keyed(mm_at(stage.mman));
  opt_problem prob = opt_addkeys(lp, keyed);
  spmat q(mm_at(stage.mman));
  if (whole.q.ncol > 0) {
    take_quadratic(whole, rec, q);
    prob.q = spmat_look(q);
  }
  opt_internal in(mm_at(stage.mman));
  opt_prepare(prob, in);
  hs_lp form = opt_internalview(in, whole);
  hs_solution internal(mm_at(stage.mman));
  const rescode r = solve_internal(form, stage, internal);
  if (internal.x.empty() && in.a.ncol > 0) return r;
  opt_reverse(prob, in, internal, out.point);
  out.ended = internal.status;
  out.status = opt_statusof(internal.status);
  out.isfilled = true;
  return r;
}

// Q x of the minimization at a point of the reduced problem.
void take_gradient(const opt_problem& whole, const prslv_rec& rec, std::span<const double> x,
                   mm_vector<double>& gradient) {
  gradient.assign(x.size(), 0.0);
  for (size_t jj = 0; jj < x.size(); ++jj) {
    const int32_t j = rec.varof[jj];
    exact_sum sum;
    for (ptrdiff_t p = whole.q.ptr[j]; p < whole.q.ptr[j + 1]; ++p) {
      sum.add(whole.q.val[p] * x[rec.redvar[whole.q.sub[p]]]);
    }
    gradient[jj] = whole.maximize ? -sum.value() : sum.value();
  }
}

// The point of a reduced problem becomes one of lp; whether it is there as good as its status says.
bool take_back(const lp_view& lp, const opt_problem& whole, const prslv_rec& rec,
               interior_point& found) {
  const opt_kind kind = opt_kindof(found.status);
  lp_point& from = found.reduced;
  from.x.swap(found.point.x);
  from.y.swap(found.point.y);
  mm_vector<double> gradient(from.x.get_allocator());
  if (whole.q.ncol > 0 && kind == opt_kind::point) take_gradient(whole, rec, from.x, gradient);
  prslv_postsolve(rec, from, prslv_kind(kind), found.point, gradient);
  found.isreduced = true;
  return !is_verdict(found.ended) || opt_isgood(lp, found.point, kind);
}

// Columns with quadratic terms, which presolve does not take; empty when there are none.
void mark_quadratic(const opt_problem& whole, mm_vector<prslv_hold>& held) {
  if (whole.q.ncol == 0) return;
  held.resize(whole.numvar);
  for (int32_t j = 0; j < whole.numvar; ++j) {
    held[j] = whole.q.ptr[j] < whole.q.ptr[j + 1] ? prslv_hold::column : prslv_hold::none;
  }
}

// Presolve, interior point, postsolve. A verdict that does not hold on lp itself, or none where the
// run was not stopped, sends lp itself to the optimizer.
rescode solve_presolved(const lp_view& lp, const opt_problem& whole, const opt_stage& stage,
                        prslv_rec& rec, interior_point& found) {
  mm_vector<prslv_hold> held(mm_at(stage.mman));
  mark_quadratic(whole, held);
  if (const rescode r = opt_presolve(lp, held, true, stage, rec); r != rescode::ok) return r;
  if (opt_tooknothing(rec)) return solve_interior(lp, whole, nullptr, stage, found);
  if (rec.verdict != prslv_verdict::reduced) {
    const bool infeas = rec.verdict == prslv_verdict::infeas;
    found.ended = infeas ? hs_status::priminfeas : hs_status::dualinfeas;
    found.status = opt_statusof(found.ended);
    found.point.x.swap(rec.ray.x);
    found.point.y.swap(rec.ray.y);
    found.isfilled = true;
    return rescode::ok;
  }
  const rescode r = solve_interior(prslv_look(rec), whole, &rec, stage, found);
  const bool islinear = held.empty();  // the check of a point knows no quadratic terms
  const bool isgood = found.isfilled && (take_back(lp, whole, rec, found) || !islinear);
  const bool isended = r == rescode::ok || r == rescode::trm_stall;
  if (!isended || (isgood && is_verdict(found.ended))) return r;
  stage.mon.ipm.log(2, "The presolved problem gave no proof: solving without presolve.\n");
  prslv_unreduce(rec);
  found.isreduced = false;
  return solve_interior(lp, whole, nullptr, stage, found);
}

// What is known of a certificate that needed no optimizer; its numbers stand in the solution.
void take_trivial(const opt_solution& sol, interior_point& found) {
  found.ended =
      sol.solsta == ZLV_SOL_STA_PRIM_INFEAS_CER ? hs_status::priminfeas : hs_status::dualinfeas;
  found.istrivial = found.isfilled = true;
}

// Whether the end of the interior-point run lets a basis be identified: a run that came to its own end
// does, whatever its status unless only a feasible problem counts, and what the mode says besides.
bool wants_basis(opt_bimode mode, rescode r, const interior_point& found) {
  if (mode == opt_bimode::never || !found.isfilled) return false;
  if (r == rescode::trm_max_iterations) return mode == opt_bimode::ignoremaxiter;
  if (r == rescode::trm_stall) return mode == opt_bimode::ignorenumerr;
  const bool isoptimal = found.ended == hs_status::optimal || found.ended == hs_status::nearoptimal;
  return r == rescode::ok && (isoptimal || mode != opt_bimode::iffeasible);
}

// The basic solution behind an interior one; a certificate is one already.
rescode identify_basis(const lp_view& lp, const prslv_rec& rec, const opt_stage& stage,
                       const interior_point& found, basic_point& at) {
  if (opt_kindof(found.status) != opt_kind::point) {
    at.point.x = found.point.x;
    at.point.y = found.point.y;
    at.point.verdict =
        found.ended == hs_status::priminfeas || found.ended == hs_status::nearpriminfeas
            ? lp_verdict::priminfeas
            : lp_verdict::dualinfeas;
    opt_slackbasis(lp, at.basis);
    at.isfilled = true;
    return rescode::ok;
  }
  if (!found.isreduced) return opt_basind(lp, found.point, stage, at);
  const rescode r = opt_basind(prslv_look(rec), found.reduced, stage, at);
  if (!at.isfilled) return r;
  const rescode back = opt_finishbasic(lp, rec, stage, at);
  return r == rescode::ok ? back : r;
}

}  // namespace

rescode opt_ipmslv(const opt_problem& prob, const opt_stage& stage, opt_solution& sol,
                   opt_solution* bas) {
  const mm_place place = mm_at(stage.mman);
  opt_lp own(place);
  interior_point found(place);
  prslv_rec rec(place);
  const rescode r = stage.mon.phase(callback_code::begin_intpnt, callback_code::end_intpnt, [&] {
    opt_makelp(prob, own);
    sol.isdefined = true;
    if (opt_trivial(prob, sol)) {
      take_trivial(sol, found);
      return rescode::ok;
    }
    const rescode code = solve_presolved(opt_lpview(own), prob, stage, rec, found);
    if (found.isfilled) opt_fill(prob, found.point, found.status, sol);
    sol.isdefined = code != rescode::err_nonconvex;
    return code;
  });
  if (bas == nullptr || !wants_basis(stage.set.bimode, r, found)) return r;
  if (found.istrivial) {
    bas->isdefined = opt_trivialbasic(prob, opt_lpview(own), stage.mman, *bas);
    return r;
  }
  basic_point at(place);
  const rescode b = identify_basis(opt_lpview(own), rec, stage, found, at);
  if (at.isfilled) {
    opt_fillbasic(prob, at.point, at.basis, opt_statusof(at.point.verdict), *bas);
    bas->isdefined = true;
  }
  return r == rescode::ok ? b : r;
}
