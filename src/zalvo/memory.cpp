// Exported functions of the memory managers: blocks for the caller, and the checks of debugging.
#include <cstdio>
#include <cstdlib>

#include "zalvo/frame.h"

namespace {

memman* manager_of(ZLV_env_t env) noexcept {
  return env != nullptr ? env->mman : nullptr;
}
memman* manager_of(ZLV_task_t task) noexcept {
  return task != nullptr ? task->mman : nullptr;
}

const char* named(const char* file) noexcept {
  return file != nullptr ? file : "";
}

// A null handle where there is nobody to report it to: the program can't go on in a known state.
[[noreturn]] void end_process(const char* text) noexcept {
  // lint-allow: the caller was told so in the header
  std::fputs(text, stdout);
  std::fflush(stdout);      // lint-allow
  std::exit(EXIT_FAILURE);  // lint-allow
}

// A fault that the manager reported has no code to travel in here: it went to the exit function.
void forget_fault(ZLV_env_t env) noexcept {
  env->hasfault = false;
}
void forget_fault(ZLV_task_t task) noexcept {
  task->hasfault = false;
}

template <class Handle>
void free_block(Handle handle, void* buffer, const char* file, int32_t line) noexcept {
  memman_free(manager_of(handle), buffer, named(file), line);
  forget_fault(handle);
}

template <class Handle>
char* copy_text(Handle handle, const char* str, const char* file, int32_t line) noexcept {
  if (handle == nullptr) end_process("ZLV_strdup\n");
  if (str == nullptr) return nullptr;
  return memman_strdup(manager_of(handle), str, named(file), line);
}

}  // namespace

void* ZLV_callocenv(ZLV_env_t env, size_t number, size_t size) {
  return memman_calloc(manager_of(env), number, size, __FILE__, __LINE__);
}
void* ZLV_calloctask(ZLV_task_t task, size_t number, size_t size) {
  return memman_calloc(manager_of(task), number, size, __FILE__, __LINE__);
}
void* ZLV_callocdbgenv(ZLV_env_t env, size_t number, size_t size, const char* file, int32_t line) {
  return memman_calloc(manager_of(env), number, size, named(file), line);
}
void* ZLV_callocdbgtask(ZLV_task_t task, size_t number, size_t size, const char* file,
                        int32_t line) {
  return memman_calloc(manager_of(task), number, size, named(file), line);
}

void ZLV_freeenv(ZLV_env_t env, void* buffer) {
  if (env != nullptr) free_block(env, buffer, __FILE__, __LINE__);
}
void ZLV_freetask(ZLV_task_t task, void* buffer) {
  if (task != nullptr) free_block(task, buffer, __FILE__, __LINE__);
}
void ZLV_freedbgenv(ZLV_env_t env, void* buffer, const char* file, int32_t line) {
  if (env == nullptr) end_process("ZLV_free\n");
  free_block(env, buffer, file, line);
}
void ZLV_freedbgtask(ZLV_task_t task, void* buffer, const char* file, int32_t line) {
  if (task == nullptr) end_process("ZLV_free\n");
  free_block(task, buffer, file, line);
}

char* ZLV_strdupenv(ZLV_env_t env, const char* str) {
  return copy_text(env, str, __FILE__, __LINE__);
}
char* ZLV_strduptask(ZLV_task_t task, const char* str) {
  return copy_text(task, str, __FILE__, __LINE__);
}
char* ZLV_strdupdbgenv(ZLV_env_t env, const char* str, const char* file, int32_t line) {
  return copy_text(env, str, file, line);
}
char* ZLV_strdupdbgtask(ZLV_task_t task, const char* str, const char* file, int32_t line) {
  return copy_text(task, str, file, line);
}

int32_t ZLV_checkmemenv(ZLV_env_t env, const char* file, int32_t line) {
  return env_call(env, [=](env_rec& e) {
    memman_scan(*e.mman, named(file), line);
    return rescode::ok;  // a fault that was found turns it into the internal error
  });
}
int32_t ZLV_checkmemtask(ZLV_task_t task, const char* file, int32_t line) {
  return task_call(task, [=](task_rec& t) {
    memman_scan(*t.mman, named(file), line);
    return rescode::ok;
  });
}
