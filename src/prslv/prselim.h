// The eliminator: implied free columns of a few entries are substituted out of an equation.
#pragma once

#include "prslv/prswork.h"

void prslv_eliminate(prslv_work& w);
