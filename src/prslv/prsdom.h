// Bounds of the multipliers, and what they decide: columns that no optimum moves from a bound, rows
// that every optimum holds at a side.
#pragma once

#include "prslv/prswork.h"

void prslv_domcols(prslv_work& w);
