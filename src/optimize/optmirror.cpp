#include "optimize/optmirror.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
// More rows than so many for a column: the dual simplex takes 0.4 to 0.7 of the time on the dual.
constexpr double worthrows = 2;

bool is_fixed(double lower, double upper) {
  return lower == upper;
}

// The bound that a column is shifted to: the nearer to zero, which costs the fewest digits.
bool is_atupper(const lp_view& lp, int32_t j) {
  return std::abs(lp.bux[j]) < std::abs(lp.blx[j]);
}

double shift_of(const lp_view& lp, int32_t j) {
  const double bound = is_atupper(lp, j) ? lp.bux[j] : lp.blx[j];
  return std::isfinite(bound) ? bound : 0;
}

bool has_box(const lp_view& lp, int32_t j) {
  return std::isfinite(lp.blx[j]) && std::isfinite(lp.bux[j]);
}

// The column whose entries stand at the end of the file already.
int32_t end_column(opt_mirror& out, double cost, double lower, double upper) {
  out.a.ptr.push_back(ptrdiff_t(out.a.sub.size()));
  out.c.push_back(cost);
  out.blx.push_back(lower);
  out.bux.push_back(upper);
  return out.a.ncol++;
}

// The rows of the dual: what the reduced cost of a column at its shift may be.
void add_rows(const lp_view& lp, opt_mirror& out) {
  out.rowof.assign(lp.numvar, -1);
  out.shift.resize(lp.numvar);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    out.shift[j] = shift_of(lp, j);
    out.cfix -= lp.c[j] * out.shift[j];
    if (is_fixed(lp.blx[j], lp.bux[j])) continue;
    const bool lower = std::isfinite(lp.blx[j]) && !is_atupper(lp, j);
    const bool upper = std::isfinite(lp.bux[j]) && is_atupper(lp, j);
    out.rowof[j] = out.a.nrow++;
    out.blc.push_back(lower ? -inf : lp.c[j]);
    out.buc.push_back(upper ? inf : lp.c[j]);
  }
}

// The columns of a row; at holds its entries by columns of lp, act is its activity at the shifts.
void add_row(const spmat& at, const lp_view& lp, double act, int32_t i, opt_mirror& out) {
  const auto add = [&](double bound, double lower, double upper) {
    for (ptrdiff_t p = at.ptr[i]; p < at.ptr[i + 1]; ++p) {
      if (out.rowof[at.sub[p]] < 0) continue;
      out.a.sub.push_back(out.rowof[at.sub[p]]);
      out.a.val.push_back(at.val[p]);
    }
    return end_column(out, act - bound, lower, upper);
  };
  if (is_fixed(lp.blc[i], lp.buc[i])) {
    out.lowof[i] = out.uppof[i] = add(lp.blc[i], -inf, inf);
    return;
  }
  if (std::isfinite(lp.blc[i])) out.lowof[i] = add(lp.blc[i], 0, inf);
  if (std::isfinite(lp.buc[i])) out.uppof[i] = add(lp.buc[i], -inf, 0);
}

bool is_basic(const lp_basis& basis, int32_t column) {
  return column >= 0 && basis.var[column] == lp_key::basic;
}

// Key of column j of lp.
lp_key column_key(const lp_view& lp, const opt_mirror& mirror, const lp_basis& basis, int32_t j) {
  if (mirror.rowof[j] < 0) return lp_key::fixed;
  const bool isatshift = basis.con[mirror.rowof[j]] == lp_key::basic;
  if (!isatshift && !is_basic(basis, mirror.boxof[j])) return lp_key::basic;
  if (!std::isfinite(lp.blx[j]) && !std::isfinite(lp.bux[j])) return lp_key::superbasic;
  return is_atupper(lp, j) == isatshift ? lp_key::upper : lp_key::lower;
}

lp_key row_key(const opt_mirror& mirror, const lp_basis& basis, int32_t i) {
  const int32_t low = mirror.lowof[i], upp = mirror.uppof[i];
  if (is_basic(basis, low)) return low == upp ? lp_key::fixed : lp_key::lower;
  return is_basic(basis, upp) ? lp_key::upper : lp_key::basic;
}

}  // namespace

bool opt_prefersmirror(const lp_view& lp) {
  return lp.numvar > 0 && lp.numcon > worthrows * lp.numvar;
}

void opt_makemirror(const lp_view& lp, opt_mirror& out) {
  const mm_place place = out.c.get_allocator().place;
  out.cfix = -lp.cfix;
  add_rows(lp, out);
  mm_vector<double> act(lp.numcon, 0.0, place);
  spmat_addax(lp.a, 1, out.shift, act);
  spmat at(place);
  spmat_transpose(lp.a, at);
  out.a.ptr.assign(1, 0);
  out.lowof.assign(lp.numcon, -1);
  out.uppof.assign(lp.numcon, -1);
  for (int32_t i = 0; i < lp.numcon; ++i) add_row(at, lp, act[i], i, out);
  out.boxof.assign(lp.numvar, -1);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    if (out.rowof[j] < 0 || !has_box(lp, j)) continue;
    out.a.sub.push_back(out.rowof[j]);
    out.a.val.push_back(is_atupper(lp, j) ? 1 : -1);
    out.boxof[j] = end_column(out, lp.bux[j] - lp.blx[j], 0, inf);
  }
}

lp_view opt_mirrorview(const opt_mirror& mirror) {
  return {mirror.a.nrow, mirror.a.ncol, spmat_look(mirror.a), mirror.blc, mirror.buc, mirror.blx,
          mirror.bux,    mirror.c,      mirror.cfix};
}

void opt_tomirror(const lp_view& lp, const opt_mirror& mirror, const lp_basis& from, lp_basis& to) {
  to.con.assign(mirror.a.nrow, lp_key::basic);
  to.var.resize(mirror.a.ncol);
  for (int32_t k = 0; k < mirror.a.ncol; ++k) {
    const bool lower = std::isfinite(mirror.blx[k]), upper = std::isfinite(mirror.bux[k]);
    to.var[k] = lower ? lp_key::lower : upper ? lp_key::upper : lp_key::superbasic;
  }
  for (int32_t j = 0; j < lp.numvar; ++j) {
    const int32_t row = mirror.rowof[j], box = mirror.boxof[j];
    if (row < 0) continue;
    const lp_key opposite = is_atupper(lp, j) ? lp_key::lower : lp_key::upper;
    const bool isopposite = box >= 0 && from.var[j] == opposite;
    if (from.var[j] != lp_key::basic && !isopposite) continue;
    to.con[row] = std::isfinite(mirror.blc[row]) ? lp_key::lower : lp_key::upper;
    if (isopposite) to.var[box] = lp_key::basic;
  }
  for (int32_t i = 0; i < lp.numcon; ++i) {
    if (from.con[i] == lp_key::basic) continue;
    const int32_t low = mirror.lowof[i], upp = mirror.uppof[i];
    const bool islow = upp < 0 || (low >= 0 && from.con[i] != lp_key::upper);
    const int32_t side = islow ? low : upp;
    if (side >= 0) to.var[side] = lp_key::basic;
  }
}

void opt_frommirror(const lp_view& lp, const opt_mirror& mirror, const lp_basis& basis,
                    const lp_point& from, lp_basis& to, lp_point& point) {
  to.con.resize(lp.numcon);
  to.var.resize(lp.numvar);
  point.x.resize(lp.numvar);
  point.y.assign(lp.numcon, 0.0);
  const bool isray = from.verdict == lp_verdict::priminfeas;
  point.verdict = isray                                    ? lp_verdict::dualinfeas
                  : from.verdict == lp_verdict::dualinfeas ? lp_verdict::priminfeas
                                                           : from.verdict;
  for (int32_t j = 0; j < lp.numvar; ++j) {
    const lp_key key = to.var[j] = column_key(lp, mirror, basis, j);
    const double step = mirror.rowof[j] < 0 ? 0 : -from.y[mirror.rowof[j]];
    if (isray || key == lp_key::basic) {
      point.x[j] = isray ? step : mirror.shift[j] + step;
    } else {
      point.x[j] = key == lp_key::lower   ? lp.blx[j]
                   : key == lp_key::upper ? lp.bux[j]
                                          : mirror.shift[j];
    }
  }
  for (int32_t i = 0; i < lp.numcon; ++i) {
    to.con[i] = row_key(mirror, basis, i);
    const int32_t low = mirror.lowof[i], upp = mirror.uppof[i];
    if (low >= 0) point.y[i] += from.x[low];
    if (upp >= 0 && upp != low) point.y[i] += from.x[upp];
  }
}
