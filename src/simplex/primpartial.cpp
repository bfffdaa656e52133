// Partial pricing: only some of the columns are awake, which have exact reduced costs and weights as
// in steepest edge; the others stay at their bounds and cost nothing. When no column that is awake is
// attractive, all are looked at and the most promising ones woken. Products with rho are formed by
// columns, of those awake only.
//   Bixby, Gregory, Lustig, Marsten, Shanno, "Very large-scale linear programming: a case study in
//   combining interior point and simplex methods", Operations Research 40 (1992)
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "simplex/primstate.h"

namespace {

// As many columns are woken as so many for a row, and at least so many.
constexpr double part_perrow = 4.0;
constexpr int32_t part_least = 500;
// Smaller products are rounding; absolute, scaled.
constexpr double part_zero = 1e-14;

// How promising the nonbasic column j is: the rate at which the objective falls, for its length;
// below zero, by how much the reduced cost must change first.
double promise(const prim_state& p, int32_t j) {
  const sim_state& st = p.st;
  const double d = st.d[j];
  const double gain = st.move[j] > 0 ? -d : st.move[j] < 0 ? d : std::abs(d);
  double norm = 1;
  for (ptrdiff_t k = st.lp.a.ptr[j]; k < st.lp.a.ptr[j + 1]; ++k) {
    norm += st.lp.a.val[k] * st.lp.a.val[k];
  }
  return gain / std::sqrt(norm);
}

}  // namespace

bool part_wake(prim_state& p) {
  sim_state& st = p.st;
  sim_duals(st);
  p.awake.clear();
  p.score.clear();
  const auto may = [&](int32_t j) { return st.pos[j] < 0 && (p.flag[j] & prim_isheld) == 0; };
  for (int32_t j = 0; j < st.n; ++j) {
    p.flag[j] |= prim_isasleep;
    if (may(j)) p.score.push_back(promise(p, j));
  }
  const auto want = size_t(std::max(part_perrow * st.m, double(part_least)));
  double least = -std::numeric_limits<double>::infinity();
  if (p.score.size() > want) {
    const auto nth = p.score.begin() + ptrdiff_t(want);
    std::nth_element(p.score.begin(), nth, p.score.end(), std::greater<>());
    least = *nth;
  }
  for (int32_t j = 0; j < st.n; ++j) {
    if ((p.flag[j] & prim_isheld) != 0) continue;
    if (may(j)) {
      const double mine = promise(p, j);
      if (mine < least || (mine == least && p.awake.size() >= 2 * want)) continue;  // many ties
    }
    p.flag[j] &= uint8_t(~prim_isasleep);
    p.awake.push_back(j);
  }
  prim_setweights(p, false);
  prim_setcands(p);
  return !p.cand.empty();
}

void part_price(prim_state& p, const lu_vector& rho) {
  const sim_state& st = p.st;
  for (const int32_t j : p.awake) {
    if (st.pos[j] >= 0) continue;
    const double a = sim_dotcolumn(st, j, rho.val);
    if (std::abs(a) > part_zero) lu_vecset(p.row, j, a);
  }
  p.st.pollwork += int64_t(p.awake.size());
}
