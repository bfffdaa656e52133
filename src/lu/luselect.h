// luselect: which of many columns make a basis. Columns come in classes of falling preference; each
// class gives a maximal set that is independent of what was taken before, its pivots by sparsity.
#pragma once

#include <cstdint>
#include <span>

#include "lu/lu.h"

struct lu_selection {
  mm_vector<int32_t> taken;  // places in vars, in order of elimination
  mm_vector<int32_t>
      rest;  // rows that no taken column pivots in; their logicals complete the basis
  explicit lu_selection(mm_place at) : taken(at), rest(at) {}
};

// lu_select: elimination of an m x k matrix, class after class. The columns of a class pass through
// the multipliers of those before it and are then eliminated like a kernel.
//   f         scratch: isfactored is false afterwards. f.set.pivrel and pivabs judge the pivots
//   vars      variables as in a basis, the most preferred class first
//   classend  for each class the end of its range in vars, increasing; the last is vars.size()
// Returns ok or what mon's poll returned.
rescode lu_select(lu_rec& f, const spmat_view& a, std::span<const int32_t> vars,
                  std::span<const int32_t> classend, const monitor& mon, lu_selection& out);
