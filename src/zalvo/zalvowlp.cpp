#include "zalvo/zalvowlp.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "cpub/strbld.h"
#include "zalvo/zalvodat.h"
#include "zalvo/zalvorlplex.h"

namespace {

using enum rescode;

constexpr size_t putsize = size_t{1} << 15;  // characters handed over at a time

struct lp_writer {
  task_rec& t;
  prob_rec& p;
  io_out& out;
  strbld text, term;     // text: what was not yet handed over; term: one of an expression
  size_t linestart = 0;  // of the current line, in text
  int32_t numterm = 0;   // on the current line
  int32_t precision = 0, width = 0, maxterm = 0, firstgeneric = 0;
  bool isstrict = false, isquoted = false, isgeneric = false, iskeepfree = false, isignore = false;
  mm_vector<uint8_t> isodd[2];  // by ZLV_PI_*: the name stands in quotes; absent: none does
  lp_writer(task_rec& task, io_out& o)
      : t(task),
        p(task.prob),
        out(o),
        text(mm_at(*task.mman)),
        term(mm_at(*task.mman)),
        isodd{mm_vector<uint8_t>(mm_at(*task.mman)), mm_vector<uint8_t>(mm_at(*task.mman))} {}
};

// ---- Names

struct generated_name {
  char text[32];
};
generated_name generated(const lp_writer& w, int32_t kind, int32_t i) noexcept {
  generated_name name;
  std::snprintf(name.text, sizeof name.text, kind == ZLV_PI_VAR ? "x%06d" : "con%06d",
                i + w.firstgeneric);
  return name;
}

void add_quoted(strbld& b, std::string_view name, bool isodd) {
  if (isodd) strbld_add(b, '"');
  strbld_add(b, name);
  if (isodd) strbld_add(b, '"');
}

void add_name(const lp_writer& w, strbld& b, int32_t kind, int32_t i) {
  const std::string_view name = prob_name(w.p, kind, i);
  if (w.isgeneric || name.empty()) {
    strbld_add(b, generated(w, kind, i).text);
  } else {
    add_quoted(b, name, !w.isodd[kind].empty() && w.isodd[kind][i] != 0);
  }
}
void add_var(const lp_writer& w, strbld& b, int32_t j) {
  add_name(w, b, ZLV_PI_VAR, j);
}

// isodd: the name has to stand in quotes.
rescode check_name(const lp_writer& w, std::string_view name, bool& isodd) {
  isodd = !lp_isplainname(name, w.isstrict);
  if (!isodd || (w.isquoted && !w.isstrict && lp_isquotable(name))) return ok;
  return task_fail(w.t, err_lp_invalid_var_name, io_printable(name).text);
}

rescode check_kind(lp_writer& w, int32_t kind, int32_t num) {
  for (int32_t i = 0; i < num; ++i) {
    const std::string_view name = prob_name(w.p, kind, i);
    if (name.empty()) {
      const generated_name made = generated(w, kind, i);
      if (prob_findname(w.p, kind, made.text) < 0) continue;
      return task_fail(w.t, err_write_lp_non_unique_name, made.text);
    }
    bool isodd = false;
    if (const rescode r = check_name(w, name, isodd); r != ok) return r;
    if (!isodd) continue;
    if (w.isodd[kind].empty()) w.isodd[kind].resize(size_t(num), uint8_t{0});
    w.isodd[kind][i] = 1;
  }
  return ok;
}

std::string_view objective_name(const lp_writer& w) noexcept {
  const std::string_view name = prob_objname(w.p);
  return w.isgeneric || name.empty() ? std::string_view("obj") : name;
}

// ---- What cannot be written

bool isleftout(const lp_writer& w, int32_t i) noexcept {
  return w.p.bkc[i] == ZLV_BK_FR && !w.iskeepfree;
}

rescode check_items(lp_writer& w) {
  if (w.p.numcone > 0) {
    if (!w.isignore) return task_fail(w.t, err_lp_write_conic_problem, "ZLV_PROBTYPE_CONIC");
    task_echo(w.t, msg_kind::wrn, "%d cones are not written to the LP file.\n", w.p.numcone);
  }
  int32_t numfree = 0;
  for (int32_t i = 0; i < w.p.numcon; ++i) numfree += isleftout(w, i) ? 1 : 0;
  if (numfree == 0) return ok;
  if (!w.isignore) return task_fail(w.t, err_lp_free_constraint);
  task_echo(w.t, msg_kind::wrn, "%d free constraints are not written to the LP file.\n", numfree);
  return ok;
}

rescode check(lp_writer& w) {
  if (const rescode r = check_items(w); r != ok) return r;
  if (w.isgeneric) return ok;
  bool isodd = false;
  if (const rescode r = check_name(w, objective_name(w), isodd); r != ok) return r;
  if (const rescode r = check_kind(w, ZLV_PI_VAR, w.p.numvar); r != ok) return r;
  return check_kind(w, ZLV_PI_CON, w.p.numcon);
}

// ---- Order of the variables

// Where each variable occurs first in the file, counted in terms, when the objective mentions only
// the first nummention variables and those of its quadratic terms.
struct lp_places {
  mm_vector<int64_t> first;  // largest number: nowhere
  int64_t num = 0;
  lp_places(mm_place at, int32_t numvar)
      : first(size_t(numvar), std::numeric_limits<int64_t>::max(), at) {}
};
void meet(lp_places& places, int32_t j) noexcept {
  places.first[j] = std::min(places.first[j], places.num++);
}
void meet(lp_places& places, const prob_qterms& q) noexcept {
  for (size_t k = 0; k < q.val.size(); ++k) {
    meet(places, q.subi[k]);
    meet(places, q.subj[k]);
  }
}

// How many of the first variables the objective has to mention.
int32_t count_mentions(lp_writer& w) {
  const int32_t numvar = w.p.numvar;
  lp_places places(mm_at(*w.t.mman), numvar);
  const sprmat& a = probmat_by(prob_mat(w.p), acc::con);
  int32_t num = numvar;
  while (num > 0 && w.p.c[num - 1] == 0) --num;
  meet(places, prob_getq(w.p, prob_obj));
  for (int32_t i = 0; i < w.p.numcon; ++i) {
    if (isleftout(w, i)) continue;
    for (const int32_t j : sprmat_sub(a, i)) meet(places, j);
    meet(places, prob_getq(w.p, i));
  }
  constexpr int64_t nowhere = std::numeric_limits<int64_t>::max();
  int64_t next = nowhere;  // of the variables behind j
  for (int32_t j = numvar - 1; j >= num; --j) {
    if (places.first[j] == nowhere || places.first[j] > next) return j + 1;
    next = places.first[j];
  }
  return num;
}

// ---- Lines and terms

void end_line(lp_writer& w) {
  strbld_add(w.text, '\n');
  if (w.text.text.size() >= putsize) {
    io_put(w.out, strbld_view(w.text));
    strbld_clear(w.text);
  }
  w.linestart = w.text.text.size();
  w.numterm = 0;
}

// The term built in w.term goes to this line or to the next.
void put_term(lp_writer& w) {
  const size_t used = w.text.text.size() - w.linestart;
  const bool isfull = w.maxterm > 0 && w.numterm >= w.maxterm;
  if (w.numterm > 0) {
    if (isfull || used + 1 + w.term.text.size() > size_t(w.width)) {
      end_line(w);
    } else {
      strbld_add(w.text, ' ');
    }
  }
  strbld_add(w.text, strbld_view(w.term));
  strbld_clear(w.term);
  ++w.numterm;
}

// Sign and magnitude; a magnitude of 1 is left out.
void add_coefficient(lp_writer& w, double value) {
  strbld_add(w.term, value < 0 ? "- " : "+ ");
  const double size = std::abs(value);
  if (size == 1) return;
  strbld_exp(w.term, size, w.precision);
  strbld_add(w.term, ' ');
}

void put_linear(lp_writer& w, double value, int32_t j) {
  if (value == 0) {
    strbld_add(w.term, "+ 0 ");
  } else {
    add_coefficient(w, value);
  }
  add_var(w, w.term, j);
  put_term(w);
}

void put_quadratic(lp_writer& w, const prob_qterms& q) {
  if (q.val.empty()) return;
  strbld_add(w.term, "+ [");
  put_term(w);
  for (size_t k = 0; k < q.val.size(); ++k) {
    const int32_t i = q.subi[k], j = q.subj[k];
    add_coefficient(w, i == j ? q.val[k] : 2 * q.val[k]);
    add_var(w, w.term, i);
    if (i == j) {
      strbld_add(w.term, " ^ 2");
    } else {
      strbld_add(w.term, " * ");
      add_var(w, w.term, j);
    }
    put_term(w);
  }
  strbld_add(w.text, " ]/2");
}

// ---- Sections

void add_head(lp_writer& w) {
  int32_t version[4] = {};
  static_cast<void>(ZLV_getversion(&version[0], &version[1], &version[2], &version[3]));
  strbld_add(w.text, "\\ Created by ZALVO version ");
  for (int k = 0; k < 4; ++k) {
    strbld_int(w.text, version[k]);
    if (k < 3) strbld_add(w.text, '.');
  }
  end_line(w);
}

void add_objective(lp_writer& w, int32_t nummention) {
  const bool ismax = w.t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MAX;
  strbld_add(w.text, ismax ? "maximize" : "minimize");
  end_line(w);
  const std::string_view name = objective_name(w);
  add_quoted(w.text, name, !lp_isplainname(name, w.isstrict));
  strbld_add(w.text, ": ");
  for (int32_t j = 0; j < nummention; ++j) put_linear(w, w.p.c[j], j);
  if (w.p.cfix != 0) {
    strbld_add(w.term, w.p.cfix < 0 ? "- " : "+ ");
    strbld_exp(w.term, std::abs(w.p.cfix), w.precision);
    put_term(w);
  }
  put_quadratic(w, prob_getq(w.p, prob_obj));
  end_line(w);
}

void add_rhs(lp_writer& w, std::string_view relation, double value) {
  strbld_add(w.text, relation);
  strbld_exp(w.text, value, w.precision);
}

void add_row(lp_writer& w, const sprmat& a, int32_t i) {
  const int32_t key = w.p.bkc[i];
  const double lower = w.p.blc[i], upper = w.p.buc[i];
  const bool isrange = key == ZLV_BK_RA || (key == ZLV_BK_FX && lower != upper);
  add_name(w, w.text, ZLV_PI_CON, i);
  strbld_add(w.text, ": ");
  if (isrange) {
    strbld_exp(w.text, lower, w.precision);
    strbld_add(w.text, " <= ");
  }
  const auto sub = sprmat_sub(a, i);
  const auto val = sprmat_val(a, i);
  for (size_t k = 0; k < sub.size(); ++k) put_linear(w, val[k], sub[k]);
  const prob_qterms q = prob_getq(w.p, i);
  put_quadratic(w, q);
  if (sub.empty() && q.val.empty()) {  // something must stand there
    if (w.p.numvar > 0) {
      put_linear(w, 0, 0);
    } else {
      strbld_add(w.text, '0');
    }
  }
  if (isrange || key == ZLV_BK_UP) {
    add_rhs(w, " <= ", upper);
  } else if (key == ZLV_BK_FR) {
    strbld_add(w.text, " <= +infinity");
  } else {
    add_rhs(w, key == ZLV_BK_FX ? " = " : " >= ", lower);
  }
  end_line(w);
}

void add_rows(lp_writer& w) {
  strbld_add(w.text, "subject to");
  end_line(w);
  const sprmat& a = probmat_by(prob_mat(w.p), acc::con);
  for (int32_t i = 0; i < w.p.numcon; ++i) {
    if (!isleftout(w, i)) add_row(w, a, i);
  }
}

void add_bound(lp_writer& w, int32_t j) {
  const int32_t key = w.p.bkx[j];
  const double lower = w.p.blx[j], upper = w.p.bux[j];
  if (key == ZLV_BK_LO && lower == 0) return;
  if (key == ZLV_BK_FR) {
    add_var(w, w.text, j);
    strbld_add(w.text, " free");
  } else {
    if (key == ZLV_BK_UP) {
      strbld_add(w.text, "-infinity");
    } else {
      strbld_exp(w.text, lower, w.precision);
    }
    strbld_add(w.text, " <= ");
    add_var(w, w.text, j);
    strbld_add(w.text, " <= ");
    if (key == ZLV_BK_LO) {
      strbld_add(w.text, "+infinity");
    } else {
      strbld_exp(w.text, upper, w.precision);
    }
  }
  end_line(w);
}

void add_sections(lp_writer& w) {
  strbld_add(w.text, "bounds");
  end_line(w);
  for (int32_t j = 0; j < w.p.numvar; ++j) add_bound(w, j);
  strbld_add(w.text, "general");
  end_line(w);
  for (int32_t j = 0; j < w.p.numvar; ++j) {
    if (!prob_isint(w.p, j)) continue;
    add_var(w, w.text, j);
    end_line(w);
  }
  strbld_add(w.text, "end");
  end_line(w);
}

}  // namespace

rescode lp_write(task_rec& t, io_out& out) {
  lp_writer w(t, out);
  w.precision = t.par.i[ipar::write_precision];
  w.width = t.par.i[ipar::write_lp_line_width];
  w.maxterm = t.par.i[ipar::write_lp_terms_per_line];
  w.isstrict = t.par.i[ipar::write_lp_strict_format] != 0;
  w.isquoted = t.par.i[ipar::write_lp_quoted_names] != 0;
  w.isgeneric = t.par.i[ipar::write_generic_names] != 0;
  w.firstgeneric = w.isgeneric ? t.par.i[ipar::write_generic_names_io] : 0;
  w.iskeepfree = t.par.i[ipar::write_free_con] != 0;
  w.isignore = t.par.i[ipar::lp_write_ignore_incompatible_items] != 0;
  if (const rescode r = check(w); r != ok) return r;
  const int32_t nummention = count_mentions(w);
  add_head(w);
  add_objective(w, nummention);
  add_rows(w);
  add_sections(w);
  io_put(out, strbld_view(w.text));
  return ok;
}
