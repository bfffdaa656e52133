// Problem storage of a task: sizes, bounds, objective, constraint matrix, quadratic terms, cones,
// variable types and names. Bound keys always agree with which bounds are finite, so readers trust
// the key. These functions know no task: they check nothing that a caller gave and report nothing;
// the exported functions do that, and so do the file readers, who build a record aside and swap.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "zalvo/names.h"
#include "zalvo/param.h"
#include "zalvo/probmat.h"

constexpr double prob_inf = 1e30;  // magnitude of every stored infinite bound

struct prob_cone {
  int32_t type = 0;  // ZLV_CT_*
  double par = 0;
  mm_vector<int32_t> sub;  // members, in the order given
  explicit prob_cone(mm_place at) : sub(at) {}
};

struct prob_rec {
  int32_t numvar = 0, numcon = 0, numcone = 0;
  int32_t maxnumvar = 0, maxnumcon = 0, maxnumcone = 0, maxnumqnz = 0;
  mm_vector<int32_t> bkc, bkx;  // ZLV_BK_*, maxnumcon and maxnumvar entries
  mm_vector<double> blc, buc, blx, bux, c;
  double cfix = 0;
  probmat a;  // its capacity is maxnumanz
  // Quadratic terms: the objective owns places qobjb .. qobje-1, constraint k qcptrb[k] .. qcptre[k]-1;
  // the last surplus places are free. A term (i, j) stands for (j, i) as well.
  mm_vector<int32_t> qsubi, qsubj;  // maxnumqnz entries
  mm_vector<double> qval;
  mm_vector<int32_t> qcptrb, qcptre;  // maxnumcon entries, or absent: no constraint has terms
  int32_t qobjb = 0, qobje = 0, surplus = 0;
  mm_vector<int32_t> vartype;  // maxnumvar entries of ZLV_VAR_TYPE_*, or absent: all continuous
  int32_t numintvar = 0;
  mm_vector<prob_cone> cone;
  mm_vector<int32_t> conevar;  // cone of each variable or -1; maxnumvar entries
  names_store names;
  int32_t numanzexpand = 0;  // how often the nonzero storage of A grew
  explicit prob_rec(mm_place at)
      : bkc(at),
        bkx(at),
        blc(at),
        buc(at),
        blx(at),
        bux(at),
        c(at),
        a(at),
        qsubi(at),
        qsubj(at),
        qval(at),
        qcptrb(at),
        qcptre(at),
        vartype(at),
        cone(at),
        conevar(at),
        names(at) {}
};

inline mm_place prob_place(const prob_rec& p) {
  return p.c.get_allocator().place;
}

// ---- Whole problems. What throws std::bad_alloc or std::length_error leaves both as they were.

void prob_swap(prob_rec& a, prob_rec& b) noexcept;   // both from the same memory manager
void prob_copy(const prob_rec& from, prob_rec& to);  // to keeps its memory manager
void prob_clear(prob_rec& p) noexcept;               // empty, every capacity 0

// ---- Sizes

// prob_setmax: sets the three capacities, each at least its count. Growing never moves a count.
// Capacities that only grow a little at a time cost amortised linear time.
// prob_reservemax: the part of it that needs space; afterwards prob_setmax cannot fail.
void prob_reservemax(prob_rec& p, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone);
void prob_setmax(prob_rec& p, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone);
// prob_append: num constraints (free, with empty rows) or variables (fixed at zero, cost zero) at
// the end; the capacities are raised to what is needed, or more when they were raised before.
void prob_append(prob_rec& p, acc mode, int32_t num);
// prob_remove: constraints or variables with gone[i] != 0 leave with all that refers to them and
// the later ones move down. A variable that is a member of a cone must not be removed. map is the
// new number of each item, or -1, as prob_removalmap makes it.
mm_vector<int32_t> prob_removalmap(const prob_rec& p, std::span<const uint8_t> gone);
void prob_remove(prob_rec& p, acc mode, std::span<const uint8_t> gone,
                 std::span<const int32_t> map) noexcept;
inline void prob_remove(prob_rec& p, acc mode, std::span<const uint8_t> gone) {
  prob_remove(p, mode, gone, prob_removalmap(p, gone));
}
inline int32_t prob_count(const prob_rec& p, acc mode) {
  return mode == acc::var ? p.numvar : p.numcon;
}
int32_t prob_maxnumanz(const prob_rec& p);

// ---- Bounds and objective

// Tolerances on input data; all absolute.
struct prob_tol {
  double boundinf = 1e16, boundwrn = 1e8;  // of bounds: infinite from here on; large from here on
  double fixed = 1e-8;                     // a ranged item of at most this width counts as fixed
  double aij = 1e-12, aijlarge = 1e10;     // of A: dropped up to here; large above
  double cjlarge = 1e8, chuge = 1e16;      // of c: large above; refused above
  double qij = 1e-16;                      // of quadratic terms: dropped up to here
};
prob_tol prob_tols(const param_values& par);

struct prob_bound {
  int32_t key = 0;  // ZLV_BK_*
  double lower = 0, upper = 0;
};
// What is remarkable about the bounds given, to be reported as warnings.
struct prob_boundnote {
  bool isunequal = false;  // fixed, with two different values
  bool islargelower = false, islargeupper = false;
};
// prob_normalise: the bounds as they are stored: the side that the key does not use is infinite,
// infinite values are +-prob_inf, and the key says which sides are finite and whether they are equal.
// key must be 0 .. 4.
prob_bound prob_normalise(const prob_tol& tol, prob_bound given);
prob_boundnote prob_noteof(const prob_tol& tol, const prob_bound& given);
prob_bound prob_getbound(const prob_rec& p, acc mode, int32_t i);
void prob_storebound(prob_rec& p, acc mode, int32_t i, const prob_bound& b);
// prob_setbound: normalises and stores.
prob_boundnote prob_setbound(prob_rec& p, const prob_tol& tol, acc mode, int32_t i,
                             const prob_bound& given);

// ---- Constraint matrix

// prob_loadcolumns: A becomes the matrix given by columns; ptr has numvar + 1 entries. Rows are in
// range and differ within a column; zeros were dropped. ptr, sub and val are copied.
void prob_loadcolumns(prob_rec& p, std::span<const ptrdiff_t> ptr, std::span<const int32_t> sub,
                      std::span<const double> val);
// prob_acolumns: A packed by columns, rows increasing within a column. a is replaced.
void prob_acolumns(const prob_rec& prob, spmat& a);
inline int32_t prob_numanz(const prob_rec& p) {
  return probmat_nnz(p.a);
}
// prob_mat: the matrix, after checking that its sizes are the problem's; a mismatch is an internal
// fault.
probmat& prob_mat(prob_rec& p);

// ---- Quadratic terms (probquad.cpp). k: a constraint, or prob_obj for the objective.

constexpr int32_t prob_obj = -1;
struct prob_qterms {
  std::span<const int32_t> subi, subj;
  std::span<const double> val;
};
prob_qterms prob_getq(const prob_rec& p, int32_t k);
// prob_qcolumns: the terms of k as a numvar x numvar matrix of both triangles, by columns with rows
// increasing, terms of one place summed, zero sums left out. q is replaced.
void prob_qcolumns(const prob_rec& p, int32_t k, spmat& q);
// prob_qreserve: packs the pool and leaves at least n places free at its end; never more places
// than used + n are asked for.
void prob_qreserve(prob_rec& p, int32_t n);
int32_t prob_qused(const prob_rec& p);  // places that the objective and the constraints own
// prob_qsetcap: the pool gets exactly n places, at least prob_qused.
void prob_qsetcap(prob_rec& p, int32_t n);
void prob_qranges(prob_rec& p);  // makes the ranges of the constraints when they are absent
// prob_qopen: an empty range for n terms of the objective or of a constraint, over its old range or
// at the end of the pool; prob_qpush fills it, prob_qclose gives back what was not used.
struct prob_qwriter {
  int32_t k = prob_obj;
  bool isinplace = false;
  int32_t begin = 0, end = 0;
};
prob_qwriter prob_qopen(prob_rec& p, int32_t k, int32_t n);
void prob_qpush(prob_rec& p, prob_qwriter& w, int32_t i, int32_t j, double value);
void prob_qclose(prob_rec& p, const prob_qwriter& w);
// prob_qset: the terms (i, j) and (j, i) of k together become value; at most qij removes them.
void prob_qset(prob_rec& p, const prob_tol& tol, int32_t k, int32_t i, int32_t j, double value);
// prob_qloadcons: the terms of all constraints at once; constraint subk[t] gets (subi, subj, val)[t]
// when its magnitude is above qij. Subscripts are in range.
void prob_qloadcons(prob_rec& p, const prob_tol& tol, std::span<const int32_t> subk,
                    const prob_qterms& terms);
void prob_qremove(prob_rec& p, acc mode, std::span<const uint8_t> gone,
                  std::span<const int32_t> map) noexcept;

// ---- Cones (probcone.cpp)

// prob_appendcone, prob_putcone: the members are in range, differ, and belong to no other cone.
void prob_appendcone(prob_rec& p, int32_t type, double par, std::span<const int32_t> sub);
void prob_putcone(prob_rec& p, int32_t k, int32_t type, double par, std::span<const int32_t> sub);
// prob_removecone: gone has an entry for each cone and is nonzero for k alone.
void prob_removecone(prob_rec& p, int32_t k, std::span<const uint8_t> gone) noexcept;

// ---- Variable types and names

// prob_maketypes: makes the array of types when it is absent.
void prob_maketypes(prob_rec& p);
void prob_setint(prob_rec& p, int32_t j);  // after prob_maketypes
inline bool prob_isint(const prob_rec& p, int32_t j) {
  return !p.vartype.empty() && p.vartype[j] != 0;
}
// Names; whichitem is ZLV_PI_*. A text is zero-terminated, and valid until the names change.
inline std::string_view prob_name(const prob_rec& p, int32_t whichitem, int32_t i) {
  return names_get(p.names, whichitem, i);
}
inline int32_t prob_findname(const prob_rec& p, int32_t whichitem, std::string_view name) {
  return names_find(p.names, whichitem, name);
}
inline std::string_view prob_objname(const prob_rec& p) {
  return names_text(p.names, p.names.objoff);
}
inline std::string_view prob_taskname(const prob_rec& p) {
  return names_text(p.names, p.names.taskoff);
}
// prob_probtype: ZLV_PROBTYPE_*; hasnl: a general convex term is registered.
int32_t prob_probtype(const prob_rec& p, bool hasnl);
// prob_check: null, or the first broken invariant. Linear time; for tests and debug builds.
const char* prob_check(const prob_rec& p);
