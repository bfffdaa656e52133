// The program `zalvo`: reads a model file, solves it (or writes it in another format) and reports. It
// uses the public interface only.

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "options.h"
#include "result.h"
#include "zalvo.h"

namespace {

volatile std::sig_atomic_t interrupted = 0;  // NOLINT: what a signal handler may write

void on_interrupt(int) {
  interrupted = 1;
}
int32_t is_interrupted(void*) {
  return interrupted != 0 ? 1 : 0;
}

void print_to(void* handle, const char* text) {
  std::fputs(text, static_cast<std::FILE*>(handle));
}

struct env_deleter {
  void operator()(ZLV_env_t env) const { ZLV_deleteenv(&env); }
};
struct task_deleter {
  void operator()(ZLV_task_t task) const { ZLV_deletetask(&task); }
};
using env_handle = std::unique_ptr<std::remove_pointer_t<ZLV_env_t>, env_deleter>;
using task_handle = std::unique_ptr<std::remove_pointer_t<ZLV_task_t>, task_deleter>;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A response code that is no fault of the caller's.
bool is_internal(int32_t code) {
  return code == ZLV_RES_ERR_INTERNAL || code == ZLV_RES_ERR_API_FATAL_ERROR ||
         code == ZLV_RES_ERR_API_INTERNAL || code == ZLV_RES_ERR_UNKNOWN ||
         code == ZLV_RES_TRM_INTERNAL || code == ZLV_RES_ERR_SPACE;
}

bool is_error(int32_t code) {
  return code >= 1000 && code < 4000;
}

app_exit exit_of_error(int32_t code) {
  return is_internal(code) ? app_exit::fault : app_exit::badinput;
}

std::string upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
    if (c == '-' || c == ' ') c = '_';
  }
  return text;
}

int32_t set_named(ZLV_task_t task, const std::string& assignment) {
  const size_t eq = assignment.find('=');
  if (eq == std::string::npos) {
    std::cerr << "zalvo: '-p " << assignment << "' is not of the form NAME=VALUE\n";
    return ZLV_RES_ERR_PARAM_NAME;
  }
  return ZLV_putparam(task, assignment.substr(0, eq).c_str(), assignment.substr(eq + 1).c_str());
}

int32_t set_parameters(ZLV_task_t task, const app_options& options) {
  int32_t r = ZLV_putintparam(task, ZLV_IPAR_CHECK_CTRL_C, ZLV_ON);
  if (r == ZLV_RES_OK && !options.write.empty()) {
    r = ZLV_putintparam(task, ZLV_IPAR_WRITE_PRECISION, 17);
  }
  if (r == ZLV_RES_OK && !options.paramfile.empty()) {
    r = ZLV_putstrparam(task, ZLV_SPAR_PARAM_READ_FILE_NAME, options.paramfile.c_str());
    if (r == ZLV_RES_OK) r = ZLV_readparamfile(task);
  }
  if (r == ZLV_RES_OK && !options.optimizer.empty()) {
    const std::string name = "ZLV_OPTIMIZER_" + upper(options.optimizer);
    r = ZLV_putparam(task, "ZLV_IPAR_OPTIMIZER", name.c_str());
  }
  if (r == ZLV_RES_OK && options.threads > 0) {
    r = ZLV_putintparam(task, ZLV_IPAR_INTPNT_NUM_THREADS, options.threads);
  }
  if (r == ZLV_RES_OK && options.timelimit >= 0) {
    r = ZLV_putdouparam(task, ZLV_DPAR_OPTIMIZER_MAX_TIME, options.timelimit);
  }
  for (const std::string& assignment : options.params) {
    if (r == ZLV_RES_OK) r = set_named(task, assignment);
  }
  return r;
}

void link_streams(ZLV_env_t env, ZLV_task_t task, const app_options& options) {
  if (options.quiet || options.json) {
    for (const int32_t stream : {ZLV_STREAM_ERR, ZLV_STREAM_WRN}) {
      ZLV_linkfunctoenvstream(env, stream, stderr, print_to);
      ZLV_linkfunctotaskstream(task, stream, stderr, print_to);
    }
    return;
  }
  ZLV_linkfunctoenvstream(env, ZLV_STREAM_LOG, stdout, print_to);
  ZLV_linkfunctotaskstream(task, ZLV_STREAM_LOG, stdout, print_to);
}

int32_t write_solution(ZLV_task_t task, const std::string& file) {
  for (const int32_t whichsol : {ZLV_SOL_ITG, ZLV_SOL_BAS, ZLV_SOL_ITR}) {
    int32_t isdef = 0;
    ZLV_solutiondef(task, whichsol, &isdef);
    if (isdef != 0) return ZLV_writesolution(task, whichsol, file.c_str());
  }
  std::cerr << "zalvo: there is no solution to write to '" << file << "'\n";
  return ZLV_RES_OK;
}

app_exit finish(ZLV_task_t task, const app_options& options, app_result& result) {
  app_gather(task, result);
  app_exit status = app_issolved(result) ? app_exit::solved : app_exit::unsolved;
  if (is_error(result.response)) status = exit_of_error(result.response);
  if (!options.quiet && !options.json && !is_error(result.response)) {
    ZLV_solutionsummary(task, ZLV_STREAM_MSG);
    std::printf("Time: %.2f seconds, of which reading %.2f.\n", result.seconds.total,
                result.seconds.read);
  }
  if (!options.solution.empty() && result.hassolution) {
    if (const int32_t r = write_solution(task, options.solution); is_error(r)) {
      status = exit_of_error(r);
    }
  }
  if (options.json) app_writejson(result, std::cout);
  if (!std::cout.flush() || std::fflush(stdout) != 0) {
    std::cerr << "zalvo: standard output cannot be written\n";
    return app_exit::fault;
  }
  return status;
}

app_exit run(const app_options& options) {
  const auto start = std::chrono::steady_clock::now();
  ZLV_env_t rawenv = nullptr;
  if (ZLV_makeenv(&rawenv, nullptr, nullptr, nullptr, nullptr) != ZLV_RES_OK)
    return app_exit::fault;
  const env_handle env(rawenv);
  ZLV_putctrlcfunc(env.get(), is_interrupted, nullptr);
  ZLV_task_t rawtask = nullptr;
  if (ZLV_initenv(env.get()) != ZLV_RES_OK ||
      ZLV_makeemptytask(env.get(), &rawtask) != ZLV_RES_OK) {
    return app_exit::fault;
  }
  const task_handle task(rawtask);
  link_streams(env.get(), task.get(), options);
  app_result result;
  result.file = options.file;
  result.response = set_parameters(task.get(), options);
  if (result.response == ZLV_RES_OK) {
    result.response = ZLV_readdata(task.get(), options.file.c_str());
    result.seconds.read = seconds_since(start);
  } else {
    // Only a parameter file that cannot be opened is a mere warning to the library.
    if (!is_error(result.response)) result.response = ZLV_RES_ERR_FILE_OPEN;
  }
  if (!is_error(result.response)) {
    result.response = options.write.empty() ? ZLV_optimize(task.get())
                                            : ZLV_writedata(task.get(), options.write.c_str());
  }
  result.seconds.total = seconds_since(start);
  if (!options.write.empty()) {
    return result.response == ZLV_RES_OK ? app_exit::solved : exit_of_error(result.response);
  }
  return finish(task.get(), options, result);
}

}  // namespace

int main(int argc, char** argv) {
  app_options options;
  app_exit status = app_exit::fault;
  if (!app_parse(argc, argv, options, status)) return int(status);
  std::signal(SIGINT, on_interrupt);
  std::signal(SIGTERM, on_interrupt);
  try {
    return int(run(options));
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "zalvo: %s\n", fault.what());
    return int(app_exit::fault);
  }
}
