// Conic and quadratic problems with planted answers and with much that presolve takes, with presolve and
// without: the same answer, and one that holds on the problem as it was given.
#include <gtest/gtest.h>

#include "support/api_box.h"
#include "support/planted_cones.h"

namespace {

// What presolve finds in rows and columns around those of the planted point.
enum class plant : int32_t {
  single,
  duprow,
  lindep,
  dupcol,
  copy,
  slack,
  signs,
  forcing,
  dominated,
  empty,
  last
};

struct model {
  planted at;
  std::vector<double> y, act;
  std::vector<int32_t> key, like;  // of each row: its bound key, or -1; the row it repeats, or -1
  std::mt19937 gen;
  double uni() { return std::uniform_real_distribution<double>(-1, 1)(gen); }
  int32_t numbase = 0;  // rows that nothing was planted in
  int32_t pick(int32_t num) { return std::uniform_int_distribution<int32_t>(0, num - 1)(gen); }
};

void entry(model& md, int32_t i, int32_t j, double v) {
  lp_data& p = md.at.p;
  for (size_t q = 0; q < p.val.size(); ++q) {
    if (p.subi[q] != i || p.subj[q] != j) continue;
    p.val[q] += v;
    return;
  }
  p.subi.push_back(i), p.subj.push_back(j), p.val.push_back(v);
}

int32_t add_row(model& md, int32_t key, int32_t like = -1) {
  md.key.push_back(key), md.like.push_back(like);
  return md.at.p.m++;
}

int32_t add_col(model& md, int32_t bk, double lower, double upper, double x, double s) {
  lp_data& p = md.at.p;
  p.bkx.push_back(bk), p.blx.push_back(lower), p.bux.push_back(upper);
  md.at.x.push_back(x), md.at.s.push_back(s);
  return p.n++;
}

void add_multiple(model& md, int32_t from, int32_t to, double scale, bool rows) {
  lp_data& p = md.at.p;
  for (size_t q = 0, num = p.val.size(); q < num; ++q) {
    if (rows && p.subi[q] == from) entry(md, to, p.subj[q], scale * p.val[q]);
    if (!rows && p.subj[q] == from) entry(md, p.subi[q], to, scale * p.val[q]);
  }
}

void add_sparsely(model& md, int32_t j) {
  const int32_t num = md.at.p.m;
  for (int32_t k = 0; k < 3; ++k) entry(md, md.pick(num), j, md.uni());
}

void plant_one(model& md, plant what, const std::vector<int32_t>& linear) {
  lp_data& p = md.at.p;
  const int32_t j = linear[md.pick(int32_t(linear.size()))], i = md.pick(md.numbase);
  const double scale = md.uni() > 0 ? 2.5 : -0.75;
  switch (what) {
    case plant::single:
      entry(md, add_row(md, -1), p.qi.empty() || scale > 0 ? j : p.qi[0], scale);
      break;
    case plant::duprow:
      add_multiple(md, i, add_row(md, -1, i), scale, true);
      break;
    case plant::lindep: {
      const int32_t other = md.pick(md.numbase), row = add_row(md, ZLV_BK_FX);
      md.key[i] = md.key[other] = ZLV_BK_FX;
      add_multiple(md, i, row, 1, true);
      if (other != i) add_multiple(md, other, row, scale, true);
      break;
    }
    case plant::dupcol: {
      const bool flips = scale < 0, lower = has_lower(p.bkx[j]), upper = has_upper(p.bkx[j]);
      const double x = md.at.x[j] / scale, s = md.at.s[j] * scale;
      const double low = (flips ? p.bux[j] : p.blx[j]) / scale;
      const double high = (flips ? p.blx[j] : p.bux[j]) / scale;
      const int32_t bk = p.bkx[j] == ZLV_BK_LO || p.bkx[j] == ZLV_BK_UP
                             ? (lower != flips ? ZLV_BK_LO : ZLV_BK_UP)
                             : p.bkx[j];
      const int32_t k =
          add_col(md, bk, lower || upper ? low : -inf, lower || upper ? high : inf, x, s);
      add_multiple(md, j, k, scale, false);
      break;
    }
    case plant::copy: {  // of a member, or with bounds, of a column with quadratic terms
      const bool isquad = p.cones.empty();
      const int32_t member =
          isquad ? p.qi[1] : p.cones[md.pick(int32_t(p.cones.size()))].sub.back();
      const int32_t k = isquad ? add_col(md, ZLV_BK_LO, 0.25, inf, 0.25, md.pick(2))
                               : add_col(md, ZLV_BK_FR, -inf, inf, md.uni(), 0);
      add_sparsely(md, k);
      const int32_t row = add_row(md, ZLV_BK_FX);
      entry(md, row, k, scale), entry(md, row, member, 1);
      break;
    }
    case plant::slack: {
      const bool atbound = md.uni() > 0;
      const int32_t k = add_col(md, ZLV_BK_LO, 0, inf, atbound ? 0 : 1, atbound ? 1 : 0);
      entry(md, i, k, scale);
      break;
    }
    case plant::signs: {  // heads are not negative
      const int32_t row = add_row(md, ZLV_BK_LO);
      for (const lp_cone& cone : p.cones) entry(md, row, cone.sub[0], 2 + md.uni());
      md.like[row] = row;
      break;
    }
    case plant::forcing: {
      const int32_t row = add_row(md, ZLV_BK_UP);
      for (int32_t k = 0; k < 3; ++k) {
        const int32_t col = add_col(md, ZLV_BK_LO, 0, inf, 0, md.uni() + 1.5);
        add_sparsely(md, col);
        entry(md, row, col, 1.5 + md.uni());
      }
      break;
    }
    case plant::dominated:
      add_sparsely(md, add_col(md, ZLV_BK_LO, 0, inf, 0, 6));
      break;
    default:
      add_col(md, ZLV_BK_RA, 1, 2, 2, -0.5), add_row(md, ZLV_BK_RA);
      break;
  }
}

// Sides at the planted point, multipliers that fit them, and then the costs.
void finish(model& md, double& objective) {
  lp_data& p = md.at.p;
  std::vector<double> act(p.m, 0);
  for (size_t q = 0; q < p.val.size(); ++q) act[p.subi[q]] += p.val[q] * md.at.x[p.subj[q]];
  p.bkc.assign(p.m, 0), p.blc.assign(p.m, -inf), p.buc.assign(p.m, inf), md.y.assign(p.m, 0);
  for (int32_t i = 0; i < p.m; ++i) {
    const int32_t key = md.key[i] >= 0 ? md.key[i] : md.pick(5);
    const bool lower = has_lower(key), upper = has_upper(key), isequ = key == ZLV_BK_FX;
    const bool isactive = (isequ || md.uni() > -0.5) && md.like[i] != i;
    p.bkc[i] = key;
    if (lower) p.blc[i] = act[i] - (isactive ? 0 : 1);
    if (upper) p.buc[i] = act[i] + (isequ || (isactive && !lower) ? 0 : 1);
    if (md.like[i] == i) p.blc[i] = std::min(0.0, act[i]) - 1;
    if (isactive) md.y[i] = isequ ? md.uni() : lower ? md.uni() + 1 : upper ? md.uni() - 1 : 0;
  }
  p.c = md.at.s;
  for (size_t q = 0; q < p.val.size(); ++q) p.c[p.subj[q]] += p.val[q] * md.y[p.subi[q]];
  objective = p.cfix = md.uni();
  for (size_t q = 0; q < p.qval.size(); ++q) {
    const int32_t i = p.qi[q], j = p.qj[q];
    const double v = p.qval[q];
    p.c[i] -= v * md.at.x[j];
    if (i != j) p.c[j] -= v * md.at.x[i];
    objective += v * md.at.x[i] * md.at.x[j] * (i == j ? 0.5 : 1);
  }
  for (int32_t j = 0; j < p.n; ++j) objective += p.c[j] * md.at.x[j];
  p.maximize = md.uni() > 0;
  if (!p.maximize) return;
  objective = 2 * p.cfix - objective;
  for (double& c : p.c) c = -c;
  for (double& v : p.qval) v = -v;
}

// x1^2 .. of some columns and (x_i + x_j)^2 of neighbours.
void add_quadratic(model& md, int32_t num) {
  lp_data& p = md.at.p;
  for (int32_t j = 0; j < num; ++j) {
    p.qi.push_back(j), p.qj.push_back(j), p.qval.push_back(2 + md.uni());
    if (j == 0 || md.uni() > 0) continue;
    p.qi.push_back(j), p.qj.push_back(j - 1), p.qval.push_back(0.5 * md.uni());
  }
}

model make(uint32_t seed, bool hascones, double& objective) {
  model md;
  md.gen.seed(seed);
  const int32_t numlin = 6 + md.pick(10), numcone = hascones ? 1 + md.pick(5) : 0;
  md.at = plant_columns(md.gen, numlin, numcone, 4);
  const int32_t n = md.at.p.n;
  add_matrix(md.gen, md.at.p, 2 + md.pick(4), 0.4);
  md.numbase = md.at.p.m;
  md.key.assign(md.at.p.m, -1), md.like.assign(md.at.p.m, -1);
  if (!hascones) add_quadratic(md, 4);
  std::vector<char> isheld(n, 0);
  for (const lp_cone& cone : md.at.p.cones) {
    for (const int32_t j : cone.sub) isheld[j] = 1;
  }
  for (const int32_t j : md.at.p.qi) isheld[j] = 1;
  std::vector<int32_t> linear;
  for (int32_t j = 0; j < n; ++j) {
    if (isheld[j] == 0) linear.push_back(j);
  }
  for (int32_t k = 0; k < 6; ++k) plant_one(md, plant(md.pick(int32_t(plant::last))), linear);
  finish(md, objective);
  return md;
}

// A contradiction of a kind that one reduction or another meets, or a way to no end.
enum class fault : int32_t { signs, single, duprow, lindep, forcing, ray, rowray, last };

void spoil(model& md, fault what) {
  lp_data& p = md.at.p;
  const auto close = [&](int32_t bk, double lower, double upper) {
    p.bkc.push_back(bk), p.blc.push_back(lower), p.buc.push_back(upper);
  };
  const int32_t head = p.cones.empty() ? p.qi[0] : p.cones[0].sub[0];
  switch (what) {
    case fault::signs:  // two heads, or squares below zero
      entry(md, add_row(md, 0), head, 1);
      close(ZLV_BK_UP, -inf, p.cones.empty() ? md.at.x[head] - 1 : -1);
      if (p.cones.empty()) entry(md, add_row(md, 0), head, 1), close(ZLV_BK_LO, md.at.x[head], inf);
      break;
    case fault::single:
      for (const double side : {1.0, 2.0}) {
        entry(md, add_row(md, 0), p.n - 1, side);
        close(ZLV_BK_FX, 3, 3);
      }
      break;
    case fault::duprow:
      add_multiple(md, 0, add_row(md, 0), 2, true);
      add_multiple(md, 0, add_row(md, 0), 1, true);
      close(ZLV_BK_LO, 8, inf), close(ZLV_BK_UP, -inf, 3);
      break;
    case fault::lindep:
      for (int32_t k = 0; k < 2; ++k) {
        add_multiple(md, k, add_row(md, 0), 1, true);
        close(ZLV_BK_FX, 1, 1);
      }
      add_multiple(md, 0, add_row(md, 0), 1, true), add_multiple(md, 1, p.m - 1, 1, true);
      close(ZLV_BK_FX, 3, 3);
      break;
    case fault::forcing: {
      const int32_t j = add_col(md, ZLV_BK_LO, 0, inf, 0, 0), row = add_row(md, 0);
      p.c.push_back(1);
      entry(md, row, j, 1), entry(md, row, head, p.cones.empty() ? 0 : 1);
      close(ZLV_BK_UP, -inf, -0.5);
      break;
    }
    case fault::ray:
      add_col(md, ZLV_BK_LO, 0, inf, 0, 0);
      p.c.push_back(p.maximize ? 1 : -1);
      break;
    default: {  // two columns that cancel each other in a row
      const int32_t j = add_col(md, ZLV_BK_LO, 0, inf, 0, 0);
      const int32_t k = add_col(md, ZLV_BK_LO, 0, inf, 0, 0);
      for (int32_t col : {j, k}) p.c.push_back((p.maximize ? 1 : -1) * (col == j ? 2 : -1));
      entry(md, 0, j, 1), entry(md, 0, k, -1);
      break;
    }
  }
}

lp_point solve(const lp_data& p, bool presolve, double tol, int32_t& numleft) {
  api_box box;
  put_data(box.task, p);
  EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_PRESOLVE_USE, presolve ? 1 : 0), ZLV_RES_OK);
  EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_INTPNT_BASIS, ZLV_BI_NEVER), ZLV_RES_OK);
  for (const int32_t k :
       {ZLV_DPAR_INTPNT_CO_TOL_PFEAS, ZLV_DPAR_INTPNT_CO_TOL_DFEAS, ZLV_DPAR_INTPNT_CO_TOL_REL_GAP,
        ZLV_DPAR_INTPNT_TOL_PFEAS, ZLV_DPAR_INTPNT_TOL_DFEAS, ZLV_DPAR_INTPNT_TOL_REL_GAP}) {
    EXPECT_EQ(ZLV_putdouparam(box.task, k, tol), ZLV_RES_OK);
  }
  const int32_t code = ZLV_optimize(box.task);
  EXPECT_TRUE(code == ZLV_RES_OK || !presolve) << box.err();
  const bool started = box.log().find("Presolve started.\n") != std::string::npos;
  int32_t numvar = 0;
  EXPECT_EQ(ZLV_getintinf(box.task, ZLV_IINF_PRESOLVE_NUMVAR, &numvar), ZLV_RES_OK);
  numleft += numvar;
  EXPECT_TRUE(presolve || !started);
  const lp_point s = get_point(box.task, p);
  EXPECT_TRUE(s.isdefined);
  if (s.isdefined) expect_honest(p, s);
  return s;
}

class Presolved : public testing::TestWithParam<bool> {};

TEST_P(Presolved, ReachesThePlantedOptimum) {
  int32_t numleft = 0, num = 0;
  for (uint32_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    double objective = 0;
    const model md = make(seed, GetParam(), objective);
    const double tol = seed % 2 == 0 ? 1e-8 : 1e-9;
    num += md.at.p.n;
    for (const bool presolve : {true, false}) {
      const lp_point s = solve(md.at.p, presolve, tol, numleft);
      EXPECT_EQ(s.solsta, ZLV_SOL_STA_OPTIMAL) << presolve;
      if (s.solsta != ZLV_SOL_STA_OPTIMAL) continue;
      const lp_quality q = judge(md.at.p, s);
      EXPECT_LE(std::abs(q.pobj - objective), 1e-6 * (1 + std::abs(objective))) << presolve;
      EXPECT_LE(std::max({q.relprimal(), q.reldual(), q.relgap()}), 5 * tol) << presolve;
    }
  }
  EXPECT_LT(numleft * 3, num * 2);
  EXPECT_GT(numleft * 5, num);
}

TEST_P(Presolved, ProvesWhatHasNoSolution) {
  int32_t numleft = 0;
  for (uint32_t seed = 0; seed < 210; ++seed) {
    SCOPED_TRACE(seed);
    double objective = 0;
    model md = make(1000 + seed, GetParam(), objective);
    const auto what = fault(seed % uint32_t(fault::last));
    spoil(md, what);
    const bool isray = what == fault::ray || what == fault::rowray;
    const int32_t expected = isray ? ZLV_SOL_STA_DUAL_INFEAS_CER : ZLV_SOL_STA_PRIM_INFEAS_CER;
    EXPECT_EQ(solve(md.at.p, true, 1e-8, numleft).solsta, expected);
    const int32_t plain = solve(md.at.p, false, 1e-8, numleft).solsta;
    EXPECT_TRUE(plain != ZLV_SOL_STA_OPTIMAL && plain != ZLV_SOL_STA_NEAR_OPTIMAL) << plain;
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Presolved, testing::Bool(), [](const auto& tc) {
  return std::string(tc.param ? "Conic" : "Quadratic");
});

}  // namespace
