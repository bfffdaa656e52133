#include <cmath>

#include "simplex/simcore.h"

namespace {

// A vector denser than this times A is formed by columns: then most entries count anyway, and the
// rows' scattered additions cost more than sums.
constexpr double solve_bycolumn = 0.4;
// Beyond this share of nonzeros in the result, listing them costs more than it saves.
constexpr double solve_listed = 0.25;
// Smaller results are rounding; absolute, scaled.
constexpr double solve_zero = 1e-14;

void price_columns(const sim_state& st, const lu_vector& rho, lu_vector& out) {
  const spmat_view& a = st.lp.a;
  for (int32_t j = 0; j < st.n; ++j) {
    if (st.pos[j] >= 0) continue;
    double sum = 0;
    for (ptrdiff_t k = a.ptr[j]; k < a.ptr[j + 1]; ++k) sum += a.val[k] * rho.val[a.sub[k]];
    out.val[j] = std::abs(sum) < solve_zero ? 0 : sum;
  }
  out.num = -1;
}

void add_row(const sim_rows& r, int32_t i, double x, double* out) {
  for (ptrdiff_t k = r.beg[i], end = r.end[i]; k < end; ++k) out[r.sub[k]] += x * r.val[k];
}

// Adds a row and lists what becomes nonzero; a sum that cancels keeps its place in the list through
// a value that counts as zero.
int32_t add_rowlisted(const sim_rows& r, int32_t i, double x, lu_vector& out, int32_t num) {
  constexpr double placeholder = 1e-100;
  double* val = out.val.data();
  int32_t* ind = out.ind.data();
  for (ptrdiff_t k = r.beg[i], end = r.end[i]; k < end; ++k) {
    const int32_t j = r.sub[k];
    const double was = val[j], now = was + x * r.val[k];
    if (was == 0) ind[num++] = j;
    val[j] = std::abs(now) < solve_zero ? placeholder : now;
  }
  return num;
}

void drop_small(lu_vector& out) {
  int32_t num = 0;
  for (int32_t t = 0; t < out.num; ++t) {
    const int32_t j = out.ind[t];
    if (std::abs(out.val[j]) < solve_zero) {
      out.val[j] = 0;
    } else {
      out.ind[num++] = j;
    }
  }
  out.num = num;
}

void price_rows(sim_state& st, const lu_vector& rho, lu_vector& out) {
  const int32_t last = rho.num < 0 ? st.m : rho.num;

  const double limit = solve_listed * st.n;
  int32_t num = 0, t = 0;
  for (; t < last && num <= limit; ++t) {
    const int32_t i = rho.num < 0 ? t : rho.ind[t];
    if (rho.val[i] == 0) continue;
    if (double(num) + double(st.rows.end[i] - st.rows.beg[i]) > st.n) break;
    num = add_rowlisted(st.rows, i, rho.val[i], out, num);
    st.pollwork += st.rows.end[i] - st.rows.beg[i];
  }
  if (t == last) {
    out.num = num;
    drop_small(out);
    return;
  }
  for (; t < last; ++t) {
    const int32_t i = rho.num < 0 ? t : rho.ind[t];
    if (rho.val[i] != 0) add_row(st.rows, i, rho.val[i], out.val.data());
  }
  for (double& v : out.val) v = std::abs(v) < solve_zero ? 0.0 : v;
  st.pollwork += st.n;
  out.num = -1;
}

}  // namespace

void sim_column(const sim_state& st, int32_t k, lu_vector& v) {
  if (k >= st.n) {
    lu_vecset(v, k - st.n, -1.0);
    return;
  }
  const spmat_view& a = st.lp.a;
  for (ptrdiff_t q = a.ptr[k]; q < a.ptr[k + 1]; ++q) lu_vecset(v, a.sub[q], a.val[q]);
}

double sim_dotcolumn(const sim_state& st, int32_t k, std::span<const double> v) {
  if (k >= st.n) return -v[k - st.n];
  const spmat_view& a = st.lp.a;
  double sum = 0;
  for (ptrdiff_t q = a.ptr[k]; q < a.ptr[k + 1]; ++q) sum += a.val[q] * v[a.sub[q]];
  return sum;
}

void sim_price(sim_state& st, const lu_vector& rho, lu_vector& out) {
  if (rho.num < 0 || rho.num > solve_bycolumn * st.m) {
    st.pollwork += st.lp.a.ptr.empty() ? 0 : st.lp.a.ptr[st.n];
    price_columns(st, rho, out);
  } else {
    price_rows(st, rho, out);
  }
}
