// Partial pricing: multipliers in place of all reduced costs. The columns are looked at a section at
// a time, the best of a section stay on a short list whose reduced costs are made anew for every
// choice; there is no product with the rows of A. Static weights: the norms of the columns.
#include <algorithm>
#include <cmath>

#include "simplex/primstate.h"

namespace {

// Sections, their least size, and how many of a section are listed.
constexpr int32_t part_numsection = 10, part_leastsection = 500, part_listed = 50;
// Choices after which the list is made from the next section even when some are left.
constexpr int32_t part_maxage = 50;

double fresh_dual(prim_state& p, int32_t k) {
  return p.st.d[k] = p.st.cost[k] - sim_dotcolumn(p.st, k, p.y);
}

double score_of(const prim_state& p, int32_t k) {
  return p.st.d[k] * p.st.d[k] / p.weight[k];
}

// The best of the list, which loses those that are no longer attractive.
int32_t choose_listed(prim_state& p) {
  int32_t best = -1;
  for (size_t c = p.cand.size(); c-- > 0;) {  // one that leaves is replaced by a later one
    const int32_t k = p.cand[c];
    fresh_dual(p, k);
    prim_touch(p, k);
    if (p.candat[k] < 0) continue;
    if (best < 0 || score_of(p, k) > score_of(p, best)) best = k;
  }
  return best;
}

void clear_list(prim_state& p) {
  for (const int32_t k : p.cand) p.candat[k] = -1;
  p.cand.clear();
}

// Lists the best of the next section.
void list_section(prim_state& p) {
  sim_state& st = p.st;
  const int32_t size = std::min(std::max(st.nt / part_numsection, part_leastsection), st.nt);
  for (int32_t t = 0; t < size; ++t) {
    const int32_t k = p.cursor;
    p.cursor = k + 1 < st.nt ? k + 1 : 0;
    if (st.pos[k] >= 0 || (p.flag[k] & prim_isheld) != 0) continue;
    fresh_dual(p, k);
    prim_touch(p, k);
  }
  if (int32_t(p.cand.size()) <= part_listed) return;
  std::nth_element(p.cand.begin(), p.cand.begin() + part_listed, p.cand.end(),
                   [&](int32_t a, int32_t b) { return score_of(p, a) > score_of(p, b); });
  for (size_t c = part_listed; c < p.cand.size(); ++c) p.candat[p.cand[c]] = -1;
  p.cand.resize(part_listed);
  for (int32_t c = 0; c < part_listed; ++c) p.candat[p.cand[c]] = c;
}

}  // namespace

void part_start(prim_state& p) {
  sim_state& st = p.st;
  clear_list(p);
  lu_vecclear(p.rho);
  for (int32_t i = 0; i < st.m; ++i) {
    if (st.cost[st.basic[i]] != 0) lu_vecset(p.rho, i, st.cost[st.basic[i]]);
  }
  sim_btran(st, p.rho);
  p.y.assign(p.rho.val.begin(), p.rho.val.end());
}

void part_setweights(prim_state& p) {
  const spmat_view& a = p.st.lp.a;
  std::fill(p.weight.begin(), p.weight.end(), 2.0);  // the logicals' too
  for (int32_t j = 0; j < p.st.n; ++j) {
    double norm = 1;
    for (ptrdiff_t k = a.ptr[j]; k < a.ptr[j + 1]; ++k) norm += a.val[k] * a.val[k];
    p.weight[j] = norm;
  }
}

int32_t part_chuzc(prim_state& p) {
  int32_t best = ++p.listage <= part_maxage ? choose_listed(p) : -1;
  if (best >= 0) return best;
  p.listage = 0;
  clear_list(p);
  for (int32_t seen = 0, before = p.cursor; seen < p.st.nt && p.cand.empty(); before = p.cursor) {
    list_section(p);
    seen += p.cursor > before ? p.cursor - before : p.cursor + p.st.nt - before;
  }
  for (const int32_t k : p.cand) {
    if (best < 0 || score_of(p, k) > score_of(p, best)) best = k;
  }
  return best;
}

void part_addrow(prim_state& p, const lu_vector& row, double times) {
  if (row.num < 0) {
    for (int32_t i = 0; i < p.st.m; ++i) p.y[i] += times * row.val[i];
    return;
  }
  for (int32_t t = 0; t < row.num; ++t) p.y[row.ind[t]] += times * row.val[row.ind[t]];
}
