// Rows that are multiples of each other, and columns that are.
#pragma once

#include "prslv/prswork.h"

// prslv_duprows: merges every row that is a multiple of another one into it.
void prslv_duprows(prslv_work& w);
// prslv_dupcols: merges columns with proportional costs, fixes those that another one dominates.
void prslv_dupcols(prslv_work& w);
