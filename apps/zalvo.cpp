// The program `zalvo`: reads a model file, solves it (or writes it in another format) and reports. It
// uses the public interface only.

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "compare.h"
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

// sense: the objective sense that a parameter file leaves as it is; negative: none.
int32_t set_parameters(ZLV_task_t task, const app_options& options, int32_t sense) {
  int32_t r = ZLV_putintparam(task, ZLV_IPAR_CHECK_CTRL_C, ZLV_ON);
  if (r == ZLV_RES_OK && !options.write.empty()) {
    r = ZLV_putintparam(task, ZLV_IPAR_WRITE_PRECISION, 17);
  }
  if (r == ZLV_RES_OK && !options.paramfile.empty()) {
    r = ZLV_putstrparam(task, ZLV_SPAR_PARAM_READ_FILE_NAME, options.paramfile.c_str());
    if (r == ZLV_RES_OK) r = ZLV_readparamfile(task);
    if (r == ZLV_RES_OK && sense >= 0) r = ZLV_putintparam(task, ZLV_IPAR_OBJECTIVE_SENSE, sense);
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

// The environment of the program, or null.
env_handle make_env() {
  ZLV_env_t env = nullptr;
  if (ZLV_makeenv(&env, nullptr, nullptr, nullptr, nullptr) != ZLV_RES_OK) return nullptr;
  env_handle handle(env);
  ZLV_putctrlcfunc(env, is_interrupted, nullptr);
  return ZLV_initenv(env) == ZLV_RES_OK ? std::move(handle) : nullptr;
}
task_handle make_task(ZLV_env_t env) {
  ZLV_task_t task = nullptr;
  if (ZLV_makeemptytask(env, &task) != ZLV_RES_OK) return nullptr;
  return task_handle(task);
}

// Reads a model. What the command line says counts more than parameters that came with the model,
// but a parameter file does not turn its objective round.
int32_t read_model(ZLV_task_t task, const app_options& options, const std::string& file) {
  int32_t r = set_parameters(task, options, -1);
  // Only a parameter file that cannot be opened is a mere warning to the library.
  if (r != ZLV_RES_OK) return is_error(r) ? r : ZLV_RES_ERR_FILE_OPEN;
  r = ZLV_readdata(task, file.c_str());
  if (r != ZLV_RES_OK) return r;
  int32_t sense = 0;
  ZLV_getintparam(task, ZLV_IPAR_OBJECTIVE_SENSE, &sense);
  return set_parameters(task, options, sense);
}

app_exit exit_of(int32_t code) {
  if (code == ZLV_RES_OK) return app_exit::solved;
  return is_error(code) ? exit_of_error(code) : app_exit::unsolved;
}

app_exit compare(const app_options& options) {
  const env_handle env = make_env();
  const task_handle a = env ? make_task(env.get()) : nullptr;
  const task_handle b = env ? make_task(env.get()) : nullptr;
  if (!a || !b) return app_exit::fault;
  app_options quiet = options;  // standard output is for the differences
  quiet.quiet = true;
  for (const auto& [task, file] :
       {std::pair{a.get(), options.compare[0]}, {b.get(), options.compare[1]}}) {
    link_streams(env.get(), task, quiet);
    if (const int32_t r = read_model(task, options, file); r != ZLV_RES_OK) return exit_of(r);
  }
  const bool isquiet = options.quiet || options.json;
  const int64_t num = app_compare(a.get(), b.get(), isquiet ? nullptr : &std::cout);
  if (!std::cout.flush()) {
    std::cerr << "zalvo: standard output cannot be written\n";
    return app_exit::fault;
  }
  return num == 0 ? app_exit::solved : app_exit::unsolved;
}

app_exit run(const app_options& options) {
  if (!options.compare.empty()) return compare(options);
  const auto start = std::chrono::steady_clock::now();
  const env_handle env = make_env();
  const task_handle task = env ? make_task(env.get()) : nullptr;
  if (!task) return app_exit::fault;
  link_streams(env.get(), task.get(), options);
  app_result result;
  result.file = options.file;
  result.response = read_model(task.get(), options, options.file);
  result.seconds.read = seconds_since(start);
  if (result.response == ZLV_RES_OK) {
    result.response = options.write.empty() ? ZLV_optimize(task.get())
                                            : ZLV_writedata(task.get(), options.write.c_str());
  }
  result.seconds.total = seconds_since(start);
  if (!options.write.empty()) return exit_of(result.response);
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
