// The stack of reductions: what presolve did, in order, with all that undoing it needs. A record names
// rows and columns by their original index and holds copies of the values of its moment, because the
// matrix changes afterwards; so records can be undone from the last to the first without the problem.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "cpub/memman.h"

// What a record holds: [integers] [doubles] lists. A list is subscripts and values.
enum class prslv_opcode : uint8_t {
  freerow,    // [i]: row i bound nothing
  fixcol,     // [j] [value c l u] column: column j was fixed
  singlerow,  // [i j flags] [a]: row i became bounds of j; flags: prslv_lower, prslv_upper tightened
  forcing,    // [i side] row, then [1 where l = u]: row i held its columns at bounds
  slack,  // [i num] rest of the row, num times [j side] [a L U l u c]: singletons j widened row i
  subst,  // [i j side] [a r c] rest of the row, of the column: j went by the equation i
  doubleton,  // [i j k flags] [a b r c] rest of column j: as subst, bounds of j given to column k
  duprow,     // [i k flags] [s]: row i = s times row k; flags: sides that k got from i
  dupcol,     // [j k] [s lj uj lk uk]: column j = s times column k, which stands for x_k + s x_j
  emptycol,   // [j] column: held column j was fixed, its entries left the rows
  forcecol,   // [j dir num] [l u], then num times [i] [a L U] rest: j satisfied all its rows
};

// Flags of a record: which bound or side was replaced; the side at which a row was made an equation.
constexpr int32_t prslv_lower = 1, prslv_upper = 2;

struct prslv_op {
  prslv_opcode code;
  ptrdiff_t iat, dat;  // where its integers and doubles begin
};

struct prslv_stack {
  mm_vector<prslv_op> op;
  mm_vector<int32_t> ival;
  mm_vector<double> dval;
  explicit prslv_stack(mm_place place) : op(place), ival(place), dval(place) {}
};

// prslv_push: begins a record with these integers and doubles.
void prslv_push(prslv_stack& stack, prslv_opcode code, std::span<const int32_t> ints,
                std::span<const double> dbls);
// prslv_pushint, prslv_pushlist: adds an integer or a list to the record begun last.
void prslv_pushint(prslv_stack& stack, int32_t value);
void prslv_pushlist(prslv_stack& stack, std::span<const int32_t> sub, std::span<const double> val);

struct prslv_list {
  std::span<const int32_t> sub;
  std::span<const double> val;
};

// Reads one record in the order in which it was written.
struct prslv_reader {
  const prslv_stack& stack;
  ptrdiff_t iat, dat;
  int32_t nextint() { return stack.ival[iat++]; }
  double nextdbl() { return stack.dval[dat++]; }
  prslv_list nextlist();
};
