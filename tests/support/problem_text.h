// A task's whole problem as text, every number with all its digits and names where there are any,
// so that two problems are equal exactly when their texts are.
#pragma once

#include <zalvo.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/file_text.h"

inline std::string bound_text(ZLV_task_t task, int32_t acc, int32_t i) {
  int32_t key = 0;
  double lower = 0, upper = 0;
  ZLV_getbound(task, acc, i, &key, &lower, &upper);
  char text[80];
  std::snprintf(text, sizeof text, " %d [%.17g, %.17g]", key, lower, upper);
  return text;
}

inline std::string name_text(ZLV_task_t task, int32_t item, int32_t i) {
  int32_t len = 0;
  if (ZLV_getname(task, item, i, 0, &len, nullptr) != ZLV_RES_OK) return "?";
  std::vector<char> name(size_t(len) + 1);
  if (ZLV_getname(task, item, i, len + 1, &len, name.data()) != ZLV_RES_OK) return "?";
  return name.data();
}

inline std::string problem_text(ZLV_task_t task, bool isnamed = true) {
  std::ostringstream out;
  out.precision(17);
  int32_t numcon = 0, numvar = 0, numcone = 0, sense = 0;
  ZLV_getnumcon(task, &numcon);
  ZLV_getnumvar(task, &numvar);
  ZLV_getnumcone(task, &numcone);
  ZLV_getintparam(task, ZLV_IPAR_OBJECTIVE_SENSE, &sense);
  double cfix = 0;
  ZLV_getcfix(task, &cfix);
  out << (sense == ZLV_OBJECTIVE_SENSE_MAX ? "max " : "min ") << cfix << "\n";
  for (int32_t i = 0; i < numcon; ++i) {
    out << "row " << (isnamed ? name_text(task, ZLV_PI_CON, i) : "")
        << bound_text(task, ZLV_ACC_CON, i);
    int32_t numq = 0;
    ZLV_getnumqconknz(task, i, &numq);
    std::vector<int32_t> qi(numq + 1), qj(numq + 1);
    std::vector<double> qv(numq + 1);
    if (numq > 0) ZLV_getqconk(task, i, &numq, qi.data(), qj.data(), qv.data());
    for (int32_t k = 0; k < numq; ++k) out << " q" << qi[k] << "," << qj[k] << "=" << qv[k];
    out << "\n";
  }
  for (int32_t j = 0; j < numvar; ++j) {
    double c = 0;
    int32_t type = 0, nz = 0;
    ZLV_getcslice(task, j, j + 1, &c);
    ZLV_getvartype(task, j, &type);
    out << "col " << (isnamed ? name_text(task, ZLV_PI_VAR, j) : "") << (type != 0 ? " int" : "")
        << bound_text(task, ZLV_ACC_VAR, j) << " c=" << c;
    ZLV_getavecnumnz(task, ZLV_ACC_VAR, j, &nz);
    std::vector<int32_t> sub(nz + 1);
    std::vector<double> val(nz + 1);
    ZLV_getavec(task, ZLV_ACC_VAR, j, &nz, sub.data(), val.data());
    for (int32_t k = 0; k < nz; ++k) out << " " << sub[k] << ":" << val[k];
    out << "\n";
  }
  int32_t numq = 0;
  ZLV_getnumqobjnz(task, &numq);
  std::vector<int32_t> qi(numq + 1), qj(numq + 1);
  std::vector<double> qv(numq + 1);
  if (numq > 0) ZLV_getqobj(task, &numq, qi.data(), qj.data(), qv.data());
  for (int32_t k = 0; k < numq; ++k) out << "q " << qi[k] << "," << qj[k] << "=" << qv[k] << "\n";
  for (int32_t k = 0; k < numcone; ++k) {
    int32_t type = 0, nummem = 0;
    double par = 0;
    ZLV_getnumconemem(task, k, &nummem);
    std::vector<int32_t> mem(nummem + 1);
    ZLV_getcone(task, k, &type, &par, &nummem, mem.data());
    out << "cone " << (isnamed ? name_text(task, ZLV_PI_CONE, k) : "") << " " << type << " " << par;
    for (int32_t m = 0; m < nummem; ++m) out << " " << mem[m];
    out << "\n";
  }
  return out.str();
}
