// Solutions through the interface: what puts, gets and the definition functions do at their edges.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "support/api_box.h"

namespace {

constexpr double keep = -777;  // what an array that is not filled still holds
constexpr int32_t numcon = 2, numvar = 3;

// A task of two constraints and three variables; solution items hold 10 * item + index.
struct sol_box {
  api_box box;
  ZLV_task_t task = box.task;
  std::array<int32_t, numcon> skc = {ZLV_SK_BAS, ZLV_SK_LOW};
  std::array<int32_t, numvar> skx = {ZLV_SK_UPR, ZLV_SK_FIX, ZLV_SK_BAS};
  std::array<double, numcon> xc{}, y{}, slc{}, suc{};
  std::array<double, numvar> xx{}, slx{}, sux{}, snx{};
  sol_box() {
    EXPECT_EQ(ZLV_append(task, ZLV_ACC_CON, numcon), 0);
    EXPECT_EQ(ZLV_append(task, ZLV_ACC_VAR, numvar), 0);
    double item = 0;
    for (auto* con : {&xc, &y, &slc, &suc}) {
      item += 10;
      for (int i = 0; i < numcon; ++i) (*con)[size_t(i)] = item + i;
    }
    for (auto* var : {&xx, &slx, &sux, &snx}) {
      item += 10;
      for (int j = 0; j < numvar; ++j) (*var)[size_t(j)] = item + j;
    }
  }
  int32_t put(int32_t whichsol) {
    return ZLV_putsolution(task, whichsol, skc.data(), skx.data(), nullptr, xc.data(), xx.data(),
                           y.data(), slc.data(), suc.data(), slx.data(), sux.data(), snx.data());
  }
  int32_t isdef(int32_t whichsol) {
    int32_t answer = 5;
    EXPECT_EQ(ZLV_solutiondef(task, whichsol, &answer), 0);
    return answer;
  }
};

struct sol_out {
  int32_t prosta = -1, solsta = -1;
  std::vector<int32_t> skc = std::vector<int32_t>(numcon, -9),
                       skx = std::vector<int32_t>(numvar, -9);
  std::vector<double> xc = std::vector<double>(numcon, keep), y = xc, slc = xc, suc = xc,
                      xx = std::vector<double>(numvar, keep), slx = xx, sux = xx, snx = xx;
  int32_t get(ZLV_task_t task, int32_t whichsol) {
    return ZLV_getsolution(task, whichsol, &prosta, &solsta, skc.data(), skx.data(), nullptr,
                           xc.data(), xx.data(), y.data(), slc.data(), suc.data(), slx.data(),
                           sux.data(), snx.data());
  }
};
template <size_t n>
bool same(const std::vector<double>& got, const std::array<double, n>& want) {
  return std::equal(got.begin(), got.end(), want.begin());
}
template <class T>
bool untouched(const std::vector<T>& got, T mark) {
  return std::ranges::all_of(got, [=](T v) { return v == mark; });
}

TEST(SolQuery, PutThenGetGivesWhatTheTypeHolds) {
  sol_box s;
  for (const int32_t w : {ZLV_SOL_ITR, ZLV_SOL_BAS, ZLV_SOL_ITG}) {
    EXPECT_EQ(s.isdef(w), 0);
    ASSERT_EQ(s.put(w), 0);
    EXPECT_EQ(s.isdef(w), 1);
    sol_out o;
    ASSERT_EQ(o.get(s.task, w), 0);
    EXPECT_EQ(o.prosta, ZLV_PRO_STA_UNKNOWN);
    EXPECT_EQ(o.solsta, ZLV_SOL_STA_UNKNOWN);
    EXPECT_TRUE(std::equal(o.skc.begin(), o.skc.end(), s.skc.begin()));
    EXPECT_TRUE(std::equal(o.skx.begin(), o.skx.end(), s.skx.begin()));
    EXPECT_TRUE(same(o.xc, s.xc) && same(o.xx, s.xx));
    const bool hasduals = w != ZLV_SOL_ITG;
    EXPECT_TRUE(hasduals
                    ? same(o.y, s.y) && same(o.slc, s.slc) && same(o.suc, s.suc)
                    : untouched(o.y, keep) && untouched(o.slc, keep) && untouched(o.suc, keep));
    EXPECT_TRUE(hasduals ? same(o.slx, s.slx) && same(o.sux, s.sux)
                         : untouched(o.slx, keep) && untouched(o.sux, keep));
    EXPECT_TRUE(w == ZLV_SOL_ITR ? same(o.snx, s.snx) : untouched(o.snx, keep));
    EXPECT_EQ(ZLV_getsolution(s.task, w, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
  }
}

TEST(SolQuery, EntryOfAVariableDeliversTheConeDualInSu) {
  sol_box s;
  ASSERT_EQ(s.put(ZLV_SOL_ITR), 0);
  ASSERT_EQ(s.put(ZLV_SOL_BAS), 0);
  ASSERT_EQ(s.put(ZLV_SOL_ITG), 0);
  int32_t sk = -1;
  double x = keep, sl = keep, su = keep, sn = keep;
  ASSERT_EQ(ZLV_getsolutioni(s.task, ZLV_ACC_VAR, 0, ZLV_SOL_ITR, &sk, &x, &sl, &su, &sn), 0);
  EXPECT_EQ(sk, s.skx[0]);
  EXPECT_EQ(x, s.xx[0]);
  EXPECT_EQ(sl, s.slx[0]);
  EXPECT_EQ(su, s.snx[0]);
  EXPECT_EQ(sn, keep);
  ASSERT_EQ(ZLV_getsolutioni(s.task, ZLV_ACC_VAR, 0, ZLV_SOL_ITR, nullptr, nullptr, nullptr, &su,
                             nullptr),
            0);
  EXPECT_EQ(su, s.sux[0]);
  ASSERT_EQ(ZLV_getsolutioni(s.task, ZLV_ACC_CON, 1, ZLV_SOL_BAS, &sk, &x, &sl, &su, &sn), 0);
  EXPECT_EQ(sk, s.skc[1]);
  EXPECT_EQ(x, s.xc[1]);
  EXPECT_EQ(sl, s.slc[1]);
  EXPECT_EQ(su, s.suc[1]);
  EXPECT_EQ(sn, 0.0);
  su = sl = keep;  // any nonzero access is the constraints'; the integer solution has no duals
  ASSERT_EQ(ZLV_getsolutioni(s.task, 7, 1, ZLV_SOL_ITG, &sk, &x, &sl, &su, nullptr), 0);
  EXPECT_EQ(x, s.xc[1]);
  EXPECT_EQ(sl, 0.0);
  EXPECT_EQ(su, 0.0);
}

TEST(SolQuery, BadArgumentsHaveTheirCodesAndMessages) {
  sol_box s;
  sol_out o;
  int32_t sta = 0;
  double v[numvar] = {};
  for (const int32_t w : {-1, 3}) {
    s.box.forget();
    EXPECT_EQ(ZLV_solutiondef(s.task, w, &sta), ZLV_RES_ERR_WHICHSOL);
    EXPECT_EQ(ZLV_deletesolution(s.task, w), ZLV_RES_ERR_WHICHSOL);
    EXPECT_EQ(o.get(s.task, w), ZLV_RES_ERR_WHICHSOL);
    EXPECT_EQ(ZLV_getsolutionstatus(s.task, w, &sta, nullptr), ZLV_RES_ERR_WHICHSOL);
    EXPECT_EQ(ZLV_getsolutioni(s.task, 0, 0, w, &sta, v, v, v, v), ZLV_RES_ERR_WHICHSOL);
    EXPECT_EQ(s.box.err(), "");
    EXPECT_EQ(ZLV_undefsolution(s.task, w), 1236);
    EXPECT_NE(s.box.err().find("ZALVO Error 1236"), std::string::npos);
    EXPECT_NE(s.box.err().find(std::to_string(w)), std::string::npos);
    EXPECT_EQ(s.put(w), ZLV_RES_ERR_WHICHSOL);
  }
  s.box.forget();
  EXPECT_EQ(o.get(s.task, ZLV_SOL_BAS), ZLV_RES_ERR_UNDEF_SOLUTION);
  EXPECT_NE(s.box.err().find("ZALVO Error 1265"), std::string::npos);
  EXPECT_EQ(o.prosta, -1);
  EXPECT_TRUE(untouched(o.xx, keep));
  EXPECT_EQ(ZLV_getsolutioni(s.task, 0, 0, ZLV_SOL_BAS, &sta, v, v, v, v),
            ZLV_RES_ERR_UNDEF_SOLUTION);

  ASSERT_EQ(s.put(ZLV_SOL_BAS), 0);
  struct range_case {
    int32_t acc, i, code;
  };
  for (const range_case c : {range_case{ZLV_ACC_VAR, -1, ZLV_RES_ERR_INDEX_IS_TOO_SMALL},
                             {ZLV_ACC_VAR, numvar, ZLV_RES_ERR_INDEX_IS_TOO_LARGE},
                             {ZLV_ACC_CON, -5, ZLV_RES_ERR_INDEX_IS_TOO_SMALL},
                             {ZLV_ACC_CON, numcon, ZLV_RES_ERR_INDEX_IS_TOO_LARGE}}) {
    s.box.forget();
    double x = keep;
    EXPECT_EQ(
        ZLV_getsolutioni(s.task, c.acc, c.i, ZLV_SOL_BAS, nullptr, &x, nullptr, nullptr, nullptr),
        c.code);
    EXPECT_EQ(x, keep);
    EXPECT_NE(s.box.err().find(std::to_string(c.i) + " occurring in argument 'i'"),
              std::string::npos);
    EXPECT_EQ(ZLV_putsolutioni(s.task, c.acc, c.i, ZLV_SOL_BAS, 0, 0, 0, 0, 0), c.code);
  }
}

TEST(SolQuery, SlicesCheckItemAndRange) {
  sol_box s;
  for (const int32_t w : {ZLV_SOL_ITR, ZLV_SOL_BAS, ZLV_SOL_ITG}) ASSERT_EQ(s.put(w), 0);
  const std::array<const double*, 8> item = {s.xc.data(),  s.xx.data(),  s.y.data(),
                                             s.slc.data(), s.suc.data(), s.slx.data(),
                                             s.sux.data(), s.snx.data()};
  for (int32_t k = ZLV_SOL_ITEM_XC; k <= ZLV_SOL_ITEM_SNX; ++k) {
    double v[3] = {keep, keep, keep};
    ASSERT_EQ(ZLV_getsolutionslice(s.task, ZLV_SOL_ITR, k, 1, 2, v), 0) << k;
    EXPECT_EQ(v[0], item[size_t(k)][1]) << k;
    EXPECT_EQ(v[1], keep);
    const bool isxx = k == ZLV_SOL_ITEM_XC || k == ZLV_SOL_ITEM_XX;
    EXPECT_EQ(ZLV_getsolutionslice(s.task, ZLV_SOL_ITG, k, 0, 1, v),
              isxx ? 0 : ZLV_RES_ERR_WHICHITEM_NOT_ALLOWED)
        << k;
    EXPECT_EQ(ZLV_getsolutionslice(s.task, ZLV_SOL_BAS, k, 0, 1, v),
              k == ZLV_SOL_ITEM_SNX ? ZLV_RES_ERR_WHICHITEM_NOT_ALLOWED : 0)
        << k;
  }
  struct slice_case {
    int32_t item, first, last, code;
  };
  for (const slice_case c : {slice_case{8, 0, 1, ZLV_RES_ERR_SOLITEM},
                             {-1, 0, 1, ZLV_RES_ERR_SOLITEM},
                             {ZLV_SOL_ITEM_XC, -1, 1, ZLV_RES_ERR_FIRST},
                             {ZLV_SOL_ITEM_XC, numcon + 1, numcon + 1, ZLV_RES_ERR_FIRST},
                             {ZLV_SOL_ITEM_XC, 0, numcon + 1, ZLV_RES_ERR_LAST},
                             {ZLV_SOL_ITEM_XX, 2, 1, ZLV_RES_ERR_LAST},
                             {ZLV_SOL_ITEM_XX, 0, 1, ZLV_RES_ERR_NULL_POINTER},
                             {ZLV_SOL_ITEM_XX, numvar, numvar, 0}}) {
    EXPECT_EQ(ZLV_getsolutionslice(s.task, ZLV_SOL_BAS, c.item, c.first, c.last, nullptr), c.code);
  }
}

TEST(SolQuery, BadPutsChangeNothing) {
  sol_box s;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  s.skx[2] = 7;
  EXPECT_EQ(s.put(ZLV_SOL_BAS), ZLV_RES_ERR_INV_SKX);
  EXPECT_NE(s.box.err().find("7 at skx[2]"), std::string::npos);
  EXPECT_EQ(s.isdef(ZLV_SOL_BAS), 0);
  s.skx[2] = ZLV_SK_BAS;
  ASSERT_EQ(s.put(ZLV_SOL_BAS), 0);
  sol_out before;
  ASSERT_EQ(before.get(s.task, ZLV_SOL_BAS), 0);
  const auto refused = [&](int32_t code, const char* text) {
    s.box.forget();
    EXPECT_EQ(s.put(ZLV_SOL_BAS), code);
    EXPECT_NE(s.box.err().find(text), std::string::npos) << s.box.err();
    sol_out after;
    ASSERT_EQ(after.get(s.task, ZLV_SOL_BAS), 0);
    EXPECT_EQ(after.xx, before.xx);
    EXPECT_EQ(after.sux, before.sux);
    EXPECT_EQ(after.skc, before.skc);
  };
  s.xx[0] = 99, s.skc[1] = -1;
  refused(ZLV_RES_ERR_INV_SKC, "-1 at skc[1]");
  s.skc[1] = ZLV_SK_UPR, s.sux[2] = nan;
  refused(ZLV_RES_ERR_NAN_IN_DOUBLE_DATA, "'sux'");
  s.sux[2] = 0, s.snx[0] = nan;  // the basic solution has no snx: not looked at
  EXPECT_EQ(s.put(ZLV_SOL_BAS), 0);
  EXPECT_EQ(s.put(ZLV_SOL_ITR), ZLV_RES_ERR_NAN_IN_DOUBLE_DATA);
  EXPECT_EQ(ZLV_putsolutioni(s.task, ZLV_ACC_VAR, 1, ZLV_SOL_BAS, 9, 0, 0, 0, 0),
            ZLV_RES_ERR_INV_SKX);
  EXPECT_EQ(ZLV_putsolutioni(s.task, ZLV_ACC_VAR, 1, ZLV_SOL_BAS, 0, 0, nan, 0, 0),
            ZLV_RES_ERR_NAN_IN_DOUBLE_DATA);
}

TEST(SolQuery, EntriesCanBePutOneByOne) {
  sol_box s;
  ASSERT_EQ(ZLV_putsolutioni(s.task, ZLV_ACC_CON, 1, ZLV_SOL_ITR, ZLV_SK_LOW, 4, 3, 1, 8), 0);
  ASSERT_EQ(ZLV_putsolutioni(s.task, ZLV_ACC_VAR, 2, ZLV_SOL_ITR, ZLV_SK_UPR, 5, 6, 7, 8), 0);
  EXPECT_EQ(s.isdef(ZLV_SOL_ITR), 1);
  sol_out o;
  ASSERT_EQ(o.get(s.task, ZLV_SOL_ITR), 0);
  EXPECT_EQ(o.skc, (std::vector<int32_t>{0, ZLV_SK_LOW}));
  EXPECT_EQ(o.xc, (std::vector<double>{0, 4}));
  EXPECT_EQ(o.y, (std::vector<double>{0, 2}));
  EXPECT_EQ(o.slc, (std::vector<double>{0, 3}));
  EXPECT_EQ(o.suc, (std::vector<double>{0, 1}));
  EXPECT_EQ(o.xx, (std::vector<double>{0, 0, 5}));
  EXPECT_EQ(o.slx, (std::vector<double>{0, 0, 6}));
  EXPECT_EQ(o.sux, (std::vector<double>{0, 0, 7}));
  EXPECT_EQ(o.snx, (std::vector<double>{0, 0, 8}));
}

TEST(SolQuery, DefinitionAndStorageAreApart) {
  sol_box s;
  ASSERT_EQ(s.put(ZLV_SOL_BAS), 0);
  ASSERT_EQ(ZLV_undefsolution(s.task, ZLV_SOL_BAS), 0);
  EXPECT_EQ(s.isdef(ZLV_SOL_BAS), 0);
  // Items that are not given keep what was stored while the solution was undefined.
  ASSERT_EQ(ZLV_putsolution(s.task, ZLV_SOL_BAS, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  sol_out o;
  ASSERT_EQ(o.get(s.task, ZLV_SOL_BAS), 0);
  EXPECT_TRUE(same(o.xx, s.xx));
  ASSERT_EQ(ZLV_deletesolution(s.task, ZLV_SOL_BAS), 0);
  EXPECT_EQ(s.isdef(ZLV_SOL_BAS), 1);
  sol_out gone;
  ASSERT_EQ(gone.get(s.task, ZLV_SOL_BAS), 0);
  EXPECT_TRUE(untouched(gone.xx, keep));
  double x = keep;
  EXPECT_EQ(
      ZLV_getsolutioni(s.task, ZLV_ACC_VAR, 0, ZLV_SOL_BAS, nullptr, &x, nullptr, nullptr, nullptr),
      0);
  EXPECT_EQ(x, 0);
  EXPECT_EQ(ZLV_getprimalobj(s.task, ZLV_SOL_BAS, &x), ZLV_RES_ERR_UNDEF_SOLUTION);

  api_box empty;  // no reserved sizes: a solution does not exist
  ASSERT_EQ(ZLV_putsolution(empty.task, ZLV_SOL_ITR, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  int32_t isdef = 5;
  EXPECT_EQ(ZLV_solutiondef(empty.task, ZLV_SOL_ITR, &isdef), 0);
  EXPECT_EQ(isdef, 0);
  isdef = 5;
  EXPECT_EQ(ZLV_solutiondef(nullptr, ZLV_SOL_ITR, &isdef), ZLV_RES_ERR_NULL_TASK);
  EXPECT_EQ(isdef, 0);
  EXPECT_EQ(ZLV_putsolutionyi(s.task, -3, 99, 17, std::nan("")), 0);
}

TEST(SolQuery, SolutionsFollowTheProblem) {
  sol_box s;
  for (const int32_t w : {ZLV_SOL_ITR, ZLV_SOL_BAS, ZLV_SOL_ITG}) ASSERT_EQ(s.put(w), 0);
  ASSERT_EQ(ZLV_append(s.task, ZLV_ACC_VAR, 2000), 0);  // beyond the reserved size
  ASSERT_EQ(ZLV_append(s.task, ZLV_ACC_CON, 1), 0);
  int32_t sk = -1;
  double x = keep;
  ASSERT_EQ(
      ZLV_getsolutioni(s.task, ZLV_ACC_VAR, 1500, ZLV_SOL_BAS, &sk, &x, nullptr, nullptr, nullptr),
      0);
  EXPECT_EQ(sk, ZLV_SK_FIX);
  EXPECT_EQ(x, 0);
  ASSERT_EQ(
      ZLV_getsolutioni(s.task, ZLV_ACC_CON, 2, ZLV_SOL_BAS, &sk, &x, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(sk, ZLV_SK_BAS);
  ASSERT_EQ(ZLV_putbound(s.task, ZLV_ACC_VAR, 1500, ZLV_BK_UP, 0, 3), 0);
  ASSERT_EQ(
      ZLV_getsolutioni(s.task, ZLV_ACC_VAR, 1500, ZLV_SOL_BAS, &sk, &x, nullptr, nullptr, nullptr),
      0);
  EXPECT_EQ(sk, ZLV_SK_UPR);
  for (int32_t w = 0; w < 3; ++w) {
    double v[numvar] = {};
    ASSERT_EQ(ZLV_getsolutionslice(s.task, w, ZLV_SOL_ITEM_XX, 0, numvar, v), 0);
    EXPECT_TRUE(std::equal(v, v + numvar, s.xx.begin()));
  }
}

TEST(SolQuery, OutOfSpaceLeavesTheTaskAsItWas) {
  for (long k = 0;; ++k) {
    faulty_alloc memory;
    api_box box(&memory);
    ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 3), 0);
    const double xx[] = {1, 2, 3};
    const auto put = [&](int32_t w) {
      return ZLV_putsolution(box.task, w, nullptr, nullptr, nullptr, nullptr, xx, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr);
    };
    ASSERT_EQ(put(ZLV_SOL_ITR), 0);
    memory.failat = memory.numcalls + k;
    const int32_t putcode = put(ZLV_SOL_BAS);
    double obj = keep;
    int32_t isdef = -1;
    EXPECT_EQ(ZLV_solutiondef(box.task, ZLV_SOL_BAS, &isdef), 0);
    EXPECT_EQ(isdef, putcode == 0 ? 1 : 0);
    const int32_t infcode =
        ZLV_getsolutioninf(box.task, ZLV_SOL_ITR, nullptr, nullptr, &obj, nullptr, nullptr, nullptr,
                           nullptr, nullptr, nullptr, nullptr, nullptr);
    if (putcode == 0 && infcode == 0) break;
    EXPECT_EQ(putcode + infcode, ZLV_RES_ERR_SPACE) << k;
    EXPECT_EQ(obj, infcode == 0 ? 0 : keep);
  }
}

}  // namespace
