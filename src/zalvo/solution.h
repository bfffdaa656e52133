// Solution store of a task: interior, basic and integer solution, each with statuses, status keys
// and values laid out by the task's reserved sizes. The problem storage tells the store of every
// change of its sizes and data, so that what a solution says stays true of the changed problem; the
// optimizer driver allocates, fills and defines solutions.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/rescode.h"

struct ZLV_task_rec;
struct prob_rec;
using task_rec = ZLV_task_rec;

constexpr int32_t sol_count = 3;  // solution types, 0 .. 2

struct sol_rec {
  int32_t prosta = 0, solsta = 0;  // ZLV_PRO_STA_*, ZLV_SOL_STA_*
  bool isdef = false;
  bool isallocated = false;  // its blocks follow the reserved sizes, even when these are zero
  int32_t maxnumcon = 0, maxnumvar = 0, maxnumcone = 0;  // reserved sizes that the blocks follow
  mm_vector<int32_t> sk;  // skc, then skx from maxnumcon, then skn from maxnumcon + maxnumvar
  mm_vector<double> val;  // xc, xx, y, slc, suc, slx, sux, snx, each from a multiple of the sizes
  explicit sol_rec(mm_place at) : sk(at), val(at) {}
};
struct sol_store {
  std::array<sol_rec, sol_count> rec;  // by ZLV_SOL_*
  explicit sol_store(mm_place at) : rec{sol_rec(at), sol_rec(at), sol_rec(at)} {}
};

// The items of one solution, as long as the task's current counts; an item that the solution type
// does not hold, or whose storage is absent, is empty.
struct sol_view {
  std::span<int32_t> skc, skx, skn;  // ZLV_SK_*
  std::span<double> xc, xx, y, slc, suc, slx, sux, snx;
};

// ---- For the problem storage. accmode is ZLV_ACC_VAR, ZLV_ACC_CON or, where it says so, 2 = cones.

// sol_resize: moves each allocated solution into blocks of the new reserved sizes; called before the
// problem's own capacities change. On std::bad_alloc every solution keeps its old blocks. Sizes
// below the current counts are an internal fault.
void sol_resize(task_rec& task, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone);
// sol_append: the new items first .. first+num-1 get a status key and values from which a simplex
// optimizer can go on: a constraint (free, with an empty row) is basic at zero, a variable is fixed
// at zero, a cone (accmode 2) has an unknown status. The solutions say what they said before. The
// reserved sizes must hold the new items already; the task's count may be the old or the new one.
void sol_append(task_rec& task, int32_t accmode, int32_t first, int32_t num);
// sol_boundchanged: called after the bounds of item i were stored. A status key that the new bounds
// make impossible becomes the possible one nearest to the item's value; values stay. Of the
// solution and problem statuses that part stays which the change left true: new finite values
// leave dual statements and rays, looser bounds leave primal feasibility.
void sol_boundchanged(task_rec& task, int32_t accmode, int32_t i, int32_t oldkey, double oldlower,
                      double oldupper);
// sol_costchanged: an objective coefficient changed; only primal statements stay.
void sol_costchanged(task_rec& task, int32_t j);
// sol_touch: A, a quadratic term, a cone or a variable's type changed; no status stays.
void sol_touch(task_rec& task);
// sol_remove: items with gone[i] != 0 leave (gone has an entry for each of the current items, also
// for accmode 2) and the later ones move down with their status keys and values. Called while the
// task's count is still the old one. Allocates nothing.
void sol_remove(task_rec& task, int32_t accmode, std::span<const uint8_t> gone);

// ---- For the optimizer driver and the other rooms. whichsol is ZLV_SOL_*, checked by the caller.

// sol_allocate: frees the old arrays and makes new ones by the task's reserved sizes, all zero and
// every status unknown; the solution is undefined afterwards. On failure the arrays are empty and
// the result is err_space.
rescode sol_allocate(task_rec& task, int32_t whichsol) noexcept;
// sol_ensure: storage for a solution that has none, all zero and every status key unknown; statuses
// and the defined flag stay. On std::bad_alloc nothing has changed.
void sol_ensure(task_rec& task, int32_t whichsol);
// sol_free: frees the arrays; the defined flag and the statuses stay.
void sol_free(task_rec& task, int32_t whichsol) noexcept;
// sol_access: the items of a solution. Missing storage of the basic solution is an internal fault,
// of the others it gives empty items.
sol_view sol_access(task_rec& task, int32_t whichsol);
// sol_items: the same, but missing storage of any type gives empty items.
sol_view sol_items(task_rec& task, int32_t whichsol) noexcept;
// sol_define: marks the solution defined and stores its statuses (ZLV_PRO_STA_*, ZLV_SOL_STA_*).
void sol_define(task_rec& task, int32_t whichsol, int32_t prosta, int32_t solsta) noexcept;
void sol_undefine(task_rec& task, int32_t whichsol) noexcept;
// sol_exists: the task has reserved sizes for this type, or storage for it was allocated.
bool sol_exists(const task_rec& task, int32_t whichsol) noexcept;
// sol_isdef: it exists and is marked defined.
bool sol_isdef(const task_rec& task, int32_t whichsol) noexcept;
// sol_copy: solution whichsol of to becomes that of from: storage, statuses, defined or not. The
// tasks have the same counts; each keeps its own reserved sizes. On std::bad_alloc to is unchanged.
void sol_copy(task_rec& to, task_rec& from, int32_t whichsol);

// ---- For file readers, who build solutions aside. p is the problem that they belong to.

// sol_make: storage by the reserved sizes of p, all zero and every status key unknown.
sol_view sol_make(sol_rec& rec, int32_t whichsol, const prob_rec& p);
// sol_adapt: moves what sol_make made to the reserved sizes that p has now.
void sol_adapt(sol_rec& rec, int32_t whichsol, const prob_rec& p);

// ---- Argument checks of the exported functions

// chk_whichsol: err_whichsol, without its message, for a type outside 0 .. 2.
rescode chk_whichsol(int32_t whichsol) noexcept;
// chk_soldef: err_whichsol without, err_undef_solution with its message.
rescode chk_soldef(task_rec& task, int32_t whichsol) noexcept;
