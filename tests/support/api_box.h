// An initialised environment and a task whose streams are caught as text, for tests through the
// interface. With a faulty_alloc all their memory comes from it.
//
//   api_box box;
//   EXPECT_EQ(ZLV_putcj(box.task, 7, 1.0), ZLV_RES_ERR_INDEX_IS_TOO_LARGE);
//   EXPECT_NE(box.err().find("'j'"), std::string::npos);
#pragma once

#include <zalvo.h>

#include <array>
#include <string>

#include "support/faulty_alloc.h"

struct api_box {
  ZLV_env_t env = nullptr;
  ZLV_task_t task = nullptr;
  int32_t made = 0;                          // code of making both: what failed first, or 0
  std::array<std::string, 4> envtext, text;  // by ZLV_STREAM_*; text is the task's

  explicit api_box(faulty_alloc* from = nullptr, int32_t maxnumcon = 0, int32_t maxnumvar = 0,
                   const char* dbgfile = nullptr) {
    made = from == nullptr
               ? ZLV_makeenv(&env, nullptr, nullptr, nullptr, dbgfile)
               : ZLV_makeenv(&env, from, faulty_alloc::alloc, faulty_alloc::free, dbgfile);
    if (made == 0) made = ZLV_initenv(env);
    for (int32_t s = 0; made == 0 && s < 4; ++s) {
      made = ZLV_linkfunctoenvstream(env, s, &envtext[size_t(s)], &api_box::keep);
    }
    if (made == 0) made = ZLV_maketask(env, maxnumcon, maxnumvar, &task);
    for (int32_t s = 0; made == 0 && s < 4; ++s) {
      made = ZLV_linkfunctotaskstream(task, s, &text[size_t(s)], &api_box::keep);
    }
  }
  ~api_box() { close(); }
  api_box(const api_box&) = delete;
  api_box& operator=(const api_box&) = delete;

  // Deletes both; the task's verdict, or else the environment's.
  int32_t close() {
    const int32_t verdict = ZLV_deletetask(&task);
    const int32_t envverdict = ZLV_deleteenv(&env);
    return verdict != 0 ? verdict : envverdict;
  }
  std::string& log() { return text[ZLV_STREAM_LOG]; }
  std::string& msg() { return text[ZLV_STREAM_MSG]; }
  std::string& err() { return text[ZLV_STREAM_ERR]; }
  std::string& wrn() { return text[ZLV_STREAM_WRN]; }
  void forget() {
    for (std::string& t : text) t.clear();
  }

  static void keep(void* handle, const char* piece) { *static_cast<std::string*>(handle) += piece; }
};
