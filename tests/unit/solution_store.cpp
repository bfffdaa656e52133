// The solution store under its problem: random growth, removal and resizing against a model, what
// bound and cost changes leave of keys and statuses, and failing allocations.
#include "zalvo/solution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/api_box.h"
#include "zalvo/frame.h"

namespace {

struct model {  // a solution as vectors, one entry of four values an item
  std::vector<std::vector<double>> con, var;
  std::vector<int32_t> skc, skx, skn;
};

struct store_box {
  api_box box;
  task_rec& task;
  explicit store_box(faulty_alloc* from = nullptr) : box(from), task(*box.task) {}
  void resize(int32_t con, int32_t var, int32_t cone) {
    sol_resize(task, con, var, cone);
    prob_rec& p = task.prob;
    p.maxnumcon = con, p.maxnumvar = var, p.maxnumcone = cone;
    p.bkc.resize(size_t(con)), p.blc.resize(size_t(con)), p.buc.resize(size_t(con));
    p.bkx.resize(size_t(var)), p.blx.resize(size_t(var)), p.bux.resize(size_t(var));
  }
  int32_t& count(int32_t acc) {
    prob_rec& p = task.prob;
    return acc == ZLV_ACC_VAR ? p.numvar : acc == ZLV_ACC_CON ? p.numcon : p.numcone;
  }
  int32_t capacity(int32_t acc) {
    const prob_rec& p = task.prob;
    return acc == ZLV_ACC_VAR ? p.maxnumvar : acc == ZLV_ACC_CON ? p.maxnumcon : p.maxnumcone;
  }
  void append(int32_t acc, int32_t num) {
    sol_append(task, acc, count(acc), num);
    count(acc) += num;
  }
  model read(int32_t whichsol) {
    const sol_view v = sol_items(task, whichsol);
    const auto at = [](std::span<double> item, size_t i) { return item.empty() ? 0.0 : item[i]; };
    model m;
    for (size_t i = 0; i < v.skc.size(); ++i)
      m.con.push_back({v.xc[i], at(v.y, i), at(v.slc, i), at(v.suc, i)});
    for (size_t j = 0; j < v.skx.size(); ++j)
      m.var.push_back({v.xx[j], at(v.slx, j), at(v.sux, j), at(v.snx, j)});
    m.skc.assign(v.skc.begin(), v.skc.end());
    m.skx.assign(v.skx.begin(), v.skx.end());
    m.skn.assign(v.skn.begin(), v.skn.end());
    return m;
  }
};

void expect_equal(const model& want, const model& got, int step) {
  EXPECT_EQ(want.con, got.con) << step;
  EXPECT_EQ(want.var, got.var) << step;
  EXPECT_EQ(want.skc, got.skc) << step;
  EXPECT_EQ(want.skx, got.skx) << step;
  EXPECT_EQ(want.skn, got.skn) << step;
}

model random_fill(store_box& s, int32_t whichsol, std::mt19937& rng) {
  const sol_view v = sol_items(s.task, whichsol);
  for (std::span<double> item : {v.xc, v.xx, v.y, v.slc, v.suc, v.slx, v.sux, v.snx})
    for (double& x : item) x = double(rng() % 1000);
  for (std::span<int32_t> item : {v.skc, v.skx, v.skn})
    for (int32_t& k : item) k = int32_t(rng() % 7);
  return s.read(whichsol);
}

template <class T>
void drop(std::vector<T>& items, const std::vector<uint8_t>& gone) {
  std::vector<T> kept;
  for (size_t i = 0; i < items.size(); ++i)
    if (gone[i] == 0) kept.push_back(items[i]);
  items = kept;
}

class SolStore : public testing::TestWithParam<int32_t> {};

TEST_P(SolStore, RandomSequencesKeepWhatTheModelKeeps) {
  const int32_t whichsol = GetParam();
  std::mt19937 rng(uint32_t(17 + whichsol));
  store_box s;
  s.resize(4, 4, 2);
  ASSERT_EQ(sol_allocate(s.task, whichsol), rescode::ok);
  model m;
  for (int step = 0; step < 400; ++step) {
    const auto acc = int32_t(rng() % 3);
    const prob_rec& p = s.task.prob;
    if (rng() % 5 == 0) {
      m = random_fill(s, whichsol, rng);
    } else if (rng() % 3 == 0) {
      s.resize(p.numcon + int32_t(rng() % 9), p.numvar + int32_t(rng() % 9),
               p.numcone + int32_t(rng() % 5));
    } else if (rng() % 2 == 0) {
      const auto num = int32_t(rng() % 5);
      if (s.count(acc) + num > s.capacity(acc))
        s.resize(p.numcon + num, p.numvar + num, p.numcone + num);
      s.append(acc, num);
      for (int32_t k = 0; k < num; ++k) {
        if (acc == ZLV_ACC_CON) m.con.push_back({0, 0, 0, 0}), m.skc.push_back(ZLV_SK_BAS);
        if (acc == ZLV_ACC_VAR) m.var.push_back({0, 0, 0, 0}), m.skx.push_back(ZLV_SK_FIX);
        if (acc == 2 && whichsol == ZLV_SOL_ITR) m.skn.push_back(ZLV_SK_UNK);
      }
    } else {
      std::vector<uint8_t> gone(size_t(s.count(acc)));
      for (uint8_t& g : gone) g = rng() % 3 == 0;
      sol_remove(s.task, acc, gone);
      s.count(acc) -= int32_t(std::count(gone.begin(), gone.end(), 1));
      if (acc == ZLV_ACC_CON) drop(m.con, gone), drop(m.skc, gone);
      if (acc == ZLV_ACC_VAR) drop(m.var, gone), drop(m.skx, gone);
      if (acc == 2 && !m.skn.empty()) drop(m.skn, gone);
    }
    expect_equal(m, s.read(whichsol), step);
  }
}
INSTANTIATE_TEST_SUITE_P(Types, SolStore, testing::Values(ZLV_SOL_ITR, ZLV_SOL_BAS, ZLV_SOL_ITG));

TEST(SolSpace, FailedResizeAllocateAndCopyLoseNothing) {
  for (long k = 0;; ++k) {
    faulty_alloc memory;
    store_box s(&memory), other(&memory);
    for (store_box* b : {&s, &other}) {
      b->resize(3, 3, 0);
      b->append(ZLV_ACC_CON, 2), b->append(ZLV_ACC_VAR, 3);
    }
    std::mt19937 rng(5);
    std::array<model, 3> before;
    for (int32_t w = 0; w < 3; ++w) {
      ASSERT_EQ(sol_allocate(s.task, w), rescode::ok);
      before[size_t(w)] = random_fill(s, w, rng);
      sol_define(s.task, w, ZLV_PRO_STA_PRIM_FEAS, ZLV_SOL_STA_PRIM_FEAS);
    }
    memory.failat = memory.numcalls + k;
    int numfailed = 0;
    try {
      sol_resize(s.task, 10, 20, 5);
    } catch (const std::bad_alloc&) {
      ++numfailed;
    }
    try {
      sol_copy(other.task, s.task, ZLV_SOL_ITR);
      expect_equal(before[0], other.read(ZLV_SOL_ITR), int(k));
      EXPECT_TRUE(sol_isdef(other.task, ZLV_SOL_ITR));
    } catch (const std::bad_alloc&) {
      ++numfailed;
      EXPECT_FALSE(sol_isdef(other.task, ZLV_SOL_ITR));
    }
    for (int32_t w = 0; w < 3; ++w) expect_equal(before[size_t(w)], s.read(w), int(k));
    if (sol_allocate(s.task, ZLV_SOL_BAS) != rescode::ok) {
      ++numfailed;
      EXPECT_FALSE(sol_isdef(s.task, ZLV_SOL_BAS));
      EXPECT_THROW(sol_access(s.task, ZLV_SOL_BAS), internal_fault);
    }
    if (numfailed == 0) {
      EXPECT_GT(k, 9);  // six blocks to move, two to copy, two to allocate
      break;
    }
    EXPECT_EQ(numfailed, 1) << k;
  }
}

struct bound_case {
  const char* name;
  int32_t sk, bk;
  double lower, upper, value;
  int32_t want;
};
class SolBound : public testing::TestWithParam<bound_case> {};
TEST_P(SolBound, ImpossibleKeysAreReplaced) {
  const bound_case& c = GetParam();
  for (const int32_t acc : {ZLV_ACC_VAR, ZLV_ACC_CON}) {
    store_box s;
    s.resize(2, 2, 0);
    ASSERT_EQ(sol_allocate(s.task, ZLV_SOL_BAS), rescode::ok);
    s.append(acc, 2);
    prob_rec& p = s.task.prob;
    const sol_view v = sol_items(s.task, ZLV_SOL_BAS);
    const bool iscon = acc == ZLV_ACC_CON;
    (iscon ? v.skc : v.skx)[1] = c.sk;
    (iscon ? v.xc : v.xx)[1] = c.value;
    (iscon ? p.bkc : p.bkx)[1] = c.bk;
    (iscon ? p.blc : p.blx)[1] = c.lower;
    (iscon ? p.buc : p.bux)[1] = c.upper;
    sol_boundchanged(s.task, acc, 1, ZLV_BK_FR, -1e30, 1e30);
    EXPECT_EQ((iscon ? v.skc : v.skx)[1], c.want) << acc;
    EXPECT_EQ((iscon ? v.xc : v.xx)[1], c.value);
    EXPECT_EQ((iscon ? v.skc : v.skx)[0], iscon ? ZLV_SK_BAS : ZLV_SK_FIX);
  }
}
// clang-format off
INSTANTIATE_TEST_SUITE_P(Keys, SolBound, testing::Values(
    bound_case{"BasicStays", ZLV_SK_BAS, ZLV_BK_FX, 1, 1, 0, ZLV_SK_BAS},
    bound_case{"UnknownStays", ZLV_SK_UNK, ZLV_BK_RA, 0, 1, 0, ZLV_SK_UNK},
    bound_case{"LowerLost", ZLV_SK_LOW, ZLV_BK_UP, -1e30, 5, 2, ZLV_SK_UPR},
    bound_case{"UpperLost", ZLV_SK_UPR, ZLV_BK_LO, 1, 1e30, 2, ZLV_SK_LOW},
    bound_case{"BothLost", ZLV_SK_UPR, ZLV_BK_FR, -1e30, 1e30, 2, ZLV_SK_SUPBAS},
    bound_case{"NowFixed", ZLV_SK_LOW, ZLV_BK_FX, 3, 3, 2, ZLV_SK_FIX},
    bound_case{"LowStaysInRange", ZLV_SK_LOW, ZLV_BK_RA, 0, 9, 8, ZLV_SK_LOW},
    bound_case{"FixedToNearUpper", ZLV_SK_FIX, ZLV_BK_RA, -10, 0, 0, ZLV_SK_UPR},
    bound_case{"FixedToNearLower", ZLV_SK_FIX, ZLV_BK_RA, 0, 10, 0, ZLV_SK_LOW},
    bound_case{"FixedToTie", ZLV_SK_FIX, ZLV_BK_RA, -1, 1, 0, ZLV_SK_LOW},
    bound_case{"FixedToFree", ZLV_SK_FIX, ZLV_BK_FR, -1e30, 1e30, 0, ZLV_SK_SUPBAS}),
    [](const auto& tc) { return std::string(tc.param.name); });
// clang-format on

struct status_case {
  const char* name;
  int32_t oldkey;
  double oldlower, oldupper;
  int32_t newkey;
  double newlower, newupper;
  int32_t optimal, primray, dualray;  // what the three statuses become
};
class SolStatus : public testing::TestWithParam<status_case> {};
TEST_P(SolStatus, BoundChangeLeavesWhatIsStillTrue) {
  const status_case& c = GetParam();
  const std::array<std::pair<int32_t, int32_t>, 3> cases = {
      std::pair{ZLV_SOL_STA_OPTIMAL, c.optimal},
      {ZLV_SOL_STA_PRIM_INFEAS_CER, c.primray},
      {ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER, c.dualray}};
  for (const auto& [solsta, want] : cases) {
    store_box s;
    s.resize(0, 1, 0);
    s.append(ZLV_ACC_VAR, 1);
    sol_define(s.task, ZLV_SOL_BAS, ZLV_PRO_STA_UNKNOWN, solsta);
    s.task.prob.bkx[0] = c.newkey, s.task.prob.blx[0] = c.newlower, s.task.prob.bux[0] = c.newupper;
    sol_boundchanged(s.task, ZLV_ACC_VAR, 0, c.oldkey, c.oldlower, c.oldupper);
    EXPECT_EQ(s.task.sol.rec[ZLV_SOL_BAS].solsta, want) << solsta;
  }
}
constexpr int32_t opt = ZLV_SOL_STA_OPTIMAL, pfeas = ZLV_SOL_STA_PRIM_FEAS,
                  dfeas = ZLV_SOL_STA_DUAL_FEAS, pdfeas = ZLV_SOL_STA_PRIM_AND_DUAL_FEAS,
                  pray = ZLV_SOL_STA_PRIM_INFEAS_CER, dray = ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER,
                  unk = ZLV_SOL_STA_UNKNOWN;
// clang-format off
INSTANTIATE_TEST_SUITE_P(Bounds, SolStatus, testing::Values(
    status_case{"Same", ZLV_BK_RA, 0, 1, ZLV_BK_RA, 0, 1, opt, pray, dray},
    status_case{"Tighter", ZLV_BK_RA, 0, 2, ZLV_BK_RA, 0, 1, dfeas, pray, dray},
    status_case{"Looser", ZLV_BK_RA, 0, 1, ZLV_BK_RA, -1, 1, pdfeas, unk, dray},
    status_case{"SideLost", ZLV_BK_RA, 0, 1, ZLV_BK_LO, 0, 1e30, pfeas, unk, dray},
    status_case{"SideNew", ZLV_BK_LO, 0, 1e30, ZLV_BK_RA, 0, 5, dfeas, pray, unk},
    status_case{"Moved", ZLV_BK_FX, 0, 0, ZLV_BK_FX, 1, 1, dfeas, unk, dray},
    status_case{"SidesSwapped", ZLV_BK_LO, 0, 1e30, ZLV_BK_UP, -1e30, 0, unk, unk, unk}),
    [](const auto& tc) { return std::string(tc.param.name); });
// clang-format on

TEST(SolStatuses, CostAndMatrixChangesWeakenThem) {
  store_box s;
  s.resize(1, 1, 0);
  const auto after = [&](int32_t prosta, int32_t solsta, auto&& change) {
    sol_define(s.task, ZLV_SOL_ITR, prosta, solsta);
    change();
    const sol_rec& rec = s.task.sol.rec[ZLV_SOL_ITR];
    EXPECT_TRUE(rec.isdef);
    return std::pair(rec.prosta, rec.solsta);
  };
  const auto cost = [&] { sol_costchanged(s.task, 0); };
  const auto touch = [&] { sol_touch(s.task); };
  EXPECT_EQ(after(ZLV_PRO_STA_PRIM_AND_DUAL_FEAS, opt, cost),
            std::pair(ZLV_PRO_STA_PRIM_FEAS, pfeas));
  EXPECT_EQ(after(ZLV_PRO_STA_PRIM_AND_DUAL_INFEAS, pray, cost),
            std::pair(ZLV_PRO_STA_PRIM_INFEAS, pray));
  EXPECT_EQ(after(ZLV_PRO_STA_DUAL_INFEAS, dray, cost), std::pair(ZLV_PRO_STA_UNKNOWN, unk));
  EXPECT_EQ(after(ZLV_PRO_STA_PRIM_FEAS, ZLV_SOL_STA_INTEGER_OPTIMAL, touch),
            std::pair(ZLV_PRO_STA_UNKNOWN, unk));
}

TEST(SolSpace, SizesBelowTheCountsAreAnInternalFault) {
  store_box s;
  s.resize(2, 3, 1);
  s.append(ZLV_ACC_CON, 2), s.append(ZLV_ACC_VAR, 3);
  try {
    sol_resize(s.task, 1, 7, 1);
    FAIL();
  } catch (const internal_fault& fault) {
    EXPECT_STREQ(fault.text,
                 "numcon: 2 numvar: 3 numcone: 0 maxnumvar: 7 maxnumcon: maxnumcone: 1");
  }
}

}  // namespace
