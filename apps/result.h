// What a run gave, gathered through the interface, and its form as JSON.
#pragma once

#include <ostream>
#include <string>

#include "zalvo.h"

struct app_seconds {
  double read = 0, presolve = 0, optimize = 0, total = 0;
};

struct app_result {
  std::string file, name, problemtype, optimizer, problemstatus, solutionstatus, responsetext;
  int32_t rows = 0, cols = 0, nonzeros = 0, response = 0, threads = 1;
  int32_t solsta = 0;                       // ZLV_SOL_STA_* of the best defined solution
  bool hassolution = false;                 // some solution is defined
  bool haspoint = false;                    // and it is a point, not the ray of a certificate
  bool hasprimal = false, hasdual = false;  // sides of the solution that mean something
  double objective = 0, dualobjective = 0;
  double primalinfeas = 0,
         dualinfeas = 0;  // largest violations, relative to 1 + largest bound or
                          // cost; of a certificate, against its objective of 1
  int32_t itinterior = 0, itsimplex = 0, nodes = 0;
  app_seconds seconds;
};

// app_gather: fills all but file, response and the times of reading and in total.
void app_gather(ZLV_task_t task, app_result& result);
// app_writejson: one object on one line.
void app_writejson(const app_result& result, std::ostream& out);
bool app_issolved(const app_result& result);
