// Sections ROWS, COLUMNS, RHS, RANGES and BOUNDS of an MPS file.
#include <algorithm>
#include <cmath>

#include "zalvo/readmps.h"
#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

constexpr uint8_t lowergiven = 1, uppergiven = 2;

bool isobjective(const mps_reader& rd, std::string_view name) noexcept {
  return !rd.hasobj && (rd.set.objname.empty() || rd.set.objname == name);
}

rescode new_column(mps_reader& rd, std::string_view name) {
  const auto j = rd.col + 1;
  if (name.empty()) return mps_fail(rd, {}, "A name is expected.", err_mps_null_var_name);
  if (j == rd.p.numvar) {  // lines that the first pass could not count
    prob_append(rd.p, acc::var, 1);
    rd.boundset.resize(size_t(rd.p.numvar), 0);
  }
  if (names_put(rd.p.names, ZLV_PI_VAR, j, name) >= 0) {
    return mps_fail(rd, name, "The lines of a column must be together.", err_mps_splitted_var,
                    io_printable(name).text);
  }
  rd.col = j;
  rd.colname = name;
  rd.ptr.push_back(ptrdiff_t(rd.sub.size()));
  rd.p.bux[j] = prob_inf;
  if (rd.isint && rd.set.iskeepint) prob_setint(rd.p, j);
  return ok;
}

// 'MARKER' lines: the kind stands behind it, in fixed columns in field 5.
rescode marker_line(mps_reader& rd, const mps_fields& f) {
  const std::string_view kind = f.pair[0].value.empty() ? f.pair[1].name : f.pair[0].value;
  const bool isbegin = mps_isword(kind, "'INTORG'");
  if (!isbegin && !mps_isword(kind, "'INTEND'")) {
    return mps_fail(rd, kind, "'INTORG' or 'INTEND' is expected.", err_mps_inv_marker,
                    io_printable(kind).text);
  }
  if (isbegin == rd.isint) {
    return mps_fail(rd, kind, isbegin ? "The last 'INTORG' was not ended." : "No 'INTORG' before.",
                    err_mps_inv_marker, io_printable(kind).text);
  }
  rd.isint = isbegin;
  if (isbegin && rd.set.iskeepint) prob_maketypes(rd.p);
  return ok;
}

rescode objective_entry(mps_reader& rd, double value) {
  if (const rescode r = dat_cost(rd.t, rd.p, value, 0, rd.col, "c"); r != ok) {
    mps_tell(rd, {}, "The objective coefficient is too large.");
    return r;
  }
  rd.p.c[rd.col] = value;
  return ok;
}

void matrix_entry(mps_reader& rd, int32_t i, double value) {
  const prob_tol& tol = rd.set.tol;
  if (std::abs(value) <= tol.aij) {
    if (value == 0) ++rd.numzero;
    return;
  }
  if (std::abs(value) > tol.aijlarge) {
    (void)task_fail(rd.t, wrn_large_aij, value, dat_varname(rd.p, rd.col), rd.col,
                    dat_conname(rd.p, i), i);
  }
  rd.sub.push_back(i);
  rd.val.push_back(value);
}

rescode column_entry(mps_reader& rd, const mps_pair& pair, int32_t pos) {
  double value = 0;
  if (!mps_number(pair.value, value)) {
    return mps_badfield(rd, 4 + 2 * pos, pair.value, "A finite number is expected.");
  }
  const int32_t row = names_find(rd.rows, ZLV_PI_CON, pair.name);
  if (row < 0) return mps_badrow(rd, pair.name);
  const int32_t i = rd.rowcon[row];
  if (rd.rowmark[row] == rd.col + 1) {
    return mps_fail(rd, pair.name, "The row has an entry in this column already.",
                    err_mul_a_element, i, rd.col);
  }
  rd.rowmark[row] = rd.col + 1;
  if (i == mps_objrow) return objective_entry(rd, value);
  if (i >= 0) matrix_entry(rd, i, value);
  return ok;
}

// Whether the entries of this line belong to the vector that is taken.
bool istaken(mps_reader& rd, mps_vectors& v, std::string_view name) {
  if (!v.ischosen) {
    v.wanted = name;
    v.ischosen = true;
  }
  if (name == v.wanted && !v.istold && rd.set.islog) {
    v.istold = true;
    task_echo(rd.t, msg_kind::msg, "Using '%s' as %s vector\n", io_printable(name).text, v.kind);
  }
  if (!v.isany || name != v.current) {
    if (v.warned.empty()) v.warned.push_back(uint8_t{2});  // the unnamed one, not met: 2
    size_t k = 0;
    bool isnew = v.warned[0] == 2;
    if (!name.empty()) {
      const int32_t known = names_find(v.seen, 0, name);
      isnew = known < 0;
      k = isnew ? v.warned.size() : size_t(known) + 1;
      if (isnew) {
        names_append(v.seen, 0, 1);
        names_put(v.seen, 0, int32_t(k) - 1, name);
        v.warned.push_back(uint8_t{0});
      }
    }
    if (!isnew && v.warned[k] == 0) (void)task_fail(rd.t, v.splitcode, io_printable(name).text);
    v.warned[k] = isnew ? 0 : 1;
    v.current = name;
    v.isany = true;
  }
  if (name == v.wanted) return true;
  mps_notetaken(rd, v.unused, name);
  return false;
}

rescode vector_entry(mps_reader& rd, mps_vectors& v, const mps_pair& pair, int32_t pos,
                     bool istake) {
  double value = 0;
  if (!mps_number(pair.value, value)) {
    return mps_badfield(rd, 4 + 2 * pos, pair.value, "A finite number is expected.");
  }
  const int32_t i = mps_findrow(rd, pair.name);
  if (i == mps_norow) return mps_badrow(rd, pair.name);
  if (!istake || i == mps_ignoredrow) return ok;
  const bool isrhs = &v == &rd.rhsvec;
  if (!isrhs && (i == mps_objrow || rd.contype[i] == 'N')) {
    mps_notetaken(rd, mps_note::range_of_free, pair.name);
    return ok;
  }
  const bool isdouble = i == mps_objrow ? rd.hasobjrhs : (isrhs ? rd.hasrhs : rd.hasran)[i] != 0;
  if (isdouble) {
    return mps_fail(rd, pair.name, "The vector has an entry in this row already.", err_mps_file,
                    rd.filename);
  }
  if (i == mps_objrow) {
    rd.hasobjrhs = true;
    rd.p.cfix = value == 0 ? 0 : -value;
  } else {
    (isrhs ? rd.rhs : rd.ran)[i] = value;
    (isrhs ? rd.hasrhs : rd.hasran)[i] = 1;
  }
  return ok;
}

rescode vector_line(mps_reader& rd, mps_vectors& v) {
  mps_fields f;
  if (const rescode r = mps_split(rd, mps_shape::set_pairs, f); r != ok) return r;
  const bool istake = istaken(rd, v, f.name);
  for (int32_t k = 0; k < f.numpair; ++k) {
    if (const rescode r = vector_entry(rd, v, f.pair[k], k, istake); r != ok) return r;
  }
  return ok;
}

struct bound_kind {
  std::string_view key;
  uint8_t sides;
  bool hasvalue, isint;
};
constexpr bound_kind bound_kinds[] = {{"UP", uppergiven, true, false},
                                      {"LO", lowergiven, true, false},
                                      {"FX", lowergiven | uppergiven, true, false},
                                      {"FR", lowergiven | uppergiven, false, false},
                                      {"MI", lowergiven, false, false},
                                      {"PL", uppergiven, false, false},
                                      {"BV", lowergiven | uppergiven, false, true},
                                      {"LI", lowergiven, true, true},
                                      {"UI", uppergiven, true, true}};

const bound_kind* find_kind(std::string_view key) noexcept {
  for (const bound_kind& kind : bound_kinds) {
    if (mps_isword(key, kind.key)) return &kind;
  }
  return nullptr;
}

rescode store_bound(mps_reader& rd, const bound_kind& kind, int32_t j, double value) {
  if ((rd.boundset[j] & kind.sides) != 0) {
    mps_notetaken(rd, mps_note::double_bound, prob_name(rd.p, ZLV_PI_VAR, j));
  }
  rd.boundset[j] |= kind.sides;
  double lower = value, upper = value;
  if (!kind.hasvalue) {
    lower = kind.isint ? 0 : -prob_inf;
    upper = kind.isint ? 1 : prob_inf;
  }
  if ((kind.sides & lowergiven) != 0) rd.p.blx[j] = lower;
  if ((kind.sides & uppergiven) != 0) rd.p.bux[j] = upper;
  if (kind.isint && rd.set.iskeepint) {
    prob_maketypes(rd.p);
    prob_setint(rd.p, j);
  }
  return ok;
}

prob_bound row_bound(const mps_reader& rd, int32_t i) noexcept {
  const double b = rd.rhs[i], r = rd.ran[i];
  const bool isrange = rd.hasran[i] != 0;
  switch (rd.contype[i]) {
    case 'L':
      return isrange ? prob_bound{ZLV_BK_RA, b - std::abs(r), b}
                     : prob_bound{ZLV_BK_UP, -prob_inf, b};
    case 'G':
      return isrange ? prob_bound{ZLV_BK_RA, b, b + std::abs(r)}
                     : prob_bound{ZLV_BK_LO, b, prob_inf};
    case 'E':
      if (!isrange || r == 0) return {ZLV_BK_FX, b, b};
      return r > 0 ? prob_bound{ZLV_BK_RA, b, b + r} : prob_bound{ZLV_BK_RA, b + r, b};
    default:
      return {ZLV_BK_FR, -prob_inf, prob_inf};
  }
}

prob_bound column_bound(mps_reader& rd, int32_t j) noexcept {
  double& lower = rd.p.blx[j];
  const double upper = rd.p.bux[j];
  if (upper < 0 && (rd.boundset[j] & lowergiven) == 0) {
    mps_notetaken(rd, mps_note::negative_up, prob_name(rd.p, ZLV_PI_VAR, j));
    lower = -prob_inf;
  }
  const bool islower = lower > -prob_inf, isupper = upper < prob_inf;
  if (islower && isupper) return {lower == upper ? ZLV_BK_FX : ZLV_BK_RA, lower, upper};
  if (islower) return {ZLV_BK_LO, lower, prob_inf};
  if (isupper) return {ZLV_BK_UP, -prob_inf, upper};
  return {ZLV_BK_FR, -prob_inf, prob_inf};
}

}  // namespace

rescode mps_rowsline(mps_reader& rd) {
  mps_fields f;
  if (const rescode r = mps_split(rd, mps_shape::key_name, f); r != ok) return r;
  const char type = f.key.size() == 1 ? char(f.key[0] & ~0x20) : '?';
  if (type != 'N' && type != 'G' && type != 'L' && type != 'E') {
    return mps_fail(rd, f.key, "N, G, L or E is expected.", err_mps_inv_con_key,
                    io_printable(f.key).text);
  }
  if (f.name.empty()) return mps_fail(rd, {}, "A name is expected.", err_mps_null_con_name);
  const auto row = int32_t(rd.rowcon.size());
  names_append(rd.rows, ZLV_PI_CON, 1);
  if (names_put(rd.rows, ZLV_PI_CON, row, f.name) >= 0) {
    return mps_fail(rd, f.name, "Another row has this name.", err_mps_mul_con_name,
                    io_printable(f.name).text);
  }
  int32_t con = int32_t(rd.contype.size());
  if (type == 'N' && isobjective(rd, f.name)) {
    con = mps_objrow;
    rd.hasobj = true;
    rd.objname = f.name;
    if (rd.set.islog) {
      task_echo(rd.t, msg_kind::msg, "Using '%s' as %s vector\n", io_printable(f.name).text,
                "objective");
    }
  } else if (type == 'N' && !rd.set.iskeepfree) {
    con = mps_ignoredrow;
  } else {
    rd.contype.push_back(type);
  }
  rd.rowcon.push_back(con);
  return ok;
}

rescode mps_rowsend(mps_reader& rd) {
  if (!rd.hasobj) {
    return mps_fail(rd, {},
                    rd.set.objname.empty() ? "ROWS has no row of type N."
                                           : "ROWS has no row of type N of the name wanted.",
                    err_mps_no_objective);
  }
  const size_t numcon = rd.contype.size();
  prob_append(rd.p, acc::con, int32_t(numcon));
  names_reserve(rd.p.names, ZLV_PI_CON, int32_t(numcon), ptrdiff_t(rd.rows.pool.size()));
  for (size_t row = 0; row < rd.rowcon.size(); ++row) {
    if (rd.rowcon[row] < 0) continue;
    names_put(rd.p.names, ZLV_PI_CON, rd.rowcon[row], names_get(rd.rows, ZLV_PI_CON, int32_t(row)));
  }
  names_putobj(rd.p.names, rd.objname);
  rd.rhs.resize(numcon, 0.0);
  rd.ran.resize(numcon, 0.0);
  rd.hasrhs.resize(numcon, 0);
  rd.hasran.resize(numcon, 0);
  rd.hasq.resize(numcon, 0);
  rd.rowmark.resize(rd.rowcon.size(), 0);
  return ok;
}

rescode mps_columnsline(mps_reader& rd) {
  mps_fields f;
  if (const rescode r = mps_split(rd, mps_shape::name_pairs, f); r != ok) return r;
  if (f.pair[0].name.size() == 8 && mps_isword(f.pair[0].name, "'MARKER'")) {
    return marker_line(rd, f);
  }
  if (rd.col < 0 || f.name != rd.colname) {
    if (const rescode r = new_column(rd, f.name); r != ok) return r;
  }
  for (int32_t k = 0; k < f.numpair; ++k) {
    if (const rescode r = column_entry(rd, f.pair[k], k); r != ok) return r;
  }
  return ok;
}

rescode mps_columnsend(mps_reader& rd) {
  const int32_t numvar = rd.col + 1;
  if (numvar < rd.p.numvar) {
    mm_vector<uint8_t> gone(size_t(rd.p.numvar), 1, prob_place(rd.p));
    std::fill_n(gone.begin(), numvar, uint8_t{0});
    prob_remove(rd.p, acc::var, gone);
  }
  rd.ptr.push_back(ptrdiff_t(rd.sub.size()));
  io_forget(rd.text, rd.lines);  // nothing refers to lines of these sections any more
  prob_loadcolumns(rd.p, rd.ptr, rd.sub, rd.val);
  rd.sub = mm_vector<int32_t>(rd.sub.get_allocator());
  rd.val = mm_vector<double>(rd.val.get_allocator());
  rd.ptr = mm_vector<ptrdiff_t>(rd.ptr.get_allocator());
  if (rd.numzero > 0) (void)task_fail(rd.t, wrn_zero_aij, rd.numzero);
  return ok;
}

rescode mps_rhsline(mps_reader& rd) {
  return vector_line(rd, rd.rhsvec);
}
rescode mps_rangesline(mps_reader& rd) {
  return vector_line(rd, rd.ranvec);
}

rescode mps_boundsline(mps_reader& rd) {
  mps_fields f;
  if (const rescode r = mps_split(rd, mps_shape::key_set_value, f); r != ok) return r;
  const bound_kind* kind = find_kind(f.key);
  if (kind == nullptr) {
    return mps_fail(rd, f.key,
                    mps_isword(f.key, "SC") ? "Semi-continuous variables are not supported."
                                            : "UP, LO, FX, FR, MI, PL, BV, LI or UI is expected.",
                    err_mps_inv_bound_key, io_printable(f.key).text);
  }
  const mps_pair& pair = f.pair[0];
  double value = 0;
  if (kind->hasvalue && !mps_boundnumber(pair.value, value)) {
    return mps_badfield(rd, 4, pair.value, "A number is expected.");
  }
  const int32_t j = mps_findcol(rd, pair.name);
  if (j < 0) return mps_badcolumn(rd, pair.name);
  return istaken(rd, rd.bouvec, f.name) ? store_bound(rd, *kind, j, value) : ok;
}

void mps_storebounds(mps_reader& rd) {
  prob_rec& p = rd.p;
  for (int32_t i = 0; i < p.numcon; ++i) {
    const prob_bound b = row_bound(rd, i);
    dat_warnbound(rd.t, p, rd.set.tol, b, acc::con, i);
    prob_storebound(p, acc::con, i, prob_normalise(rd.set.tol, b));
  }
  for (int32_t j = 0; j < p.numvar; ++j) {
    const prob_bound b = column_bound(rd, j);
    dat_warnbound(rd.t, p, rd.set.tol, b, acc::var, j);
    prob_storebound(p, acc::var, j, prob_normalise(rd.set.tol, b));
  }
}
