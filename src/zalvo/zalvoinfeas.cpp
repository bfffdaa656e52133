// The infeasibility report: the constraints and bounds that a certificate says are in conflict, or the
// variables that an unbounded direction moves, in the caller's names.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "cpub/callback.h"
#include "zalvo/frame.h"
#include "zalvo/interrupt.h"
#include "zalvo/zalvodat.h"
#include "zalvo/zalvoopt.h"

namespace {

// A multiplier below this share of the largest one is rounding and is not listed.
constexpr double listed_share = 1e-9;

enum class cert { none, primal, dual };

cert cert_of(const task_rec& t, int32_t whichsol) {
  if (!sol_isdef(t, whichsol)) return cert::none;
  switch (t.sol.rec[whichsol].solsta) {
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
      return cert::primal;
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
      return cert::dual;
    default:
      return cert::none;
  }
}

using item_name = std::array<char, ZLV_MAX_STR_LEN>;

item_name name_of(const task_rec& t, int32_t kind, int32_t i) {
  item_name text{};
  const std::string_view name = prob_name(t.prob, kind, i);
  if (name.empty() || t.par.i[ipar::infeas_generic_names] != 0) {
    std::snprintf(text.data(), text.size(), "%s%d", kind == ZLV_PI_CON ? "c" : "x", i);
  } else {
    std::snprintf(text.data(), text.size(), "%.*s", int32_t(name.size()), name.data());
  }
  return text;
}

// One kind of items of a certificate of primal infeasibility: bounds and their multipliers.
struct bound_list {
  int32_t kind;  // ZLV_PI_*
  std::span<const double> lower, upper, sl, su;
};

double largest(std::span<const double> values) {
  double most = 0;
  for (const double v : values) most = std::max(most, std::abs(v));
  return most;
}

void list_bounds(task_rec& t, const bound_list& list, double smallest) {
  bool headed = false;
  for (int32_t i = 0; i < int32_t(list.sl.size()); ++i) {
    const bool lower = std::abs(list.sl[i]) > smallest, upper = std::abs(list.su[i]) > smallest;
    if (!lower && !upper) continue;
    if (!headed) {
      task_echo(t, msg_kind::log, "The following %s are involved in the infeasibility.\n\n",
                list.kind == ZLV_PI_CON ? "constraints" : "bound constraints");
      task_echo(t, msg_kind::log, "%-8s %-24s %-16s %-16s %-16s %-16s\n", "Index", "Name",
                "Lower bound", "Upper bound", "Dual lower", "Dual upper");
      headed = true;
    }
    task_echo(t, msg_kind::log, "%-8d %-24s %-16.8e %-16.8e %-16.8e %-16.8e\n", i,
              name_of(t, list.kind, i).data(), list.lower[i], list.upper[i], list.sl[i],
              list.su[i]);
  }
  if (headed) task_echo(t, msg_kind::log, "\n");
}

void report_primal(task_rec& t, const sol_view& sol) {
  task_echo(t, msg_kind::log, "\nMODEL PRIMAL INFEASIBILITY REPORT\n\n");
  task_echo(t, msg_kind::log, "Problem status: The problem is primal infeasible\n\n");
  const double smallest = listed_share * std::max({largest(sol.slc), largest(sol.suc),
                                                   largest(sol.slx), largest(sol.sux)});
  const prob_rec& p = t.prob;
  list_bounds(t, {ZLV_PI_CON, p.blc, p.buc, sol.slc, sol.suc}, smallest);
  list_bounds(t, {ZLV_PI_VAR, p.blx, p.bux, sol.slx, sol.sux}, smallest);
}

void report_dual(task_rec& t, const sol_view& sol) {
  task_echo(t, msg_kind::log, "\nMODEL DUAL INFEASIBILITY REPORT\n\n");
  task_echo(t, msg_kind::log, "Problem status: The problem is dual infeasible\n\n");
  task_echo(t, msg_kind::log,
            "The following variables move along a direction that improves the objective without "
            "end.\n\n");
  task_echo(t, msg_kind::log, "%-8s %-24s %-16s %-16s %-16s %-16s\n", "Index", "Name", "Direction",
            "Objective", "Lower bound", "Upper bound");
  const double smallest = listed_share * largest(sol.xx);
  const prob_rec& p = t.prob;
  for (int32_t j = 0; j < p.numvar; ++j) {
    if (!(std::abs(sol.xx[j]) > smallest)) continue;
    task_echo(t, msg_kind::log, "%-8d %-24s %-16.8e %-16.8e %-16.8e %-16.8e\n", j,
              name_of(t, ZLV_PI_VAR, j).data(), sol.xx[j], p.c[j], p.blx[j], p.bux[j]);
  }
  task_echo(t, msg_kind::log, "\n");
}

}  // namespace

void opt_infeasreport(task_rec& t) {
  static_cast<void>(task_callback(t, callback_code::begin_infeas_ana));
  const bool primalfirst = t.par.i[ipar::infeas_prefer_primal] != 0;
  int32_t chosen = -1;
  for (const int32_t whichsol : {ZLV_SOL_BAS, ZLV_SOL_ITR}) {
    const cert c = cert_of(t, whichsol);
    const bool preferred = c == (primalfirst ? cert::primal : cert::dual);
    if (preferred || (c != cert::none && chosen < 0)) chosen = whichsol;
  }
  if (chosen >= 0 && t.par.i[ipar::infeas_report_level] > 0) {
    const sol_view sol = sol_access(t, chosen);
    if (cert_of(t, chosen) == cert::primal) {
      report_primal(t, sol);
    } else {
      report_dual(t, sol);
    }
  }
  static_cast<void>(task_callback(t, callback_code::end_infeas_ana));
}
