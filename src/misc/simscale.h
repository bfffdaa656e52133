// Scaling of a linear problem for methods that work with bases: rows and columns by geometric means, then an
// equilibration, the costs by one factor. All factors are powers of two, so that scaling and back
// rounds nothing.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "misc/linprob.h"

enum class sim_scaling : int32_t {  // the values are those of ZLV_SCALING_*
  free = 0,
  none = 1,
  moderate = 2,
  aggressive = 3,  // more passes, wider factors
};

// The scaled problem has row[i] a_ij col[j], cost c_j col[j], bounds row[i] bl_i and bl_j / col[j];
// its columns are x_j / col[j], its row duals cost y_i / row[i], its reduced costs cost z_j col[j].
struct sim_scale {
  mm_vector<double> row, col;  // numcon, numvar
  double cost = 1;
  bool isused = false;  // false: all factors are 1
  explicit sim_scale(mm_place place) : row(place), col(place) {}
};

// sim_scale_make: factors for lp. With free, none are used when all entries lie close to 1 already.
//   out     replaced; as it was when std::bad_alloc is thrown
void sim_scale_make(const lp_view& lp, sim_scaling mode, memman& mman, sim_scale& out);

// The problem in scaled space, with storage of its own.
struct sim_scaled {
  mm_vector<double> val, blc, buc, blx, bux, c;
  explicit sim_scaled(mm_place place)
      : val(place), blc(place), buc(place), blx(place), bux(place), c(place) {}
};
// sim_scale_apply: fills store with lp scaled; gives the view of it. ptr and sub stay lp's, cfix is
// scaled too.
lp_view sim_scale_apply(const lp_view& lp, const sim_scale& scale, sim_scaled& store);
