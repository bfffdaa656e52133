// The state that the primal and the dual simplex share: the scaled problem by columns and by rows,
// a factored basis with the primal and dual values that belong to it, and what both do with them.
//
//   simsetup.cpp   from the caller's problem and keys to a state; the way back to keys
//   simbasis.cpp   factorization, values from scratch, exchange of a variable, setbacks
//   simsolve.cpp   solves with the basis, products with rows of A
//   simfinish.cpp  certificates and points in the caller's units, checked there
//
// Variables are numbered k: j < n a column, n + i the logical of row i with column -e_i, so that
// [A -I] x = 0. All values are scaled: column j by scale.col, the logical of row i by 1 / scale.row,
// costs by scale.cost. d_k = c_k - a_k'y >= 0 at a lower bound, <= 0 at an upper one.
// Of a basis change, both methods keep: basic, pos, move, xval of the nonbasic, xb, d.
#pragma once

#include <cstdint>
#include <limits>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "lu/lu.h"
#include "misc/linprob.h"
#include "misc/simscale.h"
#include "simplex/simplex.h"

// How a method ended. Whatever it says, it leaves true bounds and costs, and a factored basis with
// values computed for them.
enum class sim_end : int32_t {
  optimal,     // primal and dual feasible
  priminfeas,  // the dual ray stands in st.point, proved
  dualinfeas,  // the primal ray stands in st.point, proved
  undecided,   // the other method should go on from this basis
  stopped,     // st.code says why
};

// A by rows. Of row i the entries beg[i] .. end[i]-1 are those of nonbasic columns, behind them up
// to beg[i+1] stand the basic ones. at and from tie each entry to its twin in the column copy.
struct sim_rows {
  mm_vector<ptrdiff_t> beg, end;
  mm_vector<int32_t> sub;
  mm_vector<double> val;
  mm_vector<ptrdiff_t> at;    // by entry of the column copy: its place here
  mm_vector<ptrdiff_t> from;  // by entry here: its place in the column copy
  explicit sim_rows(mm_place place)
      : beg(place), end(place), sub(place), val(place), at(place), from(place) {}
};

// A basis to return to when a later one turns out to be singular.
struct sim_saved {
  bool isset = false;
  mm_vector<int32_t> basic;
  mm_vector<int8_t> move;
  explicit sim_saved(mm_place place) : basic(place), move(place) {}
};

// Our own generator, so that the same input gives the same run everywhere (xorshift, Marsaglia 2003).
struct sim_random {
  uint32_t state = 0x9e3779b9u;
  double next() {  // in [0, 1)
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return (state >> 8) * 0x1p-24;
  }
};

struct sim_state {
  const lp_view& prob;  // the caller's
  const sim_settings& set;
  const monitor& mon;
  memman& mman;
  sim_info& info;

  int32_t m = 0, n = 0, nt = 0;  // nt = n + m
  sim_scale scale;
  sim_scaled store;
  lp_view lp;  // scaled; its spans look into store
  sim_rows rows;
  double tolx = 1e-6, tols = 1e-6;    // the tolerances of the iteration, in scaled space
  mm_vector<double> lo0, up0, cost0;  // nt: the scaled problem
  mm_vector<double> lo, up, cost;     // nt: what the method works on, perturbed or another phase's

  mm_vector<int32_t> basic;         // m: variable at each position
  mm_vector<int32_t> pos;           // nt: its position, -1: nonbasic
  mm_vector<int8_t> move;           // nt: 1 nonbasic at lo, -1 at up, 0 basic, fixed, or free at 0
  mm_vector<double> xval;           // nt: value of the nonbasic; anything for the basic
  mm_vector<double> xb;             // m: values of the basic, by position
  mm_vector<double> lob, upb;       // m: lo and up of the basic, by position
  mm_vector<double> d;              // nt: reduced costs; 0 for the basic
  double dualobj = 0, primobj = 0;  // scaled, of the working data; kept by the methods

  lu_rec lu;
  bool isfresh = false;  // factored since the last exchange
  double pivrel = 0.1;   // threshold of the factorization, raised at trouble
  sim_saved saved;
  int32_t setbackleft = 0;  // of this attempt
  sim_random random;
  int64_t pollwork = 0;       // entries touched since the last poll, about
  rescode code;               // why the run is stopped
  lp_point* point = nullptr;  // the caller's
  bool isproved = false;      // point holds a certificate

  lu_vector work;           // of the functions here; zero between calls
  mm_vector<double> dwork;  // nt
  sim_state(const lp_view& problem, const sim_settings& settings, const monitor& monit,
            memman& manager, sim_info& information);
};

inline bool sim_isfree(const sim_state& st, int32_t k) {
  return st.lo[k] == -std::numeric_limits<double>::infinity() &&
         st.up[k] == std::numeric_limits<double>::infinity();
}

// ---- simsetup.cpp

// sim_setup: scales and copies the problem, takes the start basis (logicals when basis is empty or
// hot starts are off) and makes as many variables basic as there are rows. Values are not computed.
void sim_setup(sim_state& st, const lp_basis& basis);
// sim_takebasis: takes m basic variables; the others keep their side. Not factored then.
void sim_takebasis(sim_state& st, std::span<const int32_t> basic);
// sim_side: puts the nonbasic k on the side that its bounds allow, the lower one when preferlower,
// and sets move and xval.
void sim_side(sim_state& st, int32_t k, bool preferlower);
// sim_partition: the rows' entries of basic columns go behind the others, from scratch.
void sim_partition(sim_state& st);
// sim_rowsbasic, sim_rowsnonbasic: those of one column that changes its state.
void sim_rowsbasic(sim_state& st, int32_t j);
void sim_rowsnonbasic(sim_state& st, int32_t j);
// sim_truedata: working bounds and costs := the scaled problem's; sides of the nonbasic repaired.
void sim_truedata(sim_state& st);
// sim_keys: keys of the present basis.
void sim_keys(const sim_state& st, lp_basis& basis);

// ---- simbasis.cpp

// sim_factorize: factors the basis. A basis found singular after exchanges is given up for the last
// good one with a stricter threshold, and counts as a setback; one that was never factored before is
// repaired. Returns ok, trm_max_num_setbacks, or what a poll returned (st.code too).
// isrestored, when given, says that basic and move are not those of before the call.
rescode sim_factorize(sim_state& st, bool* isrestored = nullptr);
// sim_takerepair: takes over what lu_factorize changed in basic: positions that got a logical because
// their variable depends on others.
void sim_takerepair(sim_state& st);
// sim_setback: counts one for the method that runs and makes the threshold stricter. Not ok when
// there were too many.
rescode sim_setback(sim_state& st);
// sim_primals: xb, lob, upb and primobj from scratch. sim_duals: d and dualobj likewise. Returned is
// the residual of B, relative, a measure of how far the factors can be trusted.
double sim_primals(sim_state& st);
double sim_duals(sim_state& st);
// sim_exchange: variable q becomes basic at position p with value x, and the one there nonbasic at
// its working bound lo (toupper: up). lu_ftran of the column of q was done with keepspike; alpha is
// its entry p. Values but for xval, xb[p] and d are the method's business.
lu_state sim_exchange(sim_state& st, int32_t p, int32_t q, double alpha, double x, bool toupper);
// sim_wantfactor: whether to factorize before the next iteration.
bool sim_wantfactor(const sim_state& st);

// ---- simsolve.cpp

// sim_column: v := column k of [A -I]; v must be zero.
void sim_column(const sim_state& st, int32_t k, lu_vector& v);
inline void sim_ftran(sim_state& st, lu_vector& v, bool keepspike = false) {
  lu_ftran(st.lu, v, keepspike);
  st.pollwork += v.num < 0 ? st.m : v.num;
}
inline void sim_btran(sim_state& st, lu_vector& v) {
  lu_btran(st.lu, v);
  st.pollwork += v.num < 0 ? st.m : v.num;
}
// sim_price: out := A_N' rho over the nonbasic columns (length n, listed or not; must be zero). The
// logical of row i has -rho_i. By columns when rho is dense, else by rows.
void sim_price(sim_state& st, const lu_vector& rho, lu_vector& out);
// sim_dotcolumn: a_k'v of [A -I].
double sim_dotcolumn(const sim_state& st, int32_t k, std::span<const double> v);

// ---- simfinish.cpp

// sim_provedual: whether y (scaled, by rows; either sign) proves the problem primal infeasible. It
// then stands in st.point.
bool sim_provedual(sim_state& st, std::span<const double> y);
// sim_proveprimal: whether x (scaled, nt; its logicals are recomputed) proves it dual infeasible.
bool sim_proveprimal(sim_state& st, std::span<const double> x);
struct sim_measures {  // in scaled space, of the true bounds and costs and the present xb and d
  double maxprim = 0, sumprim = 0, maxdual = 0, sumdual = 0;
  int32_t numprim = 0, numdual = 0;
};
sim_measures sim_measure(const sim_state& st);
// sim_truemeasure: the same in the caller's units, with x and y computed there and stored in
// st.point.
sim_measures sim_truemeasure(sim_state& st);
// sim_polish: one step of refinement of xb and d, with residuals free of rounding errors; for the
// true bounds and costs.
void sim_polish(sim_state& st);
// sim_dualbound: a lower bound of the optimum, scaled, from d, which must be of the true costs. Reduced
// costs up to tols that no bound carries count as zero; with larger ones there is none, -infinity.
double sim_dualbound(const sim_state& st);
// sim_objective: a scaled objective value in the caller's units.
double sim_objective(const sim_state& st, double scaled);
// sim_poll: polls the monitor when enough work was done since the last time, or now when where
// announces something. Not ok: st.code is set.
rescode sim_poll(sim_state& st, monitor_where where = monitor::monitor_quiet);
