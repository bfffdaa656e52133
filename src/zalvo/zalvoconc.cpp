// The concurrent optimizer: copies of one problem solved by different optimizers, a thread each; the
// first to finish stops the others. Between the threads there is only the stop flag; solutions and
// items are copied after all have been joined.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <span>
#include <system_error>
#include <thread>

#include "cpub/callback.h"
#include "cpub/monitor.h"
#include "zalvo/frame.h"
#include "zalvo/interrupt.h"
#include "zalvo/zalvodat.h"
#include "zalvo/zalvoopt.h"

namespace {

constexpr int32_t maxoptimizers = 4;  // of a run that ZLV_optimize starts
constexpr int32_t labelwidth = 40;    // of the log

struct conc_run {
  std::span<task_rec*> tasks;  // the calling one first
  std::span<rescode> results;
  rescode error = rescode::ok;  // the first of the run itself, not of an optimizer
  std::atomic<bool> stop = false;
};

constexpr std::array<const char*, 10> display_names = {
    "free",         "interior-point", "conic",     "qcone",     "primal simplex", "dual simplex",
    "free simplex", "mixed integer",  "nonconvex", "concurrent"};  // by ZLV_OPTIMIZER_*

const char* display_name(int32_t optimizer) {
  const bool isknown = optimizer >= 0 && optimizer < int32_t(display_names.size());
  return isknown ? display_names[size_t(optimizer)] : "unknown";
}

bool is_simplex(int32_t optimizer) {
  return optimizer == ZLV_OPTIMIZER_PRIMAL_SIMPLEX || optimizer == ZLV_OPTIMIZER_DUAL_SIMPLEX ||
         optimizer == ZLV_OPTIMIZER_FREE_SIMPLEX;
}

int32_t optimizer_of(const task_rec& t) {
  return t.par.i[ipar::optimizer];
}

using description = std::array<char, 64>;

description describe(const task_rec& t) {
  description text{};
  const int32_t optimizer = optimizer_of(t);
  if (optimizer == ZLV_OPTIMIZER_INTPNT) {
    std::snprintf(text.data(), text.size(), "%s (threads = %d)", display_name(optimizer),
                  t.par.i[ipar::intpnt_num_threads]);
  } else {
    std::snprintf(text.data(), text.size(), "%s",
                  is_simplex(optimizer) ? display_name(optimizer) : "unsupported");
  }
  return text;
}

bool is_supported(const task_rec& t) {
  const int32_t optimizer = optimizer_of(t);
  return optimizer == ZLV_OPTIMIZER_INTPNT || optimizer == ZLV_OPTIMIZER_PRIMAL_SIMPLEX ||
         optimizer == ZLV_OPTIMIZER_DUAL_SIMPLEX ||
         (optimizer == ZLV_OPTIMIZER_FREE_SIMPLEX && t.prob.numintvar == 0);
}

bool logs(const task_rec& t) {
  return t.par.i[ipar::log] != 0 && t.par.i[ipar::log_concurrent] != 0;
}

// Tells which optimizers run; an unsupported one among them is the result.
rescode announce(const conc_run& run) {
  task_rec& t = *run.tasks[0];
  const bool islogged = logs(t);
  if (islogged) {
    task_echo(t, msg_kind::log, "%-*s : %d\n", labelwidth, "Number of concurrent optimizers",
              int32_t(run.tasks.size()));
  }
  rescode r = rescode::ok;
  int32_t numthread = 0;
  for (size_t k = 0; k < run.tasks.size(); ++k) {
    const task_rec& task = *run.tasks[k];
    if (islogged) {
      std::array<char, labelwidth + 1> label{};
      std::snprintf(label.data(), label.size(), "Optimizer selected for thread number %d",
                    int32_t(k));
      task_echo(t, msg_kind::log, "%-*s : %s\n", labelwidth, label.data(), describe(task).data());
    }
    if (!is_supported(task)) r = rescode::err_concurrent_optimizer;
    numthread +=
        optimizer_of(task) == ZLV_OPTIMIZER_INTPNT ? task.par.i[ipar::intpnt_num_threads] : 1;
  }
  if (islogged) {
    task_echo(t, msg_kind::log, "%-*s : %d\n", labelwidth, "Total number of threads required",
              numthread);
  }
  return r;
}

// One optimizer from its beginning to its end. Whoever has an answer, or was told to stop, stops all.
void run_thread(conc_run& run, size_t k) noexcept {
  const int32_t code = task_call(run.tasks[k], opt_core);
  rescode r = rescode(code);
  if (r == rescode::trm_internal) r = rescode::trm_user_break;
  run.results[k] = r;
  if (r == rescode::ok || r == rescode::trm_user_break || r == rescode::trm_user_callback) {
    run.stop.store(true, std::memory_order_relaxed);
  }
}

// Runs every task to its end, the calling one in the calling thread. A thread that the system does not
// give leaves its task unsolved.
void run_threads(conc_run& run) {
  std::array<std::jthread, maxoptimizers> few;
  mm_vector<std::jthread> many(mm_at(*run.tasks[0]->mman));
  if (run.tasks.size() > maxoptimizers) many.resize(run.tasks.size());
  std::span<std::jthread> threads = few;
  if (!many.empty()) threads = many;
  for (task_rec* task : run.tasks) task->stopflag = &run.stop;
  for (size_t k = 1; k < run.tasks.size(); ++k) {
    try {
      threads[k] = std::jthread([&run, k] { run_thread(run, k); });
      continue;
    } catch (const std::system_error&) {
      run.results[k] = rescode::err_thread_create;
    } catch (const std::bad_alloc&) {
      run.results[k] = rescode::err_space;
    }
    if (run.error == rescode::ok) run.error = run.results[k];
  }
  run_thread(run, 0);
  for (std::jthread& thread : threads) {
    if (thread.joinable()) thread.join();
  }
  for (task_rec* task : run.tasks) task->stopflag = nullptr;
}

size_t winner_of(const conc_run& run) {
  for (const rescode wanted : {rescode::ok, rescode::trm_user_break}) {
    for (size_t k = run.results.size(); k-- > 0;) {
      if (run.results[k] == wanted) return k;
    }
  }
  return 0;
}

void take_over(task_rec& to, task_rec& from) {
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    if (sol_isdef(from, whichsol)) sol_copy(to, from, whichsol);
  }
  to.inf = from.inf;
}

// What the calling task returns when all threads have ended. A stop that a caller's callback asked for
// is told as such, not as the break by which the others ended.
rescode result_of(const conc_run& run, size_t winner) {
  if (run.error != rescode::ok) return run.error;
  const rescode r = run.results[winner];
  const bool isasked = std::ranges::count(run.results, rescode::trm_user_callback) > 0;
  return r != rescode::ok && isasked ? rescode::trm_user_callback : r;
}

// The run shared by both entries, between its announcements. istold: the result stands on the calling
// task's stream already.
rescode solve_all(conc_run& run, bool& istold) {
  task_rec& t = *run.tasks[0];
  for (task_rec* other : run.tasks.subspan(1)) {
    prob_rec aside(mm_at(*other->mman));
    prob_copy(t.prob, aside);
    dat_replace(*other, aside);
    other->par.i[ipar::objective_sense] = t.par.i[ipar::objective_sense];
  }
  if (const rescode r = announce(run); r != rescode::ok) return r;
  run_threads(run);
  const size_t winner = winner_of(run);
  task_rec& won = *run.tasks[winner];
  if (logs(t)) {
    task_echo(t, msg_kind::log, "Thread number %d (%s) terminated first.\n\n", int32_t(winner),
              describe(won).data());
  }
  if (winner != 0) take_over(t, won);
  t.inf.i[iinf::concurrent_num_optimizers] = int32_t(run.tasks.size());
  t.inf.i[iinf::concurrent_fastest_optimizer] = optimizer_of(won);
  const rescode r = result_of(run, winner);
  istold = r == run.results[0];
  return r;
}

// Reports its result.
rescode run_concurrent(std::span<task_rec*> tasks) {
  task_rec& t = *tasks[0];
  const timer clock = timer_start();
  mm_vector<rescode> results(tasks.size(), rescode::ok, mm_at(*t.mman));
  conc_run run{tasks, results};
  if (logs(t)) task_echo(t, msg_kind::log, "Concurrent optimizer is started.\n");
  bool istold = false;
  const auto tell = [&](monitor_where where, rescode result) {
    t.inf.d[dinf::concurrent_cputime] = timer_cpu(clock);
    t.inf.d[dinf::concurrent_realtime] = timer_wall(clock);
    const rescode asked = task_callback(t, where);
    istold = istold && (result != rescode::ok || asked == rescode::ok);
    return asked;
  };
  const rescode r =
      monitor_phase(tell, callback_code::begin_concurrent, callback_code::end_concurrent,
                    [&] { return solve_all(run, istold); });
  if (logs(t)) {
    task_echo(t, msg_kind::log,
              "Concurrent optimizer terminated. CPU Time: %-.2f. Real Time: %-.2f. %s\n\n",
              t.inf.d[dinf::concurrent_cputime], t.inf.d[dinf::concurrent_realtime],
              r == rescode::ok ? "" : rescode_description(r));
  }
  return istold ? r : task_fail(t, r);
}

// Tasks that live as long as the run.
struct extra_tasks {
  std::array<task_rec*, maxoptimizers> all{};
  explicit extra_tasks(task_rec& first) { all[0] = &first; }
  ~extra_tasks() {
    for (size_t k = 1; k < all.size(); ++k) ZLV_deletetask(&all[k]);
  }
  extra_tasks(const extra_tasks&) = delete;
  extra_tasks& operator=(const extra_tasks&) = delete;
};

// The optimizers by falling priority; equal ones in the order of this table.
std::array<int32_t, maxoptimizers> by_priority(const param_values& par) {
  struct candidate {
    int32_t optimizer, priority;
  };
  std::array<candidate, maxoptimizers> list = {{
      {ZLV_OPTIMIZER_INTPNT, par.i[ipar::concurrent_priority_intpnt]},
      {ZLV_OPTIMIZER_PRIMAL_SIMPLEX, par.i[ipar::concurrent_priority_primal_simplex]},
      {ZLV_OPTIMIZER_DUAL_SIMPLEX, par.i[ipar::concurrent_priority_dual_simplex]},
      {ZLV_OPTIMIZER_FREE_SIMPLEX, par.i[ipar::concurrent_priority_free_simplex]},
  }};
  std::stable_sort(list.begin(), list.end(),
                   [](const candidate& a, const candidate& b) { return a.priority > b.priority; });
  std::array<int32_t, maxoptimizers> order{};
  for (size_t k = 0; k < order.size(); ++k) order[k] = list[k].optimizer;
  return order;
}

// The calling task's optimizer for the length of a run.
struct optimizer_setting {
  int32_t& value;
  int32_t before;
  explicit optimizer_setting(task_rec& t) : value(t.par.i[ipar::optimizer]), before(value) {}
  ~optimizer_setting() { value = before; }
  optimizer_setting(const optimizer_setting&) = delete;
  optimizer_setting& operator=(const optimizer_setting&) = delete;
};

// Handles of a caller's array: all usable, none twice.
rescode check_tasks(task_rec& t, ZLV_task_t* tasks, int32_t num) {
  if (num < 0) return task_fail(t, rescode::err_argument_dimension, "tasks", num, 0);
  if (num == 0) return rescode::ok;
  if (const rescode r = chk_pointer(t, tasks, "tasks"); r != rescode::ok) return r;
  for (int32_t k = 0; k < num; ++k) {
    if (tasks[k] == nullptr) return task_fail(t, rescode::err_null_task);
    if (tasks[k]->env == nullptr) return task_fail(t, rescode::err_invalid_task);
    if (tasks[k] == &t || std::count(tasks, tasks + k, tasks[k]) > 0) {
      return task_fail(t, rescode::err_invalid_task);
    }
  }
  return rescode::ok;
}

}  // namespace

rescode opt_concurrent(task_rec& t) try {
  extra_tasks extra(t);
  const optimizer_setting keep(t);
  const auto order = by_priority(t.par);
  t.par.i[ipar::optimizer] = order[0];
  const int32_t num = std::clamp(t.par.i[ipar::concurrent_num_optimizers], 1, maxoptimizers);
  for (size_t k = 1; k < extra.all.size(); ++k) {
    const int32_t r = ZLV_maketask(t.env, 0, 0, &extra.all[k]);
    if (r != ZLV_RES_OK) return task_fail(t, rescode(r));
    if (int32_t(k) < num) param_copy(extra.all[k]->par, t.par);
    extra.all[k]->par.i[ipar::optimizer] = order[k];
  }
  return run_concurrent(std::span(extra.all).first(size_t(num)));
} catch (const std::bad_alloc&) {
  return task_fail(t, rescode::err_space);
}

int32_t ZLV_optimizeconcurrent(ZLV_task_t task, ZLV_task_t* tasks, int32_t num) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_tasks(t, tasks, num); r != rescode::ok) return r;
    mm_vector<task_rec*> all(mm_at(*t.mman));
    all.push_back(&t);
    all.insert(all.end(), tasks, tasks + num);
    const rescode r = run_concurrent(all);
    if (r == rescode::ok && t.par.i[ipar::infeas_report_auto] != 0) opt_infeasreport(t);
    return r;
  });
}
