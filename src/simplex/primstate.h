// What the primal simplex keeps besides the shared state; used by its own units only.
//
//   simprimal.cpp  the loop, phases, ends
//   primprice.cpp  choice of the entering variable; reduced costs and weights after a step
//   primpartial.cpp  the same with a part of the columns at a time
//   primratio.cpp  choice of the leaving one; the step
//   primpert.cpp   bounds widened against stalling
#pragma once

#include <cstdint>

#include "simplex/simcore.h"

// Tolerances of the primal simplex, absolute and in scaled space unless said otherwise.
constexpr double prim_pivfresh = 1e-9;  // entries of the column at most this do not block, when the
constexpr double prim_pivyoung = 1e-8;  // factors are fresh (below 10 exchanges), young (below 20)
constexpr double prim_pivold = 1e-7;    // and old
constexpr int32_t prim_youngage = 10, prim_oldage = 20;
constexpr double prim_pivaccept = 10;     // times the setting: a smaller pivot needs fresh factors
constexpr double prim_pivdiffer = 1e-7;   // of the pivot by column and by row, relative
constexpr double prim_duadiffer = 1e-6;   // of a reduced cost kept and recomputed, relative
constexpr double prim_degenerate = 1e-9;  // a shorter step counts as degenerate
constexpr double prim_shift = 1e-12;      // a leaving variable further off its bound takes it along
constexpr double prim_badresidual = 1e-6;  // of fresh values, relative: factors are not trusted

// A basic variable that reaches a bound at step t.
struct prim_break {
  double t, relaxed;  // relaxed: with the bound the feasibility tolerance further away
  double rate;        // > 0, at which it moves
  int32_t at;         // 2 * position + (1: the upper bound)
};

enum class prim_action {
  ok,
  rebuild,    // factors or values should be made anew
  feasible,   // phase 1 has ended; new costs
  nonelects,  // no variable is attractive
  unblocked,  // nothing blocks the entering one
  stopped,    // st.code
};

// Flags of a variable.
constexpr uint8_t prim_isheld = 1;     // fixed, never enters; its d is not kept
constexpr uint8_t prim_istaboo = 2;    // not to enter until the next success
constexpr uint8_t prim_isref = 4;      // in the reference framework of the weights
constexpr uint8_t prim_ishot = 8;      // listed in hot
constexpr uint8_t prim_isasleep = 16;  // partial pricing: its d and weight are not kept
constexpr uint8_t prim_isout = prim_isheld | prim_istaboo | prim_isasleep;

struct prim_state {
  sim_state& st;
  bool isphase1 = false;
  bool isperturbed = false, isshifted = false;  // bounds were widened; taken along by rounding
  bool mayperturb = true;
  bool toupper = false;  // the bound at which the leaving variable stays
  sim_selection rule = sim_selection::se;
  double tolp = 1e-7, told = 1e-7;
  double tolh = 1e-7;    // by which the ratio tests relax bounds: tolp, or little after a stall
  double pivaccept = 0;  // smallest pivot that is taken

  // Pricing. cand lists all attractive variables, hot those whose score is above cutoff.
  mm_vector<double> weight;         // nt: norm of the edge in the reference space, at least about
  mm_vector<uint8_t> flag;          // nt: prim_isheld, ...
  mm_vector<int32_t> cand, candat;  // candat: nt, place in cand or -1
  mm_vector<int32_t> hot;
  mm_vector<double> score;  // scratch of a rebuild of hot
  double cutoff = 0;
  mm_vector<int32_t> awake;  // columns, basic ones too; partial pricing only
  mm_vector<int32_t> taboo;  // not to enter until the next success
  int32_t numbadweight = 0;  // weights found far off since the framework was set
  int32_t numrandom = 0;     // entering variables to be chosen by chance

  // The step: q enters upwards (dir 1) or downwards (-1) and takes position p; -1: it reaches its
  // other bound.
  int32_t q = -1, p = -1, dir = 1;
  int32_t numinfeas = 0;  // in phase 1
  double costshare = 0;   // of the true costs in those of phase 1
  double dq = 0, alpha = 0, theta = 0, wq = 1;
  lu_vector col, rho, row, delta;  // row: of the structurals; delta: phase 1 cost changes
  lu_vector tau, cross;  // steepest edge: B^-T of the entering edge, its products with columns
  mm_vector<prim_break> breaks;
  mm_vector<int8_t> infeas;             // m: -1 below its bounds, 1 above, 0 within
  double suminfeas = 0, maxinfeas = 0;  // of the last look at all

  // Stalling and trouble.
  double pertsize = 0;  // relative to 1 + |bound|
  double gained = 0;    // minus what the objective fell by in phase 2, since the start
  double borrowed = 0;  // of that, what bounds taken along by leaving variables have brought
  // The best objective (with borrowed), and the best sum of infeasibilities since then.
  double bestobj = std::numeric_limits<double>::infinity();
  double bestsum = std::numeric_limits<double>::infinity();
  double objective = 0;   // at the last rebuild, in the caller's units; kept when there is a cut
  double gainedthen = 0;  // gained at that time
  // What the optimum is at least, from the reduced costs of the last rebuild; kept when there is a cut.
  double bound = -std::numeric_limits<double>::infinity();
  int32_t numwatch = 0;  // iterations since
  int32_t numidle = 0;   // looks in a row without progress, all measures taken
  int32_t numrestore = 0, numretry = 0, numbaddual = 0;

  explicit prim_state(sim_state& state);
};

// ---- primprice.cpp
// prim_setweights: a fresh reference framework; with mayexact all variables are in it when the basis
// is logical and the rule is steepest edge.
void prim_setweights(prim_state& p, bool mayexact);
void prim_setcands(prim_state& p);                     // lists from st.d
void prim_touch(prim_state& p, int32_t k);             // d, weight or move of k may have changed
int32_t prim_chuzc(prim_state& p);                     // the entering variable, -1: none
void prim_price(prim_state& p, const lu_vector& rho);  // row := A_N' rho
// prim_checkcolumn: the true reduced cost and norm of the entering edge, from col, in place of those
// stored. Returns how far the reduced cost was off.
double prim_checkcolumn(prim_state& p);
// prim_edge: for steepest edge, tau for the entering column.
void prim_edge(prim_state& p);
// prim_updateduals: d, weights and lists for the exchange of q and the variable at p, before it is
// made. row and rho hold the pivotal row.
void prim_updateduals(prim_state& p);
// prim_addcosts: d after the costs of basic variables rose by delta (by position); delta is cleared.
void prim_addcosts(prim_state& p);

// ---- primpartial.cpp
// part_wake: looks at all columns and chooses those to be awake; false: none is attractive.
bool part_wake(prim_state& p);
void part_price(prim_state& p, const lu_vector& rho);  // row := products of the columns awake

// ---- primratio.cpp
double prim_pivtol(const prim_state& p);
// prim_chuzr: sets p, theta and toupper; ok or unblocked.
prim_action prim_chuzr(prim_state& p);
// prim_move: moves the basic variables along col by theta; in phase 1 fills delta with the changes
// of their costs but for that of the leaving variable.
void prim_move(prim_state& p);
// prim_judge: infeasibilities of all basic variables from scratch.
void prim_judge(prim_state& p);

// ---- primpert.cpp
// prim_watch: after each iteration; widens the bounds of the basic variables when there was no
// progress for long, or has some entering variables chosen by chance when that is not allowed.
void prim_watch(prim_state& p);
void prim_widen(prim_state& p, int32_t k);  // the bounds of one variable, when perturbing is on
bool prim_restore(prim_state& p);           // true bounds again; whether any had changed

// ---- simprimal.cpp
// prim_run: the loop, from a basis whose bounds and costs are the true ones. Bounds may be widened and
// costs those of phase 1 when it ends.
sim_end prim_run(prim_state& p);
