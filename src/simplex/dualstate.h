// What the dual simplex keeps besides the shared state; used by its own units only.
//
//   simdual.cpp    phases, rebuilds, ends
//   dualiter.cpp   one iteration
//   dualrow.cpp    choice of the leaving variable, its weights
//   dualratio.cpp  choice of the entering one, bound flips
//   dualpert.cpp   costs perturbed and shifted, first phase bounds
#pragma once

#include <cstdint>

#include "simplex/simcore.h"

// Tolerances of the dual simplex, absolute and in scaled space unless said otherwise.
constexpr double dual_pivfresh = 1e-9;  // entries of the pivotal row at most this are no candidates
constexpr double dual_pivyoung = 3e-8;  // with factors that are fresh (below 10 exchanges), young
constexpr double dual_pivold = 1e-6;    // (below 20), and old
constexpr int32_t dual_youngage = 10, dual_oldage = 20;
// Times the pivot tolerance of the settings: a smaller pivot is looked at again with fresh factors, and
// then taken when it is at least the second.
constexpr double dual_pivaccept = 10, dual_pivleast = 0.1;
constexpr double dual_pivrelrow =
    1e-11;  // it is at least this share of the norm of its row of the inverse
constexpr double dual_pivdiffer = 1e-6;       // of the pivot by row and by column, relative,
constexpr double dual_pivdifferfresh = 1e-3;  // and when the factors are fresh
constexpr double dual_degenerate = 1e-12;     // a shorter dual step counts as degenerate
constexpr double dual_minweight = 1e-4;
constexpr double dual_weightfault = 0.25;  // a stored weight below this share of the true one

enum class dual_action {
  ok,
  rebuild,  // factors or values should be made anew
  noleave,  // no row violates its bounds
  noenter,  // no variable can enter for the row chosen
  stopped,  // st.code
};

struct dual_cand {
  int32_t k;
  double alpha;  // > 0: rate at which its reduced cost falls to zero
  double d;      // its reduced cost, >= 0 when feasible
  double ratio;  // d / alpha
};

struct dual_state {
  sim_state& st;
  bool isphase1 = false;
  double tolp = 1e-7, told = 1e-7;

  // Rows. list has every row with infeas > 0, perhaps more.
  sim_selection rule = sim_selection::se;
  mm_vector<double> weight;  // m: |row of the inverse|^2
  mm_vector<double> infeas;  // m: squared violation, 0 within tolerance
  mm_vector<int32_t> list;
  mm_vector<uint8_t> islisted, istaboo;  // m
  mm_vector<int32_t> taboo;
  // hot: those of list whose infeas is above cutoff times their weight, perhaps more.
  mm_vector<int32_t> hot;
  mm_vector<uint8_t> ishot;  // m
  mm_vector<double> merit;   // scratch
  double cutoff = 0;
  size_t partat = 0;              // in list, where the next search of partial selection begins
  mm_vector<double> savedweight;  // nt, of the variables basic at the last factorization

  // The step: p leaves for its lower (moveout -1) or upper (1) bound, q enters.
  int32_t p = -1, q = -1;
  int32_t moveout = 0;
  double delta = 0;                // of p beyond its bound
  double alpharow = 0, alpha = 0;  // the pivot by row and by column
  double thetad = 0;
  lu_vector rho, row, col, tau, flip;  // row: of the structurals, length n
  mm_vector<int32_t> packind;
  mm_vector<double> packval;
  int32_t packnum = 0, numfree = 0;  // numfree: free nonbasic variables at the last rebuild
  mm_vector<dual_cand> cand;         // the first numcand
  int32_t numcand = 0;
  mm_vector<double> sufmin;  // scratch of the ratio test
  mm_vector<int32_t> flips;
  mm_vector<uint8_t> isdropped;  // nt: not to enter in this iteration
  mm_vector<int32_t> dropped;

  // Costs.
  bool mayperturb = true, isperturbed = false, isshifted = false;
  int32_t numstall = 0;  // iterations without progress of the objective
  double stallobj = 0;
  int32_t numpert = 0;
  int32_t lastlog = 0, nextcut = 0;  // iterations
  uint64_t hash = 0;                 // of the basis
  mm_vector<uint64_t> seen;          // open hash table of bases since the last progress
  int32_t numseen = 0;

  explicit dual_state(sim_state& state);
};

// ---- dualrow.cpp
void dual_startweights(dual_state& ds);  // exact for logicals, and for others when that is cheap
void dual_judgeall(dual_state& ds);      // infeasibilities and list from scratch
inline void dual_judge(dual_state& ds, int32_t p) {
  const sim_state& st = ds.st;
  const double x = st.xb[p];
  const double v = x < st.lob[p] ? st.lob[p] - x : x - st.upb[p];
  if (!(v > ds.tolp)) {
    ds.infeas[p] = 0;
    return;
  }
  ds.infeas[p] = v * v;
  if (ds.islisted[p] == 0) {
    ds.islisted[p] = 1;
    ds.list.push_back(p);  // reserved for m
  }
}
// dual_heat: puts p into hot when it belongs there now; after its weight or infeas changed.
inline void dual_heat(dual_state& ds, int32_t p) {
  if (ds.infeas[p] > ds.cutoff * ds.weight[p] && ds.ishot[p] == 0) {
    ds.ishot[p] = 1;
    ds.hot.push_back(p);  // reserved for m
  }
}
int32_t dual_chuzr(dual_state& ds);  // the leaving row, -1: none
// dual_updaterows: values, weights and infeasibilities of the rows for a primal step thetap, before
// the exchange.
void dual_updaterows(dual_state& ds, double thetap);
void dual_maketaboo(dual_state& ds, int32_t p);
void dual_cleartaboo(dual_state& ds);

// ---- dualratio.cpp
void dual_pack(dual_state& ds);  // row and rho into packind, packval
// dual_chuzc: sets q, alpharow, thetad and flips; ok or noenter.
dual_action dual_chuzc(dual_state& ds);
void dual_doflips(
    dual_state& ds);  // moves what flips names to the other bound, and the basics; col is known

// ---- dualpert.cpp
void dual_perturb(dual_state& ds, double factor);
// dual_restorecosts: the true ones; whether any had changed.
bool dual_restorecosts(dual_state& ds);
void dual_shift(dual_state& ds, int32_t k, double d);  // changes the cost so that d_k becomes d
// dual_correct: flips boxed variables whose duals have the wrong sign, shifts the costs of others.
// Values of the basics are to be recomputed then.
void dual_correct(dual_state& ds);
void dual_phase1bounds(dual_state& ds);
void dual_truebounds(dual_state& ds);
int32_t dual_numinfeas(const dual_state& ds);  // wrong signs that no flip can repair, true bounds

// ---- dualiter.cpp
dual_action dual_iterate(dual_state& ds);
