// Making and deleting environments and tasks.
#include "zalvo/frame.h"

namespace {

using env_guard = std::lock_guard<std::mutex>;

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

// task_reserve: the reserved sizes of the problem storage.
rescode task_reserve(task_rec& task, int32_t maxnumcon, int32_t maxnumvar) {
  if (maxnumcon < 0) return task_fail(task, rescode::err_maxnumcon, maxnumcon, 0);
  if (maxnumvar < 0) return task_fail(task, rescode::err_maxnumvar, maxnumvar, 0);
  task.prob.maxnumcon = maxnumcon;
  task.prob.maxnumvar = maxnumvar;
  return rescode::ok;
}

// The code of what the handler of a catch-all is holding.
rescode code_of_exception() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return rescode::err_space;
  } catch (const std::length_error&) {
    return rescode::err_space;
  } catch (...) {
    return rescode::err_internal;
  }
}

rescode env_delete(env_rec* env) noexcept {
  msg_close(env->streams);
  for (task_rec* t = env->firsttask; t != nullptr; t = t->nexttask) t->env = nullptr;
  memman* mman = env->mman;
  mm_destroy(mm_at(*mman), env);
  return memman_delete(mman) == 0 ? rescode::ok : rescode::err_space_leaking;
}

rescode env_make(memman& mman, const char* dbgfile, env_rec*& made) noexcept {
  env_rec* env = nullptr;
  try {
    env = mm_make<env_rec>(mm_at(mman), mman);
    if (env == nullptr) return rescode::err_space;
    env->isdebug = dbgfile != nullptr;
    if (dbgfile != nullptr) env->dbgfile = dbgfile;
    param_reset(env->par);
  } catch (...) {
    const rescode r = code_of_exception();
    mm_destroy(mm_at(mman), env);
    return r;
  }
  made = env;
  return rescode::ok;
}

rescode task_delete(task_rec* task) noexcept {
  msg_close(task->streams);
  if (task->env != nullptr) list_remove(*task->env, *task);
  memman* mman = task->mman;
  mm_destroy(mm_at(*mman), task);
  return memman_delete(mman) == 0 ? rescode::ok : rescode::err_space_leaking;
}

rescode task_make(env_rec& env, int32_t maxnumcon, int32_t maxnumvar, task_rec*& made) {
  memman* mman = memman_createlike(*env.mman);
  if (mman == nullptr) return env_fail(env, rescode::err_space);
  task_rec* task = nullptr;
  rescode r = rescode::ok;
  try {
    task = mm_make<task_rec>(mm_at(*mman), env, *mman);
    if (task == nullptr) throw std::bad_alloc();
    list_add(env, *task);
    param_copy(task->par, env.par);
    r = task_reserve(*task, maxnumcon, maxnumvar);
  } catch (...) {
    r = code_of_exception();
  }
  if (r == rescode::ok) {
    made = task;
    return r;
  }
  // Whatever the verdict on leaks, what failed first is told.
  const rescode verdict = task != nullptr ? task_delete(task) : rescode::ok;
  if (task == nullptr) memman_delete(mman);
  static_cast<void>(verdict);
  return env_fail(env, r, "task");
}

}  // namespace

int32_t ZLV_makeenv(ZLV_env_t* env, void* usrptr, ZLV_allocfunc allocfunc, ZLV_freefunc freefunc,
                    const char* dbgfile) {
  if (env == nullptr) return int32_t(rescode::err_null_pointer);
  *env = nullptr;
  if ((allocfunc == nullptr) != (freefunc == nullptr)) return int32_t(rescode::err_null_pointer);
  memman* mman = memman_create(usrptr, allocfunc, freefunc, dbgfile != nullptr);
  if (mman == nullptr) return int32_t(rescode::err_space);
  const rescode r = env_make(*mman, dbgfile, *env);
  if (r != rescode::ok) memman_delete(mman);
  return int32_t(r);
}

int32_t ZLV_initenv(ZLV_env_t env) {
  if (env == nullptr) return int32_t(rescode::err_null_env);
  env->isinit = 1;
  return int32_t(rescode::ok);
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

int32_t ZLV_getenv(ZLV_task_t task, ZLV_env_t* env) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, env, "env"); r != rescode::ok) return r;
    *env = t.env;
    return rescode::ok;
  });
}
