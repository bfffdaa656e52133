#include <algorithm>
#include <cmath>

#include "simplex/dualstate.h"

namespace {

// Weights of a start basis are made exact when that touches at most this many entries.
constexpr double row_weightwork = 2e7;
constexpr int32_t row_trial = 20;  // rows solved before the work is estimated

}  // namespace

void dual_startweights(dual_state& ds) {
  sim_state& st = ds.st;
  ds.weight.assign(st.m, 1.0);
  if (ds.rule != sim_selection::se) return;
  int32_t numdone = 0, numstruct = 0;
  for (const int32_t k : st.basic) numstruct += k < st.n;
  if (numstruct == 0) return;
  double work = 0;
  for (int32_t p = 0; p < st.m; ++p) {
    lu_vecclear(ds.rho);
    lu_vecset(ds.rho, p, 1.0);
    const double before = st.lu.count.solvework;
    sim_btran(st, ds.rho);
    work += st.lu.count.solvework - before + ds.rho.num;
    double sum = 0;
    for (int32_t t = 0; t < ds.rho.num; ++t) {
      const double v = ds.rho.val[ds.rho.ind[t]];
      sum += v * v;
    }
    ds.weight[p] = std::max(sum, dual_minweight);
    ++numdone;
    if (numdone >= row_trial && work / numdone * st.m > row_weightwork) {
      std::fill(ds.weight.begin(), ds.weight.end(), 1.0);
      break;
    }
  }
  lu_vecclear(ds.rho);
}

void dual_judgeall(dual_state& ds) {
  for (const int32_t p : ds.list) ds.islisted[p] = 0;
  ds.list.clear();
  for (int32_t p = 0; p < ds.st.m; ++p) dual_judge(ds, p);
}

int32_t dual_chuzr(dual_state& ds) {
  const auto numlist = int32_t(ds.list.size());
  int32_t best = -1, to = 0;
  double bestinfeas = 0, bestweight = 1;
  const auto start = int32_t(ds.st.random.next() * numlist);
  for (int32_t t = 0; t < numlist; ++t) {
    const int32_t p = ds.list[t];
    if (ds.infeas[p] == 0) {
      ds.islisted[p] = 0;
      continue;
    }
    ds.list[to++] = p;
    const double ours = ds.infeas[p] * bestweight, theirs = bestinfeas * ds.weight[p];
    // Among equals the first one behind a random place.
    if (ds.istaboo[p] != 0 || ours < theirs || (ours == theirs && t != start)) continue;
    best = p;
    bestinfeas = ds.infeas[p];
    bestweight = ds.weight[p];
  }
  ds.list.resize(to);
  ds.st.pollwork += numlist;
  return best;
}

void dual_updateweights(dual_state& ds) {
  if (ds.rule == sim_selection::full || ds.rule == sim_selection::partial) return;
  const double alpha = ds.alpha, wp = ds.weight[ds.p] / (alpha * alpha);
  const double kai = -2 / alpha;
  const bool isexact = ds.rule == sim_selection::se;
  for (int32_t t = 0; t < ds.col.num; ++t) {
    const int32_t i = ds.col.ind[t];
    const double a = ds.col.val[i];
    if (isexact) {
      const double w = ds.weight[i] + a * (a * wp + kai * ds.tau.val[i]);
      ds.weight[i] = std::max(w, dual_minweight);
    } else {
      ds.weight[i] = std::max(ds.weight[i], a * a * wp);
    }
  }
  ds.weight[ds.p] = std::max(wp, isexact ? dual_minweight : 1.0);
}

void dual_maketaboo(dual_state& ds, int32_t p) {
  if (ds.istaboo[p] != 0) return;
  ds.istaboo[p] = 1;
  ds.taboo.push_back(p);
}

void dual_cleartaboo(dual_state& ds) {
  for (const int32_t p : ds.taboo) ds.istaboo[p] = 0;
  ds.taboo.clear();
}
