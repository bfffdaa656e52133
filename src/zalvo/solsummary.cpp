// The report of the defined solutions and of the last run's times and counts.
#include "zalvo/frame.h"
#include "zalvo/solution.h"

namespace {

// What the report prints of one solution; 0 where ZLV_getsolutioninf delivered nothing.
struct summary {
  int32_t prosta = 0, solsta = 0;
  double primalobj = 0, maxpbi = 0, maxpcni = 0, maxpeqi = 0, maxinti = 0;
  double dualobj = 0, maxdbi = 0, maxdcni = 0, maxdeqi = 0;
};

void echo_statuses(task_rec& task, msg_kind stream, const summary& s) {
  char text[ZLV_MAX_STR_LEN] = "";
  ZLV_prostatostr(&task, s.prosta, text);
  task_echo(task, stream, "Problem status  : %-s\n", text);
  ZLV_solstatostr(&task, s.solsta, text);
  task_echo(task, stream, "Solution status : %-s\n", text);
}

void echo_interior(task_rec& task, msg_kind stream, const summary& s) {
  task_echo(task, stream, "Interior-point solution\n");
  echo_statuses(task, stream, s);
  task_echo(task, stream,
            "%-6s - objective: %-18.10e eq. infeas.: %-8.2e max bound infeas.: %-8.2e "
            "cone infeas.: %-8.2e\n",
            "Primal", s.primalobj, s.maxpeqi, s.maxpbi, s.maxpcni);
  task_echo(task, stream,
            "%-6s - objective: %-18.10e eq. infeas.: %-8.2e max bound infeas.: %-8.2e "
            "cone infeas.: %-8.2e\n\n",
            "Dual", s.dualobj, s.maxdeqi, s.maxdbi, s.maxdcni);
}

void echo_basic(task_rec& task, msg_kind stream, const summary& s) {
  constexpr const char* row =
      "%-6s - objective: %-18.10e eq. infeas.: %-8.2e max bound infeas.: %-8.2e\n";
  task_echo(task, stream, "Basic solution\n");
  echo_statuses(task, stream, s);
  task_echo(task, stream, row, "Primal", s.primalobj, s.maxpeqi, s.maxpbi);
  task_echo(task, stream, row, "Dual", s.dualobj, s.maxdeqi, s.maxdbi);
}

void echo_integer(task_rec& task, msg_kind stream, const summary& s) {
  task_echo(task, stream, "\nInteger solution\n");
  echo_statuses(task, stream, s);
  task_echo(task, stream,
            "%-6s - objective: %-18.10e eq. infeas.: %-8.2e max bound infeas.: %-8.2e "
            "integer infeas.: %-8.2e\n",
            "Primal", s.primalobj, s.maxpeqi, s.maxpbi, s.maxinti);
}

// One line of the run's statistics: a label with its indentation, the word before the count, or
// null for a line without one, and the items.
struct run_line {
  const char *label, *word;
  int32_t count, cputime;
};
constexpr run_line run_lines[] = {
    {"  Interior-point", "iterations ", iinf::intpnt_iter, dinf::intpnt_cputime},
    {"    Basis identification", nullptr, 0, dinf::bi_cputime},
    {"      Primal", "iterations ", iinf::bi_primal_iter, dinf::bi_primal_cputime},
    {"      Dual", "iterations ", iinf::bi_dual_iter, dinf::bi_dual_cputime},
    {"      Clean", "iterations ", iinf::bi_clean_iter, dinf::bi_clean_cputime},
    {"  Simplex", nullptr, 0, dinf::sim_cputime},
    {"    Primal simplex", "iterations ", iinf::sim_primal_iter, dinf::sim_primal_cputime},
    {"    Dual simplex", "iterations ", iinf::sim_dual_iter, dinf::sim_dual_cputime},
    {"  Mixed integer", "relaxations", iinf::mio_num_relax, dinf::mio_cputime}};

void echo_run(task_rec& task, msg_kind stream) {
  const inf_values& inf = task.inf;
  task_echo(task, stream, "\n%-25s - real time  : %-10.2f cpu time: %-8.2f\n", "Optimizer",
            inf.d[dinf::optimizer_realtime], inf.d[dinf::optimizer_cputime]);
  for (const run_line& line : run_lines) {
    if (line.word == nullptr) {
      task_echo(task, stream, "%-25s -                         cpu time: %-8.2f\n", line.label,
                inf.d[line.cputime]);
    } else {
      task_echo(task, stream, "%-25s - %s: %-10d cpu time: %-8.2f\n", line.label, line.word,
                inf.i[line.count], inf.d[line.cputime]);
    }
  }
  task_echo(task, stream, "\n");
}

}  // namespace

int32_t ZLV_solutionsummary(ZLV_task_t task, int32_t whichstream) {
  return task_call(task, [=](task_rec& t) {
    // Writes on a stream that does not exist fail and are not looked at.
    const bool iswritten =
        t.par.i[ipar::log] != 0 && whichstream >= ZLV_STREAM_LOG && whichstream <= ZLV_STREAM_WRN;
    const auto stream = msg_kind(iswritten ? whichstream : ZLV_STREAM_LOG);
    rescode result = rescode::ok;
    for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
      if (!sol_isdef(t, whichsol)) continue;
      summary s;
      result = rescode(ZLV_getsolutioninf(&t, whichsol, &s.prosta, &s.solsta, &s.primalobj,
                                          &s.maxpbi, &s.maxpcni, &s.maxpeqi, &s.maxinti, &s.dualobj,
                                          &s.maxdbi, &s.maxdcni, &s.maxdeqi));
      if (!iswritten) continue;
      if (whichsol == ZLV_SOL_ITR) echo_interior(t, stream, s);
      if (whichsol == ZLV_SOL_BAS) echo_basic(t, stream, s);
      if (whichsol == ZLV_SOL_ITG) echo_integer(t, stream, s);
    }
    if (iswritten) echo_run(t, stream);
    return result;
  });
}
