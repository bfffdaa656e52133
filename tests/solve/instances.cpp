// Every model of tests/data, and of the folder that ZALVO_DATA names, reaches the status and the
// objective of its index, proved from the data and the solution that the interface gives.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <fstream>

#include "support/api_box.h"
#include "support/solved_lp.h"

namespace {

constexpr double objtol = 1e-6;  // relative to 1 + |objective|

struct instance {
  std::string name, file, status;
  double objective = 0;
  bool islinear = true;
  int32_t format = ZLV_MPS_FORMAT_RELAXED;
};

void PrintTo(const instance& in, std::ostream* out) {
  *out << in.name;
}

std::vector<std::string> fields_of(const std::string& line) {  // an empty one counts
  std::vector<std::string> fields(1);
  for (const char c : line) {
    if (c == '\t') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return fields;
}

std::vector<std::vector<std::string>> rows_of(const std::string& file, size_t numfield) {
  std::vector<std::vector<std::string>> rows;
  std::ifstream index(file);
  std::string line;
  std::getline(index, line);
  while (std::getline(index, line)) {
    rows.push_back(fields_of(line));
    rows.back().resize(std::max(numfield, rows.back().size()));
  }
  return rows;
}

std::vector<instance> shipped() {
  std::vector<instance> all;
  for (const auto& f : rows_of(ZALVO_TEST_DATA "/INDEX.tsv", 7)) {
    instance in{f[0], ZALVO_TEST_DATA "/" + f[0] + ".mps", f[5], std::atof(f[6].c_str())};
    if (f[1] == "fixed") in.format = ZLV_MPS_FORMAT_STRICT;
    if (f[1] == "free") in.format = ZLV_MPS_FORMAT_FREE;
    all.push_back(in);
  }
  return all;
}

std::vector<instance> outside() {  // one row without a file when there is no folder
  const char* folder = std::getenv("ZALVO_DATA");
  if (folder == nullptr) return {{"Unset", "", ""}};
  std::vector<instance> all;
  for (const auto& f : rows_of(std::string(folder) + "/INDEX.tsv", 10)) {
    const bool islinear = f[0] == "lp" || f[0] == "infeas";
    if (!islinear && f[0] != "qp" && f[0] != "socp") continue;
    const std::string file = std::string(folder) + "/" + f[0] + "/" + f[1] + ".mps.gz";
    all.push_back({f[0] + "_" + f[1], file, f[6], std::atof(f[7].c_str()), islinear});
    if (f[9].find("convexity check refuses") != std::string::npos) all.back().status = "nonconvex";
  }
  return all;
}

std::string test_name(const testing::TestParamInfo<instance>& tc) {
  std::string name = tc.param.name;
  for (char& c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
  }
  return name;
}

void expect_answer(ZLV_task_t task, const instance& in, double sense,
                   int32_t whichsol = ZLV_SOL_ITR) {
  const lp_data p = get_data(task);
  const lp_point s = get_point(task, p, whichsol);
  ASSERT_TRUE(s.isdefined);
  expect_honest(p, s);
  expect_same_measures(task, p, s, whichsol);
  if (whichsol == ZLV_SOL_BAS && in.status == "optimal") expect_basic(p, s);
  if (in.status != "optimal") {
    EXPECT_EQ(s.solsta, in.status == "primal infeasible" ? ZLV_SOL_STA_PRIM_INFEAS_CER
                                                         : ZLV_SOL_STA_DUAL_INFEAS_CER);
    return;
  }
  EXPECT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL);
  const double want = sense * in.objective;
  EXPECT_LE(std::abs(judge(p, s).pobj - want), objtol * (1 + std::abs(want)));
}

class Shipped : public testing::TestWithParam<instance> {};

TEST_P(Shipped, IsSolvedInBothSenses) {
  for (const bool flip : {false, true}) {
    api_box box;
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_READ_MPS_FORMAT, GetParam().format), ZLV_RES_OK);
    ASSERT_EQ(ZLV_readdata(box.task, GetParam().file.c_str()), ZLV_RES_OK) << box.err();
    lp_data before = get_data(box.task);
    if (flip) {
      for (double& cost : before.c) cost = -cost;
      before.cfix = -before.cfix;
      before.maximize = !before.maximize;
      put_data(box.task, before);
    }
    ASSERT_EQ(ZLV_optimize(box.task), ZLV_RES_OK) << box.err();
    expect_answer(box.task, GetParam(), flip ? -1 : 1);
    const lp_data after = get_data(box.task);  // the run leaves the problem as it was
    EXPECT_EQ(after.c, before.c);
    EXPECT_EQ(after.cfix, before.cfix);
    EXPECT_EQ(after.val, before.val);
  }
}
INSTANTIATE_TEST_SUITE_P(Models, Shipped, testing::ValuesIn(shipped()), test_name);

class Outside : public testing::TestWithParam<instance> {};

struct way {
  const char* name;
  int32_t optimizer, presolve, basis;
  bool itr, bas;   // solutions that it leaves
  int32_t maxrow;  // larger instances take too long for a test
};
constexpr way ways[] = {
    {"default", ZLV_OPTIMIZER_FREE, ZLV_ON, ZLV_BI_ALWAYS, true, true, INT32_MAX},
    {"no presolve", ZLV_OPTIMIZER_INTPNT, ZLV_OFF, ZLV_BI_NEVER, true, false, 50000},
    {"dual simplex", ZLV_OPTIMIZER_DUAL_SIMPLEX, ZLV_ON, ZLV_BI_NEVER, false, true, INT32_MAX},
    {"primal simplex", ZLV_OPTIMIZER_PRIMAL_SIMPLEX, ZLV_ON, ZLV_BI_NEVER, false, true, 4000},
};

TEST_P(Outside, IsSolvedInEveryWay) {
  const instance& in = GetParam();
  if (in.file.empty()) GTEST_SKIP() << "ZALVO_DATA is not set: no larger instances";
  for (const way& w : ways) {
    SCOPED_TRACE(w.name);
    api_box box;
    ASSERT_EQ(ZLV_readdata(box.task, in.file.c_str()), ZLV_RES_OK) << box.err();
    int32_t numcon = 0;
    ASSERT_EQ(ZLV_getnumcon(box.task, &numcon), ZLV_RES_OK);
    if (numcon > w.maxrow || (!in.islinear && !w.itr)) continue;
    const int32_t optimizer = in.islinear ? w.optimizer : ZLV_OPTIMIZER_FREE;
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, optimizer), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_PRESOLVE_USE, w.presolve), ZLV_RES_OK);
    ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_INTPNT_BASIS, w.basis), ZLV_RES_OK);
    const int32_t want = in.status == "nonconvex" ? ZLV_RES_ERR_NONCONVEX : ZLV_RES_OK;
    ASSERT_EQ(ZLV_optimize(box.task), want) << box.err();
    if (want != ZLV_RES_OK) continue;
    if (w.itr) expect_answer(box.task, in, 1);
    if (w.bas && in.islinear) expect_answer(box.task, in, 1, ZLV_SOL_BAS);
  }
}
INSTANTIATE_TEST_SUITE_P(Instances, Outside, testing::ValuesIn(outside()), test_name);

}  // namespace
