#include "result.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <vector>

namespace {

constexpr int textsize = ZLV_MAX_STR_LEN;

// The best defined solution: integer, basic, interior; -1 for none.
int32_t best_solution(ZLV_task_t task) {
  for (const int32_t whichsol : {ZLV_SOL_ITG, ZLV_SOL_BAS, ZLV_SOL_ITR}) {
    int32_t isdef = 0;
    ZLV_solutiondef(task, whichsol, &isdef);
    if (isdef != 0) return whichsol;
  }
  return -1;
}

// A certificate has one side only: the duals prove primal infeasibility, the primal values dual.
bool is_primalproof(int32_t solsta) {
  return solsta == ZLV_SOL_STA_DUAL_INFEAS_CER || solsta == ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER;
}
bool is_dualproof(int32_t solsta) {
  return solsta == ZLV_SOL_STA_PRIM_INFEAS_CER || solsta == ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER;
}

// Largest finite constraint bound and cost in absolute value.
void data_norms(ZLV_task_t task, const app_result& result, double& nrmb, double& nrmc) {
  const size_t m = size_t(result.rows), n = size_t(result.cols);
  std::vector<int32_t> bk(m);
  std::vector<double> bl(m), bu(m), c(n);
  nrmb = nrmc = 0;
  if (m > 0) ZLV_getboundslice(task, ZLV_ACC_CON, 0, result.rows, bk.data(), bl.data(), bu.data());
  if (n > 0) ZLV_getc(task, c.data());
  for (size_t i = 0; i < m; ++i) {
    if (bk[i] == ZLV_BK_FR) continue;
    if (bk[i] != ZLV_BK_UP) nrmb = std::max(nrmb, std::abs(bl[i]));
    if (bk[i] != ZLV_BK_LO) nrmb = std::max(nrmb, std::abs(bu[i]));
  }
  for (const double cost : c) nrmc = std::max(nrmc, std::abs(cost));
}

double worst(double a, double b) {
  return (b > a || b != b) ? b : a;  // a NaN is the worst of all
}

void gather_solution(ZLV_task_t task, int32_t whichsol, app_result& result) {
  int32_t prosta = 0;
  double pbi = 0, pcni = 0, peqi = 0, pinti = 0, dbi = 0, dcni = 0, deqi = 0;
  ZLV_getsolutioninf(task, whichsol, &prosta, &result.solsta, &result.objective, &pbi, &pcni, &peqi,
                     &pinti, &result.dualobjective, &dbi, &dcni, &deqi);
  std::array<char, textsize> text{};
  ZLV_prostatostr(task, prosta, text.data());
  result.problemstatus = text.data();
  ZLV_solstatostr(task, result.solsta, text.data());
  result.solutionstatus = text.data();
  result.hassolution = true;
  result.hasprimal = !is_dualproof(result.solsta);
  result.hasdual = !is_primalproof(result.solsta) && whichsol != ZLV_SOL_ITG;
  result.haspoint = result.hasprimal && !is_primalproof(result.solsta);
  double nrmb = 0, nrmc = 0;
  if (result.haspoint) data_norms(task, result, nrmb, nrmc);
  result.primalinfeas = worst(worst(pbi, pcni), peqi) / (1 + nrmb);
  result.dualinfeas = worst(worst(dbi, dcni), deqi) / (1 + nrmc);
}

int32_t count_item(ZLV_task_t task, int32_t item) {
  int32_t value = 0;
  ZLV_getintinf(task, item, &value);
  return value;
}
double number_item(ZLV_task_t task, int32_t item) {
  double value = 0;
  ZLV_getdouinf(task, item, &value);
  return value;
}

// The optimizer that ran: what its counters tell, else what was asked for.
std::string optimizer_name(ZLV_task_t task) {
  int32_t asked = 0;
  ZLV_getintparam(task, ZLV_IPAR_OPTIMIZER, &asked);
  switch (asked) {
    case ZLV_OPTIMIZER_CONIC:
      return "conic";
    case ZLV_OPTIMIZER_QCONE:
      return "qcone";
    case ZLV_OPTIMIZER_PRIMAL_SIMPLEX:
      return "primal simplex";
    case ZLV_OPTIMIZER_DUAL_SIMPLEX:
      return "dual simplex";
    case ZLV_OPTIMIZER_FREE_SIMPLEX:
      return "free simplex";
    case ZLV_OPTIMIZER_MIXED_INT:
      return "mixed integer";
    case ZLV_OPTIMIZER_NONCONVEX:
      return "nonconvex";
    case ZLV_OPTIMIZER_CONCURRENT:
      return "concurrent";
    default:
      break;
  }
  int32_t numcone = 0;
  ZLV_getnumcone(task, &numcone);
  return numcone > 0 ? "conic" : "interior-point";
}

std::string problem_type(ZLV_task_t task) {
  int32_t type = 0;
  std::array<char, textsize> text{};
  ZLV_getprobtype(task, &type);
  ZLV_probtypetostr(task, type, text.data());
  const std::string full = text.data();
  return full.substr(0, full.find(' '));  // without the explanation in brackets
}

// ---- JSON

std::string quoted(const std::string& text) {
  static constexpr char hex[] = "0123456789abcdef";
  std::string out = "\"";
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (u < 0x20 || u == 0x7f) {
      out += "\\u00";
      out += hex[u >> 4];
      out += hex[u & 15];
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string number(double value) {
  if (!std::isfinite(value)) return "null";
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return {text.data(), end};
}

}  // namespace

void app_gather(ZLV_task_t task, app_result& result) {
  std::array<char, textsize> text{};
  int32_t len = 0;
  ZLV_gettaskname(task, textsize, &len, text.data());
  result.name = text.data();
  ZLV_getnumcon(task, &result.rows);
  ZLV_getnumvar(task, &result.cols);
  ZLV_getnumanz(task, &result.nonzeros);
  ZLV_getintparam(task, ZLV_IPAR_INTPNT_NUM_THREADS, &result.threads);
  result.problemtype = problem_type(task);
  result.optimizer = optimizer_name(task);
  result.problemstatus = result.solutionstatus = "UNKNOWN";
  ZLV_getcodedisc(result.response, nullptr, text.data());
  result.responsetext = text.data();
  if (const int32_t whichsol = best_solution(task); whichsol >= 0) {
    gather_solution(task, whichsol, result);
  }
  result.itinterior = count_item(task, ZLV_IINF_INTPNT_ITER);
  result.itsimplex =
      count_item(task, ZLV_IINF_SIM_PRIMAL_ITER) + count_item(task, ZLV_IINF_SIM_DUAL_ITER);
  result.nodes = count_item(task, ZLV_IINF_MIO_NUM_BRANCH);
  result.seconds.presolve = number_item(task, ZLV_DINF_PRESOLVE_CPUTIME);
  result.seconds.optimize = number_item(task, ZLV_DINF_OPTIMIZER_REALTIME);
}

void app_writejson(const app_result& r, std::ostream& out) {
  const std::string null = "null";
  out << "{\"file\":" << quoted(r.file) << ",\"name\":" << quoted(r.name) << ",\"rows\":" << r.rows
      << ",\"cols\":" << r.cols << ",\"nonzeros\":" << r.nonzeros
      << ",\"problem_type\":" << quoted(r.problemtype) << ",\"optimizer\":" << quoted(r.optimizer)
      << ",\"response\":" << r.response << ",\"response_text\":" << quoted(r.responsetext)
      << ",\"problem_status\":" << quoted(r.problemstatus)
      << ",\"solution_status\":" << quoted(r.solutionstatus)
      << ",\"objective\":" << (r.haspoint ? number(r.objective) : null)
      << ",\"dual_objective\":" << (r.haspoint && r.hasdual ? number(r.dualobjective) : null)
      << ",\"primal_infeasibility\":" << (r.hasprimal ? number(r.primalinfeas) : null)
      << ",\"dual_infeasibility\":" << (r.hasdual ? number(r.dualinfeas) : null)
      << ",\"iterations\":{\"interior\":" << r.itinterior << ",\"simplex\":" << r.itsimplex
      << ",\"nodes\":" << r.nodes << "},\"seconds\":{\"read\":" << number(r.seconds.read)
      << ",\"presolve\":" << number(r.seconds.presolve)
      << ",\"optimize\":" << number(r.seconds.optimize) << ",\"total\":" << number(r.seconds.total)
      << "},\"threads\":" << r.threads;
  int32_t major = 0, minor = 0, build = 0, revision = 0;
  ZLV_getversion(&major, &minor, &build, &revision);
  out << ",\"version\":\"" << major << "." << minor << "." << build << "." << revision << "\"}\n";
}

bool app_issolved(const app_result& result) {
  switch (result.solsta) {
    case ZLV_SOL_STA_OPTIMAL:
    case ZLV_SOL_STA_NEAR_OPTIMAL:
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
    case ZLV_SOL_STA_INTEGER_OPTIMAL:
    case ZLV_SOL_STA_NEAR_INTEGER_OPTIMAL:
      return result.hassolution;
    default:
      return false;
  }
}
