// What the progress callback and the log are told of the phases of a run: every begin has its end, one
// inside the other, however the run ends.
#include <gtest/gtest.h>

#include <map>

#include "support/api_box.h"
#include "support/planted_lp.h"

namespace {

struct phase_pair {
  int32_t begin, end;
  const char *started, *ended;  // of the log, or null
};
// clang-format off
const phase_pair pairs[] = {
    {ZLV_CALLBACK_BEGIN_INTPNT, ZLV_CALLBACK_END_INTPNT,
     "Interior-point optimizer started.\n", "Interior-point optimizer terminated. CPU Time: "},
    {ZLV_CALLBACK_BEGIN_CONIC, ZLV_CALLBACK_END_CONIC, nullptr, nullptr},
    {ZLV_CALLBACK_BEGIN_PRESOLVE, ZLV_CALLBACK_END_PRESOLVE,
     "Presolve started.\n", "Presolve terminated.\n"},
    {ZLV_CALLBACK_BEGIN_BI, ZLV_CALLBACK_END_BI,
     "Basis identification started.\n", "Basis identification terminated. Time: "},
    {ZLV_CALLBACK_BEGIN_DUAL_SETUP_BI, ZLV_CALLBACK_END_DUAL_SETUP_BI, nullptr, nullptr},
    {ZLV_CALLBACK_BEGIN_DUAL_BI, ZLV_CALLBACK_END_DUAL_BI, nullptr, nullptr},
    {ZLV_CALLBACK_BEGIN_PRIMAL_SETUP_BI, ZLV_CALLBACK_END_PRIMAL_SETUP_BI, nullptr, nullptr},
    {ZLV_CALLBACK_BEGIN_PRIMAL_BI, ZLV_CALLBACK_END_PRIMAL_BI, nullptr, nullptr},
    {ZLV_CALLBACK_BEGIN_SIMPLEX_BI, ZLV_CALLBACK_END_SIMPLEX_BI, nullptr, nullptr},
    {ZLV_CALLBACK_BEGIN_SIMPLEX, ZLV_CALLBACK_END_SIMPLEX,
     "Simplex optimizer started.\n", "Simplex optimizer terminated.\n"},
    {ZLV_CALLBACK_BEGIN_DUAL_SIMPLEX, ZLV_CALLBACK_END_DUAL_SIMPLEX,
     "Dual simplex optimizer started.\n", "Dual simplex optimizer terminated.\n"},
    {ZLV_CALLBACK_BEGIN_PRIMAL_SIMPLEX, ZLV_CALLBACK_END_PRIMAL_SIMPLEX, nullptr, nullptr},
    {ZLV_CALLBACK_BEGIN_CONCURRENT, ZLV_CALLBACK_END_CONCURRENT,
     "Concurrent optimizer is started.\n", "Concurrent optimizer terminated. CPU Time: "},
};
// clang-format on

// Keeps the phases that are open, and what was told out of order.
struct listener {
  std::vector<int32_t> open;
  std::map<int32_t, int> numbegun;
  int numcall = 0, numwrong = 0;
  int stopat = -1;  // call that asks to stop
  static int32_t look(ZLV_task_t, void* handle, int32_t caller) {
    auto& me = *static_cast<listener*>(handle);
    for (const phase_pair& p : pairs) {
      if (caller == p.begin) {
        me.open.push_back(p.end);
        ++me.numbegun[p.begin];
      } else if (caller == p.end) {
        if (me.open.empty() || me.open.back() != caller) ++me.numwrong;
        if (!me.open.empty()) me.open.pop_back();
      }
    }
    return me.numcall++ == me.stopat ? 1 : 0;
  }
  void expect_closed() const {
    EXPECT_TRUE(open.empty());
    EXPECT_EQ(numwrong, 0);
  }
};

struct run_case {
  const char* name;
  int32_t optimizer, presolve, basis, form;
  std::vector<int32_t> begins;  // phases of a whole run
};

class RunPhases : public testing::TestWithParam<run_case> {
 protected:
  static lp_data problem() {
    std::mt19937 gen(77);
    return plant_optimal(gen, {20, 30, 0.2}, false).p;
  }
  static void set(api_box& box, listener& ear) {
    const run_case& c = GetParam();
    put_data(box.task, problem());
    EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, c.optimizer), ZLV_RES_OK);
    EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_PRESOLVE_USE, c.presolve), ZLV_RES_OK);
    EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_INTPNT_BASIS, c.basis), ZLV_RES_OK);
    EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_SIM_SOLVE_FORM, c.form), ZLV_RES_OK);
    EXPECT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_CALLBACK_FREQ, 0), ZLV_RES_OK);
    EXPECT_EQ(ZLV_putcallbackfunc(box.task, listener::look, &ear), ZLV_RES_OK);
  }
};

int count(const std::string& text, const std::string& part) {
  int num = 0;  // at the beginning of a line
  for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) {
    num += at == 0 || text[at - 1] == '\n' ? 1 : 0;
  }
  return num;
}

TEST_P(RunPhases, AreToldInPairs) {
  api_box box;
  listener ear;
  set(box, ear);
  EXPECT_EQ(ZLV_optimize(box.task), ZLV_RES_OK);
  ear.expect_closed();
  for (const int32_t begin : GetParam().begins) EXPECT_EQ(ear.numbegun[begin], 1) << begin;
  for (const phase_pair& p : pairs) {
    if (p.started == nullptr) continue;
    EXPECT_EQ(count(box.log(), p.started), ear.numbegun[p.begin]) << p.started;
    EXPECT_EQ(count(box.log(), p.ended), ear.numbegun[p.begin]) << p.ended;
  }
}

// Each kind of end is tried at its k-th chance. Another thread of a concurrent run may win meanwhile.
TEST_P(RunPhases, EndWhateverStopsThem) {
  const bool isalone = GetParam().optimizer != ZLV_OPTIMIZER_CONCURRENT;
  enum { bycallback, bybreak, bymemory };
  for (const int how : {bycallback, bybreak, bymemory}) {
    for (int k = 1; how != bymemory || isalone; k += 1 + k / 20) {
      SCOPED_TRACE(testing::Message() << how << " at " << k);
      faulty_alloc from;
      api_box box(&from);
      listener ear;
      set(box, ear);
      int left = k;
      const auto request = [](void* h) -> int32_t { return --*static_cast<int*>(h) < 0 ? 1 : 0; };
      if (how == bycallback) ear.stopat = k;
      if (how == bymemory) from.failat = from.numcalls + k;
      EXPECT_EQ(ZLV_putctrlcfunc(box.env, how == bybreak ? +request : nullptr, &left), ZLV_RES_OK);
      EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_CHECK_CTRL_C, how == bybreak), ZLV_RES_OK);
      const int32_t code = ZLV_optimize(box.task);
      ear.expect_closed();
      const bool isover = how == bycallback ? ear.numcall <= k
                          : how == bybreak  ? left >= 0
                                            : from.numcalls <= from.failat;
      if (isover || HasFailure()) break;
      const int32_t codes[] = {ZLV_RES_TRM_USER_CALLBACK, ZLV_RES_TRM_USER_BREAK,
                               ZLV_RES_ERR_SPACE};
      EXPECT_TRUE(code == codes[how] || !isalone) << code;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Pipelines, RunPhases,
    testing::Values(run_case{"Free",
                             ZLV_OPTIMIZER_FREE,
                             ZLV_ON,
                             ZLV_BI_ALWAYS,
                             ZLV_SOLVE_FREE,
                             {ZLV_CALLBACK_BEGIN_INTPNT, ZLV_CALLBACK_BEGIN_PRESOLVE,
                              ZLV_CALLBACK_BEGIN_BI, ZLV_CALLBACK_BEGIN_DUAL_BI,
                              ZLV_CALLBACK_BEGIN_PRIMAL_BI}},
                    run_case{"Interior",
                             ZLV_OPTIMIZER_INTPNT,
                             ZLV_OFF,
                             ZLV_BI_NEVER,
                             ZLV_SOLVE_FREE,
                             {ZLV_CALLBACK_BEGIN_INTPNT}},
                    run_case{"Conic",
                             ZLV_OPTIMIZER_CONIC,
                             ZLV_ON,
                             ZLV_BI_NEVER,
                             ZLV_SOLVE_FREE,
                             {ZLV_CALLBACK_BEGIN_CONIC}},
                    run_case{"Dual",
                             ZLV_OPTIMIZER_DUAL_SIMPLEX,
                             ZLV_ON,
                             ZLV_BI_NEVER,
                             ZLV_SOLVE_FREE,
                             {ZLV_CALLBACK_BEGIN_SIMPLEX, ZLV_CALLBACK_BEGIN_PRESOLVE}},
                    run_case{"DualOfDual",
                             ZLV_OPTIMIZER_DUAL_SIMPLEX,
                             ZLV_OFF,
                             ZLV_BI_NEVER,
                             ZLV_SOLVE_DUAL,
                             {ZLV_CALLBACK_BEGIN_SIMPLEX, ZLV_CALLBACK_BEGIN_DUAL_SIMPLEX}},
                    run_case{"Primal",
                             ZLV_OPTIMIZER_PRIMAL_SIMPLEX,
                             ZLV_OFF,
                             ZLV_BI_NEVER,
                             ZLV_SOLVE_FREE,
                             {ZLV_CALLBACK_BEGIN_SIMPLEX, ZLV_CALLBACK_BEGIN_PRIMAL_SIMPLEX}},
                    run_case{"Concurrent",
                             ZLV_OPTIMIZER_CONCURRENT,
                             ZLV_ON,
                             ZLV_BI_NEVER,
                             ZLV_SOLVE_FREE,
                             {ZLV_CALLBACK_BEGIN_CONCURRENT}}),
    [](const auto& tc) { return std::string(tc.param.name); });

}  // namespace
