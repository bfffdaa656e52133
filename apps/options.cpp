#include "options.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "zalvo.h"

namespace {

std::string version_text() {
  int32_t major = 0, minor = 0, build = 0, revision = 0;
  ZLV_getversion(&major, &minor, &build, &revision);
  return "zalvo " + std::to_string(major) + "." + std::to_string(minor) + "." +
         std::to_string(build) + "." + std::to_string(revision);
}

}  // namespace

bool app_parse(int argc, char** argv, app_options& options, app_exit& status) {
  CLI::App app("Solves a linear, quadratic, conic or mixed-integer model file.");
  CLI::Option* file = app.add_option("FILE", options.file,
                                     "Model file: .mps, .lp, .opf or .mbt, each also with .gz");
  app.add_option("-p", options.params,
                 "NAME=VALUE: sets a parameter; a value may be symbolic. May be repeated")
      ->allow_extra_args(false);
  app.add_option("--params", options.paramfile, "Reads a parameter file");
  app.add_option(
      "--optimizer", options.optimizer,
      "free, intpnt, conic, qcone, primal_simplex, dual_simplex, free_simplex, mixed_int, "
      "concurrent");
  app.add_option("--threads", options.threads, "Threads of the interior-point optimizer")
      ->check(CLI::PositiveNumber);
  app.add_option("--time-limit", options.timelimit, "Seconds after which the optimizer stops")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--solution", options.solution, "Writes the solution to a file");
  app.add_option("--write", options.write,
                 "Writes the model to a file, in the format of its ending, instead of solving it");
  CLI::Option* compare =
      app.add_option("--compare", options.compare,
                     "A B: tells whether two model files hold the same problem, and in what they "
                     "differ, instead of solving")
          ->expected(2);
  file->excludes(compare);
  app.add_flag("--quiet", options.quiet, "No log; errors and warnings go to standard error");
  app.add_flag("--json", options.json, "Standard output holds one JSON object with the result");
  app.set_version_flag("--version", version_text());
  app.footer(
      "Exit status: 0 solved (optimal, near optimal or a certificate), 1 stopped by a limit or "
      "unknown,\n2 bad input or usage, 3 internal failure. With --compare: 0 the same, 1 "
      "different.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    status = app.exit(e, std::cout, std::cerr) == 0 ? app_exit::solved : app_exit::badinput;
    return false;
  }
  if (options.file.empty() && options.compare.empty()) {
    std::cerr << "zalvo: FILE is required\nRun with --help for more information.\n";
    status = app_exit::badinput;
    return false;
  }
  return true;
}
