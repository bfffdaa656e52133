#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "simplex/dualstate.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
// Weights of a start basis are made exact when that touches at most this many entries.
constexpr double row_weightwork = 2e7;
// A longer column is walked by rows instead of by its list, which is in no order.
constexpr double row_inorder = 0.3;
// Approximate weights beyond this say too little; they all begin anew at 1.
constexpr double row_maxdevex = 1e7;
constexpr int32_t row_trial = 20;  // rows solved before the work is estimated

// Lists of infeasible rows no longer than this are searched as a whole; from longer ones the best
// are kept apart, so many or this share.
constexpr int32_t row_shortlist = 200, row_minhot = 50;
constexpr double row_hotshare = 0.02;
// Infeasible rows that partial selection looks at, at least, and of all.
constexpr int32_t row_minpart = 10;
constexpr double row_partshare = 0.1;

void cool(dual_state& ds) {
  for (const int32_t p : ds.hot) ds.ishot[p] = 0;
  ds.hot.clear();
  ds.cutoff = inf;
}

// The best row of a list, at least as good as the cutoff, -1: none. Drops feasible ones from it.
int32_t best_of(dual_state& ds, mm_vector<int32_t>& list, mm_vector<uint8_t>& flag, double cutoff) {
  int32_t best = -1;
  size_t to = 0;
  double bestinfeas = cutoff, bestweight = 1;
  for (const int32_t p : list) {
    if (ds.infeas[p] == 0) {
      flag[p] = 0;
      continue;
    }
    list[to++] = p;
    if (ds.infeas[p] * bestweight <= bestinfeas * ds.weight[p] || ds.istaboo[p] != 0) continue;
    best = p;
    bestinfeas = ds.infeas[p];
    bestweight = ds.weight[p];
  }
  ds.st.pollwork += ptrdiff_t(list.size());
  list.resize(to);
  return best;
}

// The best of a part of the infeasible rows; the next search begins where this one ends.
int32_t best_ofpart(dual_state& ds) {
  mm_vector<int32_t>& list = ds.list;
  const auto part = size_t(std::max(double(row_minpart), row_partshare * double(list.size())));
  int32_t best = -1;
  size_t numseen = 0;
  for (size_t left = list.size(); left > 0 && numseen < part; --left) {
    if (ds.partat >= list.size()) ds.partat = 0;
    const int32_t p = list[ds.partat];
    if (ds.infeas[p] == 0) {
      ds.islisted[p] = 0;
      list[ds.partat] = list.back();
      list.pop_back();
      continue;
    }
    ++ds.partat;
    if (ds.istaboo[p] != 0) continue;
    ++numseen;
    if (best < 0 || ds.infeas[p] > ds.infeas[best]) best = p;
  }
  return best;
}

// Chooses the cutoff anew and fills hot.
void reheat(dual_state& ds) {
  cool(ds);
  ds.merit.clear();
  size_t to = 0;
  for (const int32_t p : ds.list) {
    if (ds.infeas[p] == 0) {
      ds.islisted[p] = 0;
      continue;
    }
    ds.list[to++] = p;
    if (ds.istaboo[p] == 0) ds.merit.push_back(ds.infeas[p] / ds.weight[p]);
  }
  ds.list.resize(to);
  ds.st.pollwork += 2 * ptrdiff_t(to);
  const auto keep = ptrdiff_t(std::max(double(row_minhot), row_hotshare * double(to)));
  ds.cutoff = 0;
  if (keep < ptrdiff_t(ds.merit.size())) {
    std::nth_element(ds.merit.begin(), ds.merit.begin() + keep, ds.merit.end(),
                     std::greater<double>());
    // A little less, so that all of several equal ones belong.
    ds.cutoff = ds.merit[keep] * (1 - 1e-12);
  }
  for (const int32_t p : ds.list) dual_heat(ds, p);
}

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
    const bool isdear = numdone >= row_trial && work / numdone * st.m > row_weightwork;
    if (isdear || sim_poll(st) != rescode::ok) {
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
  cool(ds);
}

int32_t dual_chuzr(dual_state& ds) {
  if (ds.rule == sim_selection::partial) return best_ofpart(ds);
  if (int32_t(ds.list.size()) <= row_shortlist) return best_of(ds, ds.list, ds.islisted, 0);
  const int32_t p = ds.cutoff < inf ? best_of(ds, ds.hot, ds.ishot, ds.cutoff) : -1;
  if (p >= 0) return p;
  reheat(ds);
  return best_of(ds, ds.hot, ds.ishot, 0);
}

void dual_updaterows(dual_state& ds, double thetap) {
  sim_state& st = ds.st;
  const double alpha = ds.alpha;
  double wp = ds.weight[ds.p] / (alpha * alpha);
  const double kai = -2 / alpha;
  const bool isexact = ds.rule == sim_selection::se, isdevex = ds.rule == sim_selection::ase;
  if (isdevex && wp > row_maxdevex) {
    std::fill(ds.weight.begin(), ds.weight.end(), 1.0);  // a new reference framework
    wp = 1;
    cool(ds);
  }
  const auto update = [&](int32_t i) {
    const double a = ds.col.val[i];
    st.xb[i] -= thetap * a;
    if (isexact) {
      const double w = ds.weight[i] + a * (a * wp + kai * ds.tau.val[i]);
      ds.weight[i] = w >= dual_minweight ? w : dual_minweight;  // NaN too
    } else if (isdevex) {
      ds.weight[i] = std::max(ds.weight[i], a * a * wp);
    }
    dual_judge(ds, i);
    dual_heat(ds, i);
  };
  if (ds.col.num > row_inorder * st.m) {
    for (int32_t i = 0; i < st.m; ++i) {
      if (ds.col.val[i] != 0) update(i);
    }
  } else {
    for (int32_t t = 0; t < ds.col.num; ++t) update(ds.col.ind[t]);
  }
  if (isexact || isdevex) ds.weight[ds.p] = std::max(wp, isexact ? dual_minweight : 1.0);
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
