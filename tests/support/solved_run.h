// One run of a problem through the interface: what it was, what it gave, and its answer held against a
// planted one.
#pragma once

#include <gtest/gtest.h>

#include <cmath>

#include "support/api_box.h"
#include "support/solved_lp.h"

inline constexpr double objtol = 1e-6;  // relative to 1 + |objective|

struct solved {
  lp_data p;
  lp_point s;
  int32_t code = 0;
};

inline solved solve(const lp_data& data) {
  api_box box;
  put_data(box.task, data);
  solved out;
  out.code = ZLV_optimize(box.task);
  out.p = get_data(box.task);
  out.s = get_point(box.task, out.p);
  if (out.s.isdefined) expect_same_measures(box.task, out.p, out.s);
  return out;
}

inline void expect_objective(const solved& run, double objective) {
  EXPECT_EQ(run.code, ZLV_RES_OK);
  ASSERT_EQ(run.s.solsta, ZLV_SOL_STA_OPTIMAL);
  expect_honest(run.p, run.s);
  EXPECT_LE(std::abs(judge(run.p, run.s).pobj - objective), objtol * (1 + std::abs(objective)));
}
