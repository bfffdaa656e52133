// The dependency check: equations that are linear combinations of others.
#pragma once

#include "prslv/prswork.h"

void prslv_dependent(prslv_work& w);
