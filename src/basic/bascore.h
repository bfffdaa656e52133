// The state that the phases of basis identification share. Variables as in misc/linprob.h: column j,
// and n + i for the logical of row i; all values scaled.
#pragma once

#include <cstdint>

#include "basic/basident.h"
#include "cpub/callback.h"
#include "cpub/spmat.h"
#include "lu/lu.h"
#include "misc/simscale.h"

// Where a variable stands, or where it goes when it leaves the basis.
enum class bas_place : uint8_t {
  lower,
  upper,
  fixed,
  inside,  // between its bounds or free: a reduced cost of zero belongs to it
};

enum class bas_pushed {
  done,
  again,  // the factors were worn and are fresh now
  later,  // there was no pivot of an acceptable size
};

struct bas_state {
  const bas_settings& set;
  const monitor& mon;
  bas_info& info;
  memman& mman;
  timer clock;
  lp_view lp;
  int32_t m, n, nt;
  spmat rows;                      // A'
  mm_vector<double> lo, up, x, z;  // nt
  mm_vector<double> y;             // m
  mm_vector<bas_place> place;      // nt
  mm_vector<int32_t> basic;        // m
  mm_vector<int32_t> posof;        // nt, position in the basis or -1
  lu_rec lu;
  lu_vector work;               // of solves
  mm_vector<double> alpha;      // nt: a row of the tableau, zero between pushes
  mm_vector<int32_t> alphaind;  // where it is not zero
  int32_t alphanum = 0;
  mm_vector<double> sums;  // m
  bas_state(const lp_view& scaled, const bas_settings& settings, const monitor& monit, memman& mm,
            bas_info& told);
};

// The column of a variable goes to st.work, which must be clear.
void bas_loadcolumn(bas_state& st, int32_t var);
// The value of bound that a nonbasic variable stands at; of a free one zero.
double bas_boundof(const bas_state& st, int32_t var);

// bas_drop: x, z and place from the interior point x, y.
void bas_drop(bas_state& st, std::span<const double> x);
// bas_crash: the first basis and its factors.
rescode bas_crash(bas_state& st);

// bas_factor: fresh factors of the basis, and values of the basic variables from those of the others.
// What a singular basis loses becomes nonbasic.
rescode bas_factor(bas_state& st);
// bas_primals: values of the basic variables from those of the others. Returns the residual before the
// last refinement, relative to the largest term.
double bas_primals(bas_state& st);
// bas_duals: y and the reduced costs of nonbasic variables from those of the basic ones. The reduced
// costs of basic variables that are inside become zero before.
void bas_duals(bas_state& st);

// bas_exchange: variable enter, whose column is the spike of the last solve, replaces that of position
// p with the pivot alpha. false: refused, the factors are fresh and the basis is as it was.
rescode bas_exchange(bas_state& st, int32_t p, int32_t enter, double alpha, bool& done);

// The phases. Both leave what they could not do, counted in info.numskipped.
rescode bas_dualpush(bas_state& st);
rescode bas_primalpush(bas_state& st);

// bas_poll: quietly, or with a code and a log row when enough pushes were made.
rescode bas_poll(bas_state& st, const char* phase, int32_t iter, int32_t left, monitor_where where);
