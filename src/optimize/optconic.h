// The pipeline for conic problems: a linear problem some of whose columns are members of quadratic
// cones, into the form of the conic interior-point optimizer and back.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/rescode.h"
#include "homo/homslv.h"
#include "optimize/optdat.h"

struct opt_cone {
  int32_t type = 0;              // ZLV_CT_*
  std::span<const int32_t> sub;  // members, each a column of no other cone
};

struct opt_conic_problem {
  opt_problem lp;
  std::span<const opt_cone> cones;
};

struct opt_conic_solution {
  opt_solution lp;
  std::span<double> snx;   // numvar; zero for columns in no cone
  std::span<int32_t> skn;  // one per cone, ZLV_SK_*: BAS inside the cone, LOW at its apex, SUPBAS
                           // elsewhere on its boundary
  bool keeppoint = false;  // in: beside a certificate of primal infeasibility xx is the last point
};

// opt_conslv: an interior solution of prob. A run that is stopped early leaves the best point found.
// Every dual, snx too, has the sign convention of the problem's sense.
//   info  updated before every poll of mon
// Returns ok or how the run ended early.
rescode opt_conslv(const opt_conic_problem& prob, const hs_settings& set, const monitor& mon,
                   memman& mman, hs_info& info, opt_conic_solution& sol);
