// Reductions that look at one row: empty, singleton, redundant and forcing rows, equations of two
// columns. And those that look at one column: empty, fixed, dominated by its signs, slack.
#pragma once

#include "prslv/prswork.h"

// prslv_rowcheck: applies what row i allows; i may be gone already.
void prslv_rowcheck(prslv_work& w, int32_t i);
// prslv_colcheck: likewise for column j.
void prslv_colcheck(prslv_work& w, int32_t j);
// prslv_slackcol: the only entry of column j is e; makes it a part of its row's range. Returns whether.
bool prslv_slackcol(prslv_work& w, int32_t j, int32_t e);
// prslv_slackrow: the same for all such columns of row i; those without cost in one pass over it.
void prslv_slackrow(prslv_work& w, int32_t i);
// prslv_doubleton: equation i has two columns; one goes. Returns whether.
bool prslv_doubleton(prslv_work& w, int32_t i);
