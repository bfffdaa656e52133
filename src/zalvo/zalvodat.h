// What the exported problem-data functions share: argument checks that report a failure with the
// place, the name and the value; changes of sizes that keep the solution store in step; and the
// checks of input vectors. The units zalvodat*.cpp hold the functions by subject.
#pragma once

#include <cmath>
#include <cstdint>
#include <span>

#include "zalvo/frame.h"

// A count of elements, an index array and a value array as they came from the caller.
struct dat_vector {
  std::span<const int32_t> sub;
  std::span<const double> val;
};

// ---- Checks. Each reports its failure and returns the code, or ok.

rescode dat_acc(task_rec& t, int32_t accmode);  // ZLV_ACC_VAR or ZLV_ACC_CON
// dat_item: a problem item and an index of it.
rescode dat_item(task_rec& t, int32_t whichitem);
int32_t dat_itemcount(const task_rec& t, int32_t whichitem);
// dat_index: of an item, by acc mode.
inline rescode dat_index(task_rec& t, acc mode, int32_t i, const char* argument) {
  return chk_index(t, i, prob_count(t.prob, mode), argument);
}
// dat_arrindex: element k of an index array.
rescode dat_arrindex(task_rec& t, int32_t value, int32_t k, int32_t count, const char* argument);
// dat_range: [first, last) within [0, count], first <= last.
rescode dat_range(task_rec& t, int32_t first, int32_t last, int32_t count);
// dat_finite: value k of an argument is neither NaN nor, for matrix and objective data, infinite.
rescode dat_finite(task_rec& t, double value, int32_t k, const char* argument);
rescode dat_notnan(task_rec& t, double value, int32_t k, const char* argument);
// dat_array: an array that must be there when num > 0.
inline rescode dat_array(task_rec& t, const void* array, int32_t num, const char* argument) {
  return num > 0 ? chk_pointer(t, array, argument) : rescode::ok;
}

// Names for messages; an item that is still to be appended has none.
inline const char* dat_varname(const prob_rec& p, int32_t j) {
  return j < p.numvar ? prob_name(p, ZLV_PI_VAR, j).data() : "";
}
inline const char* dat_conname(const prob_rec& p, int32_t i) {
  return i < p.numcon ? prob_name(p, ZLV_PI_CON, i).data() : "";
}

// ---- Sizes. What throws leaves the task as it was.

// dat_setmax: the capacities of constraints, variables and cones, each at least its count.
void dat_setmax(task_rec& t, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone);
// dat_append: num items more; the capacities grow by the spare room that the parameters ask for.
void dat_append(task_rec& t, acc mode, int32_t num);
// dat_replace: the problem built aside becomes the task's, whose solutions are gone. aside gets the
// old one. Both come from the task's memory manager.
void dat_replace(task_rec& t, prob_rec& aside);

// ---- Bounds and objective

// dat_key: a bound key as given.
rescode dat_key(task_rec& t, acc mode, int32_t key, const char* argument);
// dat_boundvalues: the values that the key uses are numbers.
rescode dat_boundvalues(task_rec& t, const prob_bound& given, int32_t k);
// dat_warnbound: the warnings about bounds given for item i of p.
void dat_warnbound(task_rec& t, const prob_rec& p, const prob_tol& tol, const prob_bound& given,
                   acc mode, int32_t i);
// dat_cost: checks the cost at position k of an argument for variable j of p, and warns.
rescode dat_cost(task_rec& t, const prob_rec& p, double value, int32_t k, int32_t j,
                 const char* argument);

// ---- Constraint matrix

// dat_input: what the vectors of one call have in common. p is the task's problem or one aside.
struct dat_input {
  task_rec& t;
  prob_rec& p;
  prob_tol tol;
  int32_t numzero = 0;     // zeros given so far
  mm_vector<int32_t> sub;  // elements of the vector that was checked last, small ones dropped
  mm_vector<double> val;
  dat_input(task_rec& task, prob_rec& prob);
};
// dat_reserve: room for numnz elements more in the rows or columns of A, in vectors of at most
// longest elements, so that putting them cannot fail.
void dat_reserve(dat_input& in, acc mode, ptrdiff_t numnz, int32_t longest);
// dat_vecname: the arguments in which a vector came: asub and aval, or from aptrb[pos] on in them.
struct dat_vecname {
  int32_t pos = -1;
};
// dat_checkvector: appends the elements of vector k, a row or column, to in.sub and in.val. Warns
// about large values; reports a bad subscript, a bad value or a repeated subscript, and then leaves
// in.sub and in.val as they were.
rescode dat_checkvector(dat_input& in, acc mode, int32_t k, const dat_vector& given,
                        dat_vecname name);
// dat_warnzero: the warning about the zeros counted.
void dat_warnzero(dat_input& in);
// dat_grown: counts and tells a growth of the nonzero storage from oldcap places.
void dat_grown(task_rec& t, int32_t oldcap);
// dat_vectors: a matrix by vectors as it came from the caller; vector k is aptrb[k] .. aptre[k]-1.
struct dat_vectors {
  const int32_t *ptrb, *ptre, *sub;
  const double* val;
  dat_vector at(int32_t k) const {
    const auto len = size_t(ptre[k] - ptrb[k]);
    return {{sub + ptrb[k], len}, {val + ptrb[k], len}};
  }
};
// dat_ptr: 0 <= ptrb[k] <= ptre[k] and arrays for what they enclose; dat_isptr is the silent test.
rescode dat_ptr(task_rec& t, int32_t k, const dat_vectors& a);
bool dat_isptr(int32_t k, const dat_vectors& a);
