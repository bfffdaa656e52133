// The pattern of A A' and the columns of A that are kept out of it.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"

// psymface_offcol: the offending (dense) columns of A, increasing; out replaces list. A column is one
// when it has many entries, stands above a gap in the sorted counts, and leaving all of them out
// saves most of the work of forming A A'.
//   threshold  counts of at most that many entries never offend; 0: no column does
void psymface_offcol(const spmat_view& a, int32_t threshold, mm_vector<int32_t>& list);

// par_setup_aat: the pattern of A A' without its diagonal, each pair in both columns, rows unsorted.
//   a       by columns;  at  a by rows
//   isoff   ncol flags of the columns left out
//   graph   out, replaced
void par_setup_aat(const spmat_view& a, const spmat_view& at, std::span<const uint8_t> isoff,
                   spmat& graph);

// psymface_star: a sparser pattern with the same factor as A A' under an order: the first row of each
// column of A joined with the column's other rows.
//   iperm  place of each row in the order
//   graph  out, replaced; each pair in both columns, a pair may come more than once
void psymface_star(const spmat_view& a, std::span<const uint8_t> isoff,
                   std::span<const int32_t> iperm, spmat& graph);
