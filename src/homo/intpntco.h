// The homogeneous iteration on a problem with quadratic cones: state, scaling, search directions,
// steps and status test. The model is that of homopt.h, with a cone in place of some of the signs:
//   rp = b tau - A x         ru = u tau - x_U - w
//   rd = c tau - A'y - s + E v      rg = kappa - b'y + u'v + c'x
// Directions are searched for in the Nesterov-Todd scaling (intpntcone.h), with Mehrotra's corrector
// and centrality correctors in the eigenvalues of the products:
//   Andersen, Roos, Terlaky, "On implementing a primal-dual interior-point method for conic quadratic
//   optimization", Math. Program. 95 (2003); Gondzio, "Multiple centrality corrections in a
//   primal-dual method for linear programming", Comput. Optim. Appl. 6 (1996).
#pragma once

#include <cstdint>
#include <limits>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "homo/homopt.h"
#include "homo/intpntkkt.h"

// A direction, with W dx and W^-1 ds of cone members.
struct intpnt_dir {
  hom_point d;
  mm_vector<double> xt, st;  // n
  explicit intpnt_dir(mm_place place) : d(place), xt(place), st(place) {}
};

// Right-hand side of a Newton system: eta times the residuals, targets of the products. For cone
// members the target is lam \ r, in scaled space.
struct intpnt_target {
  double eta = 1;
  mm_vector<double> xs, wv;  // n, number of upper bounds
  double tk = 0;
  explicit intpnt_target(mm_place place) : xs(place), wv(place) {}
};

// A point that can be come back to.
struct intpnt_saved {
  hom_point it;
  intpnt_scal scal;
  double merit = std::numeric_limits<double>::infinity();
  int32_t iter = 0;
  explicit intpnt_saved(mm_place place) : it(place), scal(place) {}
};

struct intpnt_state {
  const intpnt_data& data;
  const hs_settings& set;
  const monitor& mon;
  intpnt_kkt& kkt;
  hom_point it;
  intpnt_saved best;
  intpnt_scal scal;
  intpnt_dir dir, aff, trial;
  intpnt_target target;
  mm_vector<double> rp, ru, rd;
  double rg = 0;
  double nrm0p = 1, nrm0d = 1, nrm0g = 1, mu0 = 1;
  mm_vector<double> dub, pmu;  // V / W; p - u, without cancellation
  // Solution for (c - E D u, b), scaled: its difference from x / tau and y / tau, and all of it.
  mm_vector<double> pt, q, ptall, qall;
  mm_vector<double> cq;  // n: c - A'q
  double den = 1;
  mm_vector<double> r1, r2, aty, xnew, snew;  // work
  hom_measures meas;
  double objerr = 0;  // error of the objectives that the residuals stand for, relative
  hom_times times;
  int32_t regulevel = 0, numcor = 0, maxncor = 2, numdropcor = 0;
  double aa = 0, gamma = 0, alpha = 0, residual = 0;
  int32_t iter = 0;
  intpnt_pivots piv;  // of the last factorization; no weight: the usual one
  int32_t numfutile = 0;
  bool mayrestore = true;
  intpnt_state(const intpnt_data& problem, const hs_settings& settings, const monitor& monit,
               intpnt_kkt& system, memman& mman);
};

int32_t intpnt_numpairs(const intpnt_data& data);  // products that mu is the mean of
// intpnt_residuals: residuals, norms, measures and merit of st.it.
void intpnt_residuals(intpnt_state& st);

// intpnt_start: the starting point, sized by b and c.
void intpnt_start(intpnt_state& st);
// intpnt_linscaling: the scaling of linear columns at st.it.
void intpnt_linscaling(intpnt_state& st);
// intpnt_initscaling: scaling at st.it, whose determinants are known. False when it has left a cone.
bool intpnt_initscaling(intpnt_state& st);
// intpnt_initsearch: factor, the direction of the right-hand side (c, b), and the predictor.
rescode intpnt_initsearch(intpnt_state& st);
// intpnt_formsearch: the direction for a target.
void intpnt_formsearch(intpnt_state& st, const intpnt_target& target, intpnt_dir& dir);
// intpnt_improvesearch: corrected direction and centrality correctors in st.dir.
void intpnt_improvesearch(intpnt_state& st);
// intpnt_center: the direction to the point of the central path with the present mu and residuals, in
// st.dir. There the dual of a cone is an exact multiple of its point turned, which makes it the
// gradient of what the cone was made of.
rescode intpnt_center(intpnt_state& st);
// intpnt_stepsize: largest step along dir that keeps all products positive, at most big.
double intpnt_stepsize(const intpnt_state& st, const intpnt_dir& dir);
// intpnt_updatescaling: moves by st.alpha along st.dir and renews the scaling there.
bool intpnt_updatescaling(intpnt_state& st);

// Status test (intpntstat.cpp).
hom_ray intpnt_dualray(const intpnt_state& st);
hom_ray intpnt_primalray(const intpnt_state& st);
hom_verdict intpnt_statustest(const intpnt_state& st, double relax);

// intpnt_coneopt: the loop. Leaves the final point in st.it.
hom_outcome intpnt_coneopt(intpnt_state& st, hs_info& info);

// Text (intpntlog.cpp).
void intpnt_logtrace(const intpnt_state& st);
void intpnt_logend(const intpnt_state& st, const hom_outcome& outcome);
