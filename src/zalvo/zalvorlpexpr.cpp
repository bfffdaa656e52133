// Expressions of an LP file: the objective and the constraints.
#include <algorithm>
#include <cmath>

#include "zalvo/zalvofile.h"
#include "zalvo/zalvorlp.h"

namespace {

using enum rescode;

struct lp_sum {
  double constant = 0;   // or an infinity, then nothing else
  bool isany = false;    // there is an item
  bool hasterm = false;  // there is a variable
  bool isinf = false;
};

// How a sum is to be read. sign: factor of its terms. isline: it ends with its line, unless a sign
// is left open there.
struct lp_how {
  double sign = 1;
  bool isline = false;
};

bool islabel(const lp_reader& rd) noexcept {
  return rd.lx.tok.kind == lex_kind::name && lp_iscolonnext(rd.lx);
}

rescode add_term(lp_reader& rd, double value) {
  const std::string_view name = rd.lx.tok.text;
  const int32_t j = row_variable(rd.b, name);
  const row_fault fault = row_term(rd.b, j, value, rd.lx.lines.number);
  if (fault == row_fault::overflow) {
    return lp_expect(rd, lp_want::number, "The sum is too large.");
  }
  if (fault == row_fault::hugecost) {
    (void)task_fail(rd.b.t, err_huge_c, rd.b.c[j], names_get(rd.b.names, ZLV_PI_VAR, j).data(), j);
    lp_tell(rd, "The objective coefficient is too large.");
    return err_huge_c;
  }
  lp_next(rd.lx);
  return ok;
}

// [number ["*"]] name ("^" 2 | "*" name), behind its sign.
rescode quad_term(lp_reader& rd, double value) {
  lp_lexer& lx = rd.lx;
  if (lx.tok.kind == lex_kind::number) {
    value *= lx.tok.value;
    lp_next(lx);
    if (lx.tok.kind == lex_kind::times) lp_next(lx);
  }
  if (lx.tok.kind != lex_kind::name) {
    return lp_expect(rd, lp_want::qvariable, "A quadratic term needs a variable.");
  }
  const int32_t i = row_variable(rd.b, lx.tok.text);
  lp_next(lx);
  if (lx.tok.kind == lex_kind::power) {
    lp_next(lx);
    if (lx.tok.kind != lex_kind::number || lx.tok.value != 2) {
      return lp_expect(rd, lp_want::number, "The exponent must be 2.");
    }
    row_qterm(rd.b, i, i, value);
  } else if (lx.tok.kind == lex_kind::times) {
    lp_next(lx);
    if (lx.tok.kind != lex_kind::name) {
      return lp_expect(rd, lp_want::qvariable, "A product needs a second variable.");
    }
    row_qterm(rd.b, i, row_variable(rd.b, lx.tok.text), value);
  } else {
    return lp_expect(rd, lp_want::power, "A quadratic term is a square or a product.");
  }
  lp_next(lx);
  return ok;
}

// Behind the closing bracket: what stands in the brackets becomes lower-triangular terms of Q in
// x'Qx/2. A term a x y has Q_xy = Q_yx = a, a term a x^2 has Q_xx = 2 a; "/2" halves them.
rescode end_quadratic(lp_reader& rd, size_t first) {
  lp_lexer& lx = rd.lx;
  double factor = 1;
  if (lx.tok.kind == lex_kind::slash) {
    lp_next(lx);
    if (lx.tok.kind != lex_kind::number || lx.tok.value != 2) {
      return lp_expect(rd, lp_want::number, "The divisor must be 2.");
    }
    lp_next(lx);
    factor = 0.5;
  } else {
    row_notetaken(rd.b, row_note::old_quad, lx.lastline, rd.label);
  }
  for (size_t k = first; k < rd.b.q.val.size(); ++k) {
    rd.b.q.val[k] *= rd.b.q.subi[k] == rd.b.q.subj[k] ? 2 * factor : factor;
    if (std::isfinite(rd.b.q.val[k])) continue;
    return lp_expect(rd, lp_want::number, "A coefficient in the brackets is too large.");
  }
  return ok;
}

rescode quadratic(lp_reader& rd, double sign) {
  lp_lexer& lx = rd.lx;
  const size_t first = rd.b.q.val.size();
  lp_next(lx);
  for (bool isany = false; lx.tok.kind != lex_kind::close || !isany; isany = true) {
    if (isany && lx.tok.kind != lex_kind::sign) {
      return lp_expect(rd, lp_want::qvariable, "A sign or a closing bracket is missing.");
    }
    double s = sign;
    for (; lx.tok.kind == lex_kind::sign; lp_next(lx)) s *= lx.tok.value;
    if (const rescode r = quad_term(rd, s); r != ok) return r;
  }
  lp_next(lx);
  return end_quadratic(rd, first);
}

// A number: a coefficient when a variable follows, else a constant.
rescode number_item(lp_reader& rd, const lp_how& how, double sign, lp_sum& sum) {
  lp_lexer& lx = rd.lx;
  const double value = lx.tok.value;
  const bool isglued = lx.tok.isglued;
  lp_next(lx);
  if (isglued && lx.tok.kind != lex_kind::name) {
    return lp_expect(rd, lp_want::number, "The number does not end here.");
  }
  bool isterm = lx.tok.kind == lex_kind::name && !(how.isline && lx.tok.isfirst) && !islabel(rd);
  if (lx.tok.kind == lex_kind::times) {
    lp_next(lx);
    if (lx.tok.kind != lex_kind::name) {
      return lp_expect(rd, lp_want::variable, "A product needs a variable.");
    }
    isterm = true;
  }
  if (isterm) {
    sum.hasterm = true;
    return add_term(rd, how.sign * sign * value);
  }
  sum.constant += sign * value;
  if (!std::isfinite(sum.constant)) {
    return lp_expect(rd, lp_want::number, "The sum is too large.");
  }
  return ok;
}

rescode item(lp_reader& rd, const lp_how& how, double sign, lp_sum& sum) {
  lp_lexer& lx = rd.lx;
  switch (lx.tok.kind) {
    case lex_kind::number:
      return number_item(rd, how, sign, sum);
    case lex_kind::name:
      sum.hasterm = true;
      return add_term(rd, how.sign * sign);
    case lex_kind::open:
      sum.hasterm = true;
      return quadratic(rd, how.sign * sign);
    default:
      if (sum.isany || sum.isinf) {
        return lp_expect(rd, lp_want::number, "An infinity cannot be a part of a sum.");
      }
      sum.isinf = true;
      sum.constant = sign * prob_inf;
      lp_next(lx);
      return ok;
  }
}

bool begins_item(const lp_reader& rd) noexcept {
  const lex_kind kind = rd.lx.tok.kind;
  return kind == lex_kind::number || kind == lex_kind::open || kind == lex_kind::infinite ||
         (kind == lex_kind::name && !islabel(rd));
}

// Reads as much as belongs to the sum; it may be empty.
rescode read_sum(lp_reader& rd, const lp_how& how, lp_sum& sum) {
  lp_lexer& lx = rd.lx;
  for (;; sum.isany = true) {
    if (lx.lines.nextchunk != rd.pollchunk) {
      rd.pollchunk = lx.lines.nextchunk;
      if (const rescode r = file_poll(rd.b.t); r != ok) return r;
    }
    if (sum.isany && how.isline && lx.tok.isfirst) return ok;
    double sign = 1;
    bool issigned = false;
    for (; lx.tok.kind == lex_kind::sign; lp_next(lx)) {
      sign *= lx.tok.value;
      issigned = true;
    }
    if (!begins_item(rd)) {
      if (issigned || lx.tok.kind == lex_kind::bad) {
        return lp_expect(rd, lp_want::variable, "A number or a variable is missing.");
      }
      return ok;
    }
    if (sum.isany && !issigned) return ok;
    if (sum.isinf) return lp_expect(rd, lp_want::number, "An infinity cannot be a part of a sum.");
    if (const rescode r = item(rd, how, sign, sum); r != ok) return r;
  }
}

void begin_row(lp_reader& rd, int32_t row) {
  row_begin(rd.b, row);
  rd.label = {};
  if (!islabel(rd)) return;
  rd.label = rd.lx.tok.text;
  lp_next(rd.lx);
  lp_next(rd.lx);
}

lex_kind mirrored(lex_kind relation) noexcept {
  if (relation == lex_kind::equal) return relation;
  return relation == lex_kind::less ? lex_kind::greater : lex_kind::less;
}

// One side of the row's sum is bounded by a value from the other side of a relation.
rescode put_side(lp_reader& rd, lex_kind relation, const lp_sum& value, const lp_sum& body,
                 prob_bound& b) {
  const double bound = value.isinf ? value.constant : value.constant - body.constant;
  if (body.isinf || !std::isfinite(bound)) {
    return lp_expect(rd, lp_want::number,
                     "Before this place an infinity stands for a finite value.");
  }
  if (lp_side(relation, bound, b)) return ok;
  return lp_expect(rd, lp_want::number,
                   "The constraint before this place can never hold: a side is infinite.");
}

rescode read_relation(lp_reader& rd, lex_kind& relation) {
  relation = rd.lx.tok.kind;
  if (!lex_isrelation(relation)) {
    return lp_expect(rd, lp_want::less, "A constraint needs a relation.");
  }
  lp_next(rd.lx);
  return ok;
}

rescode expect_sum(lp_reader& rd, const lp_sum& sum) {
  return sum.isany ? ok : lp_expect(rd, lp_want::number, "A number or a variable is missing.");
}

// The second relation of value relation sum relation value.
rescode second_side(lp_reader& rd, lex_kind first, const lp_sum& body, prob_bound& b) {
  lex_kind relation = lex_kind::less;
  if (rd.lx.tok.kind != first || first == lex_kind::equal) {
    return lp_expect(rd, lp_want::less, "Both relations must point the same way.");
  }
  if (const rescode r = read_relation(rd, relation); r != ok) return r;
  lp_sum right;
  if (const rescode r = read_sum(rd, {1, true}, right); r != ok) return r;
  if (const rescode r = expect_sum(rd, right); r != ok) return r;
  if (right.hasterm) {
    return lp_expect(rd, lp_want::number, "Variables may stand in the middle only.");
  }
  return put_side(rd, relation, right, body, b);
}

rescode read_row(lp_reader& rd, prob_bound& b) {
  lp_sum left, right;
  lex_kind relation = lex_kind::less;
  if (const rescode r = read_sum(rd, {1, false}, left); r != ok) return r;
  if (const rescode r = read_relation(rd, relation); r != ok) return r;
  const bool isbodyright = !left.hasterm && left.isany;
  const lp_how how = {isbodyright ? 1.0 : -1.0, !isbodyright};
  if (const rescode r = read_sum(rd, how, right); r != ok) return r;
  if (const rescode r = expect_sum(rd, right); r != ok) return r;
  const bool isdouble = lex_isrelation(rd.lx.tok.kind);
  if (isdouble && !isbodyright) {
    return lp_expect(rd, lp_want::number, "The first of three parts must be a number.");
  }
  if (isbodyright && (right.hasterm || isdouble)) {
    if (const rescode r = put_side(rd, mirrored(relation), left, right, b); r != ok) return r;
    return isdouble ? second_side(rd, relation, right, b) : ok;
  }
  return put_side(rd, relation, right, left, b);
}

}  // namespace

bool lp_side(lex_kind relation, double value, prob_bound& b) noexcept {
  const bool isinf = std::abs(value) >= prob_inf;
  if (isinf && (relation == lex_kind::equal || (relation == lex_kind::less) != (value > 0))) {
    return false;
  }
  if (relation != lex_kind::less) b.lower = value;
  if (relation != lex_kind::greater) b.upper = value;
  return true;
}

rescode lp_objective(lp_reader& rd) {
  lp_sum sum;
  begin_row(rd, prob_obj);
  names_putobj(rd.b.names, rd.label);
  if (const rescode r = read_sum(rd, {1, false}, sum); r != ok) return r;
  if (sum.isinf) return lp_expect(rd, lp_want::number, "The objective cannot be infinite.");
  rd.b.cfix = sum.constant;
  return ok;
}

rescode lp_constraint(lp_reader& rd) {
  const size_t firstq = rd.b.q.val.size();
  if (islabel(rd) && names_find(rd.b.names, ZLV_PI_CON, rd.lx.tok.text) >= 0) {
    (void)task_fail(rd.b.t, err_lp_dup_slack_name, io_printable(rd.lx.tok.text).text);
    lp_tell(rd, "Another constraint has this name.");
    return err_lp_dup_slack_name;
  }
  begin_row(rd, rd.b.numcon);
  prob_bound b = {ZLV_BK_RA, -prob_inf, prob_inf};
  if (const rescode r = read_row(rd, b); r != ok) return r;
  b = prob_normalise(rd.b.tol, b);
  if (b.key == ZLV_BK_FR && !rd.set.iskeepfree) {
    row_notetaken(rd.b, row_note::free_row, rd.lx.lastline, rd.label);
    row_drop(rd.b, firstq);
    return ok;
  }
  row_end(rd.b, rd.label, b);
  return ok;
}
