// The proof behind a solution status: the stored point or ray is measured on the task's own data, and
// the status lowered until it promises no more than was found.

#include <algorithm>

#include "zalvo/frame.h"
#include "zalvo/solmeasure.h"
#include "zalvo/zalvoopt.h"

namespace {

// What a stored status promises, relative, whatever tolerances the optimizer worked to.
constexpr double proof_feas = 1e-6;
constexpr double proof_gap = 1e-6;
constexpr double proof_near = 1e2;  // near statuses promise this much less
constexpr double point_feas =
    1e-8;  // an interior point that counts as feasible although the run was
           // stopped; a basic one has to keep its tolerances

struct proof_tol {
  double primal, dual, gap, ray;
  double pointprimal, pointdual;
};

proof_tol proof_tols(const param_values& par, int32_t whichsol) {
  const double ray = std::max(proof_feas, par.d[dpar::intpnt_tol_infeas]);
  if (whichsol == ZLV_SOL_BAS) {
    const double primal = std::max(proof_feas, par.d[dpar::basis_tol_x]);
    const double dual = std::max(proof_feas, par.d[dpar::basis_tol_s]);
    return {primal, dual, std::max(primal, dual), ray, primal, dual};
  }
  return {std::max(proof_feas, par.d[dpar::intpnt_tol_pfeas]),
          std::max(proof_feas, par.d[dpar::intpnt_tol_dfeas]),
          std::max(proof_gap, par.d[dpar::intpnt_tol_rel_gap]),
          ray,
          point_feas,
          point_feas};
}

// Whether the measures keep what the status promises. A NaN fails every comparison.
bool holds(int32_t solsta, const sol_measures& m, const proof_tol& tol) {
  switch (solsta) {
    case ZLV_SOL_STA_OPTIMAL:
      return m.relprimal <= tol.primal && m.reldual <= tol.dual && m.relgap <= tol.gap;
    case ZLV_SOL_STA_NEAR_OPTIMAL:
      return m.relprimal <= proof_near * tol.primal && m.reldual <= proof_near * tol.dual &&
             m.relgap <= proof_near * tol.gap;
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
      return m.reldual <= tol.ray;
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
      return m.reldual <= proof_near * tol.ray;
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
      return m.relprimal <= tol.ray;
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
      return m.relprimal <= proof_near * tol.ray;
    default:
      return true;
  }
}

int32_t weaker_status(int32_t solsta) {
  switch (solsta) {
    case ZLV_SOL_STA_OPTIMAL:
      return ZLV_SOL_STA_NEAR_OPTIMAL;
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
      return ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER;
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
      return ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER;
    default:
      return ZLV_SOL_STA_UNKNOWN;
  }
}

// What can be said of a point without a verdict.
void judge_point(const sol_measures& m, const proof_tol& tol, int32_t& prosta, int32_t& solsta) {
  const bool primal = m.relprimal <= tol.pointprimal, dual = m.reldual <= tol.pointdual;
  if (primal && dual) {
    prosta = ZLV_PRO_STA_PRIM_AND_DUAL_FEAS;
    solsta = m.relgap <= tol.gap ? ZLV_SOL_STA_OPTIMAL : ZLV_SOL_STA_PRIM_AND_DUAL_FEAS;
  } else if (primal) {
    prosta = ZLV_PRO_STA_PRIM_FEAS;
    solsta = ZLV_SOL_STA_PRIM_FEAS;
  } else if (dual) {
    prosta = ZLV_PRO_STA_DUAL_FEAS;
    solsta = ZLV_SOL_STA_DUAL_FEAS;
  }
}

}  // namespace

void opt_prove(ZLV_task_rec& t, int32_t whichsol, int32_t& prosta, int32_t& solsta) {
  const proof_tol tol = proof_tols(t.par, whichsol);
  sol_measures m;
  for (;;) {
    sol_measureas(t, whichsol, solsta, m);
    if (holds(solsta, m, tol)) break;
    const bool logged = t.par.i[ipar::log] != 0;
    if (logged) {
      task_echo(t, msg_kind::log,
                "The solution status is lowered: relative primal infeasibility %.1e, dual %.1e, "
                "gap %.1e on the original problem.\n",
                m.relprimal, m.reldual, m.relgap);
    }
    solsta = weaker_status(solsta);
    if (solsta == ZLV_SOL_STA_UNKNOWN) prosta = ZLV_PRO_STA_UNKNOWN;
  }
  if (solsta == ZLV_SOL_STA_UNKNOWN && prosta == ZLV_PRO_STA_UNKNOWN)
    judge_point(m, tol, prosta, solsta);
}
