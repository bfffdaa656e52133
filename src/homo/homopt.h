// The generic homogeneous iteration on a scaled linear or convex quadratic problem: state, residuals,
// Newton solves, step lengths and status tests. The loop that drives them is homoptlp.
//
// With B the columns that are not free, U those with an upper bound x_U + w = u:
//   rp = b tau - A x                     ru = u tau - x_U - w
//   rd = c tau + Q x - A'y - s + E v     rg = kappa - b'y + u'v + c'x + x'Qx / tau
// The gap row of a quadratic problem is that of the monotone complementarity embedding,
//   Andersen, Ye, "On a homogeneous algorithm for the monotone complementarity problem", Math.
//   Program. 84 (1999),
// so only rp, ru and rd fall by the step; and as rd holds Q x, both steps are the same.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "homo/homprob.h"
#include "homo/homslv.h"
#include "kfac/kktfac.h"

struct hom_point {
  mm_vector<double> x, s, y;  // n, n (zero for free columns), m
  mm_vector<double> w, v;     // one per column of prob.ucol
  double tau = 1, kappa = 1;
  explicit hom_point(mm_place place) : x(place), s(place), y(place), w(place), v(place) {}
};
void hom_resize(hom_point& point, const hom_prob& prob);

// Right-hand side of one Newton system: eta times the residuals, and complementarity targets.
struct hom_target {
  double eta = 1;
  mm_vector<double> xs, wv;  // n (ignored for free columns), number of upper bounds
  double tk = 0;
  // m and n, or empty: what is added to the residuals; with curved rows.
  mm_vector<double> rp, rd;
  double rg = 0;
  explicit hom_target(mm_place place) : xs(place), wv(place), rp(place), rd(place) {}
};

// Norms of the current point. Largest-entry norms in the caller's units unless said otherwise; a NaN
// anywhere in the iterate makes them NaN, and every test is written so that NaN fails it.
struct hom_measures {
  double pfeas = 0, dfeas = 0, gap = 0;  // relative measures of the status test
  double rubfeas = 0;                    // the part of pfeas that upper bounds have
  double pobj = 0, dobj = 0;             // in the caller's units, constant included
  double mu = 0, kapdivtau = 0;
  double objerr =
      0;  // what residuals may make of the gap where bounds are far, relative; with quads
  double pf = 1, df = 1, gf = 1, cf = 1;  // scaled residuals and mu over tau, relative to the start
  double merit = 0;                       // max(pf, df, gf) + cf
  double cx = 0, by = 0, xqx = 0;         // c'x, b'y - u'v and x'Qx, scaled
};

struct hom_times {  // seconds, wall-clock
  double init = 0, factor = 0, initsd = 0, computesd = 0, linesearch = 0;
};

struct hom_quads;

constexpr int hom_maxkrylov = 8;  // directions of the refinement by conjugate residuals

struct hom_state {
  const hom_prob& prob;
  const hs_settings& set;
  const monitor& mon;
  kktfac& fac;
  hom_quads* quads = nullptr;  // rows with quadratic terms; prob is then moved with the point
  hom_point it, best, dir, aff, trial;
  double bestmerit;
  mm_vector<double> rp, ru, rd;  // residuals
  double rg = 0;
  double nrm0p = 1, nrm0d = 1, nrm0g = 1, mu0 = 1;  // norms at the start
  mm_vector<double> tdiag;     // n: X^-1 S + E V/W E', zero for free columns; plus a diagonal Q
  mm_vector<double> theta;     // n: its inverse, something large for free columns
  mm_vector<double> dub;       // V / W, one per upper bound
  mm_vector<double> pmu;       // p - u, one per upper bound, without cancellation
  mm_vector<uint8_t> isupper;  // the column is nearer to its upper bound
  mm_vector<double> p, q;      // solution for the right-hand side (c - E D u, b)
  double den = 1;              // denominator of dtau, a sum of squares
  hom_target target;
  mm_vector<double> r1, r2, e1, e2, sx, sy;  // work of the solves
  bool issearch = false;                     // the solve is one for a direction
  double noise1 = 0, noise2 = 0;       // with conjugate residuals: sizes of rounding in a solve
  const bool isbig;                    // fac holds both blocks
  mm_vector<double> big, zero;         // then: n + m, work of the solves, and m zeros
  mm_vector<double> krylovz, krylovw;  // hom_maxkrylov (n + m) with Q or both blocks
  mm_vector<double> qx, qp;            // n with Q, else empty: Q x of st.it, and work
  hom_measures meas;
  hom_times times;
  int32_t numweak =
      0;  // factorizations of normal equations of a quadratic problem that solved badly
  int32_t regulevel = 0, numdropcor = 0, maxncor = 1, numcor = 0;
  double aap = 0, aad = 0;        // affine steps
  double alphap = 0, alphad = 0;  // steps taken last
  double gamma = 0;               // centering of the last direction
  double cut = 1;                 // part of the last step that curved rows have left
  hom_state(const hom_prob& problem, const hs_settings& settings, const monitor& monit,
            kktfac& factor, memman& mman);
};

// intpnt_computeresiduals: residuals, norms, measures and merit of st.it.
//   alongstep  with curved rows: st.it is at this step along st.dir, see homquad_movealong; -1: anywhere
void intpnt_computeresiduals(hom_state& st, double alongstep = -1);
// hom_initcomputations: makes the present residuals the start norms.
void hom_initcomputations(hom_state& st);

// hom_numfac: diagonal and factor at st.it, then p, q and den. A failure of the factorization comes
// back as its code.
rescode hom_numfac(hom_state& st);
// hom_setupfac: the factorization object for prob, set up. Returns what its setup returns.
rescode hom_setupfac(const hom_prob& prob, const hs_settings& set, const monitor& mon, memman& mman,
                     kktfac_ptr& fac);
// hom_lsfactor: factor for the least-squares start, T = 1 (2 with an upper bound).
rescode hom_lsfactor(hom_state& st);
// hom_factorpq: factor for tdiag and theta, then p and q for the right-hand side in r1 and r2.
rescode hom_factorpq(hom_state& st);

// hom_solve: [-(T + Q) A'; A 0] [x; y] = [r1; r2] with refinement against the unregularized matrix.
// Returns the residual, of each block relative to its right-hand side and solution.
double hom_solve(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                 std::span<double> x, std::span<double> y);
// hom_formsearch: the direction for a target.
void hom_formsearch(hom_state& st, const hom_target& target, hom_point& dir);

struct hom_steps {
  double p = 0, d = 0;  // largest primal and dual steps that stay positive, at most big
};
// hom_stepsize: largest steps along dir from st.it.
hom_steps hom_stepsize(const hom_state& st, const hom_point& dir);

// hom_compnewp: out = point moved by ap in the primal and ad in the dual, rescaled to one tau.
void hom_compnewp(const hom_point& point, const hom_point& dir, double ap, double ad,
                  hom_point& out);
double hom_mu(const hom_prob& prob, const hom_point& point);
// hom_centrality: least product of a complementary pair.
double hom_centrality(const hom_prob& prob, const hom_point& point);

// Status tests; see homstat.cpp.
struct hom_ray {
  double residual = 0,
         objective = 0;  // in the caller's units; a certificate when the first is small
};                       // against a positive second
hom_ray hom_dualray(const hom_state& st);
hom_ray hom_primalray(const hom_state& st);
struct hom_verdict {
  hs_status status = hs_status::unknown;
  bool stop = false;
};
hom_verdict hom_statustest(hom_state& st, double relax);

// The loop. Leaves the final point in st.it.
struct hom_outcome {
  hs_status status = hs_status::unknown;
  rescode code;
};
hom_outcome hom_optlp(hom_state& st, hs_info& info);
// hom_start: the starting point in st.it.
rescode hom_start(hom_state& st);
// hom_computesearch: the predictor into st.aff, and its step lengths.
void hom_computesearch(hom_state& st);
// hom_computesearchr: from the predictor centering, corrector and centrality correctors into st.dir.
void hom_computesearchr(hom_state& st);
// hom_initsearch: sizes of the corrector work from the factor's flops.
void hom_initsearch(hom_state& st);

// Log rows; see homlog.cpp.
void hom_logsetup(const hom_prob& prob, const hs_settings& set, const kktfac_stats& fs,
                  const monitor& mon, const memman& mman);
void hom_loghead(const monitor& mon);
void hom_logrow(const monitor& mon, const hs_info& info);
void hom_logtrace(const hom_state& st);
void hom_logend(const hom_state& st, const hom_outcome& outcome);
void hom_logtimes(const monitor& mon, const hom_times& times, const kktfac_stats& fs, double total);
