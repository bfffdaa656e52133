// Nodes of the quasi-definite system that must not be eliminated too early.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "kfac/kktfac.h"

// A row without weight whose columns all come later would be a pivot of regularization alone, whose
// inverse swamps H: it waits for the first of its columns and comes right behind it, much as a pivot
// of two by two would. So does a bare column of the border for the first of its rows, and a row of the
// border for its own column.
struct sqdwait {
  const spmat_view& a;
  std::span<const int32_t> node;       // of each column, -1 for none
  int32_t numcolnode;                  // rows are the nodes behind those of columns
  std::span<const uint8_t> isreached;  // rows that a column without a node has given weight
  std::span<const kktfac_border> border;
};

// sqdwait_delay: moves nodes of the order back until what they wait for stands before them.
void sqdwait_delay(const sqdwait& in, mm_vector<int32_t>& order);
