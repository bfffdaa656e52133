// Conic interior-point optimizer: entry and the caller's view of a problem with quadratic cones.
//
//   minimize c'x  subject to  A x = b,  0 <= x <= u (u may be +infinity),  some x free,
//   and for every cone  x_0 >= |(x_1, ...)|  (quad)  or  2 x_0 x_1 >= |(x_2, ...)|^2, x_0, x_1 >= 0
//
// The columns of cones are ranges that follow one another behind all columns in no cone; bounds of
// their members are not looked at. Fixed columns are the very last: they are empty and zero.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "homo/homprob.h"
#include "homo/homslv.h"

enum class intpnt_ct : int32_t { quad = 0, rquad = 1 };

struct intpnt_cone {
  intpnt_ct type = intpnt_ct::quad;
  int32_t cnebeg = 0, cneend = 0;  // columns cnebeg .. cneend-1; at least 1, of a rotated cone 2
};

struct intpnt_prob {
  hs_lp lp;
  std::span<const intpnt_cone> cones;
  int32_t numbfx = 0;  // fixed columns at the end
};

// intpnt_optcone: solves prob. Cones or fixed columns out of place are internal faults.
//   info  updated before every poll of mon
//   sol   out; s holds the cone duals of cone members. The best point found when the run is stopped
// Returns ok, trm_max_iterations, trm_stall (numerical problems) or what ended the monitor's poll.
rescode intpnt_optcone(const intpnt_prob& prob, const hs_settings& set, const monitor& mon,
                       memman& mman, hs_info& info, hs_solution& sol);
