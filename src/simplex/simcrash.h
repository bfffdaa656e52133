// Crash basis: a triangular start basis of columns of A in place of logicals that stand on fixed
// rows, so that the simplex methods begin with few variables that have to leave anyway.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "misc/linprob.h"

// sim_crash: chooses columns for rows by their pattern (lower triangular, rows of few candidates
// first). Rows that are fixed take any column that is not fixed, other rows only free columns; free
// rows keep their logical.
//   trh       percent; nothing is chosen unless more than 100 - trh percent of the rows are fixed or a
//             column is free, and never with 0
//   fordual   only columns without cost, and free ones: with the first the reduced costs stay the costs,
//             and a start that is dual feasible stays so
//   colofrow  out, numcon: the column that is basic in place of the row's logical, or -1. The basis
//             so described is triangular, with no pivot below simcrash_relpiv of its column's
//             largest entry. As it was when std::bad_alloc is thrown.
// Returns the number of columns chosen.
// Maros, "Computational Techniques of the Simplex Method", Kluwer (2003), section 9.8.2.
constexpr double simcrash_relpiv = 0.01;
int32_t sim_crash(const lp_view& lp, int32_t trh, bool fordual, memman& mman,
                  mm_vector<int32_t>& colofrow);
