#include "zalvo/solution.h"

#include <algorithm>
#include <stdexcept>

#include "zalvo/frame.h"

namespace {

struct sol_sizes {
  int32_t con = 0, var = 0, cone = 0;
};
struct sol_blocks {
  mm_vector<int32_t> sk;
  mm_vector<double> val;
  explicit sol_blocks(mm_place at) : sk(at), val(at) {}
};

sol_sizes counts_of(const prob_rec& p) {
  return {p.numcon, p.numvar, p.numcone};
}
sol_sizes counts_of(const task_rec& task) {
  return counts_of(task.prob);
}
sol_sizes reserved_of(const prob_rec& p) {
  return {p.maxnumcon, p.maxnumvar, p.maxnumcone};
}
sol_sizes reserved_of(const task_rec& task) {
  return reserved_of(task.prob);
}
sol_sizes reserved_of(const sol_rec& rec) {
  return {rec.maxnumcon, rec.maxnumvar, rec.maxnumcone};
}

size_t sk_length(int32_t whichsol, const sol_sizes& size) {
  const size_t cones = whichsol == ZLV_SOL_ITR ? size_t(size.cone) : 0;
  return size_t(size.con) + size_t(size.var) + cones;
}
size_t val_length(int32_t whichsol, const sol_sizes& size) {
  const auto con = uint64_t(size.con), var = uint64_t(size.var);  // sums fit, also on 32 bits
  const uint64_t length = whichsol == ZLV_SOL_ITG   ? con + var
                          : whichsol == ZLV_SOL_BAS ? 4 * con + 3 * var
                                                    : 4 * con + 4 * var;
  if (length > size_t(-1)) throw std::bad_alloc();
  return size_t(length);
}

// make_blocks: zeroed blocks, so every status key is unknown.
void make_blocks(int32_t whichsol, const sol_sizes& size, sol_blocks& blocks) {
  blocks.sk.resize(sk_length(whichsol, size));
  blocks.val.resize(val_length(whichsol, size));
}
void adopt(sol_rec& rec, const sol_sizes& size, sol_blocks& blocks) noexcept {
  rec.sk.swap(blocks.sk);
  rec.val.swap(blocks.val);
  rec.maxnumcon = size.con;
  rec.maxnumvar = size.var;
  rec.maxnumcone = size.cone;
  rec.isallocated = true;
}

// look: the items of blocks that follow the reserved sizes `size`, cut to `count`.
sol_view look(int32_t whichsol, mm_vector<int32_t>& sk, mm_vector<double>& val,
              const sol_sizes& size, const sol_sizes& count) {
  sol_view view;
  const size_t con = size_t(size.con), var = size_t(size.var);
  const auto keys = [&](size_t first, int32_t n) {
    return std::span<int32_t>(sk).subspan(first, size_t(n));
  };
  const auto values = [&](size_t first, int32_t n) {
    return std::span<double>(val).subspan(first, size_t(n));
  };
  view.skc = keys(0, count.con);
  view.skx = keys(con, count.var);
  view.xc = values(0, count.con);
  view.xx = values(con, count.var);
  if (whichsol == ZLV_SOL_ITG) return view;
  view.y = values(con + var, count.con);
  view.slc = values(2 * con + var, count.con);
  view.suc = values(3 * con + var, count.con);
  view.slx = values(4 * con + var, count.var);
  view.sux = values(4 * con + 2 * var, count.var);
  if (whichsol == ZLV_SOL_BAS) return view;
  view.skn = keys(con + var, count.cone);
  view.snx = values(4 * con + 3 * var, count.var);
  return view;
}
sol_view look(task_rec& task, int32_t whichsol, const sol_sizes& count) {
  sol_rec& rec = task.sol.rec[whichsol];
  return look(whichsol, rec.sk, rec.val, reserved_of(rec), count);
}

void copy_items(const sol_view& from, const sol_view& to) {
  std::ranges::copy(from.skc, to.skc.begin());
  std::ranges::copy(from.skx, to.skx.begin());
  std::ranges::copy(from.skn, to.skn.begin());
  std::ranges::copy(from.xc, to.xc.begin());
  std::ranges::copy(from.xx, to.xx.begin());
  std::ranges::copy(from.y, to.y.begin());
  std::ranges::copy(from.slc, to.slc.begin());
  std::ranges::copy(from.suc, to.suc.begin());
  std::ranges::copy(from.slx, to.slx.begin());
  std::ranges::copy(from.sux, to.sux.begin());
  std::ranges::copy(from.snx, to.snx.begin());
}

// ---- What a status still says after a change

struct holds {
  bool primal = false;   // primal feasibility
  bool dual = false;     // dual feasibility
  bool primray = false;  // the certificate of primal infeasibility
  bool dualray = false;  // the certificate of dual infeasibility
  bool all() const { return primal && dual && primray && dualray; }
};

int32_t feasible_part(const holds& still, int32_t both, int32_t prim, int32_t dual, int32_t none) {
  if (still.primal) return still.dual ? both : prim;
  return still.dual ? dual : none;
}

// weaker_solsta: an optimum becomes a feasible point, since even a change that leaves both sides
// feasible may open the gap.
int32_t weaker_solsta(int32_t solsta, const holds& still) {
  constexpr int32_t unknown = ZLV_SOL_STA_UNKNOWN;
  switch (solsta) {
    case ZLV_SOL_STA_OPTIMAL:
    case ZLV_SOL_STA_PRIM_AND_DUAL_FEAS:
      return feasible_part(still, ZLV_SOL_STA_PRIM_AND_DUAL_FEAS, ZLV_SOL_STA_PRIM_FEAS,
                           ZLV_SOL_STA_DUAL_FEAS, unknown);
    case ZLV_SOL_STA_NEAR_OPTIMAL:
    case ZLV_SOL_STA_NEAR_PRIM_AND_DUAL_FEAS:
      return feasible_part(still, ZLV_SOL_STA_NEAR_PRIM_AND_DUAL_FEAS, ZLV_SOL_STA_NEAR_PRIM_FEAS,
                           ZLV_SOL_STA_NEAR_DUAL_FEAS, unknown);
    case ZLV_SOL_STA_INTEGER_OPTIMAL:
    case ZLV_SOL_STA_NEAR_INTEGER_OPTIMAL:
      return still.primal ? ZLV_SOL_STA_PRIM_FEAS : unknown;
    case ZLV_SOL_STA_PRIM_FEAS:
    case ZLV_SOL_STA_NEAR_PRIM_FEAS:
      return still.primal ? solsta : unknown;
    case ZLV_SOL_STA_DUAL_FEAS:
    case ZLV_SOL_STA_NEAR_DUAL_FEAS:
      return still.dual ? solsta : unknown;
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
      return still.primray ? solsta : unknown;
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
      return still.dualray ? solsta : unknown;
    default:
      return unknown;
  }
}

int32_t weaker_prosta(int32_t prosta, const holds& still) {
  constexpr int32_t unknown = ZLV_PRO_STA_UNKNOWN;
  switch (prosta) {
    case ZLV_PRO_STA_PRIM_AND_DUAL_FEAS:
      return feasible_part(still, prosta, ZLV_PRO_STA_PRIM_FEAS, ZLV_PRO_STA_DUAL_FEAS, unknown);
    case ZLV_PRO_STA_NEAR_PRIM_AND_DUAL_FEAS:
      return feasible_part(still, prosta, ZLV_PRO_STA_NEAR_PRIM_FEAS, ZLV_PRO_STA_NEAR_DUAL_FEAS,
                           unknown);
    case ZLV_PRO_STA_PRIM_FEAS:
    case ZLV_PRO_STA_NEAR_PRIM_FEAS:
      return still.primal ? prosta : unknown;
    case ZLV_PRO_STA_DUAL_FEAS:
    case ZLV_PRO_STA_NEAR_DUAL_FEAS:
      return still.dual ? prosta : unknown;
    case ZLV_PRO_STA_PRIM_INFEAS:
      return still.primray ? prosta : unknown;
    case ZLV_PRO_STA_DUAL_INFEAS:
      return still.dualray ? prosta : unknown;
    case ZLV_PRO_STA_PRIM_AND_DUAL_INFEAS:
      if (still.primray) return still.dualray ? prosta : ZLV_PRO_STA_PRIM_INFEAS;
      return still.dualray ? ZLV_PRO_STA_DUAL_INFEAS : unknown;
    default:
      return unknown;
  }
}

void weaken(task_rec& task, const holds& still) {
  if (still.all()) return;
  for (sol_rec& rec : task.sol.rec) {
    rec.solsta = weaker_solsta(rec.solsta, still);
    rec.prosta = weaker_prosta(rec.prosta, still);
  }
}

// ---- Status keys and bounds

struct bound {
  int32_t key;
  double lower, upper;
  bool haslower() const { return key != ZLV_BK_UP && key != ZLV_BK_FR; }
  bool hasupper() const { return key != ZLV_BK_LO && key != ZLV_BK_FR; }
};

int32_t nearest_key(const bound& now, double value) {
  if (now.key == ZLV_BK_FX) return ZLV_SK_FIX;
  if (!now.haslower() && !now.hasupper()) return ZLV_SK_SUPBAS;
  if (!now.hasupper()) return ZLV_SK_LOW;
  if (!now.haslower()) return ZLV_SK_UPR;
  return now.upper - value < value - now.lower ? ZLV_SK_UPR : ZLV_SK_LOW;
}
int32_t possible_key(int32_t sk, const bound& now, double value) {
  const bool isfixed = now.key == ZLV_BK_FX;
  const bool impossible = (sk == ZLV_SK_LOW && (isfixed || !now.haslower())) ||
                          (sk == ZLV_SK_UPR && (isfixed || !now.hasupper())) ||
                          (sk == ZLV_SK_FIX && !isfixed);
  return impossible ? nearest_key(now, value) : sk;
}

// still_after: bounds enter primal feasibility by their values, the primal ray's objective too;
// duals and the dual ray only ask which sides are finite.
holds still_after(const bound& old, const bound& now) {
  const bool samelower =
      old.haslower() == now.haslower() && (!now.haslower() || old.lower == now.lower);
  const bool sameupper =
      old.hasupper() == now.hasupper() && (!now.hasupper() || old.upper == now.upper);
  const bool lostside = (old.haslower() && !now.haslower()) || (old.hasupper() && !now.hasupper());
  const bool newside = (!old.haslower() && now.haslower()) || (!old.hasupper() && now.hasupper());
  const bool looser =
      (samelower || !now.haslower() || (old.haslower() && now.lower <= old.lower)) &&
      (sameupper || !now.hasupper() || (old.hasupper() && now.upper >= old.upper));
  const bool tighter =
      (samelower || !old.haslower() || (now.haslower() && now.lower >= old.lower)) &&
      (sameupper || !old.hasupper() || (now.hasupper() && now.upper <= old.upper));
  return {.primal = looser, .dual = !lostside, .primray = tighter, .dualray = !newside};
}

}  // namespace

void sol_resize(task_rec& task, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone) {
  const sol_sizes count = counts_of(task), size = {maxnumcon, maxnumvar, maxnumcone};
  if (size.con < count.con || size.var < count.var || size.cone < count.cone) {
    // One number stands for the last two labels.
    fault_raise(fault_here(),
                "numcon: %d numvar: %d numcone: %d maxnumvar: %d maxnumcon: maxnumcone: %d",
                count.con, count.var, count.cone, maxnumvar, maxnumcon);
  }
  std::array<sol_blocks, sol_count> blocks = {
      sol_blocks(mm_at(*task.mman)), sol_blocks(mm_at(*task.mman)), sol_blocks(mm_at(*task.mman))};
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    if (!task.sol.rec[whichsol].isallocated) continue;
    make_blocks(whichsol, size, blocks[whichsol]);
    copy_items(look(task, whichsol, count),
               look(whichsol, blocks[whichsol].sk, blocks[whichsol].val, size, count));
  }
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    sol_rec& rec = task.sol.rec[whichsol];
    if (rec.isallocated) adopt(rec, size, blocks[whichsol]);
  }
}

void sol_append(task_rec& task, int32_t accmode, int32_t first, int32_t num) {
  sol_sizes count = counts_of(task);
  (accmode == ZLV_ACC_VAR   ? count.var
   : accmode == ZLV_ACC_CON ? count.con
                            : count.cone) = first + num;
  const auto fill = [&](auto items, auto value) {
    if (!items.empty()) std::ranges::fill(items.subspan(size_t(first)), value);
  };
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    if (!task.sol.rec[whichsol].isallocated) continue;
    const sol_view view = look(task, whichsol, count);
    if (accmode == ZLV_ACC_CON) {
      fill(view.skc, int32_t(ZLV_SK_BAS));
      for (const auto& item : {view.xc, view.y, view.slc, view.suc}) fill(item, 0.0);
    } else if (accmode == ZLV_ACC_VAR) {
      fill(view.skx, int32_t(ZLV_SK_FIX));
      for (const auto& item : {view.xx, view.slx, view.sux, view.snx}) fill(item, 0.0);
    } else {
      fill(view.skn, int32_t(ZLV_SK_UNK));
    }
  }
}

void sol_boundchanged(task_rec& task, int32_t accmode, int32_t i, int32_t oldkey, double oldlower,
                      double oldupper) {
  const prob_rec& prob = task.prob;
  const bound old = {oldkey, oldlower, oldupper};
  const bound now = accmode == ZLV_ACC_CON ? bound{prob.bkc[i], prob.blc[i], prob.buc[i]}
                                           : bound{prob.bkx[i], prob.blx[i], prob.bux[i]};
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    if (!task.sol.rec[whichsol].isallocated) continue;
    const sol_view view = look(task, whichsol, counts_of(task));
    int32_t& sk = accmode == ZLV_ACC_CON ? view.skc[i] : view.skx[i];
    sk = possible_key(sk, now, accmode == ZLV_ACC_CON ? view.xc[i] : view.xx[i]);
  }
  weaken(task, still_after(old, now));
}

void sol_costchanged(task_rec& task, int32_t) {
  weaken(task, {.primal = true, .dual = false, .primray = true, .dualray = false});
}

void sol_touch(task_rec& task) {
  weaken(task, {});
}

void sol_remove(task_rec& task, int32_t accmode, std::span<const uint8_t> gone) {
  const auto squeeze = [&](auto items) {
    size_t kept = 0;
    for (size_t i = 0; i < items.size(); ++i) {
      if (gone[i] == 0) items[kept++] = items[i];
    }
  };
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    if (!task.sol.rec[whichsol].isallocated) continue;
    const sol_view view = look(task, whichsol, counts_of(task));
    if (accmode == ZLV_ACC_CON) {
      squeeze(view.skc);
      for (const auto& item : {view.xc, view.y, view.slc, view.suc}) squeeze(item);
    } else if (accmode == ZLV_ACC_VAR) {
      squeeze(view.skx);
      for (const auto& item : {view.xx, view.slx, view.sux, view.snx}) squeeze(item);
    } else {
      squeeze(view.skn);
    }
  }
  if (std::ranges::all_of(gone, [](uint8_t g) { return g == 0; })) return;
  const bool isvar = accmode == ZLV_ACC_VAR;  // without a constraint or cone points stay feasible
  weaken(task, {.primal = !isvar, .dual = false, .primray = false, .dualray = !isvar});
}

rescode sol_allocate(task_rec& task, int32_t whichsol) noexcept {
  sol_rec& rec = task.sol.rec[whichsol];
  sol_free(task, whichsol);
  rec.isdef = false;
  rec.prosta = ZLV_PRO_STA_UNKNOWN;
  rec.solsta = ZLV_SOL_STA_UNKNOWN;
  try {
    sol_ensure(task, whichsol);
    return rescode::ok;
  } catch (const std::bad_alloc&) {
    return rescode::err_space;
  } catch (const std::length_error&) {
    return rescode::err_space;
  }
}

void sol_ensure(task_rec& task, int32_t whichsol) {
  sol_rec& rec = task.sol.rec[whichsol];
  if (rec.isallocated) return;
  sol_blocks blocks(mm_at(*task.mman));
  make_blocks(whichsol, reserved_of(task), blocks);
  adopt(rec, reserved_of(task), blocks);
}

void sol_free(task_rec& task, int32_t whichsol) noexcept {
  sol_rec& rec = task.sol.rec[whichsol];
  sol_blocks blocks(mm_at(*task.mman));  // takes the old blocks away with it
  adopt(rec, {}, blocks);
  rec.isallocated = false;
}

sol_view sol_items(task_rec& task, int32_t whichsol) noexcept {
  return task.sol.rec[whichsol].isallocated ? look(task, whichsol, counts_of(task)) : sol_view{};
}

sol_view sol_access(task_rec& task, int32_t whichsol) {
  if (whichsol == ZLV_SOL_BAS && !task.sol.rec[whichsol].isallocated) {
    fault_raise(fault_here(), "Basic soltion is not defined");
  }
  return sol_items(task, whichsol);
}

void sol_define(task_rec& task, int32_t whichsol, int32_t prosta, int32_t solsta) noexcept {
  sol_rec& rec = task.sol.rec[whichsol];
  rec.isdef = true;
  rec.prosta = prosta;
  rec.solsta = solsta;
}
void sol_undefine(task_rec& task, int32_t whichsol) noexcept {
  task.sol.rec[whichsol].isdef = false;
}

bool sol_exists(const task_rec& task, int32_t whichsol) noexcept {
  return sk_length(whichsol, reserved_of(task)) != 0 || !task.sol.rec[whichsol].sk.empty();
}
bool sol_isdef(const task_rec& task, int32_t whichsol) noexcept {
  return sol_exists(task, whichsol) && task.sol.rec[whichsol].isdef;
}

void sol_copy(task_rec& to, task_rec& from, int32_t whichsol) {
  const sol_rec& source = from.sol.rec[whichsol];
  sol_rec& target = to.sol.rec[whichsol];
  if (source.isallocated) {
    sol_blocks blocks(mm_at(*to.mman));
    make_blocks(whichsol, reserved_of(to), blocks);
    copy_items(look(from, whichsol, counts_of(from)),
               look(whichsol, blocks.sk, blocks.val, reserved_of(to), counts_of(to)));
    adopt(target, reserved_of(to), blocks);
  } else {
    sol_free(to, whichsol);
  }
  target.isdef = source.isdef;
  target.prosta = source.prosta;
  target.solsta = source.solsta;
}

sol_view sol_make(sol_rec& rec, int32_t whichsol, const prob_rec& p) {
  sol_blocks blocks(rec.sk.get_allocator().place);
  make_blocks(whichsol, reserved_of(p), blocks);
  adopt(rec, reserved_of(p), blocks);
  return look(whichsol, rec.sk, rec.val, reserved_of(p), counts_of(p));
}

void sol_adapt(sol_rec& rec, int32_t whichsol, const prob_rec& p) {
  sol_blocks blocks(rec.sk.get_allocator().place);
  make_blocks(whichsol, reserved_of(p), blocks);
  copy_items(look(whichsol, rec.sk, rec.val, reserved_of(rec), counts_of(p)),
             look(whichsol, blocks.sk, blocks.val, reserved_of(p), counts_of(p)));
  adopt(rec, reserved_of(p), blocks);
}

rescode chk_whichsol(int32_t whichsol) noexcept {
  return whichsol >= 0 && whichsol < sol_count ? rescode::ok : rescode::err_whichsol;
}
rescode chk_soldef(task_rec& task, int32_t whichsol) noexcept {
  if (const rescode r = chk_whichsol(whichsol); r != rescode::ok) return r;
  if (sol_isdef(task, whichsol)) return rescode::ok;
  return task_fail(task, rescode::err_undef_solution, whichsol);
}
