// Postsolve: undoes the records from the last to the first. Before the undo of a record, x, y and z of
// all rows and columns that were there after it belong together (z = c - A'y of that moment); after
// it those of all that were there before it do. Values that only rays lack stay zero.
#include <algorithm>
#include <cmath>

#include "cpub/fault.h"
#include "misc/exactsum.h"
#include "prslv/prsray.h"

namespace {

// A row counts as kept by a column at its bound when it misses its side by at most this; relative to
// 1 + the side.
constexpr double posttol = 1e-9;

struct post_state {
  mm_vector<double> x, y, z;
  mm_vector<lp_key> con, var;  // empty: no basis
  double costmul = 1;          // 0 for rays: of all costs
  double sidemul = 1;          // 0 for rays: of all sides, bounds and values
  bool isbasic = false;
  explicit post_state(mm_place place) : x(place), y(place), z(place), con(place), var(place) {}
  double side(double value) const { return std::isinf(value) ? value : sidemul * value; }
};

struct post_bounds {
  double lower, upper;
};

double rowsum(const post_state& st, const prslv_list& row) {
  exact_sum sum;
  for (size_t p = 0; p < row.sub.size(); ++p) sum.add(row.val[p] * st.x[row.sub[p]]);
  return sum.value();
}

// cost less the column times y.
double reducedcost(const post_state& st, double cost, const prslv_list& col) {
  exact_sum sum;
  sum.add(st.costmul * cost);
  for (size_t p = 0; p < col.sub.size(); ++p) sum.add(-col.val[p] * st.y[col.sub[p]]);
  return sum.value();
}

void setcon(post_state& st, int32_t i, lp_key key) {
  if (st.isbasic) st.con[i] = key;
}
void setvar(post_state& st, int32_t j, lp_key key) {
  if (st.isbasic) st.var[j] = key;
}
lp_key flip(lp_key key) {
  return key == lp_key::lower ? lp_key::upper : key == lp_key::upper ? lp_key::lower : key;
}
lp_key bysign(double mult) {
  return mult >= 0 ? lp_key::lower : lp_key::upper;
}

// The key of an equation; side says at which side an inequality was made one.
lp_key bymadeequ(int32_t side) {
  if (side == 0) return lp_key::fixed;
  return side == prslv_lower ? lp_key::lower : lp_key::upper;
}

void undo_freerow(post_state& st, prslv_reader& in) {
  const int32_t i = in.nextint();
  st.y[i] = 0;
  setcon(st, i, lp_key::basic);
}

void undo_fixcol(post_state& st, prslv_reader& in) {
  const int32_t j = in.nextint();
  const double value = in.nextdbl(), cost = in.nextdbl(), lower = in.nextdbl(),
               upper = in.nextdbl();
  st.x[j] = st.sidemul * value;
  st.z[j] = reducedcost(st, cost, in.nextlist());
  lp_key key = lower == upper ? bysign(st.z[j]) : lp_key::lower;
  if (lower != upper)
    key = value == lower ? lp_key::lower : value == upper ? lp_key::upper : lp_key::superbasic;
  setvar(st, j, key);
}

// Which of the replaced bounds holds variable k with multiplier mult: prslv_lower, prslv_upper or 0.
int32_t heldby(const post_state& st, lp_key key, double mult, int32_t flags) {
  if (st.isbasic) {
    if (key == lp_key::fixed) key = bysign(mult);
    if (key == lp_key::lower) return flags & prslv_lower;
    if (key == lp_key::upper) return flags & prslv_upper;
    return 0;
  }
  return mult > 0 ? flags & prslv_lower : mult < 0 ? flags & prslv_upper : 0;
}

void undo_singlerow(post_state& st, prslv_reader& in) {
  const int32_t i = in.nextint(), j = in.nextint(), flags = in.nextint();
  const double a = in.nextdbl();
  const int32_t by = heldby(st, st.isbasic ? st.var[j] : lp_key::unknown, st.z[j], flags);
  if (by == 0) {
    st.y[i] = 0;
    setcon(st, i, lp_key::basic);
    return;
  }
  st.y[i] = st.z[j] / a;
  st.z[j] = 0;
  setvar(st, j, lp_key::basic);
  const lp_key key = by == prslv_lower ? lp_key::lower : lp_key::upper;
  setcon(st, i, a > 0 ? key : flip(key));
}

void undo_forcing(post_state& st, prslv_reader& in) {
  const int32_t i = in.nextint(), side = in.nextint();
  const prslv_list row = in.nextlist();
  const double sign = side == prslv_lower ? 1 : -1;
  double y = 0;
  ptrdiff_t at = -1;
  for (size_t p = 0; p < row.sub.size(); ++p) {
    if (in.stack.ival[in.iat + ptrdiff_t(p)] != 0) continue;  // its multiplier may have any sign
    const double need = st.z[row.sub[p]] / row.val[p];
    if (sign * need > sign * y) {
      y = need;
      at = ptrdiff_t(p);
    }
  }
  st.y[i] = y;
  if (at < 0) {
    setcon(st, i, lp_key::basic);
    return;
  }
  for (size_t p = 0; p < row.sub.size(); ++p) {
    const int32_t k = row.sub[p];
    st.z[k] -= row.val[p] * y;
    if (in.stack.ival[in.iat + ptrdiff_t(p)] != 0) setvar(st, k, bysign(st.z[k]));
  }
  st.z[row.sub[at]] = 0;
  setvar(st, row.sub[at], lp_key::basic);
  setcon(st, i, side == prslv_lower ? lp_key::lower : lp_key::upper);
}

// The slack of an inequality without cost: where the bound or side that holds it, or nothing, says.
struct post_slack {
  int32_t i, j;
  double a, act;          // its entry; the activity of the rest of the row
  post_bounds side, var;  // of the row, of the column
};
void freeslack(post_state& st, const post_slack& s) {
  const double tol = posttol * st.sidemul;
  const auto fits = [&](double v) {
    const double value = s.act + s.a * v;
    return std::isfinite(v) && value >= s.side.lower - tol * (1 + std::abs(s.side.lower)) &&
           value <= s.side.upper + tol * (1 + std::abs(s.side.upper));
  };
  if (fits(s.var.lower)) {
    st.x[s.j] = s.var.lower;
    setvar(st, s.j, lp_key::lower);
    setcon(st, s.i, lp_key::basic);
  } else if (fits(s.var.upper)) {
    st.x[s.j] = s.var.upper;
    setvar(st, s.j, lp_key::upper);
    setcon(st, s.i, lp_key::basic);
  } else if (std::isinf(s.side.lower) && std::isinf(s.side.upper)) {
    st.x[s.j] = std::clamp(0.0, s.var.lower, s.var.upper);
    setvar(st, s.j, lp_key::superbasic);
    setcon(st, s.i, lp_key::basic);
  } else {
    const double atlow = (s.side.lower - s.act) / s.a, athigh = (s.side.upper - s.act) / s.a;
    const bool uselow = std::isfinite(s.side.lower) && atlow >= s.var.lower && atlow <= s.var.upper;
    const bool usehigh = !uselow && std::isfinite(s.side.upper);
    st.x[s.j] = std::clamp(uselow || !usehigh ? atlow : athigh, s.var.lower, s.var.upper);
    setvar(st, s.j, lp_key::basic);
    setcon(st, s.i, usehigh ? lp_key::upper : lp_key::lower);
  }
}

// One slack; s holds its row with the activity of what was left of it.
void undo_oneslack(post_state& st, const post_slack& s, int32_t side, double cost) {
  const double y = st.y[s.i];
  st.z[s.j] = -s.a * y;
  st.y[s.i] = y + cost / s.a;
  const lp_key key = st.isbasic ? st.con[s.i] : y != 0 ? bysign(y) : lp_key::basic;
  const bool atlower = key == lp_key::lower || (key == lp_key::fixed && y >= 0);
  const lp_key ifheld = atlower == (s.a > 0) ? lp_key::upper : lp_key::lower;
  if (s.side.lower == s.side.upper) {
    st.x[s.j] = (s.side.lower - s.act) / s.a;
    setcon(st, s.i, bymadeequ(side));
    setvar(st, s.j, key == lp_key::basic ? lp_key::basic : ifheld);
    return;
  }
  const double value = ((atlower ? s.side.lower : s.side.upper) - s.act) / s.a;
  if (key == lp_key::basic || std::isinf(value)) {  // infinite: y is rounding only
    freeslack(st, s);
    return;
  }
  st.x[s.j] = std::clamp(value, s.var.lower, s.var.upper);
  setvar(st, s.j, ifheld);
}

void undo_slack(post_state& st, prslv_reader& in) {
  constexpr ptrdiff_t numint = 2, numdbl = 6;  // of each
  post_slack s = {};
  s.i = in.nextint();
  const int32_t num = in.nextint();
  const prslv_list row = in.nextlist();
  exact_sum act;
  for (size_t p = 0; p < row.sub.size(); ++p) act.add(row.val[p] * st.x[row.sub[p]]);
  for (ptrdiff_t k = num - 1; k >= 0; --k) {
    prslv_reader at = {in.stack, in.iat + numint * k, in.dat + numdbl * k};
    s.j = at.nextint();
    const int32_t side = at.nextint();
    s.a = at.nextdbl();
    s.side.lower = st.side(at.nextdbl());
    s.side.upper = st.side(at.nextdbl());
    s.var.lower = st.side(at.nextdbl());
    s.var.upper = st.side(at.nextdbl());
    s.act = act.value();
    undo_oneslack(st, s, side, st.costmul * at.nextdbl());
    act.add(s.a * st.x[s.j]);
  }
}

void undo_subst(post_state& st, prslv_reader& in) {
  const int32_t i = in.nextint(), j = in.nextint(), side = in.nextint();
  const double a = in.nextdbl(), rhs = st.sidemul * in.nextdbl(), cost = in.nextdbl();
  const prslv_list row = in.nextlist(), col = in.nextlist();
  st.x[j] = (rhs - rowsum(st, row)) / a;
  st.y[i] = reducedcost(st, cost, col) / a;
  st.z[j] = 0;
  setvar(st, j, lp_key::basic);
  setcon(st, i, bymadeequ(side));
}

void undo_doubleton(post_state& st, prslv_reader& in) {
  const int32_t i = in.nextint(), j = in.nextint(), k = in.nextint(), flags = in.nextint();
  const double a = in.nextdbl(), b = in.nextdbl(), rhs = st.sidemul * in.nextdbl();
  const double cost = in.nextdbl();
  exact_sum rest;
  rest.add(rhs);
  rest.add(-b * st.x[k]);
  st.x[j] = rest.value() / a;
  st.y[i] = reducedcost(st, cost, in.nextlist()) / a;
  st.z[j] = 0;
  setcon(st, i, lp_key::fixed);
  const int32_t by = heldby(st, st.isbasic ? st.var[k] : lp_key::unknown, st.z[k], flags);
  if (by == 0) {
    setvar(st, j, lp_key::basic);
    return;
  }
  const double delta = st.z[k] / b;
  st.y[i] += delta;
  st.z[j] = -a * delta;
  st.z[k] = 0;
  setvar(st, k, lp_key::basic);
  const lp_key key = by == prslv_lower ? lp_key::lower : lp_key::upper;
  setvar(st, j, (a > 0) == (b > 0) ? flip(key) : key);
}

void undo_duprow(post_state& st, prslv_reader& in) {
  const int32_t i = in.nextint(), k = in.nextint(), flags = in.nextint();
  const double s = in.nextdbl();
  const int32_t by = heldby(st, st.isbasic ? st.con[k] : lp_key::unknown, st.y[k], flags);
  st.y[i] = 0;
  setcon(st, i, lp_key::basic);
  if (by == 0) return;
  st.y[i] = st.y[k] / s;
  st.y[k] = 0;
  setcon(st, k, lp_key::basic);
  const lp_key key = by == prslv_lower ? lp_key::lower : lp_key::upper;
  setcon(st, i, s > 0 ? key : flip(key));
}

// Splits v = x_k + s x_j. Both at the bounds that hold v, if one does; else as near to their bounds as
// it goes, so that at most one of them is between its bounds.
void undo_dupcol(post_state& st, prslv_reader& in) {
  const int32_t j = in.nextint(), k = in.nextint();
  const double s = in.nextdbl();
  const post_bounds bj = {st.side(in.nextdbl()), st.side(in.nextdbl())};
  const post_bounds bk = {st.side(in.nextdbl()), st.side(in.nextdbl())};
  const double v = st.x[k];
  st.z[j] = s * st.z[k];
  const lp_key key = st.isbasic ? st.var[k] : st.z[k] != 0 ? bysign(st.z[k]) : lp_key::basic;
  const bool isheld = key == lp_key::lower || key == lp_key::upper || key == lp_key::fixed;
  const bool atlower = key == lp_key::lower || (key == lp_key::fixed && st.z[k] >= 0);
  // Preferred places: those at which v is held, else the bounds nearest to zero.
  const auto prefer = [](const post_bounds& b, bool lower) {
    const double first = lower ? b.lower : b.upper, second = lower ? b.upper : b.lower;
    return std::isfinite(first) ? first : std::isfinite(second) ? second : 0.0;
  };
  const bool lowk = isheld ? atlower : std::isfinite(bk.lower);
  const bool lowj = isheld ? atlower == (s > 0) : std::isfinite(bj.lower);
  double xk = prefer(bk, lowk), xj = (v - xk) / s;
  const bool isfreek = std::isinf(bk.lower) && std::isinf(bk.upper);
  const bool fits = xj >= bj.lower && xj <= bj.upper && !isfreek;
  if (!fits) {
    xj = isfreek ? prefer(bj, lowj) : std::clamp(xj, bj.lower, bj.upper);
    xk = v - s * xj;
  }
  st.x[j] = xj;
  st.x[k] = xk;
  if (!st.isbasic) return;
  if (isheld) {
    st.var[k] = atlower ? lp_key::lower : lp_key::upper;
    st.var[j] = lowj ? lp_key::lower : lp_key::upper;
    return;
  }
  const auto rest = [](double x, const post_bounds& b) {
    return x == b.lower ? lp_key::lower : x == b.upper ? lp_key::upper : lp_key::superbasic;
  };
  st.var[j] = fits ? key : rest(xj, bj);
  st.var[k] = fits ? rest(xk, bk) : key;
}

void undo_emptycol(post_state& st, prslv_reader& in) {
  const int32_t j = in.nextint();
  const prslv_list col = in.nextlist();
  exact_sum sum;
  sum.add(st.z[j]);
  for (size_t p = 0; p < col.sub.size(); ++p) sum.add(-col.val[p] * st.y[col.sub[p]]);
  st.z[j] = sum.value();
}

void undo_forcecol(post_state& st, prslv_reader& in) {
  const int32_t j = in.nextint(), dir = in.nextint(), num = in.nextint();
  const double lower = st.side(in.nextdbl()), upper = st.side(in.nextdbl());
  const double start = dir > 0 ? lower : upper;
  double x = std::isfinite(start) ? start : 0;
  int32_t tight = -1;
  lp_key key = lp_key::lower;
  bool moved = std::isfinite(start);
  for (int32_t r = 0; r < num; ++r) {
    const int32_t i = in.nextint();
    const double a = in.nextdbl();
    const double low = st.side(in.nextdbl()), high = st.side(in.nextdbl());
    const double act = rowsum(st, in.nextlist());
    st.y[i] = 0;
    setcon(st, i, lp_key::basic);
    const bool bylow = (a > 0) == (dir > 0);  // the side that keeps x_j from going the other way
    const double need = ((bylow ? low : high) - act) / a;
    if (!std::isfinite(need) || (moved && dir * need <= dir * x)) continue;
    moved = true;
    x = need;
    tight = i;
    key = bylow ? lp_key::lower : lp_key::upper;
  }
  st.x[j] = x;
  st.z[j] = 0;
  if (tight < 0) {
    setvar(st, j,
           !std::isfinite(start) ? lp_key::superbasic
           : dir > 0             ? lp_key::lower
                                 : lp_key::upper);
    return;
  }
  setvar(st, j, lp_key::basic);
  setcon(st, tight, key);
}

void undo(post_state& st, prslv_opcode code, prslv_reader& in) {
  switch (code) {
    case prslv_opcode::freerow:
      return undo_freerow(st, in);
    case prslv_opcode::fixcol:
      return undo_fixcol(st, in);
    case prslv_opcode::singlerow:
      return undo_singlerow(st, in);
    case prslv_opcode::forcing:
      return undo_forcing(st, in);
    case prslv_opcode::slack:
      return undo_slack(st, in);
    case prslv_opcode::subst:
      return undo_subst(st, in);
    case prslv_opcode::doubleton:
      return undo_doubleton(st, in);
    case prslv_opcode::duprow:
      return undo_duprow(st, in);
    case prslv_opcode::dupcol:
      return undo_dupcol(st, in);
    case prslv_opcode::emptycol:
      return undo_emptycol(st, in);
    case prslv_opcode::forcecol:
      return undo_forcecol(st, in);
  }
}

// Values of the reduced problem at their original places; z from the reduced data.
void spread(const prslv_rec& rec, const lp_point& red, std::span<const double> gradient,
            post_state& st) {
  const lp_view prob = prslv_look(rec);
  st.x.assign(rec.orig.numvar, 0.0);
  st.y.assign(rec.orig.numcon, 0.0);
  st.z.assign(rec.orig.numvar, 0.0);
  for (int32_t i = 0; i < prob.numcon && !red.y.empty(); ++i) st.y[rec.conof[i]] = red.y[i];
  for (int32_t j = 0; j < prob.numvar; ++j) {
    const int32_t to = rec.varof[j];
    if (!red.x.empty()) st.x[to] = red.x[j];
    exact_sum sum;
    sum.add(st.costmul * prob.c[j]);
    if (!gradient.empty()) sum.add(gradient[j]);
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      sum.add(-prob.a.val[p] * st.y[rec.conof[prob.a.sub[p]]]);
    }
    st.z[to] = sum.value();
  }
}

void unwind(const prslv_rec& rec, post_state& st) {
  for (ptrdiff_t k = ptrdiff_t(rec.stack.op.size()) - 1; k >= 0; --k) {
    const prslv_op& op = rec.stack.op[k];
    prslv_reader in = {rec.stack, op.iat, op.dat};
    undo(st, op.code, in);
  }
}

// Keys as the bounds of the original problem allow them.
void normalize(const prslv_rec& rec, post_state& st) {
  const auto fit = [](lp_key& key, double mult, double lower, double upper) {
    if (key == lp_key::basic) return;
    if (lower == upper) {
      key = lp_key::fixed;
    } else if (std::isinf(lower) && std::isinf(upper)) {
      key = lp_key::superbasic;
    } else if (key == lp_key::fixed) {  // an inequality that presolve made an equation
      key = std::isinf(lower) ? lp_key::upper : std::isinf(upper) ? lp_key::lower : bysign(mult);
    }
  };
  int64_t numbasic = 0;
  for (int32_t i = 0; i < rec.orig.numcon; ++i) {
    fit(st.con[i], st.y[i], rec.orig.blc[i], rec.orig.buc[i]);
    numbasic += st.con[i] == lp_key::basic ? 1 : 0;
  }
  for (int32_t j = 0; j < rec.orig.numvar; ++j) {
    fit(st.var[j], st.z[j], rec.orig.blx[j], rec.orig.bux[j]);
    numbasic += st.var[j] == lp_key::basic ? 1 : 0;
  }
  if (numbasic != rec.orig.numcon) fault_raise(fault_here(), "Not a basic soloution");
}

}  // namespace

void prslv_postseed(const prslv_rec& rec, prslv_seed&& seed, lp_point& out) {
  post_state st(out.x.get_allocator().place);
  st.costmul = st.sidemul = 0;
  st.x = std::move(seed.x);
  st.y = std::move(seed.y);
  st.z = std::move(seed.z);
  unwind(rec, st);
  out.x = std::move(st.x);
  out.y = std::move(st.y);
}

void prslv_postsolve(const prslv_rec& rec, const lp_point& red, prslv_kind kind, lp_point& out,
                     std::span<const double> gradient) {
  post_state st(out.x.get_allocator().place);
  st.costmul = kind == prslv_kind::point ? 1 : 0;
  st.sidemul = st.costmul;
  spread(rec, red, gradient, st);
  unwind(rec, st);
  out.verdict = red.verdict;
  out.x = std::move(st.x);
  out.y = std::move(st.y);
}

void prslv_postsolvebas(const prslv_rec& rec, const lp_point& red, const lp_basis& redbas,
                        lp_point& out, lp_basis& outbas) {
  post_state st(out.x.get_allocator().place);
  st.isbasic = true;
  spread(rec, red, {}, st);
  st.con.assign(rec.orig.numcon, lp_key::unknown);
  st.var.assign(rec.orig.numvar, lp_key::unknown);
  const auto plain = [](lp_key key, double lower, double upper) {
    return key != lp_key::basic && lower == upper ? lp_key::fixed : key;
  };
  for (size_t i = 0; i < rec.conof.size(); ++i) {
    st.con[rec.conof[i]] = plain(redbas.con[i], rec.blc[i], rec.buc[i]);
  }
  for (size_t j = 0; j < rec.varof.size(); ++j) {
    st.var[rec.varof[j]] = plain(redbas.var[j], rec.blx[j], rec.bux[j]);
  }
  unwind(rec, st);
  normalize(rec, st);
  out.verdict = red.verdict;
  out.x = std::move(st.x);
  out.y = std::move(st.y);
  outbas.con = std::move(st.con);
  outbas.var = std::move(st.var);
}
