// Random linear problems whose answer is known by construction: a pair of optimal solutions, rows
// that contradict each other with known multipliers, or a ray along which the cost falls forever.
#pragma once

#include <random>

#include "support/solved_lp.h"

struct planted_lp {
  lp_data p;
  double objective = 0;   // of an optimal one
  std::vector<double> x;  // an optimal point, or the ray of an unbounded one
};

struct planted_size {
  int32_t m = 0, n = 0;
  double density = 0.5;
};

inline double uniform(std::mt19937& gen) {
  return std::uniform_real_distribution<double>(-1, 1)(gen);
}

// A bound of the given kind round value; returns a multiplier that fits: zero inside, positive at
// the lower bound, negative at the upper one, any for a fixed item.
inline double plant_bound(std::mt19937& gen, int32_t bk, double value, double& lower,
                          double& upper) {
  const double below = 1 + std::abs(uniform(gen)), above = 1 + std::abs(uniform(gen));
  const double mult = 0.1 + std::abs(uniform(gen));
  const int at = int(gen() % 3);
  lower = has_lower(bk) ? value - below : -1e30;
  upper = has_upper(bk) ? value + above : 1e30;
  if (bk == ZLV_BK_FX) {
    lower = upper = value;
    return at == 0 ? -mult : mult;
  }
  if (at == 1 && has_lower(bk)) return lower = value, mult;
  if (at == 2 && has_upper(bk)) return upper = value, -mult;
  return 0;
}

inline void plant_entries(std::mt19937& gen, const planted_size& size, lp_data& p) {
  p = {};
  p.m = size.m;
  p.n = size.n;
  p.bkc.resize(p.m), p.blc.resize(p.m), p.buc.resize(p.m);
  p.bkx.resize(p.n), p.blx.resize(p.n), p.bux.resize(p.n), p.c.resize(p.n);
  for (int32_t j = 0; j < p.n; ++j) {
    for (int32_t i = 0; i < p.m; ++i) {
      if (uniform(gen) >= 2 * size.density - 1) continue;
      p.subi.push_back(i);
      p.subj.push_back(j);
      p.val.push_back(3 * uniform(gen));
    }
  }
}

inline std::vector<double> times(const lp_data& p, const std::vector<double>& x) {
  std::vector<double> ax(p.m, 0.0);
  for (size_t k = 0; k < p.val.size(); ++k) ax[p.subi[k]] += p.val[k] * x[p.subj[k]];
  return ax;
}
inline std::vector<double> times_transposed(const lp_data& p, const std::vector<double>& y) {
  std::vector<double> aty(p.n, 0.0);
  for (size_t k = 0; k < p.val.size(); ++k) aty[p.subj[k]] += p.val[k] * y[p.subi[k]];
  return aty;
}

// Every kind of bound on rows and columns, costs that make the chosen point optimal.
inline planted_lp plant_optimal(std::mt19937& gen, const planted_size& size, bool maximize) {
  planted_lp out;
  lp_data& p = out.p;
  plant_entries(gen, size, p);
  const double sense = maximize ? -1 : 1;
  std::vector<double> x(p.n), y(p.m);
  for (double& value : x) value = 5 * uniform(gen);
  const std::vector<double> ax = times(p, x);
  for (int32_t i = 0; i < p.m; ++i) {
    p.bkc[i] = int32_t(gen() % 5);
    y[i] = plant_bound(gen, p.bkc[i], ax[i], p.blc[i], p.buc[i]);
  }
  const std::vector<double> aty = times_transposed(p, y);
  p.cfix = out.objective = uniform(gen);
  for (int32_t j = 0; j < p.n; ++j) {
    p.bkx[j] = int32_t(gen() % 5);
    p.c[j] = sense * (aty[j] + plant_bound(gen, p.bkx[j], x[j], p.blx[j], p.bux[j]));
    out.objective += p.c[j] * x[j];
  }
  p.maximize = maximize;
  out.x = x;
  return out;
}

// No x fulfils it: with the multipliers y every column can only lower y'Ax, and the rows ask for
// more than the columns' bounds allow, by at least one.
inline planted_lp plant_infeasible(std::mt19937& gen, const planted_size& size, bool maximize) {
  planted_lp out = plant_optimal(gen, size, maximize);
  lp_data& p = out.p;
  std::vector<double> y(p.m, 0.0);
  for (double& value : y) value = (gen() % 2 == 0 ? 1 : -1) * (0.5 + std::abs(uniform(gen)));
  const std::vector<double> aty = times_transposed(p, y);
  double most = 0;  // of y'Ax over the bounds of x
  for (int32_t j = 0; j < p.n; ++j) {
    const bool isup = aty[j] > 0;
    p.bkx[j] = gen() % 2 == 0 ? ZLV_BK_RA : (isup ? ZLV_BK_UP : ZLV_BK_LO);
    p.blx[j] = has_lower(p.bkx[j]) ? -1 - std::abs(uniform(gen)) : -1e30;
    p.bux[j] = has_upper(p.bkx[j]) ? 1 + std::abs(uniform(gen)) : 1e30;
    most += aty[j] == 0 ? 0 : aty[j] * (isup ? p.bux[j] : p.blx[j]);
    // y = 0 is dual feasible, so that infeasibility is the only verdict.
    if (p.bkx[j] != ZLV_BK_RA)
      p.c[j] = (has_lower(p.bkx[j]) != maximize ? 1 : -1) * std::abs(p.c[j]);
  }
  double sum = 0;
  for (int32_t i = 0; i < p.m; ++i) {  // rows on the side where y pulls
    p.bkc[i] = y[i] > 0 ? ZLV_BK_LO : ZLV_BK_UP;
    const double bound = i + 1 < p.m ? uniform(gen) : (most + 1 - sum) / y[i];
    p.blc[i] = has_lower(p.bkc[i]) ? bound : -1e30;
    p.buc[i] = has_upper(p.bkc[i]) ? bound : 1e30;
    sum += y[i] * bound;
  }
  return out;
}

// Takes away the bound that a move in direction d would meet; what was feasible stays so.
inline void open_bound(double d, int32_t& bk, double& lower, double& upper) {
  if (d > 0 && has_upper(bk)) {
    bk = has_lower(bk) ? ZLV_BK_LO : ZLV_BK_FR;
    upper = 1e30;
  } else if (d < 0 && has_lower(bk)) {
    bk = has_upper(bk) ? ZLV_BK_UP : ZLV_BK_FR;
    lower = -1e30;
  }
}

// Feasible, and the cost falls along a ray that no bound stops.
inline planted_lp plant_unbounded(std::mt19937& gen, const planted_size& size, bool maximize) {
  planted_lp out = plant_optimal(gen, size, maximize);
  lp_data& p = out.p;
  std::vector<double> ray(p.n);
  double fall = 0, square = 0;
  for (int32_t j = 0; j < p.n; ++j) {
    ray[j] = uniform(gen);
    open_bound(ray[j], p.bkx[j], p.blx[j], p.bux[j]);
    fall += p.c[j] * ray[j];
    square += ray[j] * ray[j];
  }
  const double want = maximize ? 1 : -1;
  for (int32_t j = 0; j < p.n; ++j) p.c[j] += (want - fall) / square * ray[j];
  const std::vector<double> move = times(p, ray);
  for (int32_t i = 0; i < p.m; ++i) open_bound(move[i], p.bkc[i], p.blc[i], p.buc[i]);
  out.x = ray;
  return out;
}

// Makes the planted problem quadratic and keeps its answer: Q = F F' (minus it for a maximization)
// with the given rank, c moved so that the planted point stays optimal; with a ray, F orthogonal to it.
// A diagonal Q has that many entries.
inline void plant_curvature(std::mt19937& gen, int32_t rank, bool isdiagonal, bool isray,
                            planted_lp& lp) {
  lp_data& p = lp.p;
  const double sense = p.maximize ? -1 : 1;
  std::vector<std::vector<double>> q(p.n, std::vector<double>(p.n, 0.0));
  for (int32_t k = 0; k < rank; ++k) {
    std::vector<double> f(p.n, 0.0);
    if (isdiagonal) {
      f[gen() % size_t(p.n)] = 2 * uniform(gen);
    } else {
      double along = 0, square = 0;
      for (int32_t j = 0; j < p.n; ++j) {
        f[j] = gen() % 3 == 0 ? uniform(gen) : 0;
        along += f[j] * lp.x[j];
        square += lp.x[j] * lp.x[j];
      }
      for (int32_t j = 0; isray && j < p.n; ++j) f[j] -= along / square * lp.x[j];
    }
    for (int32_t i = 0; i < p.n; ++i) {
      for (int32_t j = 0; j < p.n; ++j) q[i][j] += sense * f[i] * f[j];
    }
  }
  for (int32_t i = 0; i < p.n; ++i) {
    for (int32_t j = 0; j < p.n; ++j) {
      if (!isray) p.c[i] -= q[i][j] * lp.x[j];
      if (!isray) lp.objective -= q[i][j] * lp.x[i] * lp.x[j] / 2;
      if (j > i || q[i][j] == 0) continue;
      p.qi.push_back(i);
      p.qj.push_back(j);
      p.qval.push_back(q[i][j]);
    }
  }
}
