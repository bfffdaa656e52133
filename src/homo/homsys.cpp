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
constexpr int maxrefine = 4;
constexpr double refine_tol = 1e-12;  // residual of a block relative to its right-hand side: done
constexpr double refine_gain = 0.5;   // a round that does not reduce the residual so is the last

kktfac_regul regul_of(const hom_state& st) {
  // By regularization level; scaled data. Curvature holds the diagonal up, so that rows whose second
  // differences all but vanish (splines) would feel more than the least.
  constexpr double shift[] = {1e-10, 1e-8, 1e-6}, shiftq[] = {1e-13, 1e-10, 1e-8};
  kktfac_regul regul;
  regul.shift = hom_hasq(st.prob) ? shiftq[st.regulevel] : shift[st.regulevel];
  return regul;
}

rescode factor(hom_state& st, const kktfac_regul& regul) {
  return kktfac_numfac(st.fac, st.theta, regul, st.mon);
}

// x, y from the factor alone; r1 and r2 are not changed. x may not alias r1.
void solve_once(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                std::span<double> x, std::span<double> y) {
  for (size_t j = 0; j < x.size(); ++j) x[j] = st.theta[j] * r1[j];
  std::copy(r2.begin(), r2.end(), y.begin());
  spmat_addatx(spmat_look(st.prob.at), 1, x, y);
  kktfac_adasolve(st.fac, y, 1);
  for (size_t j = 0; j < x.size(); ++j) x[j] = -r1[j];
  spmat_addatx(spmat_look(st.prob.a), 1, y, x);
  for (size_t j = 0; j < x.size(); ++j) x[j] *= st.theta[j];
}

// Whether x was made from y so that the first block holds to rounding.
bool firstblock_holds(const hom_state& st) {
  return st.prob.bcol.empty();
}

// Residuals of both blocks in st.e1 and st.e2; the larger one, relative to right-hand side and solution.
double solve_residual(hom_state& st, std::span<const double> r1, std::span<const double> r2,
                      std::span<const double> x, std::span<const double> y) {
  const hom_prob& pr = st.prob;
  auto relative = [](double residual, double size) { return size > 0 ? residual / size : size; };
  std::copy(r2.begin(), r2.end(), st.e2.begin());
  spmat_addatx(spmat_look(pr.at), -1, x, st.e2);
  const double res2 = relative(hom_maxabs(st.e2), hom_maxabs(r2) + hom_maxabs(x));
  if (firstblock_holds(st)) return res2;
  for (int32_t j = 0; j < pr.n; ++j) st.e1[j] = r1[j] + st.tdiag[j] * x[j];
  spmat_addatx(spmat_look(pr.a), -1, y, st.e1);
  return hom_nanmax(relative(hom_maxabs(st.e1), hom_maxabs(r1) + hom_maxabs(y)), res2);
}

// The correction for st.e1 and st.e2 in st.sx and st.sy.
void solve_correction(hom_state& st) {
  if (!firstblock_holds(st)) {
    solve_once(st, st.e1, st.e2, st.sx, st.sy);
    return;
  }
  std::copy(st.e2.begin(), st.e2.end(), st.sy.begin());
  kktfac_adasolve(st.fac, st.sy, 1);
  std::fill(st.sx.begin(), st.sx.end(), 0.0);
  spmat_addatx(spmat_look(st.prob.a), 1, st.sy, st.sx);
  for (size_t j = 0; j < st.sx.size(); ++j) st.sx[j] *= st.theta[j];
}

void add(std::span<double> to, double factor, std::span<const double> from) {
  for (size_t i = 0; i < to.size(); ++i) to[i] += factor * from[i];
}

}  // namespace

double hom_solve(hom_state& st, std::span<const double> r1, std::span<const double> r2,
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
    solve_correction(st);
    add(x, 1, st.sx);
    add(y, 1, st.sy);
  }
}

namespace {

// Factor, and p and q for the right-hand side in r1 and r2, with the residual that they leave. The
// pivot rule takes rows out that look dependent; when the system is not solved without them they come
// back with a stricter rule.
rescode factor_and_solve(hom_state& st, double& residual) {
  kktfac_regul regul = regul_of(st);
  if (const rescode r = factor(st, regul); r != rescode::ok) return r;
  const double first = residual = hom_solve(st, st.r1, st.r2, st.p, st.q);
  if (first <= solve_good || kktfac_getstats(st.fac).numskipped == 0) return rescode::ok;
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
  for (const int32_t j : st.prob.bcol) st.tdiag[j] = 1 / st.theta[j];
  if (hom_solve(st, st.r1, st.r2, st.p, st.q) <= solve_bad) return;
  for (const int32_t j : st.prob.bcol) st.tdiag[j] = curvature(j);
  hom_solve(st, st.r1, st.r2, st.p, st.q);
}

}  // namespace

rescode hom_factorpq(hom_state& st) {
  double residual = 0;
  if (const rescode r = factor_and_solve(st, residual); r != rescode::ok) return r;
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
