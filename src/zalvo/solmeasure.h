// How good a stored solution is, measured on the task's own problem: objectives, the largest
// violation of each kind, complementarity and gap. This is the proof behind a solution status, so
// sums are compensated, and a NaN anywhere in the point or the data shows in every number that it
// enters. Formulas and signs of the duals are those at the head of the solutions' section of the
// public header.
#pragma once

#include <cstdint>

struct ZLV_task_rec;

struct sol_measures {
  int32_t prosta = 0, solsta = 0;  // as stored; solsta may be the one to be proved
  bool isprimray = false;  // the duals are measured as a certificate of primal infeasibility
  bool isdualray = false;  // the primal values are measured as a certificate of dual infeasibility

  // Primal side. Absolute; maxima over all items, 0 when there are none.
  double primalobj = 0;  // c'x + x'Qx/2 + cfix; ray: c'x
  double maxpeqi = 0;    // |xc_i - a_i x - x'Q_i x/2|; ray: |xc_i - a_i x|, |(Qx)_j|, and
                         // |(Q_i x)_j| of rows with a bound
  double maxpbi = 0;   // by how much xc or xx is outside its bounds; ray: finite bounds count as 0
  double maxpcni = 0;  // x_0 short of |(x_1, ...)|; of a rotated cone (x_0 + x_1)/sqrt(2) short
                       // of |((x_0 - x_1)/sqrt(2), x_2, ...)|
  double maxinti = 0;  // distance of integer variables from the nearest integer; ray: 0

  // Dual side; all 0 when the solution type has no duals. d is 1 for minimization, -1 for
  // maximization.
  double dualobj = 0;  // blc'slc - buc'suc + blx'slx - bux'sux - x'Qx/2 + sum y_i x'Q_i x/2 + cfix;
                       // ray: without x'Qx/2 and cfix
  double maxdeqi = 0;  // |c + Qx - A'y - sum y_i Q_i x - slx + sux - snx|, ray: without c + Qx;
                       // and |y - slc + suc|
  double maxdbi = 0;   // -d s for the dual s of a finite bound, |s| for that of an infinite one
  double maxdcni = 0;  // as maxpcni, of d snx; and |snx_j| of a variable in no cone

  double maxcompl = 0;  // |s (x - bound)| and |snx'x| of a cone; not for rays
  // Relative. relprimal is the largest of maxpeqi, maxpbi, maxpcni over 1 + the largest finite
  // constraint bound, reldual that of maxdeqi, maxdbi, maxdcni over 1 + the largest c_j. Of a ray
  // its violations are divided by its objective instead, infinite when that has the wrong sign: no
  // feasible point has a 1-norm below 1 / reldual, nor a dual feasible one below 1 / relprimal.
  double relprimal = 0, reldual = 0;
  double relgap = 0;    // |primalobj - dualobj| / (1 + |primalobj|); 0 for rays and without duals
  double relcompl = 0;  // maxcompl / (1 + |primalobj|)
};

// sol_measure: measures solution whichsol as what its stored status says, or solsta says, that it
// is. Missing storage reads as a point without items. Throws std::bad_alloc; the task stays as it
// is. Cost: one pass over A and the quadratic terms.
void sol_measure(ZLV_task_rec& task, int32_t whichsol, sol_measures& m);
void sol_measureas(ZLV_task_rec& task, int32_t whichsol, int32_t solsta, sol_measures& m);

// sol_primalobj, sol_dualobj: these numbers alone, without a pass over A.
double sol_primalobj(ZLV_task_rec& task, int32_t whichsol);
double sol_dualobj(ZLV_task_rec& task, int32_t whichsol);
