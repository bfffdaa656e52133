// Every function of the header, also the next one: what it answers to a null handle, and that nulls
// and zeros behind a good handle do no harm. The declarations are read from the header itself.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <vector>

#include "support/api_box.h"
#include "support/file_text.h"

namespace {

struct declaration {
  std::string result, name, first;  // type of the result, name, first parameter
};

std::vector<declaration> declarations() {
  const std::string header = file_text(ZALVO_TEST_HEADER);
  const std::regex form("ZLV_API ([a-z0-9_]+\\*? ?)(ZLV_[a-z0-9]+)\\(([^,;)]*)");
  std::vector<declaration> found;
  for (std::sregex_iterator at(header.begin(), header.end(), form), end; at != end; ++at) {
    found.push_back({(*at)[1], (*at)[2], (*at)[3]});
  }
  return found;
}

// Calls a function with its first argument and as many nulls and zeros as any of them takes. On the
// processors served, what a function doesn't expect does not reach it.
int32_t call_with(const std::string& name, void* first) {
  void* z = nullptr;
  using any = int32_t (*)(void*, void*, void*, void*, void*, void*, void*, void*, void*, void*,
                          void*, void*, void*, void*, void*, void*, void*, void*, void*, void*,
                          void*, void*, void*, void*);
  const auto func = reinterpret_cast<any>(dlsym(RTLD_DEFAULT, name.c_str()));
  if (func == nullptr) {
    ADD_FAILURE() << name << " is declared but not exported";
    return 0;
  }
  return func(first, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z, z);
}

// What these say to nothing but nulls and zeros; each has its own test.
const std::map<std::string, int32_t> special = {{"ZLV_prostatostr", ZLV_RES_ERR_NULL_POINTER},
                                                {"ZLV_solstatostr", ZLV_RES_OK},
                                                {"ZLV_putctrlcfunc", ZLV_RES_OK},
                                                {"ZLV_putexitfunc", ZLV_RES_OK},
                                                {"ZLV_putsolutionyi", ZLV_RES_OK},
                                                {"ZLV_getsymbcon", ZLV_RES_ERR_NULL_TASK}};
// These end the process.
const std::set<std::string> ending = {"ZLV_strdupenv",     "ZLV_strduptask", "ZLV_strdupdbgenv",
                                      "ZLV_strdupdbgtask", "ZLV_freedbgenv", "ZLV_freedbgtask"};

bool takes(const declaration& d, const char* handle) {
  return d.result == "int32_t " && d.first.rfind(std::string(handle) + " ", 0) == 0;
}

}  // namespace

TEST(FrameEvery, RefusesANullHandle) {
  int numseen = 0;
  for (const declaration& d : declarations()) {
    const bool istask = takes(d, "ZLV_task_t"), isenv = takes(d, "ZLV_env_t");
    if ((!istask && !isenv) || ending.count(d.name) > 0) continue;
    const auto known = special.find(d.name);
    const int32_t expected = known != special.end() ? known->second
                             : istask               ? ZLV_RES_ERR_NULL_TASK
                                                    : ZLV_RES_ERR_NULL_ENV;
    EXPECT_EQ(call_with(d.name, nullptr), expected) << d.name;
    ++numseen;
  }
  EXPECT_GT(numseen, 50);  // or the header was not read as it is written
}

TEST(FrameEvery, AnswersNullsAndZerosWithACode) {
  for (const declaration& d : declarations()) {
    const bool istask = takes(d, "ZLV_task_t"), isenv = takes(d, "ZLV_env_t");
    if (!istask && !isenv) continue;
    api_box box;
    const int32_t r = call_with(d.name, istask ? static_cast<void*>(box.task) : box.env);
    EXPECT_GE(r, 0) << d.name;
    EXPECT_NE(r, ZLV_RES_ERR_INTERNAL) << d.name;
    EXPECT_NE(r, ZLV_RES_ERR_UNKNOWN) << d.name;
    if (box.task != nullptr) {
      EXPECT_EQ(ZLV_checkmemtask(box.task, d.name.c_str(), 0), ZLV_RES_OK) << d.name;
    }
    EXPECT_EQ(box.close(), ZLV_RES_OK) << d.name;
  }
}

TEST(FrameEvery, IsNotUsedWithoutInitialisation) {
  // These work before; the others say that they don't.
  const std::set<std::string> early = {"ZLV_initenv",
                                       "ZLV_putctrlcfunc",
                                       "ZLV_putexitfunc",
                                       "ZLV_echoenv",
                                       "ZLV_putcpudefaults",
                                       "ZLV_echointro",
                                       "ZLV_linkfiletoenvstream",
                                       "ZLV_linkfunctoenvstream",
                                       "ZLV_unlinkfuncfromenvstream"};
  for (const declaration& d : declarations()) {
    if (!takes(d, "ZLV_env_t") || early.count(d.name) > 0) continue;
    ZLV_env_t env = nullptr;
    ASSERT_EQ(ZLV_makeenv(&env, nullptr, nullptr, nullptr, nullptr), ZLV_RES_OK);
    EXPECT_EQ(call_with(d.name, env), ZLV_RES_ERR_NO_INIT_ENV) << d.name;
    EXPECT_EQ(ZLV_deleteenv(&env), ZLV_RES_OK);
  }
}
