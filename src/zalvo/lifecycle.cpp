// Making and deleting environments and tasks.
#include <cstdio>
#include <new>
#include <utility>

#include "cpub/sysinfo-x86.h"
#include "zalvo/frame.h"
#include "zalvo/interrupt.h"
#include "zalvo/zalvodat.h"

namespace {

using env_guard = std::lock_guard<std::mutex>;

constexpr size_t maxfilename = 4096;

// The memory log of a manager: "<dbgfile>.env.txt", "<dbgfile><number>.task.txt".
rescode open_memlog(memman& mman, const char* dbgfile, int32_t tasknumber) noexcept {
  if (dbgfile == nullptr || *dbgfile == '\0') return rescode::ok;
  const bool istask = tasknumber > 0;
  char name[maxfilename];
  const int size = istask ? std::snprintf(name, sizeof name, "%s%d.task.txt", dbgfile, tasknumber)
                          : std::snprintf(name, sizeof name, "%s.env.txt", dbgfile);
  if (size >= int(sizeof name)) return rescode::err_file_open;
  return memman_openlog(mman, name, istask ? "task" : "env");
}

void list_add(env_rec& env, task_rec& task) {
  const env_guard hold(env.lock);
  task.nexttask = env.firsttask;
  if (env.firsttask != nullptr) env.firsttask->prevtask = &task;
  env.firsttask = &task;
}

void list_remove(env_rec& env, task_rec& task) {
  const env_guard hold(env.lock);
  (task.prevtask != nullptr ? task.prevtask->nexttask : env.firsttask) = task.nexttask;
  if (task.nexttask != nullptr) task.nexttask->prevtask = task.prevtask;
}

// Who hears of a fault that a manager finds while its record is being taken apart.
struct last_will {
  ZLV_exitfunc exitfn = nullptr;
  void* exithandle = nullptr;
  bool hasfault = false;
};
void on_last_fault(void* ctx, const char* file, int line, const char* text) {
  auto& will = *static_cast<last_will*>(ctx);
  will.hasfault = true;
  if (will.exitfn != nullptr) will.exitfn(will.exithandle, file, line, text);
}
void on_env_fault(void* ctx, const char* file, int line, const char* text) {
  static_cast<void>(env_fatal(*static_cast<env_rec*>(ctx), file, line, text));
}
void on_task_fault(void* ctx, const char* file, int line, const char* text) {
  static_cast<void>(task_fatal(*static_cast<task_rec*>(ctx), file, line, text));
}

// The manager's verdict on the record that lived in it.
rescode verdict(const last_will& will, size_t numleft) noexcept {
  if (will.hasfault) return rescode::err_internal;
  return numleft == 0 ? rescode::ok : rescode::err_space_leaking;
}

rescode env_delete(env_rec* env) noexcept {
  msg_close(env->streams);
  miolib_detach(env->mio);
  for (task_rec* t = env->firsttask; t != nullptr; t = t->nexttask) {
    task_leavebreaks(*t);
    t->env = nullptr;
  }
  last_will will{env->exitfn, env->exithandle};
  memman* mman = env->mman;
  memman_setfatal(*mman, &will, on_last_fault);
  mm_destroy(mm_at(*mman), env);
  return verdict(will, memman_delete(mman));
}

rescode env_make(memman& mman, const char* dbgfile, env_rec*& made) {
  if (const rescode r = open_memlog(mman, dbgfile, 0); r != rescode::ok) return r;
  env_rec* env = mm_make<env_rec>(mm_at(mman), mman);
  if (env == nullptr) return rescode::err_space;
  try {
    env->isdebug = dbgfile != nullptr;
    if (dbgfile != nullptr) env->dbgfile = dbgfile;
    param_reset(env->par);
  } catch (...) {
    mm_destroy(mm_at(mman), env);
    throw;
  }
  memman_setfatal(mman, env, on_env_fault);
  made = env;
  return rescode::ok;
}

rescode task_delete(task_rec* task) noexcept {
  task_leavebreaks(*task);
  msg_close(task->streams);
  env_rec* env = task->env;
  last_will will;
  if (env != nullptr) {
    list_remove(*env, *task);
    will = {env->exitfn, env->exithandle};
  }
  memman* mman = task->mman;
  memman_setfatal(*mman, &will, on_last_fault);
  mm_destroy(mm_at(*mman), task);
  if (env == nullptr) return verdict(will, memman_delete(mman));
  const env_guard hold(env->lock);
  return verdict(will, memman_delete(mman));
}

memman* make_child(env_rec& env) {
  const env_guard hold(env.lock);
  return memman_createchild(*env.mman);
}
void delete_child(env_rec& env, memman* mman) {
  const env_guard hold(env.lock);
  memman_delete(mman);
}
int32_t next_tasknumber(env_rec& env) {
  const env_guard hold(env.lock);
  return ++env.numtaskmade;
}

rescode task_setup(task_rec& task, int32_t maxnumcon, int32_t maxnumvar) {
  env_rec& env = *task.env;
  memman_setfatal(*task.mman, &task, on_task_fault);
  if (const rescode r = open_memlog(*task.mman, env.dbgfile.c_str(), next_tasknumber(env));
      r != rescode::ok) {
    return env_fail(env, r, env.dbgfile.c_str());
  }
  param_copy(task.par, env.par);
  task_resetbreaks(task);
  if (maxnumcon < 0) return env_fail(env, rescode::err_maxnumcon, maxnumcon, 0);
  if (maxnumvar < 0) return env_fail(env, rescode::err_maxnumvar, maxnumvar, 0);
  prob_setmax(task.prob, maxnumcon, maxnumvar, 0);
  return rescode::ok;
}

rescode task_make(env_rec& env, int32_t maxnumcon, int32_t maxnumvar, task_rec*& made) {
  memman* mman = make_child(env);
  if (mman == nullptr) throw std::bad_alloc();
  task_rec* task = nullptr;
  try {
    task = mm_make<task_rec>(mm_at(*mman), env, *mman);
    if (task == nullptr) throw std::bad_alloc();
  } catch (...) {
    delete_child(env, mman);
    throw;
  }
  list_add(env, *task);
  rescode r = rescode::ok;
  try {
    r = task_setup(*task, maxnumcon, maxnumvar);
  } catch (...) {
    r = env_caught(env);
  }
  if (r == rescode::ok) {
    made = task;
  } else {
    static_cast<void>(task_delete(task));  // what failed first is told
  }
  return r;
}

// A copy of everything but the streams, the callback and the break status.
rescode task_clone(task_rec& from, task_rec*& made) {
  task_rec* clone = nullptr;
  if (const rescode r = task_make(*from.env, 0, 0, clone); r != rescode::ok) return r;
  try {
    param_copy(clone->par, from.par);
    prob_copy(from.prob, clone->prob);
    for (int32_t s = 0; s < sol_count; ++s) sol_copy(*clone, from, s);
    clone->inf = from.inf;
  } catch (...) {
    static_cast<void>(task_delete(clone));
    throw;
  }
  made = clone;
  return rescode::ok;
}

struct task_sizes {
  int32_t maxnumcon, maxnumvar, maxnumcone, maxnumanz, maxnumqnz;
};

rescode check_sizes(task_rec& t, const task_sizes& max) {
  const prob_rec& p = t.prob;
  if (max.maxnumcon < p.numcon) {
    return task_fail(t, rescode::err_maxnumcon, max.maxnumcon, p.numcon);
  }
  if (max.maxnumvar < p.numvar) {
    return task_fail(t, rescode::err_maxnumvar, max.maxnumvar, p.numvar);
  }
  if (max.maxnumcone < p.numcone) return task_fail(t, rescode::err_maxnumcone, max.maxnumcone);
  const int32_t numanz = prob_numanz(p);
  if (max.maxnumanz < numanz) return task_fail(t, rescode::err_maxnumanz, max.maxnumanz, numanz);
  if (max.maxnumqnz < prob_qused(p)) return task_fail(t, rescode::err_maxnumqnz);
  return rescode::ok;
}

}  // namespace

int32_t ZLV_makeenv(ZLV_env_t* env, void* usrptr, ZLV_allocfunc allocfunc, ZLV_freefunc freefunc,
                    const char* dbgfile) {
  if (env == nullptr) return int32_t(rescode::err_null_pointer);
  *env = nullptr;
  if ((allocfunc == nullptr) != (freefunc == nullptr)) return int32_t(rescode::err_null_pointer);
  memman* mman = memman_create(usrptr, allocfunc, freefunc, dbgfile != nullptr);
  if (mman == nullptr) return int32_t(rescode::err_space);
  rescode r = rescode::ok;
  try {
    r = env_make(*mman, dbgfile, *env);
  } catch (const std::bad_alloc&) {
    r = rescode::err_space;
  } catch (...) {
    r = rescode::err_internal;
  }
  if (r != rescode::ok) memman_delete(mman);
  return int32_t(r);
}

int32_t ZLV_initenv(ZLV_env_t env) {
  if (env == nullptr) return int32_t(rescode::err_null_env);
  if (env->isinit != 0) return int32_t(rescode::ok);
  auto& par = env->par.i;
  const sysinfo_cpu cpu =
      sysinfo_detect({par[ipar::cpu_type], par[ipar::cache_size_l1], par[ipar::cache_size_l2]});
  par[ipar::cpu_type] = cpu.type;
  par[ipar::cache_size_l1] = cpu.sizel1;
  par[ipar::cache_size_l2] = cpu.sizel2;
  env->isinit = 1;
  const rescode r = miolib_attach(env->mio);
  return int32_t(env_fail(*env, r, miolib_filename));
}

int32_t ZLV_deleteenv(ZLV_env_t* env) {
  if (env == nullptr) return int32_t(rescode::err_null_pointer);
  env_rec* gone = std::exchange(*env, nullptr);
  return gone == nullptr ? int32_t(rescode::ok) : int32_t(env_delete(gone));
}

int32_t ZLV_maketask(ZLV_env_t env, int32_t maxnumcon, int32_t maxnumvar, ZLV_task_t* task) {
  if (task != nullptr) *task = nullptr;
  return env_call(env, [=](env_rec& e) {
    if (task == nullptr) return env_fail(e, rescode::err_null_pointer, "task");
    return task_make(e, maxnumcon, maxnumvar, *task);
  });
}

int32_t ZLV_makeemptytask(ZLV_env_t env, ZLV_task_t* task) {
  return ZLV_maketask(env, 0, 0, task);
}

int32_t ZLV_deletetask(ZLV_task_t* task) {
  if (task == nullptr) return int32_t(rescode::err_null_pointer);
  task_rec* gone = std::exchange(*task, nullptr);
  return gone == nullptr ? int32_t(rescode::ok) : int32_t(task_delete(gone));
}

int32_t ZLV_clonetask(ZLV_task_t task, ZLV_task_t* clonedtask) {
  if (clonedtask != nullptr) *clonedtask = nullptr;
  return task_call(task, [=](task_rec& t) {
    if (clonedtask == nullptr) return task_fail(t, rescode::err_null_pointer, "clonedtask");
    return task_clone(t, *clonedtask);
  });
}

int32_t ZLV_resizetask(ZLV_task_t task, int32_t maxnumcon, int32_t maxnumvar, int32_t maxnumcone,
                       int32_t maxnumanz, int32_t maxnumqnz) {
  return task_call(task, [=](task_rec& t) {
    const task_sizes max = {maxnumcon, maxnumvar, maxnumcone, maxnumanz, maxnumqnz};
    if (const rescode r = check_sizes(t, max); r != rescode::ok) return r;
    // Out of space in between leaves sizes that are larger than before, which loses nothing.
    dat_setmax(t, maxnumcon, maxnumvar, maxnumcone);
    probmat_setcap(prob_mat(t.prob), maxnumanz);
    if (maxnumqnz != t.prob.maxnumqnz) prob_qsetcap(t.prob, maxnumqnz);
    return rescode::ok;
  });
}

int32_t ZLV_getenv(ZLV_task_t task, ZLV_env_t* env) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, env, "env"); r != rescode::ok) return r;
    *env = t.env;
    return rescode::ok;
  });
}
