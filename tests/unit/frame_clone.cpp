// Cloning and resizing tasks: the copy is equal, independent, and whole or not there.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/api_box.h"
#include "zalvo/frame.h"

namespace {

// max c'x, x0 + 2 x1 <= 4, x in a box, with a term, a cone, names, an integer and a solution.
void fill(ZLV_task_t task) {
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_VAR, 3), ZLV_RES_OK);
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_CON, 1), ZLV_RES_OK);
  for (int32_t j = 0; j < 3; ++j) {
    ASSERT_EQ(ZLV_putcj(task, j, j + 1), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putbound(task, ZLV_ACC_VAR, j, ZLV_BK_RA, -1, j + 5), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putaij(task, 0, j, 1 + j), ZLV_RES_OK);
  }
  ASSERT_EQ(ZLV_putbound(task, ZLV_ACC_CON, 0, ZLV_BK_UP, 0, 4), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putname(task, ZLV_PI_VAR, 1, "price"), ZLV_RES_OK);
  ASSERT_EQ(ZLV_puttaskname(task, "model"), ZLV_RES_OK);
  const std::vector<int32_t> skc = {ZLV_SK_UPR}, skx = {ZLV_SK_LOW, ZLV_SK_BAS, ZLV_SK_UPR};
  const std::vector<double> xc = {7}, xx = {1, 2, 3}, y = {0.5}, d(3, 0.25);
  ASSERT_EQ(ZLV_putsolution(task, ZLV_SOL_BAS, skc.data(), skx.data(), nullptr, xc.data(),
                            xx.data(), y.data(), y.data(), y.data(), d.data(), d.data(), nullptr),
            ZLV_RES_OK);
  task->par.i[ipar::log] = 0;
  task->par.s[spar::data_file_name] = "model.mps";
  task->inf.i[iinf::intpnt_iter] = 17;
}

// Everything that a clone must share, as text.
std::string dump(ZLV_task_t task) {
  std::string text;
  const auto add = [&](const auto& value) { text += std::to_string(value) + " "; };
  std::vector<double> c(size_t(task->prob.numvar));
  EXPECT_EQ(ZLV_getc(task, c.data()), ZLV_RES_OK);
  for (const double cj : c) add(cj);
  for (int32_t j = 0; j < task->prob.numvar; ++j) {
    const prob_bound b = prob_getbound(task->prob, acc::var, j);
    add(b.key), add(b.lower), add(b.upper);
    text += prob_name(task->prob, ZLV_PI_VAR, j);
  }
  text += prob_taskname(task->prob);
  add(prob_numanz(task->prob));
  int32_t isdef = -1;
  EXPECT_EQ(ZLV_solutiondef(task, ZLV_SOL_BAS, &isdef), ZLV_RES_OK);
  add(isdef);
  if (isdef != 0) {
    for (const double x : sol_items(*task, ZLV_SOL_BAS).xx) add(x);
    for (const int32_t sk : sol_items(*task, ZLV_SOL_BAS).skx) add(sk);
  }
  for (const int32_t p : task->par.i) add(p);
  for (const mm_string& s : task->par.s) text += std::string(s.c_str()) + ";";
  add(task->inf.i[iinf::intpnt_iter]);
  const char* broken = prob_check(task->prob);
  return broken == nullptr ? text : broken;
}

}  // namespace

TEST(FrameClone, IsEqualAndIndependent) {
  api_box box;
  fill(box.task);
  const std::string before = dump(box.task);
  ZLV_task_t clone = nullptr;
  ASSERT_EQ(ZLV_clonetask(box.task, &clone), ZLV_RES_OK);
  EXPECT_EQ(dump(clone), before);
  ASSERT_EQ(ZLV_putcj(box.task, 0, 99), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putname(box.task, ZLV_PI_VAR, 1, "other"), ZLV_RES_OK);
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, 100), ZLV_RES_OK);
  box.task->par.s[spar::data_file_name] = "a longer name than fits in a short text.mps";
  EXPECT_EQ(dump(clone), before);
  EXPECT_EQ(ZLV_deletetask(&box.task), ZLV_RES_OK);
  EXPECT_EQ(dump(clone), before);
  ASSERT_EQ(ZLV_append(clone, ZLV_ACC_CON, 50), ZLV_RES_OK);
  EXPECT_EQ(ZLV_deletetask(&clone), ZLV_RES_OK);

  EXPECT_EQ(ZLV_clonetask(nullptr, &clone), ZLV_RES_ERR_NULL_TASK);
  ASSERT_EQ(ZLV_makeemptytask(box.env, &box.task), ZLV_RES_OK);
  EXPECT_EQ(ZLV_clonetask(box.task, nullptr), ZLV_RES_ERR_NULL_POINTER);
  ASSERT_EQ(ZLV_clonetask(box.task, &clone), ZLV_RES_OK);
  EXPECT_EQ(dump(clone), dump(box.task));
  EXPECT_EQ(ZLV_deletetask(&clone), ZLV_RES_OK);
}

TEST(FrameClone, EveryFailedAllocationLeavesTheOriginal) {
  for (long k = 0;; ++k) {
    faulty_alloc from;
    {
      api_box box(&from);
      fill(box.task);
      const std::string before = dump(box.task);
      from.failat = from.numcalls + k;
      ZLV_task_t clone = nullptr;
      const int32_t r = ZLV_clonetask(box.task, &clone);
      from.failat = -1;
      EXPECT_EQ(dump(box.task), before) << k;
      if (r == ZLV_RES_OK) {
        EXPECT_GT(k, 5);
        EXPECT_EQ(ZLV_deletetask(&clone), ZLV_RES_OK);
        break;
      }
      ASSERT_EQ(r, ZLV_RES_ERR_SPACE) << k;
      EXPECT_EQ(clone, nullptr) << k;
      EXPECT_EQ(box.close(), ZLV_RES_OK) << k;
    }
    ASSERT_EQ(from.numlive, 0) << k;
  }
}

TEST(FrameResize, SetsEverySizeOrNone) {
  api_box box(nullptr, 2, 3);
  EXPECT_EQ(box.task->prob.maxnumcon, 2);
  EXPECT_EQ(box.task->prob.maxnumvar, 3);
  fill(box.task);
  const std::string before = dump(box.task);
  EXPECT_EQ(ZLV_resizetask(box.task, 10, 20, 5, 300, 40), ZLV_RES_OK);
  const auto sizes = [&] {
    std::vector<int32_t> s(5);
    ZLV_getmaxnumcon(box.task, &s[0]);
    ZLV_getmaxnumvar(box.task, &s[1]);
    ZLV_getmaxnumcone(box.task, &s[2]);
    ZLV_getmaxnumanz(box.task, &s[3]);
    ZLV_getmaxnumqnz(box.task, &s[4]);
    return s;
  };
  const std::vector<int32_t> wanted = {10, 20, 5, 300, 40};
  EXPECT_EQ(sizes(), wanted);
  EXPECT_EQ(ZLV_resizetask(box.task, 0, 20, 5, 300, 40), ZLV_RES_ERR_MAXNUMCON);
  EXPECT_EQ(ZLV_resizetask(box.task, 10, 2, 5, 300, 40), ZLV_RES_ERR_MAXNUMVAR);
  EXPECT_EQ(ZLV_resizetask(box.task, 99, 20, -1, 300, 40), ZLV_RES_ERR_MAXNUMCONE);
  EXPECT_EQ(ZLV_resizetask(box.task, 99, 20, 5, 2, 40), ZLV_RES_ERR_MAXNUMANZ);
  EXPECT_EQ(ZLV_resizetask(box.task, 99, 20, 5, 300, -1), ZLV_RES_ERR_MAXNUMQNZ);
  EXPECT_EQ(sizes(), wanted);
  EXPECT_EQ(ZLV_resizetask(box.task, 1, 3, 0, 3, 0), ZLV_RES_OK);  // as small as it can be
  EXPECT_EQ(dump(box.task), before);
  ZLV_task_t none = nullptr;
  EXPECT_EQ(ZLV_maketask(box.env, -1, 0, &none), ZLV_RES_ERR_MAXNUMCON);
  EXPECT_EQ(ZLV_maketask(box.env, 0, -1, &none), ZLV_RES_ERR_MAXNUMVAR);
  EXPECT_EQ(none, nullptr);
}
