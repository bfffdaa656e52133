// The progress logger of the driver: what the log says when a phase begins or ends, and the rows of
// the simplex optimizers.

#include "cpub/callback.h"
#include "zalvo/frame.h"
#include "zalvo/zalvoopt.h"

namespace {

struct phase_text {
  int32_t where;
  int32_t level;  // parameter that must not be zero, besides the task's log level
  const char* text;
};

constexpr phase_text texts[] = {
    {callback_code::begin_intpnt, ipar::log_intpnt, "Interior-point optimizer started.\n"},
    {callback_code::begin_conic, ipar::log_intpnt, "Conic interior-point optimizer started.\n"},
    {callback_code::begin_bi, ipar::log_bi, "Basis identification started.\n"},
    {callback_code::begin_presolve, ipar::log_presolve, "Presolve started.\n"},
    {callback_code::end_presolve, ipar::log_presolve, "Presolve terminated.\n"},
    {callback_code::begin_simplex, ipar::log_sim, "Simplex optimizer started.\n"},
    {callback_code::end_simplex, ipar::log_sim, "Simplex optimizer terminated.\n"},
    {callback_code::begin_dual_simplex, ipar::log_sim,
     "Dual simplex optimizer started.\nDual simplex optimizer setup started.\n"},
    {callback_code::dual_simplex, ipar::log_sim, "Dual simplex optimizer setup terminated.\n"},
    {callback_code::end_dual_simplex, ipar::log_sim, "Dual simplex optimizer terminated.\n"},
    {callback_code::begin_primal_simplex, ipar::log_sim,
     "Primal simplex optimizer started.\nPrimal simplex optimizer setup started.\n"},
    {callback_code::primal_simplex, ipar::log_sim, "Primal simplex optimizer setup terminated.\n"},
    {callback_code::end_primal_simplex, ipar::log_sim, "Primal simplex optimizer terminated.\n"},
};

void simplex_head(task_rec& t, const char* objective) {
  task_echo(t, msg_kind::log, "\n%-8s  %-8s  %-20s  %-20s  %-8s\n", "ITER", "DEGITER%", "FEAS",
            objective, "TIME(s)");
}

void simplex_row(task_rec& t, int32_t numiter, int32_t numdeg, double objective, double time) {
  task_echo(t, msg_kind::log, "%-8d  %-8.2f  %-20.10e  %-20.10e  %-8.2f\n", numiter,
            100.0 * numdeg / (numiter + 1.0), t.inf.d[dinf::sim_feas], objective, time);
}

// Heads and rows, where the level of the simplex log lets them through.
void log_simplex(task_rec& t, int32_t where, const timer& clock) {
  const inf_values& inf = t.inf;
  switch (where) {
    case callback_code::dual_simplex:
      return simplex_head(t, "DOBJ");
    case callback_code::primal_simplex:
      return simplex_head(t, "POBJ");
    case callback_code::update_dual_simplex:
      return simplex_row(t, inf.i[iinf::sim_dual_iter], inf.i[iinf::sim_dual_deg_iter],
                         inf.d[dinf::sim_dual_obj], timer_wall(clock));
    case callback_code::update_primal_simplex:
      return simplex_row(t, inf.i[iinf::sim_primal_iter], inf.i[iinf::sim_primal_deg_iter],
                         inf.d[dinf::sim_obj], timer_wall(clock));
    default:
      return;
  }
}

void log_end(task_rec& t, const char* what, rescode result) {
  task_echo(t, msg_kind::log, "%s terminated. CPU Time: %-.2f. Real Time: %-.2f. %s\n\n", what,
            t.inf.d[dinf::intpnt_cputime], t.inf.d[dinf::intpnt_realtime],
            result == rescode::ok ? "" : rescode_description(result));
}

}  // namespace

void opt_logphase(task_rec& t, int32_t where, const timer& clock, rescode result) {
  if (t.par.i[ipar::log] == 0) return;
  for (const phase_text& row : texts) {
    if (row.where == where && t.par.i[row.level] != 0) task_echo(t, msg_kind::log, "%s", row.text);
  }
  if (t.par.i[ipar::log_sim] != 0) log_simplex(t, where, clock);
  if (t.par.i[ipar::log_intpnt] != 0) {
    if (where == callback_code::end_intpnt) log_end(t, "Interior-point optimizer", result);
    if (where == callback_code::end_conic) log_end(t, "Conic interior-point optimizer", result);
  }
  if (where == callback_code::end_bi && t.par.i[ipar::log_bi] != 0) {
    task_echo(t, msg_kind::log, "Basis identification terminated. Time: %-.2f\n",
              t.inf.d[dinf::bi_cputime]);
  }
}
