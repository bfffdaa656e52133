// Whether two tasks hold the same problem: sense, constant, variables, constraints, quadratic terms and
// cones, bit for bit. Items are paired by their names, those without one by their place among all
// items; the order of the items is told but is no difference. The names of problem and objective do
// not count.
#pragma once

#include <cstdint>
#include <ostream>

#include "zalvo.h"

// app_compare: the number of differences; the first of them are told on out, which may be null.
int64_t app_compare(ZLV_task_t a, ZLV_task_t b, std::ostream* out);
