// The linear systems of the homogeneous method and their refinement,
//   -(T + Q) dx + A'dy = r1,  A dx = r2.
// By normal equations when T + Q is diagonal: A Theta A' dy = r2 + A Theta r1, dx = Theta (A'dy - r1),
// Theta = (T + Q)^-1 (a large weight stands in for what a free column lacks). Otherwise, or when that is
// cheaper, by the symmetric quasi-definite matrix of both blocks:
//   Vanderbei, "Symmetric quasidefinite matrices", SIAM J. Optim. 5 (1995).
// Either way the solution is refined against the system without weights and regularization.

#include <algorithm>
#include <cmath>
#include <limits>

#include "homo/homopt.h"
#include "homo/homtool.h"

namespace {

constexpr double solve_good = 1e-10;     // relative residual of p and q that is good enough
constexpr double pivrel_strict = 1e-15;  // pivot rule when it is not, with rows taken out
constexpr double solve_bad = 1e-6;       // and one that says that the system has no solution
constexpr double krylov_new = 1e-10;     // less of a direction that is new is rounding
constexpr double krylov_worse = 2;  // largest residual over the one before; the 2-norm always falls
constexpr int krylov_slow = 2;      // directions in a row that gain little: no more
constexpr double exact_share = 0.1;   // of the tolerances for what a direction may add to residuals
constexpr double solve_noise = 1e-4;  // noise of the data over refine_tol: residuals may end there
constexpr int maxrefine = 4;
constexpr double refine_tol = 1e-12;  // residual of a block relative to its right-hand side: done
constexpr double refine_gain = 0.5;   // a round that does not reduce the residual so is the last

kktfac_regul regul_of(const hom_state& st) {
  // By regularization level; scaled data. Curvature holds the diagonal up, so that rows whose second
  // differences all but vanish (splines) would feel more than the least.
  constexpr double shift[] = {1e-10, 1e-8, 1e-6}, shiftq[] = {1e-13, 1e-10, 1e-8};
  constexpr double regcol[] = {1e-8, 1e-7, 1e-6}, regrow[] = {1e-12, 1e-10, 1e-8};
  kktfac_regul regul;
  regul.shift = hom_hasq(st.prob) ? shiftq[st.regulevel] : shift[st.regulevel];
  regul.regrow = regrow[st.regulevel];
  regul.regcol = regcol[st.regulevel];
  regul.keeprow = true;
  return regul;
}

rescode factor(hom_state& st, const kktfac_regul& regul) {
  if (!st.isbig) return kktfac_numfac(st.fac, st.theta, regul, st.mon);
  return kktfac_numfacsqd(st.fac, st.tdiag, st.zero, regul, st.mon);
}

// x, y from the factor alone; r1 and r2 are not changed. x may not alias r1.
void solve_normal(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                  std::span<double> x, std::span<double> y) {
  for (size_t j = 0; j < x.size(); ++j) x[j] = st.theta[j] * r1[j];
  std::copy(r2.begin(), r2.end(), y.begin());
  spmat_addatx(spmat_look(st.prob.at), 1, x, y);
  kktfac_adasolve(st.fac, y, 1);
  for (size_t j = 0; j < x.size(); ++j) x[j] = -r1[j];
  spmat_addatx(spmat_look(st.prob.a), 1, y, x);
  for (size_t j = 0; j < x.size(); ++j) x[j] *= st.theta[j];
}

void solve_big(hom_state& st, std::span<const double> r1, std::span<const double> r2,
               std::span<double> x, std::span<double> y) {
  std::copy(r1.begin(), r1.end(), st.big.begin());
  std::copy(r2.begin(), r2.end(), st.big.begin() + st.prob.n);
  kktfac_solve(st.fac, st.big, 1);
  std::copy(st.big.begin(), st.big.begin() + st.prob.n, x.begin());
  std::copy(st.big.begin() + st.prob.n, st.big.end(), y.begin());
}

void solve_once(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                std::span<double> x, std::span<double> y) {
  if (st.isbig) {
    solve_big(st, r1, r2, x, y);
  } else {
    solve_normal(st, r1, r2, x, y);
  }
}

// Whether x was made from y so that the first block holds to rounding.
bool firstblock_holds(const hom_state& st) {
  return !st.isbig && st.prob.bcol.empty();
}

// Residuals of both blocks in st.e1 and st.e2; the larger one, relative to right-hand side and solution.
double solve_residual(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                      std::span<const double> x, std::span<const double> y) {
  const hom_prob& pr = st.prob;
  auto relative = [](double residual, double size) { return size > 0 ? residual / size : size; };
  std::copy(r2.begin(), r2.end(), st.e2.begin());
  spmat_addatx(spmat_look(pr.at), -1, x, st.e2);
  const double size2 = hom_maxabs(r2) + hom_maxabs(x) + st.noise2;
  const double res2 = relative(hom_maxabs(st.e2), size2);
  if (firstblock_holds(st)) return res2;
  for (int32_t j = 0; j < pr.n; ++j) st.e1[j] = r1[j] + st.tdiag[j] * x[j];
  if (pr.qdiag.empty()) hom_addqx(pr, 1, x, st.e1);
  spmat_addatx(spmat_look(pr.a), -1, y, st.e1);
  const double size1 = hom_maxabs(r1) + hom_maxabs(y) + st.noise1;
  return hom_nanmax(relative(hom_maxabs(st.e1), size1), res2);
}

// The correction for st.e1 and st.e2.
void solve_correction(hom_state& st, std::span<double> x, std::span<double> y) {
  if (!firstblock_holds(st)) {
    solve_once(st, st.e1, st.e2, x, y);
    return;
  }
  std::copy(st.e2.begin(), st.e2.end(), y.begin());
  kktfac_adasolve(st.fac, y, 1);
  std::fill(x.begin(), x.end(), 0.0);
  spmat_addatx(spmat_look(st.prob.a), 1, y, x);
  for (size_t j = 0; j < x.size(); ++j) x[j] *= st.theta[j];
}

void add(std::span<double> to, double factor, std::span<const double> from) {
  for (size_t i = 0; i < to.size(); ++i) to[i] += factor * from[i];
}

double solve_refined(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                     std::span<double> x, std::span<double> y) {
  solve_once(st, r1, r2, x, y);
  double before = std::numeric_limits<double>::infinity();
  for (int round = 0;; ++round) {
    const double now = solve_residual(st, r1, r2, x, y);
    if (round > 0 && !(now < before)) {  // the last round made it worse: take it back
      add(x, -1, st.sx);
      add(y, -1, st.sy);
      return before;
    }
    if (round == maxrefine || !(now > refine_tol) || now > refine_gain * before) return now;
    before = now;
    solve_correction(st, st.sx, st.sy);
    add(x, 1, st.sx);
    add(y, 1, st.sy);
  }
}

// (r1, r2) += K z for the system's matrix K; r1 is left alone where its block holds anyway.
void add_product(const hom_state& st, std::span<const double> zx, std::span<const double> zy,
                 std::span<double> r1, std::span<double> r2) {
  const hom_prob& pr = st.prob;
  spmat_addatx(spmat_look(pr.at), 1, zx, r2);
  if (firstblock_holds(st)) return;
  for (int32_t j = 0; j < pr.n; ++j) r1[j] -= st.tdiag[j] * zx[j];
  if (pr.qdiag.empty()) hom_addqx(pr, -1, zx, r1);
  spmat_addatx(spmat_look(pr.a), 1, zy, r1);
}

// Whether the residuals that a search direction leaves, as the status test will weigh them, are well
// below its tolerances.
bool is_exact(const hom_state& st) {
  const hom_prob& pr = st.prob;
  double res1 = 0, res2 = 0;
  for (int32_t i = 0; i < pr.m; ++i) res2 = std::max(res2, std::abs(st.e2[i]) / pr.rowfac[i]);
  if (!firstblock_holds(st)) {
    for (int32_t j = 0; j < pr.n; ++j) res1 = std::max(res1, std::abs(st.e1[j]) / pr.colfac[j]);
  }
  const double share = exact_share * st.it.tau;
  return res2 * pr.sb <= share * st.set.tolpfeas * (1 + pr.nrmb) &&
         res1 * pr.sc <= share * st.set.toldfeas * (1 + pr.nrmc);
}

// Generalized conjugate residuals with the factor as preconditioner: what regularization and refused
// pivots changed has low rank in effect, and each direction takes one dimension of it out.
// Eisenstat, Elman, Schultz, "Variational iterative methods for nonsymmetric systems of linear
// equations", SIAM J. Numer. Anal. 20 (1983).
double solve_krylov(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                    std::span<double> x, std::span<double> y) {
  const auto n = size_t(st.prob.n), dim = n + size_t(st.prob.m);
  const auto part = [&](mm_vector<double>& v, int k) {
    return std::span(v).subspan(size_t(k) * dim, dim);
  };
  solve_once(st, r1, r2, x, y);
  double now = solve_residual(st, r1, r2, x, y);
  const double size1 = hom_maxabs(r1) + hom_maxabs(y) + st.noise1;
  const double size2 = hom_maxabs(r2) + hom_maxabs(x) + st.noise2;
  const double ratio = size1 > 0 && size2 > 0 ? size1 / size2 : 1;  // of the blocks' units
  int numslow = 0;
  for (int k = 0; k < hom_maxkrylov; ++k) {
    if (!(now > refine_tol) && (!st.issearch || is_exact(st))) break;
    const std::span<double> z = part(st.krylovz, k), w = part(st.krylovw, k);
    const std::span<double> zx = z.first(n), zy = z.subspan(n), w1 = w.first(n), w2 = w.subspan(n);
    solve_correction(st, zx, zy);
    std::fill(w.begin(), w.end(), 0.0);
    add_product(st, zx, zy, w1, w2);
    for (double& e : w2) e *= ratio;
    const double whole = std::sqrt(hom_dot(w, w));
    for (int l = 0; l < k; ++l) {
      const double along = hom_dot(part(st.krylovw, l), w);
      add(w, -along, part(st.krylovw, l));
      add(z, -along, part(st.krylovz, l));
    }
    const double norm = std::sqrt(hom_dot(w, w));
    if (!(norm > krylov_new * whole) || !std::isfinite(norm)) break;
    for (double& e : w) e /= norm;
    for (double& e : z) e /= norm;
    const double step = hom_dot(w1, st.e1) + hom_dot(w2, st.e2) * ratio;
    add(x, step, zx);
    add(y, step, zy);
    const double next = solve_residual(st, r1, r2, x, y);
    if (!(next < krylov_worse * now)) {
      add(x, -step, zx);
      add(y, -step, zy);
      break;
    }
    numslow = next > refine_gain * now ? numslow + 1 : 0;
    now = next;
    if (numslow == krylov_slow && now < solve_bad) break;
  }
  return now;
}

}  // namespace

double hom_solve(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                 std::span<double> x, std::span<double> y) {
  return st.krylovz.empty() ? solve_refined(st, r1, r2, x, y) : solve_krylov(st, r1, r2, x, y);
}

namespace {

// Factor, and p and q for the right-hand side in r1 and r2, with the residual that they leave. The
// pivot rule takes rows out that look dependent; when the system is not solved without them they come
// back with a stricter rule.
rescode factor_and_solve(hom_state& st, double& residual) {
  kktfac_regul regul = regul_of(st);
  if (const rescode r = factor(st, regul); r != rescode::ok) return r;
  const double first = residual = hom_solve(st, st.r1, st.r2, st.p, st.q);
  if (st.isbig || first <= solve_good || kktfac_getstats(st.fac).numskipped == 0)
    return rescode::ok;
  const double usual = regul.pivrel;
  regul.pivrel = pivrel_strict;
  if (const rescode r = factor(st, regul); r != rescode::ok) return r;
  residual = hom_solve(st, st.r1, st.r2, st.p, st.q);
  if (residual < first) return rescode::ok;
  regul.pivrel = usual;
  if (const rescode r = factor(st, regul); r != rescode::ok) return r;
  residual = hom_solve(st, st.r1, st.r2, st.p, st.q);
  return rescode::ok;
}

// Dependent free columns whose costs contradict each other leave no p at all (their problem is dual
// infeasible). The weight they have in the factor then counts as theirs: the system is solvable, and
// p is all but the ray. Where that does not help, rows contradict each other, and nothing changes.
void weigh_free_columns(hom_state& st) {
  const auto curvature = [&](int32_t j) { return st.prob.qdiag.empty() ? 0 : st.prob.qdiag[j]; };
  for (const int32_t j : st.prob.bcol) {
    st.tdiag[j] = st.isbig ? regul_of(st).regcol : 1 / st.theta[j];
  }
  if (hom_solve(st, st.r1, st.r2, st.p, st.q) <= solve_bad) return;
  for (const int32_t j : st.prob.bcol) st.tdiag[j] = curvature(j);
  hom_solve(st, st.r1, st.r2, st.p, st.q);
}

// What rounding leaves in the residuals of the model, as sizes for the relative residuals of a solve.
void set_noise(hom_state& st) {
  const hom_prob& pr = st.prob;
  st.noise1 = solve_noise * std::max({hom_maxabs(pr.c), hom_maxabs(st.it.s), hom_maxabs(st.qx)});
  st.noise2 = solve_noise * std::max({pr.nrmb / pr.sb, hom_maxabs(pr.b), hom_maxabs(st.it.x)});
}

}  // namespace

rescode hom_setupfac(const hom_prob& prob, const hs_settings& set, const monitor& mon, memman& mman,
                     kktfac_ptr& fac) {
  const monitor orderlog = monitor_at(mon, set.orderlevel);
  const bool isopen = hom_hasq(prob) && set.system == hs_system::free;
  const bool isbig = !prob.q.sub.empty() || (isopen && !prob.bcol.empty()) ||
                     set.system == hs_system::quasidefinite;
  fac = kktfac_make(isbig ? kktfac_kind::sqd : kktfac_kind::ada, prob.m, prob.n, mman);
  kktfac_inaij(*fac, spmat_look(prob.a));
  if (!isbig) return kktfac_adasetup(*fac, set.kkt, mon, orderlog);
  kktfac_inqij(*fac, spmat_look(prob.q));
  kktfac_settings kkt = set.kkt;
  if (!prob.bcol.empty()) kkt.form = 2;  // a free column as first pivot would swamp its rows
  return kktfac_autosetup(*fac, kkt, mon, orderlog);
}

rescode hom_factorpq(hom_state& st) {
  if (!st.krylovz.empty()) set_noise(st);
  st.issearch = false;
  double residual = 0;
  if (const rescode r = factor_and_solve(st, residual); r != rescode::ok) return r;
  if (!(residual <= solve_bad) && hom_hasq(st.prob) && !st.isbig) ++st.numweak;
  if (!(residual <= solve_bad) && !st.prob.bcol.empty()) weigh_free_columns(st);
  return rescode::ok;
}

rescode hom_lsfactor(hom_state& st) {
  const hom_prob& pr = st.prob;
  std::fill(st.tdiag.begin(), st.tdiag.end(), 1.0);
  for (const int32_t j : pr.ucol) st.tdiag[j] = 2;
  for (int32_t j = 0; j < int32_t(pr.qdiag.size()); ++j) st.tdiag[j] += pr.qdiag[j];
  for (int32_t j = 0; j < pr.n; ++j) st.theta[j] = 1 / st.tdiag[j];
  return factor(st, regul_of(st));
}
