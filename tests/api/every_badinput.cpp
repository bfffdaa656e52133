// Every function of the header with one bad argument after the other: each gets its response code,
// and a refused call leaves the task as it was. A function without a row must say why.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "api/every_table.h"
#include "support/api_box.h"
#include "support/file_text.h"
#include "support/problem_text.h"

namespace {

using namespace every;

// What is tested elsewhere, and why not here.
const std::map<std::string, std::string> elsewhere = {
    {"ZLV_makeenv", "makes the handle"},
    {"ZLV_deleteenv", "takes the handle away"},
    {"ZLV_maketask", "makes the handle: FrameResize"},
    {"ZLV_makeemptytask", "makes the handle"},
    {"ZLV_deletetask", "takes the handle away"},
    {"ZLV_clonetask", "makes a handle: FrameClone"},
    {"ZLV_optimizeconcurrent", "takes an array of handles: Concurrent"},
    {"ZLV_putctrlcfunc", "always succeeds"},
    {"ZLV_putexitfunc", "always succeeds"},
    {"ZLV_putsolutionyi", "does nothing"},
    {"ZLV_checkversion", "any four numbers are good"},
    {"ZLV_echoenv", "variable arguments: FrameStreams"},
    {"ZLV_echotask", "variable arguments: FrameStreams"},
    {"ZLV_echocodeenv", "variable arguments: FrameStreams"},
    {"ZLV_echocodetask", "variable arguments: FrameStreams"},
    {"ZLV_getstrparamal", "makes a block: BadInputBlocks"},
    {"ZLV_getnastrparamal", "makes a block: BadInputBlocks"},
    {"ZLV_readparamfile", "the file is named by a parameter: ParamFile"},
    {"ZLV_readsolution", "needs a file of a solution: SolFile"},
    {"ZLV_writedata", "needs a folder: MpsWrite"},
};

std::vector<row_rec> all_rows() {
  std::vector<row_rec> all;
  for (auto* part : {frame_rows, param_rows, data_rows, solution_rows}) {
    for (row_rec& r : part()) all.push_back(std::move(r));
  }
  return all;
}

// 3 constraints, 4 variables, a cone of the last, terms, names, an integer and two solutions.
void fill(ZLV_task_t task) {
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_CON, num_con), 0);
  ASSERT_EQ(ZLV_append(task, ZLV_ACC_VAR, num_var), 0);
  const char* names[] = {"x0", "x1", "x2", "x3"};
  for (int32_t j = 0; j < num_var; ++j) {
    ASSERT_EQ(ZLV_putcj(task, j, j - 1.5), 0);
    ASSERT_EQ(ZLV_putbound(task, ZLV_ACC_VAR, j, ZLV_BK_RA, -1.0 - j, 2.0 + j), 0);
    ASSERT_EQ(ZLV_putaij(task, j % num_con, j, 1.0 + j), 0);
    ASSERT_EQ(ZLV_putname(task, ZLV_PI_VAR, j, names[j]), 0);
  }
  ASSERT_EQ(ZLV_putbound(task, ZLV_ACC_CON, 1, ZLV_BK_UP, 0, 7), 0);
  ASSERT_EQ(ZLV_putobjname(task, "cost"), 0);
  ASSERT_EQ(ZLV_puttaskname(task, "model"), 0);
  ASSERT_EQ(ZLV_putcfix(task, 0.25), 0);
  const int32_t skc[] = {ZLV_SK_BAS, ZLV_SK_UPR, ZLV_SK_BAS}, skn[] = {ZLV_SK_BAS};
  const int32_t skx[] = {ZLV_SK_LOW, ZLV_SK_BAS, ZLV_SK_UPR, ZLV_SK_BAS};
  const double x[] = {0.5, -0.25, 1, 2};
  for (const int32_t sol : {ZLV_SOL_ITR, ZLV_SOL_BAS}) {
    ASSERT_EQ(ZLV_putsolution(task, sol, skc, skx, skn, x, x, x, x, x, x, x, nullptr), 0);
  }
}
// What a linear problem cannot have.
void fill_more(ZLV_task_t task) {
  const int32_t last = num_var - 1;
  ASSERT_EQ(ZLV_putqobjij(task, 1, 1, 2), 0);
  ASSERT_EQ(ZLV_putqconk(task, 1, 1, numbers, numbers, ones), 0);
  ASSERT_EQ(ZLV_appendcone(task, ZLV_CT_QUAD, 0, 1, &last), 0);
  ASSERT_EQ(ZLV_putvartype(task, 2, ZLV_VAR_TYPE_INT), 0);
}

// Problem, sizes, parameters and solutions as text.
std::string whole_text(ZLV_task_t task) {
  std::ostringstream out;
  out.precision(17);
  out << problem_text(task);
  for (auto* size : {ZLV_getmaxnumvar, ZLV_getmaxnumcon, ZLV_getmaxnumcone, ZLV_getmaxnumanz,
                     ZLV_getmaxnumqnz, ZLV_getnumintvar, ZLV_getnumanz}) {
    int32_t n = -1;
    EXPECT_EQ(size(task, &n), 0);
    out << n << " ";
  }
  char text[4096];
  for (auto* name : {ZLV_getobjname, ZLV_gettaskname}) {
    EXPECT_EQ(name(task, sizeof text, nullptr, text), 0);
    out << text << "\n";
  }
  for (int32_t p = 0; p < 400; ++p) {
    int32_t i = 0;
    double d = 0;
    if (ZLV_getintparam(task, p, &i) == 0) out << i << " ";
    if (ZLV_getdouparam(task, p, &d) == 0) out << d << " ";
    if (ZLV_getstrparam(task, p, sizeof text, nullptr, text) == 0) out << text << ";";
  }
  for (int32_t sol = 0; sol < 3; ++sol) {
    int32_t isdef = 0, sta[2] = {}, sk[3][16] = {};
    double v[8][16] = {};
    EXPECT_EQ(ZLV_solutiondef(task, sol, &isdef), 0);
    out << "\nsolution " << isdef;
    if (isdef == 0) continue;
    EXPECT_EQ(ZLV_getsolution(task, sol, sta, sta + 1, sk[0], sk[1], sk[2], v[0], v[1], v[2], v[3],
                              v[4], v[5], v[6], v[7]),
              0);
    for (const int32_t s : sta) out << " " << s;
    for (const auto& k : sk) {
      for (const int32_t s : k) out << " " << s;
    }
    for (const auto& k : v) {
      for (const double value : k) out << " " << value;
    }
  }
  return out.str();
}

struct filled {
  api_box box;
  handles at{};
  explicit filled(const std::string& func) {
    fill(box.task);
    if (func != "ZLV_optimize") fill_more(box.task);
    at = {box.env, box.task};
  }
};

}  // namespace

TEST(BadInput, EveryFunctionHasARow) {
  const std::string header = file_text(ZALVO_TEST_HEADER);
  std::set<std::string> listed;
  for (const row_rec& r : all_rows()) EXPECT_TRUE(listed.insert(r.name).second) << r.name;
  const std::regex form("ZLV_API int32_t (ZLV_[a-z0-9]+)\\(");
  std::set<std::string> declared;
  for (std::sregex_iterator at(header.begin(), header.end(), form), end; at != end; ++at) {
    declared.insert((*at)[1]);
    EXPECT_EQ(listed.count((*at)[1]) + elsewhere.count((*at)[1]), 1U) << (*at)[1];
  }
  for (const std::string& name : listed) EXPECT_EQ(declared.count(name), 1U) << name;
  for (const auto& [name, why] : elsewhere) EXPECT_EQ(declared.count(name), 1U) << name;
}

TEST(BadInput, RowsWorkWithoutABadArgument) {
  for (const row_rec& r : all_rows()) {
    filled task(r.name);
    EXPECT_EQ(r.works(task.at), ZLV_RES_OK) << r.name << ": " << task.box.err();
  }
}

TEST(BadInput, GetsItsCodeAndChangesNothing) {
  for (const row_rec& r : all_rows()) {
    filled task(r.name);
    const std::string before = whole_text(task.box.task);
    for (const bad_call& bad : r.bad) {
      SCOPED_TRACE(r.name + " argument " + std::to_string(bad.position) + " value " +
                   std::to_string(bad.choice));
      if (bad.code == ZLV_RES_OK || !r.keeps) {  // may change the task: take another
        filled other(r.name);
        EXPECT_EQ(bad.make(other.at), bad.code) << other.box.err();
        continue;
      }
      EXPECT_EQ(bad.make(task.at), bad.code) << task.box.err();
      EXPECT_EQ(whole_text(task.box.task), before);
    }
    EXPECT_EQ(task.box.close(), ZLV_RES_OK) << r.name;
  }
}

// Sizes for which no memory can be had: the allocator refuses large blocks, as a machine would.
TEST(BadInput, HugeSizesAreOutOfSpaceAndChangeNothing) {
  struct refusing {
    static void* alloc(void*, size_t size) {
      return size > (size_t(1) << 26) ? nullptr : std::malloc(size);
    }
    static void free(void*, void* block) { std::free(block); }
  };
  ZLV_env_t env = nullptr;
  ZLV_task_t task = nullptr, none = nullptr;
  ASSERT_EQ(ZLV_makeenv(&env, nullptr, refusing::alloc, refusing::free, nullptr), 0);
  ASSERT_EQ(ZLV_initenv(env), 0);
  ASSERT_EQ(ZLV_makeemptytask(env, &task), 0);
  fill(task);
  fill_more(task);
  const std::string before = whole_text(task);
  const std::pair<const char*, std::function<int32_t()>> calls[] = {
      {"append variables", [&] { return ZLV_append(task, ZLV_ACC_VAR, largest); }},
      {"append constraints", [&] { return ZLV_append(task, ZLV_ACC_CON, largest); }},
      {"append many", [&] { return ZLV_append(task, ZLV_ACC_VAR, largest - num_var); }},
      {"variables", [&] { return ZLV_putmaxnumvar(task, largest); }},
      {"constraints", [&] { return ZLV_putmaxnumcon(task, largest); }},
      {"cones", [&] { return ZLV_putmaxnumcone(task, largest); }},
      {"elements", [&] { return ZLV_putmaxnumanz(task, largest); }},
      {"terms", [&] { return ZLV_putmaxnumqnz(task, largest); }},
      {"input",
       [&] {
         return ZLV_inputdata(task, largest, largest, 1, 1, nullptr, 0, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
       }},
      {"append data",
       [&] {
         return ZLV_appendvars(task, largest, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr);
       }},
      {"make", [&] { return ZLV_maketask(env, largest, largest, &none); }},
  };
  for (const auto& [name, call] : calls) {
    EXPECT_EQ(call(), ZLV_RES_ERR_SPACE) << name;
    EXPECT_EQ(whole_text(task), before) << name;
    EXPECT_EQ(none, nullptr);
  }
  // Sizes that were raised before the one that cannot be had stay raised.
  const std::string problem = problem_text(task);
  EXPECT_EQ(ZLV_resizetask(task, 9, 9, 9, largest, 9), ZLV_RES_ERR_SPACE);
  EXPECT_EQ(problem_text(task), problem);
  EXPECT_EQ(ZLV_deletetask(&task), 0);
  EXPECT_EQ(ZLV_deleteenv(&env), 0);
}

TEST(BadInputBlocks, AreOnlyMadeWhenAllIsGood) {
  api_box box;
  char* block = nullptr;
  const int32_t param = ZLV_SPAR_DATA_FILE_NAME;
  const char* name = "ZLV_SPAR_DATA_FILE_NAME";
  for (const int32_t wrong : {-1, largest, smallest}) {
    EXPECT_EQ(ZLV_getstrparamal(box.task, wrong, 0, &block), ZLV_RES_ERR_PARAM_INDEX);
  }
  EXPECT_EQ(ZLV_getstrparamal(box.task, param, 0, nullptr), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(ZLV_getnastrparamal(box.task, nullptr, 0, &block), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(ZLV_getnastrparamal(box.task, "none", 0, &block), ZLV_RES_ERR_PARAM_NAME_STR);
  EXPECT_EQ(ZLV_getnastrparamal(box.task, name, 0, nullptr), ZLV_RES_ERR_NULL_POINTER);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(ZLV_getstrparamal(box.task, param, 5, &block), 0);
  ZLV_freetask(box.task, block);
  EXPECT_EQ(box.close(), ZLV_RES_OK);
}
