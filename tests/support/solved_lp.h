// What a caller sees of a linear or quadratic problem and its interior solution through the interface, and the
// check of that solution from these data alone: nothing here asks the library how good it is.
#pragma once

#include <gtest/gtest.h>
#include <zalvo.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

struct lp_cone {
  int32_t type = ZLV_CT_QUAD;
  std::vector<int32_t> sub;
};

// minimize (maximize) cfix + c'x + x'Qx/2 with blc <= A x <= buc, blx <= x <= bux and members of
// cones; A as triplets, Q as triplets of its lower triangle.
struct lp_data {
  int32_t m = 0, n = 0;
  std::vector<int32_t> subi, subj, bkc, bkx;
  std::vector<double> val, blc, buc, blx, bux, c;
  double cfix = 0;
  bool maximize = false;
  std::vector<int32_t> qi, qj;
  std::vector<double> qval;
  std::vector<lp_cone> cones;
};

struct lp_point {
  bool isdefined = false, isbasic = false;
  int32_t prosta = 0, solsta = 0;
  std::vector<int32_t> skc, skx;
  std::vector<double> xc, xx, y, slc, suc, slx, sux, snx;
};

inline lp_data get_data(ZLV_task_t task) {
  lp_data p;
  int32_t nz = 0, sense = 0;
  EXPECT_EQ(ZLV_getnumcon(task, &p.m), ZLV_RES_OK);
  EXPECT_EQ(ZLV_getnumvar(task, &p.n), ZLV_RES_OK);
  EXPECT_EQ(ZLV_getnumanz(task, &nz), ZLV_RES_OK);
  EXPECT_EQ(ZLV_getintparam(task, ZLV_IPAR_OBJECTIVE_SENSE, &sense), ZLV_RES_OK);
  EXPECT_EQ(ZLV_getcfix(task, &p.cfix), ZLV_RES_OK);
  p.maximize = sense == ZLV_OBJECTIVE_SENSE_MAX;
  p.subi.resize(nz), p.subj.resize(nz), p.val.resize(nz);
  p.bkc.resize(p.m), p.blc.resize(p.m), p.buc.resize(p.m);
  p.bkx.resize(p.n), p.blx.resize(p.n), p.bux.resize(p.n), p.c.resize(p.n);
  if (nz > 0) {
    EXPECT_EQ(ZLV_getaslicetrip(task, ZLV_ACC_VAR, 0, p.n, nz, p.subi.data(), p.subj.data(),
                                p.val.data()),
              ZLV_RES_OK);
  }
  EXPECT_EQ(ZLV_getnumqobjnz(task, &nz), ZLV_RES_OK);
  p.qi.resize(nz), p.qj.resize(nz), p.qval.resize(nz);
  if (nz > 0) {
    EXPECT_EQ(ZLV_getqobj(task, &nz, p.qi.data(), p.qj.data(), p.qval.data()), ZLV_RES_OK);
  }
  for (int32_t i = 0; i < p.m; ++i) {
    EXPECT_EQ(ZLV_getbound(task, ZLV_ACC_CON, i, &p.bkc[i], &p.blc[i], &p.buc[i]), ZLV_RES_OK);
  }
  for (int32_t j = 0; j < p.n; ++j) {
    EXPECT_EQ(ZLV_getbound(task, ZLV_ACC_VAR, j, &p.bkx[j], &p.blx[j], &p.bux[j]), ZLV_RES_OK);
    EXPECT_EQ(ZLV_getcslice(task, j, j + 1, &p.c[j]), ZLV_RES_OK);
  }
  int32_t numcone = 0;
  EXPECT_EQ(ZLV_getnumcone(task, &numcone), ZLV_RES_OK);
  p.cones.resize(numcone);
  for (int32_t k = 0; k < numcone; ++k) {
    int32_t nummem = 0;
    EXPECT_EQ(ZLV_getnumconemem(task, k, &nummem), ZLV_RES_OK);
    p.cones[k].sub.resize(nummem);
    EXPECT_EQ(ZLV_getcone(task, k, &p.cones[k].type, nullptr, nullptr, p.cones[k].sub.data()),
              ZLV_RES_OK);
  }
  return p;
}

inline void put_data(ZLV_task_t task, const lp_data& p) {
  std::vector<int32_t> ptr(p.n + 1, 0), sub(p.val.size());
  std::vector<double> val(p.val.size());
  for (const int32_t j : p.subj) ++ptr[j + 1];
  for (int32_t j = 0; j < p.n; ++j) ptr[j + 1] += ptr[j];
  std::vector<int32_t> next(ptr.begin(), ptr.end() - 1);
  for (size_t q = 0; q < p.val.size(); ++q) {
    const int32_t at = next[p.subj[q]]++;
    sub[at] = p.subi[q];
    val[at] = p.val[q];
  }
  EXPECT_EQ(ZLV_inputdata(task, p.m, p.n, p.m, p.n, p.c.data(), p.cfix, ptr.data(), ptr.data() + 1,
                          sub.data(), val.data(), p.bkc.data(), p.blc.data(), p.buc.data(),
                          p.bkx.data(), p.blx.data(), p.bux.data()),
            ZLV_RES_OK);
  if (!p.qval.empty()) {
    EXPECT_EQ(ZLV_putqobj(task, int32_t(p.qval.size()), p.qi.data(), p.qj.data(), p.qval.data()),
              ZLV_RES_OK);
  }
  for (const lp_cone& cone : p.cones) {
    EXPECT_EQ(ZLV_appendcone(task, cone.type, 0, int32_t(cone.sub.size()), cone.sub.data()),
              ZLV_RES_OK);
  }
  EXPECT_EQ(ZLV_putintparam(task, ZLV_IPAR_OBJECTIVE_SENSE,
                            p.maximize ? ZLV_OBJECTIVE_SENSE_MAX : ZLV_OBJECTIVE_SENSE_MIN),
            ZLV_RES_OK);
}

inline lp_point get_point(ZLV_task_t task, const lp_data& p, int32_t whichsol = ZLV_SOL_ITR) {
  lp_point s;
  s.isbasic = whichsol == ZLV_SOL_BAS;
  int32_t isdef = 0;
  EXPECT_EQ(ZLV_solutiondef(task, whichsol, &isdef), ZLV_RES_OK);
  s.isdefined = isdef != 0;
  EXPECT_EQ(ZLV_getsolutionstatus(task, whichsol, &s.prosta, &s.solsta), ZLV_RES_OK);
  if (!s.isdefined) return s;
  s.skc.resize(p.m), s.skx.resize(p.n);
  for (auto* v : {&s.xc, &s.y, &s.slc, &s.suc}) v->resize(p.m);
  for (auto* v : {&s.xx, &s.slx, &s.sux, &s.snx}) v->resize(p.n);
  EXPECT_EQ(ZLV_getsolution(task, whichsol, &s.prosta, &s.solsta, s.skc.data(), s.skx.data(),
                            nullptr, s.xc.data(), s.xx.data(), s.y.data(), s.slc.data(),
                            s.suc.data(), s.slx.data(), s.sux.data(), s.snx.data()),
            ZLV_RES_OK);
  return s;
}

// Objectives and largest violations, absolute, of a point or of the ray of a certificate. size is
// the largest sum of magnitudes in any of them, for what rounding may do to them.
struct lp_quality {
  double pobj = 0, dobj = 0, peqi = 0, pbi = 0, deqi = 0, dbi = 0;
  double nrmb = 0, nrmc = 0, size = 0;
  double relprimal() const { return std::max(peqi, pbi) / (1 + nrmb); }
  double reldual() const { return std::max(deqi, dbi) / (1 + nrmc); }
  double relgap() const { return std::abs(pobj - dobj) / (1 + std::abs(pobj)); }
};

enum class lp_ray { none, primal, dual };

inline bool has_lower(int32_t bk) {
  return bk != ZLV_BK_FR && bk != ZLV_BK_UP;
}
inline bool has_upper(int32_t bk) {
  return bk != ZLV_BK_FR && bk != ZLV_BK_LO;
}

struct lp_sum {  // with the magnitude of what went into it
  long double value = 0, size = 0;
  void add(double a, double b = 1) {
    value += static_cast<long double>(a) * b;
    size += std::abs(static_cast<long double>(a) * b);
  }
};

inline double worse(double a, long double b) {
  return !(double(b) <= a) ? double(b) : a;
}  // NaN

struct lp_bound {
  int32_t bk;
  double lower, upper, value, sl, su;
};

inline void judge_bound(const lp_bound& b, double sense, lp_ray ray, lp_quality& q, lp_sum& dobj) {
  const bool lower = has_lower(b.bk), upper = has_upper(b.bk), isray = ray == lp_ray::primal;
  if (lower) q.pbi = worse(q.pbi, (isray ? 0 : b.lower) - b.value);
  if (upper) q.pbi = worse(q.pbi, b.value - (isray ? 0 : b.upper));
  q.dbi = worse(q.dbi, lower ? -sense * b.sl : std::abs(b.sl));
  q.dbi = worse(q.dbi, upper ? -sense * b.su : std::abs(b.su));
  if (lower) dobj.add(b.lower, b.sl);
  if (upper) dobj.add(b.upper, -b.su);
}

// Q x into the reduced costs and x'Qx/2 into both objectives; along a ray, Q x has to vanish.
inline void judge_quadratic(const lp_data& p, const lp_point& s, lp_ray ray,
                            std::vector<lp_sum>& red, lp_sum& pobj, lp_sum& dobj, double& peqi) {
  std::vector<lp_sum> qx(p.n);
  for (size_t k = 0; k < p.qval.size(); ++k) {
    const int32_t i = p.qi[k], j = p.qj[k];
    qx[i].add(p.qval[k], s.xx[j]);
    if (i != j) qx[j].add(p.qval[k], s.xx[i]);
  }
  for (int32_t j = 0; j < p.n; ++j) {
    if (ray == lp_ray::primal) peqi = worse(peqi, std::abs(qx[j].value));
    if (ray != lp_ray::none) continue;
    red[j].value += qx[j].value;
    red[j].size += qx[j].size;
    pobj.add(double(qx[j].value), s.xx[j] / 2);
    dobj.add(double(qx[j].value), -s.xx[j] / 2);
  }
}

// By how much sign * z falls short of a cone.
inline double cone_short(const lp_cone& cone, const std::vector<double>& z, double sign) {
  long double head = sign * z[cone.sub[0]], square = 0;
  size_t first = 1;
  if (cone.type == ZLV_CT_RQUAD) {
    const long double other = sign * z[cone.sub[1]];
    square = (head - other) * (head - other) / 2;
    head = (head + other) / std::sqrt(2.0L);
    first = 2;
  }
  for (size_t k = first; k < cone.sub.size(); ++k) {
    square += static_cast<long double>(z[cone.sub[k]]) * z[cone.sub[k]];
  }
  return double(std::sqrt(square) - head);
}

inline void judge_cones(const lp_data& p, const lp_point& s, double sense, lp_quality& q) {
  std::vector<char> ismember(p.n, 0);
  for (const lp_cone& cone : p.cones) {
    q.pbi = worse(q.pbi, cone_short(cone, s.xx, 1));
    q.dbi = worse(q.dbi, cone_short(cone, s.snx, sense));
    for (const int32_t j : cone.sub) ismember[j] = 1;
  }
  for (int32_t j = 0; j < p.n; ++j) {
    if (ismember[j] == 0 && !s.snx.empty()) q.dbi = worse(q.dbi, std::abs(s.snx[j]));
  }
}

inline lp_quality judge(const lp_data& p, const lp_point& s, lp_ray ray = lp_ray::none) {
  lp_quality q;
  const double sense = p.maximize ? -1 : 1;
  std::vector<lp_sum> act(p.m), red(p.n);
  lp_sum pobj, dobj;
  for (int32_t j = 0; j < p.n; ++j) {
    q.nrmc = std::max(q.nrmc, std::abs(p.c[j]));
    pobj.add(p.c[j], s.xx[j]);
    if (ray != lp_ray::dual) red[j].add(p.c[j]);
    red[j].add(-s.slx[j]);
    red[j].add(s.sux[j]);
    if (!s.snx.empty()) red[j].add(-s.snx[j]);
  }
  judge_quadratic(p, s, ray, red, pobj, dobj, q.peqi);
  for (size_t k = 0; k < p.val.size(); ++k) {
    act[p.subi[k]].add(p.val[k], s.xx[p.subj[k]]);
    red[p.subj[k]].add(-p.val[k], s.y[p.subi[k]]);
  }
  for (int32_t i = 0; i < p.m; ++i) {
    if (has_lower(p.bkc[i])) q.nrmb = std::max(q.nrmb, std::abs(p.blc[i]));
    if (has_upper(p.bkc[i])) q.nrmb = std::max(q.nrmb, std::abs(p.buc[i]));
    q.peqi = worse(q.peqi, std::abs(s.xc[i] - act[i].value));
    q.deqi = worse(q.deqi, std::abs(s.y[i] - s.slc[i] + s.suc[i]));
    q.size = worse(q.size, act[i].size);
    judge_bound({p.bkc[i], p.blc[i], p.buc[i], s.xc[i], s.slc[i], s.suc[i]}, sense, ray, q, dobj);
  }
  for (int32_t j = 0; j < p.n; ++j) {
    q.deqi = worse(q.deqi, std::abs(red[j].value));
    q.size = worse(q.size, red[j].size);
    judge_bound({p.bkx[j], p.blx[j], p.bux[j], s.xx[j], s.slx[j], s.sux[j]}, sense, ray, q, dobj);
  }
  judge_cones(p, s, sense, q);
  if (ray != lp_ray::primal) dobj.add(ray == lp_ray::none ? p.cfix : 0);
  if (ray == lp_ray::none) pobj.add(p.cfix);
  q.pobj = double(pobj.value);
  q.dobj = double(dobj.value);
  q.size = worse(worse(q.size, pobj.size), dobj.size);
  return q;
}

inline lp_ray ray_of(int32_t solsta) {
  if (solsta == ZLV_SOL_STA_PRIM_INFEAS_CER || solsta == ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER)
    return lp_ray::dual;
  if (solsta == ZLV_SOL_STA_DUAL_INFEAS_CER || solsta == ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER)
    return lp_ray::primal;
  return lp_ray::none;
}

constexpr double proved = 1e-6;  // what a status promises, relative
constexpr double pointfeasible =
    1e-8;  // what a stopped run's interior point must keep to be feasible

// The stored status promises no more than the stored numbers keep.
inline void expect_honest(const lp_data& p, const lp_point& s) {
  const lp_quality q = judge(p, s, ray_of(s.solsta));
  const double near = 100 * proved, sense = p.maximize ? -1 : 1;
  switch (s.solsta) {
    case ZLV_SOL_STA_OPTIMAL:
    case ZLV_SOL_STA_NEAR_OPTIMAL: {
      const double tol = s.solsta == ZLV_SOL_STA_OPTIMAL ? proved : near;
      EXPECT_EQ(s.prosta, ZLV_PRO_STA_PRIM_AND_DUAL_FEAS);
      EXPECT_LE(q.relprimal(), tol);
      EXPECT_LE(q.reldual(), tol);
      EXPECT_LE(q.relgap(), tol);
      break;
    }
    case ZLV_SOL_STA_PRIM_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_PRIM_INFEAS_CER:
      EXPECT_GT(sense * q.dobj, 0);
      EXPECT_LE(std::max(q.deqi, q.dbi),
                (s.solsta == ZLV_SOL_STA_PRIM_INFEAS_CER ? proved : near) * sense * q.dobj);
      EXPECT_EQ(s.prosta, ZLV_PRO_STA_PRIM_INFEAS);
      break;
    case ZLV_SOL_STA_DUAL_INFEAS_CER:
    case ZLV_SOL_STA_NEAR_DUAL_INFEAS_CER:
      EXPECT_LT(sense * q.pobj, 0);
      EXPECT_LE(std::max(q.peqi, q.pbi),
                (s.solsta == ZLV_SOL_STA_DUAL_INFEAS_CER ? proved : near) * -sense * q.pobj);
      EXPECT_EQ(s.prosta, ZLV_PRO_STA_DUAL_INFEAS);
      break;
    default: {
      const double tol = s.isbasic ? proved : pointfeasible;
      if (s.solsta == ZLV_SOL_STA_PRIM_FEAS || s.solsta == ZLV_SOL_STA_PRIM_AND_DUAL_FEAS) {
        EXPECT_LE(q.relprimal(), tol);
      }
      if (s.solsta == ZLV_SOL_STA_DUAL_FEAS || s.solsta == ZLV_SOL_STA_PRIM_AND_DUAL_FEAS) {
        EXPECT_LE(q.reldual(), tol);
      }
      break;
    }
  }
}

// What the library says of a solution is what the caller can compute.
inline void expect_same_measures(ZLV_task_t task, const lp_data& p, const lp_point& s,
                                 int32_t whichsol = ZLV_SOL_ITR) {
  const lp_quality q = judge(p, s, ray_of(s.solsta));
  lp_quality z;
  double pcni = 1, pinti = 1, dcni = 1;
  int32_t prosta = 0, solsta = 0;
  EXPECT_EQ(ZLV_getsolutioninf(task, whichsol, &prosta, &solsta, &z.pobj, &z.pbi, &pcni, &z.peqi,
                               &pinti, &z.dobj, &z.dbi, &dcni, &z.deqi),
            ZLV_RES_OK);
  const double rounding = 1e-14 * (1 + q.size);  // of sums in double precision
  EXPECT_EQ(prosta, s.prosta);
  EXPECT_EQ(solsta, s.solsta);
  const lp_ray ray = ray_of(s.solsta);
  if (ray != lp_ray::dual) {  // the other side of a certificate says nothing
    EXPECT_NEAR(z.pobj, q.pobj, rounding);
    EXPECT_NEAR(z.peqi, q.peqi, rounding);
    EXPECT_NEAR(std::max(z.pbi, pcni), q.pbi, rounding);
  }
  if (ray != lp_ray::primal) {
    EXPECT_NEAR(z.dobj, q.dobj, rounding);
    EXPECT_NEAR(z.deqi, q.deqi, rounding);
    EXPECT_NEAR(std::max(z.dbi, dcni), q.dbi, rounding);
  }
  EXPECT_EQ(pinti, 0);
}

// What an optimal basic solution promises: as many basic items as constraints, the others at the bound
// that their key names, and no dual value at a basic one.
inline void expect_basic(const lp_data& p, const lp_point& s) {
  const double sense = p.maximize ? -1 : 1;
  int32_t numbasic = 0;
  auto look = [&](int32_t key, const lp_bound& b, double scale) {
    const double near = 1e-6 * (1 + std::abs(b.value)), zero = 1e-6 * (1 + scale);
    const double d = sense * (b.sl - b.su);
    if (key == ZLV_SK_BAS) {
      ++numbasic;
      EXPECT_LE(std::abs(d), zero);
    } else if (key == ZLV_SK_LOW) {
      EXPECT_TRUE(has_lower(b.bk) && std::abs(b.value - b.lower) <= near) << b.value - b.lower;
      EXPECT_GE(d, -zero);
    } else if (key == ZLV_SK_UPR) {
      EXPECT_TRUE(has_upper(b.bk) && std::abs(b.value - b.upper) <= near) << b.value - b.upper;
      EXPECT_LE(d, zero);
    } else if (key == ZLV_SK_FIX) {
      EXPECT_LE(std::abs(b.value - b.lower), near);
    } else {
      EXPECT_EQ(key, ZLV_SK_SUPBAS);
      EXPECT_EQ(b.bk, ZLV_BK_FR);
      EXPECT_LE(std::abs(b.value), near);
    }
  };
  double largest = 0;
  for (const double c : p.c) largest = std::max(largest, std::abs(c));
  for (int32_t i = 0; i < p.m; ++i) {
    look(s.skc[i], {p.bkc[i], p.blc[i], p.buc[i], s.xc[i], s.slc[i], s.suc[i]}, largest);
  }
  for (int32_t j = 0; j < p.n; ++j) {
    look(s.skx[j], {p.bkx[j], p.blx[j], p.bux[j], s.xx[j], s.slx[j], s.sux[j]}, largest);
  }
  EXPECT_EQ(numbasic, p.m);
}
