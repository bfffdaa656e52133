// Cone members without bounds of their own: every such bound that the cone does not imply becomes a row
// behind the problem's rows. The conic optimizers solve problems of this kind.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "optimize/optconic.h"
#include "optimize/optdat.h"

struct opt_freed {
  spmat a;
  mm_vector<int32_t> bkc, bkx;
  mm_vector<double> blc, buc;
  mm_vector<uint8_t> incone;
  mm_vector<int32_t> boundrow;  // numvar: row of a member's own bound, or -1
  opt_problem view;
  explicit opt_freed(mm_place at)
      : a(at), bkc(at), bkx(at), blc(at), buc(at), incone(at), boundrow(at) {}
};

// A solution of the freed problem.
struct opt_freedsol {
  mm_vector<int32_t> sk;
  mm_vector<double> val;
  opt_solution view;
  opt_freedsol(const opt_problem& prob, mm_place at);
};

// opt_ishead: whether the member at this place of the cone cannot be negative.
bool opt_ishead(const opt_cone& cone, size_t place);

// opt_coneshort: by how much z falls short of the cone.
double opt_coneshort(const opt_cone& cone, std::span<const double> z);

// opt_freemembers: freed is another look at prob, whose matrix it copies.
void opt_freemembers(const opt_conic_problem& prob, opt_freed& freed);

// opt_takefreed: the solution of prob from that of the freed problem. Rows of members' bounds become
// bound duals, and what the reduced costs of a member leave belongs to its cone.
void opt_takefreed(const opt_conic_problem& prob, const opt_freed& freed, const opt_freedsol& from,
                   opt_conic_solution& sol);
