// Solution store of a task: interior, basic and integer solution, each with statuses, status keys
// and values laid out by the task's reserved sizes.
#pragma once

#include <array>
#include <cstdint>

#include "cpub/memman.h"

struct sol_rec {
  int32_t prosta = 0, solsta = 0;  // ZLV_PRO_STA_*, ZLV_SOL_STA_*
  bool isdef = false;
  mm_vector<int32_t> sk;  // skc, then skx from maxnumcon, then skn from maxnumcon + maxnumvar
  mm_vector<double> val;  // xc, xx, y, slc, suc, slx, sux, snx, each from a multiple of the sizes
  explicit sol_rec(mm_place at) : sk(at), val(at) {}
};
struct sol_store {
  std::array<sol_rec, 3> rec;  // by ZLV_SOL_*
  explicit sol_store(mm_place at) : rec{sol_rec(at), sol_rec(at), sol_rec(at)} {}
};
