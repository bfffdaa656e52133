// Free columns that only copy a member of a cone: a row  d x_j + a x_f = b  with x_j in a cone and
// x_f free and in none says x_f = (b - d x_j) / a. Both go, and the member takes the place of its
// copy. Many models are written so; the copies would be all that the optimizer's system consists of,
// with pivots that hold nothing but the ill-conditioned scaling of the cones.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "misc/linprob.h"
#include "optimize/optdat.h"

struct opt_link {
  int32_t row = 0, copy = 0, member = 0;
  double acopy = 1, amember = 1;  // entries of the row
  double rhs = 0;
};

// The problem without its links: same rows and columns, but the rows of links are free and the copies
// fixed at zero and empty.
struct opt_linked {
  mm_vector<opt_link> link;
  spmat a;
  mm_vector<int32_t> bkc, bkx;
  mm_vector<double> blc, buc, blx, bux, c;
  double cfix = 0;
  opt_problem view;
  explicit opt_linked(mm_place at)
      : link(at), a(at), bkc(at), bkx(at), blc(at), buc(at), blx(at), bux(at), c(at) {}
};

// opt_linkmembers: prob.incone says which columns are members. Without links view is prob itself.
void opt_linkmembers(const opt_problem& prob, opt_linked& linked);
// opt_unlink: a point of the linked problem (of its minimization) as one of prob.
void opt_unlink(const opt_problem& prob, const opt_linked& linked, opt_kind kind, lp_point& point);
