// Small random problems with planted structure, through presolve and back: against a dense simplex on
// the problem itself, by the optimality conditions in the original data.
#include <gtest/gtest.h>

#include <random>

#include "prslv/prslv.h"
#include "prslv/prsray.h"
#include "support/dense_lp.h"
#include "support/faulty_alloc.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double tol = 1e-9;

struct maker {
  std::mt19937 gen;
  int32_t pick(int32_t lo, int32_t hi) {
    return std::uniform_int_distribution<int32_t>(lo, hi)(gen);
  }
  bool chance(int32_t percent) { return pick(1, 100) <= percent; }
  double coef() {
    const int32_t v = pick(1, 4);
    return chance(50) ? v : -v;
  }
};

// What is planted besides random rows and columns; the names are those of the counters.
enum class plant : int32_t {
  none,
  single,
  forcing,
  redundant,
  slack,
  doubleton,
  duprow,
  dupcol,
  freecol,
  dominated,
  lindep,
  forcecol,
  mixed,
  last
};

void addrow(dense_lp& p, std::vector<double> row, double lower, double upper) {
  p.a.push_back(std::move(row));
  p.blc.push_back(lower);
  p.buc.push_back(upper);
  ++p.m;
}

void addcol(dense_lp& p, double lower, double upper, double cost) {
  for (auto& row : p.a) row.push_back(0.0);
  p.blx.push_back(lower);
  p.bux.push_back(upper);
  p.c.push_back(cost);
  ++p.n;
}

// Sides around the activity at x0, of a random kind; wrong with a small chance.
void sides(maker& mk, dense_lp& p, int32_t i, const std::vector<double>& x0) {
  double act = mk.chance(4) ? mk.pick(-20, 20) : 0.0;
  for (int32_t j = 0; j < p.n; ++j) act += p.a[i][j] * x0[j];
  const int32_t kind = mk.pick(0, 4);
  p.blc[i] = kind == 1 ? -inf : kind == 0 ? act : act - mk.pick(0, 3);
  p.buc[i] = kind == 2 ? inf : kind == 0 ? act : act + mk.pick(0, 3);
}

void plantone(maker& mk, dense_lp& p, plant what) {
  const int32_t i = mk.pick(0, p.m - 1), j = mk.pick(0, p.n - 1), k = mk.pick(0, p.n - 1);
  std::vector<double> row(p.n, 0.0);
  switch (what) {
    case plant::single:
      row[j] = mk.coef();
      addrow(p, row, 0, 0);
      break;
    case plant::forcing:
    case plant::redundant:
      for (int32_t q = 0; q < p.n; ++q) {
        if (mk.chance(50)) continue;
        row[q] = mk.coef();
        p.blx[q] = std::isfinite(p.blx[q]) ? p.blx[q] : -2;
        p.bux[q] = std::isfinite(p.bux[q]) ? p.bux[q] : 5;
      }
      addrow(p, row, what == plant::forcing ? 1 : 2, what == plant::forcing ? 1 : 2);  // see finish
      break;
    case plant::slack:  // sometimes so many that they leave together
      for (int32_t left = mk.chance(10) ? 60 : 1; left > 0; --left) {
        addcol(p, mk.chance(50) ? 0 : -inf, mk.chance(50) ? mk.pick(1, 4) : inf,
               mk.chance(50) ? 0 : mk.coef());
        p.a[i][p.n - 1] = mk.coef();
      }
      break;
    case plant::doubleton:
      row[j] = mk.coef();
      row[k] = mk.coef();
      addrow(p, row, 3, 3);
      break;
    case plant::duprow: {
      const double s = mk.coef();
      for (int32_t q = 0; q < p.n; ++q) row[q] = s * p.a[i][q];
      addrow(p, row, 0, 0);
      break;
    }
    case plant::dupcol: {
      const double s = mk.coef();
      addcol(p, mk.chance(70) ? mk.pick(-3, 0) : -inf, mk.chance(50) ? mk.pick(0, 3) : inf,
             s * p.c[j] + (mk.chance(30) ? 1 : 0));
      for (int32_t q = 0; q < p.m; ++q) p.a[q][p.n - 1] = s * p.a[q][j];
      break;
    }
    case plant::freecol:
      addcol(p, mk.chance(50) ? -inf : -100, mk.chance(50) ? inf : 100, mk.coef());
      for (int32_t q = 0; q < p.m; ++q) p.a[q][p.n - 1] = mk.chance(60) ? 0 : mk.coef();
      break;
    case plant::dominated:
      addcol(p, mk.chance(70) ? 0 : -inf, mk.chance(50) ? 3 : inf, mk.pick(0, 8));
      for (int32_t q = 0; q < p.m; ++q) p.a[q][p.n - 1] = mk.chance(70) ? 0 : mk.coef();
      break;
    case plant::lindep: {
      const int32_t i2 = mk.pick(0, p.m - 1);
      for (int32_t q = 0; q < p.n; ++q) row[q] = p.a[i][q] + 2 * p.a[i2][q];
      addrow(p, row, 4, 4);
      p.blc[i] = p.buc[i] = p.blc[i2] = p.buc[i2] = 4;
      break;
    }
    case plant::forcecol:
      addcol(p, mk.chance(50) ? 0 : -inf, mk.chance(50) ? 50 : inf, 0);
      for (int32_t q = 0; q < p.m; ++q) p.a[q][p.n - 1] = mk.chance(60) ? 0 : 1;
      break;
    default:
      break;
  }
}

dense_lp make(maker& mk, plant what) {
  dense_lp p;
  const int32_t m = mk.pick(1, 5), n = mk.pick(1, 6);
  for (int32_t j = 0; j < n; ++j) {
    addcol(p, mk.chance(75) ? mk.pick(-3, 1) : -inf, mk.chance(40) ? mk.pick(1, 4) : inf,
           mk.chance(25) ? 0 : mk.pick(-3, 5));
  }
  for (int32_t i = 0; i < m; ++i) {
    std::vector<double> row(n);
    for (double& v : row) v = mk.chance(45) ? mk.coef() : 0;
    addrow(p, row, 0, 0);
  }
  const int32_t num = what == plant::none ? 0 : mk.pick(1, 3) + (what == plant::mixed ? 3 : 0);
  for (int32_t k = 0; k < num; ++k) {
    plantone(mk, p, what == plant::mixed ? plant(mk.pick(1, int32_t(plant::mixed) - 1)) : what);
  }
  std::vector<double> x0(p.n);
  for (int32_t j = 0; j < p.n; ++j) {
    const double l = std::isfinite(p.blx[j]) ? p.blx[j] : std::min(p.bux[j], 0.0) - 4;
    x0[j] = std::min(p.bux[j], l + mk.pick(0, 4));
  }
  for (int32_t i = 0; i < p.m; ++i) {
    double low = 0, high = 0, act = 0;
    for (int32_t j = 0; j < p.n; ++j) {
      const double v = p.a[i][j];
      act += v * x0[j];
      if (v == 0) continue;
      low += v > 0 ? v * p.blx[j] : v * p.bux[j];
      high += v > 0 ? v * p.bux[j] : v * p.blx[j];
    }
    const double tag = p.blc[i] == p.buc[i] ? p.blc[i] : 0;
    const bool finite = std::isfinite(low) && std::isfinite(high);
    if (tag == 1 && finite && mk.chance(80)) {
      p.blc[i] = mk.chance(50) ? high : -inf;
      p.buc[i] = std::isfinite(p.blc[i]) ? inf : low;
    } else if (tag == 2 && finite) {
      p.blc[i] = low - mk.pick(0, 1);
      p.buc[i] = high + mk.pick(-2, 1);
    } else if (tag >= 3) {
      p.blc[i] = p.buc[i] = act;
    } else {
      sides(mk, p, i, x0);
    }
  }
  p.cfix = mk.pick(-5, 5);
  return p;
}

struct box {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  ~box() { EXPECT_EQ(memman_delete(mman), 0U); }
};

// Violation of the sign and complementarity conditions of one variable or row.
double pairviolation(double value, double mult, double lower, double upper) {
  double v = std::max({0.0, lower - value, value - upper});
  if (mult > 0) v = std::max(v, std::min(mult, value - lower));
  if (mult < 0) v = std::max(v, std::min(-mult, upper - value));
  return v;
}

double violation(const lp_view& p, const lp_point& at) {
  double worst = 0;
  std::vector<double> act(p.numcon, 0.0);
  for (int32_t j = 0; j < p.numvar; ++j) {
    double z = p.c[j];
    for (ptrdiff_t q = p.a.ptr[j]; q < p.a.ptr[j + 1]; ++q) {
      z -= p.a.val[q] * at.y[p.a.sub[q]];
      act[p.a.sub[q]] += p.a.val[q] * at.x[j];
    }
    worst = std::max(worst, pairviolation(at.x[j], z, p.blx[j], p.bux[j]));
  }
  for (int32_t i = 0; i < p.numcon; ++i) {
    worst = std::max(worst, pairviolation(act[i], at.y[i], p.blc[i], p.buc[i]));
  }
  return worst;
}

// A second optimal point: random costs over the optimal face of red; the middle of both is interior to
// it where it has an interior.
std::vector<double> otherpoint(maker& mk, const lp_view& red, const dense_answer& opt) {
  std::vector<double> blx(red.blx.begin(), red.blx.end()), bux(red.bux.begin(), red.bux.end());
  std::vector<double> blc(red.blc.begin(), red.blc.end()), buc(red.buc.begin(), red.buc.end());
  std::vector<double> c(red.numvar);
  for (double& v : c) v = mk.coef();
  for (int32_t j = 0; j < red.numvar; ++j) {
    double z = red.c[j];
    for (ptrdiff_t q = red.a.ptr[j]; q < red.a.ptr[j + 1]; ++q)
      z -= red.a.val[q] * opt.y[red.a.sub[q]];
    if (std::abs(z) > tol) blx[j] = bux[j] = opt.x[j];
    blx[j] = std::max(blx[j], opt.x[j] - 20);
    bux[j] = std::min(bux[j], opt.x[j] + 20);
  }
  for (int32_t i = 0; i < red.numcon; ++i) {
    if (std::abs(opt.y[i]) > tol) blc[i] = buc[i] = opt.x[red.numvar + i];
  }
  lp_view face = red;
  face.blx = blx;
  face.bux = bux;
  face.blc = blc;
  face.buc = buc;
  face.c = c;
  const dense_answer other = dense_solve(face);
  std::vector<double> x(opt.x.begin(), opt.x.begin() + red.numvar);
  if (other.verdict != lp_verdict::optimal) return x;
  for (int32_t j = 0; j < red.numvar; ++j) x[j] = 0.5 * (x[j] + other.x[j]);
  return x;
}

void checkoptimal(maker& mk, box& bx, const prslv_rec& rec, const dense_answer& plain,
                  int32_t& numbetween) {
  const lp_view red = prslv_look(rec);
  const dense_answer ans = dense_solve(red);
  ASSERT_EQ(ans.verdict, lp_verdict::optimal);
  lp_point in(mm_at(*bx.mman)), out(mm_at(*bx.mman));
  in.verdict = lp_verdict::optimal;
  in.x.assign(ans.x.begin(), ans.x.begin() + red.numvar);
  in.y.assign(ans.y.begin(), ans.y.end());
  lp_basis inbas(mm_at(*bx.mman)), outbas(mm_at(*bx.mman));
  inbas.var.assign(ans.key.begin(), ans.key.begin() + red.numvar);
  inbas.con.assign(ans.key.begin() + red.numvar, ans.key.end());
  prslv_postsolvebas(rec, in, inbas, out, outbas);
  EXPECT_LE(violation(rec.orig, out), tol) << "basic";
  double obj = rec.orig.cfix;
  for (int32_t j = 0; j < rec.orig.numvar; ++j) obj += rec.orig.c[j] * out.x[j];
  EXPECT_NEAR(obj, plain.obj, tol * 1e2);
  std::vector<lp_key> key(outbas.var.begin(), outbas.var.end());
  key.insert(key.end(), outbas.con.begin(), outbas.con.end());
  dense_answer again;
  ASSERT_TRUE(dense_basispoint(rec.orig, key, again)) << "singular";
  // A free column that stands for others and is not basic leaves one of them between its bounds.
  bool isbetween = false;
  for (int32_t j = 0; j < rec.orig.numvar; ++j) {
    isbetween = isbetween || (outbas.var[j] == lp_key::superbasic && out.x[j] != 0);
  }
  for (int32_t j = 0; j < rec.orig.numvar && !isbetween; ++j) {
    EXPECT_NEAR(again.x[j], out.x[j], tol) << j;
  }
  numbetween += isbetween ? 1 : 0;
  for (int32_t i = 0; i < rec.orig.numcon; ++i) EXPECT_NEAR(again.y[i], out.y[i], tol) << i;
  const std::vector<double> mid = otherpoint(mk, red, ans);
  in.x.assign(mid.begin(), mid.end());
  prslv_postsolve(rec, in, prslv_kind::point, out);
  EXPECT_LE(violation(rec.orig, out), tol) << "interior";
}

void addcounts(prslv_info& sum, const prslv_info& in) {
  for (auto count : {&prslv_info::numemptyrow, &prslv_info::numsingleton, &prslv_info::numredundant,
                     &prslv_info::numforcing, &prslv_info::numduprow, &prslv_info::numlindep,
                     &prslv_info::numemptycol, &prslv_info::numfixed, &prslv_info::numdomcol,
                     &prslv_info::numdupcol, &prslv_info::numforcecol, &prslv_info::numslack,
                     &prslv_info::numimplfree, &prslv_info::numdoubleton, &prslv_info::numelim,
                     &prslv_info::numbound, &prslv_info::numside, &prslv_info::numimplequ}) {
    sum.*count += in.*count;
  }
}

struct tally {
  prslv_info info;
  int32_t numoptimal = 0, numinfeas = 0, numunbounded = 0, numundecided = 0, numbetween = 0;
  int32_t numray = 0, numproof = 0;  // certificates of reduced problems, and those that stay valid
  int64_t size = 0, again = 0;       // of reduced problems, and of what is left of them
};

// A certificate of the reduced problem as one of the original.
void checkray(box& bx, const prslv_rec& rec, tally& sum) {
  const lp_view red = prslv_look(rec);
  const dense_answer ans = dense_solve(red);
  ASSERT_NE(ans.verdict, lp_verdict::none);
  EXPECT_NE(ans.verdict, lp_verdict::optimal);
  const bool infeas = ans.verdict == lp_verdict::priminfeas;
  lp_point in(mm_at(*bx.mman)), out(mm_at(*bx.mman));
  in.verdict = ans.verdict;
  in.x.assign(ans.x.begin(), ans.x.begin() + red.numvar);
  in.y.assign(ans.y.begin(), ans.y.end());
  (infeas ? in.x : in.y).clear();
  prslv_postsolve(rec, in, infeas ? prslv_kind::dualray : prslv_kind::primalray, out);
  ++sum.numray;
  sum.numproof += (infeas ? prslv_provesinfeas(rec.orig, out) : prslv_provesunbound(rec.orig, out));
}

double reducedcost(const lp_view& p, const lp_point& at, int32_t j) {
  double z = p.c[j];
  for (ptrdiff_t q = p.a.ptr[j]; q < p.a.ptr[j + 1]; ++q) z -= p.a.val[q] * at.y[p.a.sub[q]];
  return z;
}

// Held columns are where they were, with their bounds, and any multipliers give them the reduced costs
// that they had in the reduced problem.
void checkheld(maker& mk, box& bx, const prslv_rec& rec, std::span<const prslv_hold> held) {
  const lp_view red = prslv_look(rec);
  lp_point in(mm_at(*bx.mman)), out(mm_at(*bx.mman));
  in.x.assign(red.numvar, 0.0);
  for (int32_t i = 0; i < red.numcon; ++i) in.y.push_back(mk.coef());
  prslv_postsolve(rec, in, prslv_kind::point, out);
  for (int32_t j = 0; j < int32_t(held.size()); ++j) {
    if (held[j] == prslv_hold::none) continue;
    const int32_t k = rec.redvar[j];
    ASSERT_GE(k, 0);
    if (held[j] == prslv_hold::column) continue;
    EXPECT_EQ(red.blx[k], rec.orig.blx[j]);
    EXPECT_EQ(red.bux[k], rec.orig.bux[j]);
    EXPECT_NEAR(reducedcost(red, in, k), reducedcost(rec.orig, out, j), tol * 1e2);
  }
}

void runone(maker& mk, dense_lp& p, const prslv_settings& set, bool holds, tally& sum) {
  box bx;
  const lp_view view = p.view();
  const dense_answer plain = dense_solve(view);
  ASSERT_NE(plain.verdict, lp_verdict::none);
  std::vector<prslv_hold> held(holds ? p.n : 0);
  for (prslv_hold& h : held) h = mk.chance(70) ? prslv_hold::none : prslv_hold(mk.pick(1, 2));
  prslv_rec rec(mm_at(*bx.mman));
  ASSERT_EQ(prslv_reduce(view, held, set, {}, *bx.mman, rec), rescode::ok);
  addcounts(sum.info, rec.info);
  const bool isoptimal = plain.verdict == lp_verdict::optimal;
  switch (rec.verdict) {
    case prslv_verdict::infeas:
      ++sum.numinfeas;
      EXPECT_EQ(plain.verdict, lp_verdict::priminfeas);
      return;
    case prslv_verdict::unbounded:  // proves that there is no dual point only
      ++sum.numunbounded;
      EXPECT_FALSE(isoptimal);
      return;
    case prslv_verdict::undecided:
      ++sum.numundecided;
      EXPECT_FALSE(isoptimal);
      return;
    case prslv_verdict::reduced:
      break;
  }
  checkheld(mk, bx, rec, held);
  if (isoptimal) {
    ++sum.numoptimal;
    checkoptimal(mk, bx, rec, plain, sum.numbetween);
  } else {
    checkray(bx, rec, sum);
  }
  prslv_rec twice(mm_at(*bx.mman));
  ASSERT_EQ(prslv_reduce(prslv_look(rec), {}, set, {}, *bx.mman, twice), rescode::ok);
  if (holds || twice.verdict != prslv_verdict::reduced) return;
  sum.size += rec.a.nrow + rec.a.ncol + int64_t(rec.a.sub.size());
  sum.again += twice.a.nrow + twice.a.ncol + int64_t(twice.a.sub.size());
}

}  // namespace

TEST(PrslvRandom, AgreesWithDenseSimplex) {
  tally sum;
  for (int32_t seed = 0; seed < 20000; ++seed) {
    maker mk{std::mt19937(uint32_t(seed))};
    dense_lp p = make(mk, plant(seed % int32_t(plant::last)));
    prslv_settings set;
    set.forinterior = mk.chance(50);
    runone(mk, p, set, false, sum);
    ASSERT_FALSE(HasFailure()) << "seed " << seed;
  }
  const prslv_info& in = sum.info;
  for (const int32_t count :
       {in.numemptyrow,   in.numsingleton, in.numredundant, in.numforcing,   in.numduprow,
        in.numlindep,     in.numemptycol,  in.numfixed,     in.numdomcol,    in.numdupcol,
        in.numforcecol,   in.numslack,     in.numimplfree,  in.numdoubleton, in.numelim,
        in.numbound,      in.numside,      in.numimplequ,   sum.numoptimal,  sum.numinfeas,
        sum.numunbounded, sum.numray}) {
    EXPECT_GT(count, 20);
  }
  EXPECT_LT(sum.numbetween, sum.numoptimal / 1000);
  EXPECT_LT(sum.numundecided * 100, sum.numinfeas + sum.numunbounded);
  EXPECT_GT(sum.numproof * 100, sum.numray * 95);
  EXPECT_GT(sum.again * 100, sum.size * 97);  // a second presolve finds next to nothing
}

TEST(PrslvRandom, LeavesHeldColumnsAlone) {
  tally sum;
  for (int32_t seed = 0; seed < 5000; ++seed) {
    maker mk{std::mt19937(uint32_t(100000 + seed))};
    dense_lp p = make(mk, plant(seed % int32_t(plant::last)));
    runone(mk, p, {}, true, sum);
    ASSERT_FALSE(HasFailure()) << "seed " << seed;
  }
  EXPECT_GT(sum.numoptimal, 1000);
}

TEST(PrslvRandom, WorksWithEachSearchOff) {
  for (int32_t seed = 0; seed < 3000; ++seed) {
    maker mk{std::mt19937(uint32_t(200000 + seed))};
    dense_lp p = make(mk, plant::mixed);
    tally sum;
    prslv_settings set;
    set.use = seed % 8 != 0;
    set.eliminatoruse = seed % 2 != 0;
    set.lindepuse = seed % 3 != 0;
    set.elimfill = seed % 5;
    runone(mk, p, set, false, sum);
    ASSERT_FALSE(HasFailure()) << "seed " << seed;
    EXPECT_TRUE(set.eliminatoruse || sum.info.numelim == 0);
    EXPECT_TRUE(set.lindepuse || sum.info.numlindep == 0);
    EXPECT_TRUE(set.use || (sum.info.numredundant == 0 && sum.info.numfixed == 0));
  }
}

TEST(PrslvRandom, SurvivesEveryFailedAllocation) {
  maker mk{std::mt19937(7)};
  for (int32_t problem = 0; problem < 12; ++problem) {
    dense_lp p = make(mk, plant::mixed);
    const lp_view view = p.view();
    for (long k = 0;; ++k) {
      ASSERT_LT(k, 10000);
      faulty_alloc alloc(k);
      memman* mman = memman_create(&alloc, &faulty_alloc::alloc, &faulty_alloc::free, false);
      if (mman == nullptr) continue;
      bool failed = false;
      try {
        prslv_rec rec(mm_at(*mman));
        ASSERT_EQ(prslv_reduce(view, {}, {}, {}, *mman, rec), rescode::ok);
        lp_point in(mm_at(*mman)), out(mm_at(*mman));
        in.x.assign(rec.varof.size(), 0.0);
        in.y.assign(rec.conof.size(), 0.0);
        if (rec.verdict == prslv_verdict::reduced) {
          prslv_postsolve(rec, in, prslv_kind::point, out);
        }
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      EXPECT_EQ(memman_delete(mman), 0U);
      EXPECT_EQ(alloc.numlive, 0);
      if (!failed) break;
    }
  }
}

TEST(PrslvStop, EndsWithTheCodeOfTheMonitor) {
  // A chain of equations that takes work; the monitor stops it at its first question.
  dense_lp p;
  constexpr int32_t num = 400;
  for (int32_t j = 0; j < num; ++j) addcol(p, 0, inf, 1);
  for (int32_t i = 0; i < num; ++i) {
    std::vector<double> row(num, 0.0);
    for (int32_t j = 0; j < num; ++j) row[j] = 1 + (i * 31 + j * 17) % 7;
    addrow(p, row, 1, i % 2 == 0 ? 1e3 : inf);
  }
  const lp_view view = p.view();
  box bx;
  prslv_rec rec(mm_at(*bx.mman));
  monitor mon;
  mon.pollfn = [](void*, monitor_where) { return rescode::trm_user_break; };
  EXPECT_EQ(prslv_reduce(view, {}, {}, mon, *bx.mman, rec), rescode::trm_user_break);
  EXPECT_EQ(rec.verdict, prslv_verdict::undecided);
}
