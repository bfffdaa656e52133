// Presolve and postsolve of linear problems: a smaller problem with the same optimum, the stack of
// reductions that leads back, and the way back for points, bases and certificates.
//
// Brearley, Mitra, Williams, "Analysis of mathematical programming problems prior to applying the
// simplex algorithm", Math. Program. 8 (1975); Andersen, Andersen, "Presolving in linear
// programming", Math. Program. 71 (1995); Gondzio, "Presolve analysis of linear programs prior to
// applying an interior point method", INFORMS J. Comput. 9 (1997).
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "misc/linprob.h"
#include "prslv/prsstack.h"

struct prslv_settings {
  bool use = true;             // false: the problem is handed on as it is
  bool eliminatoruse = true;   // substitute implied free columns of several rows
  bool lindepuse = true;       // look for linearly dependent equations
  bool forinterior = true;     // the reduced problem goes to the interior point, else to simplex
  int32_t elimfill = 1;        // fill allowed per substitution, in units of ten entries; 0: none
  int32_t lindepworklim = 10;  // work limit of the dependency check, times the entries of A
  int32_t maxround = 20;       // rounds over all reductions
  double tolx = 1e-8;  // bounds nearer to each other are equal, relative to 1 + size of the bound
  double tols = 1e-8;  // a reduced cost of at most this size is zero; relative to 1 + |cost|
  double tolaij = 1e-12;    // an entry of at most this size is zero, absolute
  double tollindep = 1e-6;  // an equation reduced to entries of at most this size is dependent
};

struct prslv_info {
  int32_t numcon0 = 0, numvar0 = 0, numcon = 0, numvar = 0;  // before and after
  int64_t numanz0 = 0, numanz = 0;
  int32_t numpass = 0;
  int32_t numemptyrow = 0, numsingleton = 0, numredundant = 0, numforcing = 0;  // rows
  int32_t numduprow = 0, numlindep = 0;
  int32_t numemptycol = 0, numfixed = 0, numdomcol = 0, numdupcol = 0;  // columns
  int32_t numforcecol = 0, numslack = 0;
  int32_t numimplfree = 0, numdoubleton = 0, numelim = 0;  // a column and a row each
  int32_t numbound = 0, numside = 0, numimplequ = 0;       // bounds and sides changed
  bool lindepcomplete = true;        // the dependency check was not ended by its work limit
  double cputime = 0, realtime = 0;  // seconds; cputime is that of the whole process
  double elicputime = 0, lindepcputime = 0, domcputime = 0, dupcputime = 0;
};

enum class prslv_verdict : int32_t {
  reduced,    // the reduced problem stands for the original; it may have no row or no column
  infeas,     // prslv_rec.ray proves that there is no feasible point
  unbounded,  // prslv_rec.ray proves that no dual feasible point exists
  undecided,  // stopped early, or a proof failed its check: solve the original problem
};

struct prslv_rec {
  prslv_verdict verdict = prslv_verdict::undecided;
  prslv_info info;
  lp_point ray;  // of the original problem, checked on it; empty unless infeas or unbounded
  lp_view orig;  // the caller keeps its data until postsolve is done
  // The reduced problem, valid with verdict reduced.
  spmat a;
  mm_vector<double> blc, buc, blx, bux, c;
  double cfix = 0;
  mm_vector<int32_t> conof, varof;    // original index of each reduced row and column, increasing
  mm_vector<int32_t> redcon, redvar;  // reduced index of each original one, or -1
  prslv_stack stack;
  explicit prslv_rec(mm_place place)
      : ray(place),
        a(place),
        blc(place),
        buc(place),
        blx(place),
        bux(place),
        c(place),
        conof(place),
        varof(place),
        redcon(place),
        redvar(place),
        stack(place) {}
};
lp_view prslv_look(const prslv_rec& rec);  // the reduced problem, as long as rec is not changed

enum class prslv_hold : uint8_t { none = 0, column = 1, all = 2 };

// prslv_reduce: fills rec.
//   held   numvar or empty: columns marked are in quadratic terms or cones, and stay. Their costs and
//          entries may change by multiples of rows, which postsolve takes into account; bounds may
//          become tighter unless prslv_hold::all keeps them too.
//   rec    anything before; with an error it must not be used
// Polls mon; returns ok or how the run ended, with verdict undecided. Throws std::bad_alloc.
rescode prslv_reduce(const lp_view& prob, std::span<const prslv_hold> held,
                     const prslv_settings& set, const monitor& mon, memman& mman, prslv_rec& rec);

enum class prslv_kind : int32_t { point, dualray, primalray };

// prslv_postsolve: a point or certificate of the reduced problem as one of the original. x and y of
// red must be filled for a point, y for a dual ray, x for a primal ray; those of out are filled
// (zeros for what a ray lacks). The point need not be optimal, nor basic; complementary pairs of it
// give complementary pairs. A ray is not always one of the original: check it there.
//   gradient  at a point, what quadratic terms add to the costs of the reduced columns; empty: nothing
void prslv_postsolve(const prslv_rec& rec, const lp_point& red, prslv_kind kind, lp_point& out,
                     std::span<const double> gradient = {});

// prslv_postsolvebas: the same for a basic point with its basis, which says what is held where. A
// result without exactly numcon basic variables is the internal fault "Not a basic soloution".
void prslv_postsolvebas(const prslv_rec& rec, const lp_point& red, const lp_basis& redbas,
                        lp_point& out, lp_basis& outbas);

// prslv_unreduce: releases the stack and the reduced problem.
void prslv_unreduce(prslv_rec& rec);
