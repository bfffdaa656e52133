// Rows that other rows imply: with the bounds that those put on the columns, they cannot bind.
#pragma once

#include "prslv/prswork.h"

void prslv_impliedrows(prslv_work& w);
