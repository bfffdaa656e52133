// Exported functions that install and return the caller's callbacks.
#include "zalvo/frame.h"

int32_t ZLV_putcallbackfunc(ZLV_task_t task, ZLV_callbackfunc func, void* handle) {
  return task_call(task, [=](task_rec& t) {
    t.callbackfn = func;
    t.callbackhandle = handle;
    return rescode::ok;
  });
}

int32_t ZLV_getcallbackfunc(ZLV_task_t task, ZLV_callbackfunc* func, void** handle) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, func, "func"); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, handle, "handle"); r != rescode::ok) return r;
    *func = t.callbackfn;
    *handle = t.callbackhandle;
    return rescode::ok;
  });
}

int32_t ZLV_putctrlcfunc(ZLV_env_t env, ZLV_ctrlcfunc func, void* handle) {
  if (env == nullptr) return int32_t(rescode::ok);
  const std::lock_guard<std::mutex> hold(env->breaklock);
  env->ctrlcfn = func;
  env->ctrlchandle = handle;
  return int32_t(rescode::ok);
}

int32_t ZLV_putexitfunc(ZLV_env_t env, ZLV_exitfunc func, void* handle) {
  if (env == nullptr) return int32_t(rescode::ok);
  env->exitfn = func;
  env->exithandle = handle;
  return int32_t(rescode::ok);
}
