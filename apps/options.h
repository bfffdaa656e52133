// Command line of the program.
#pragma once

#include <string>
#include <vector>

struct app_options {
  std::string file;                 // model file
  std::vector<std::string> params;  // NAME=VALUE, in the order given
  std::string paramfile, optimizer, solution, write;
  std::vector<std::string> compare;  // two model files, or none
  int threads = 0;                   // 0: the library's default
  double timelimit = -1;             // seconds; negative: none
  bool quiet = false, json = false;
};

enum class app_exit : int { solved = 0, unsolved = 1, badinput = 2, fault = 3 };

// app_parse: fills options. Returns true to go on; false when the program is to end with status
// (after --help, --version or a wrong command line, whose text has been printed).
bool app_parse(int argc, char** argv, app_options& options, app_exit& status);
