// Expressions of an OPF file: the objective, constraints, bounds and cones.
#include <algorithm>
#include <cmath>

#include "zalvo/zalvoropf.h"

namespace {

using enum rescode;

struct opf_sum {
  double constant = 0;   // or an infinity, then nothing else
  bool isany = false;    // there is an item
  bool hasterm = false;  // there is a variable
  bool isinf = false;
};

rescode linear_term(opf_reader& rd, int32_t j, double value, int32_t line) {
  const row_fault fault = row_term(rd.b, j, value, line);
  if (fault == row_fault::none) return ok;
  if (fault == row_fault::overflow) return opf_fail(rd, nullptr, "The sum is too large.");
  (void)task_fail(rd.b.t, err_huge_c, rd.b.c[j], names_get(rd.b.names, ZLV_PI_VAR, j).data(), j);
  task_echo(rd.b.t, msg_kind::err, "%s, line %d: The objective coefficient is too large.\n",
            rd.b.filename, line);
  return err_huge_c;
}

rescode quadratic_term(opf_reader& rd, int32_t i, int32_t j, double value) {
  const double entry = i == j ? 2 * value : value;  // of Q in x'Qx/2
  if (!std::isfinite(entry)) return opf_fail(rd, nullptr, "The coefficient is too large.");
  row_qterm(rd.b, i, j, entry);
  return ok;
}

// name | name "^" 2 | name "*" name
rescode read_term(opf_reader& rd, double value, opf_sum& sum) {
  opf_lexer& lx = rd.lx;
  const int32_t line = lx.lines.number;
  int32_t i = 0, j = 0;
  if (const rescode r = opf_variable(rd, i); r != ok) return r;
  sum.hasterm = true;
  opf_next(lx);
  if (lx.tok.kind == lex_kind::power) {
    opf_next(lx);
    if (lx.tok.kind != lex_kind::number || lx.tok.value != 2) {
      return opf_fail(rd, nullptr, "The exponent must be 2.");
    }
    opf_next(lx);
    return quadratic_term(rd, i, i, value);
  }
  if (lx.tok.kind != lex_kind::times) return linear_term(rd, i, value, line);
  opf_next(lx);
  if (lx.tok.kind != lex_kind::name) {
    return opf_fail(rd, nullptr, "A product needs a second variable.");
  }
  if (const rescode r = opf_variable(rd, j); r != ok) return r;
  opf_next(lx);
  return quadratic_term(rd, i, j, value);
}

rescode open_group(opf_reader& rd, double value, opf_sum& sum) {
  if (rd.isgroup) {
    return opf_fail(rd, "Paranteses may not be nested\n", "A group is open already.");
  }
  rd.isgroup = true;
  rd.factor = value;
  sum.isany = false;  // an item must follow
  opf_next(rd.lx);
  return ok;
}

rescode close_groups(opf_reader& rd, const opf_sum& sum) {
  for (; rd.lx.tok.kind == lex_kind::close; opf_next(rd.lx)) {
    if (!rd.isgroup || !sum.isany) {
      return opf_fail(rd, "Unmatched closing parentes\n", "No group is open, or it is empty.");
    }
    rd.isgroup = false;
    rd.factor = 1;
  }
  return ok;
}

// A number, and what it is the coefficient of.
rescode number_item(opf_reader& rd, double sign, opf_sum& sum) {
  opf_lexer& lx = rd.lx;
  const double value = sign * rd.factor * lx.tok.value;
  if (!std::isfinite(value)) return opf_fail(rd, nullptr, "The coefficient is too large.");
  opf_next(lx);
  const bool istimes = lx.tok.kind == lex_kind::times;
  if (istimes) opf_next(lx);
  if (lx.tok.kind == lex_kind::open) return open_group(rd, value, sum);
  sum.isany = true;
  if (lx.tok.kind == lex_kind::name) return read_term(rd, value, sum);
  if (istimes) return opf_fail(rd, nullptr, "A product needs a variable.");
  sum.constant += value;
  if (!std::isfinite(sum.constant)) return opf_fail(rd, nullptr, "The sum is too large.");
  return ok;
}

// One item behind its signs.
rescode read_item(opf_reader& rd, double sign, opf_sum& sum) {
  switch (rd.lx.tok.kind) {
    case lex_kind::number:
      return number_item(rd, sign, sum);
    case lex_kind::name:
      sum.isany = true;
      return read_term(rd, sign * rd.factor, sum);
    case lex_kind::open:
      return open_group(rd, sign * rd.factor, sum);
    default:
      if (sum.isany || rd.isgroup) {
        return opf_fail(rd, nullptr, "An infinity cannot be a part of a sum.");
      }
      sum.isany = sum.isinf = true;
      sum.constant = sign * prob_inf;
      opf_next(rd.lx);
      return ok;
  }
}

bool begins_item(lex_kind kind) noexcept {
  return kind == lex_kind::number || kind == lex_kind::name || kind == lex_kind::open ||
         kind == lex_kind::infinite;
}

// Reads as much as belongs to the sum; it may be empty. side: -1 for what goes to the other side of
// a relation; a constant keeps its sign.
rescode read_sum(opf_reader& rd, double side, opf_sum& sum) {
  opf_lexer& lx = rd.lx;
  for (;;) {
    if (const rescode r = opf_poll(rd); r != ok) return r;
    double sign = 1;
    bool issigned = false;
    for (; lx.tok.kind == lex_kind::sign; opf_next(lx)) {
      sign *= lx.tok.value;
      issigned = true;
    }
    if (!begins_item(lx.tok.kind) || (sum.isany && !issigned)) {
      if (issigned || (rd.isgroup && !sum.isany)) {
        return opf_fail(rd, nullptr, "A number or a variable is missing.");
      }
      break;
    }
    if (sum.isinf) return opf_fail(rd, nullptr, "An infinity cannot be a part of a sum.");
    // the factor of a group has its side already
    const double factor = rd.isgroup ? sign : side * sign;
    if (const rescode r = read_item(rd, factor, sum); r != ok) return r;
    if (const rescode r = close_groups(rd, sum); r != ok) return r;
  }
  if (const rescode r = close_groups(rd, sum); r != ok) return r;
  if (rd.isgroup) return opf_fail(rd, nullptr, "A closing parenthesis is missing.");
  if (sum.constant != 0) sum.constant *= side;
  return ok;
}

// ---- Relations

lex_kind mirrored(lex_kind relation) noexcept {
  if (relation == lex_kind::equal) return relation;
  return relation == lex_kind::less ? lex_kind::greater : lex_kind::less;
}

uint8_t sides_of(lex_kind relation) noexcept {
  const int lower = relation != lex_kind::less ? row_lowergiven : 0;
  const int upper = relation != lex_kind::greater ? row_uppergiven : 0;
  return uint8_t(lower | upper);
}

// What relation value says of b; false when it can never hold because the value is infinite.
bool put_side(lex_kind relation, double value, prob_bound& b) noexcept {
  const bool isinf = std::abs(value) >= prob_inf;
  if (isinf && (relation == lex_kind::equal || (relation == lex_kind::less) != (value > 0))) {
    return false;
  }
  if (relation != lex_kind::less) b.lower = value;
  if (relation != lex_kind::greater) b.upper = value;
  return true;
}

rescode row_side(opf_reader& rd, lex_kind relation, const opf_sum& value, const opf_sum& body,
                 prob_bound& b) {
  const double bound = value.isinf ? value.constant : value.constant - body.constant;
  if (body.isinf || !std::isfinite(bound)) {
    return opf_fail(rd, nullptr, "Before this place an infinity stands for a finite value.");
  }
  if (put_side(relation, bound, b)) return ok;
  return opf_fail(rd, nullptr, "The constraint can never hold: a side is infinite.");
}

// The second relation of value relation sum relation value.
rescode second_side(opf_reader& rd, lex_kind first, const opf_sum& body, prob_bound& b) {
  const lex_kind relation = rd.lx.tok.kind;
  if (relation != first || first == lex_kind::equal) {
    return opf_fail(rd, nullptr, "Both relations must point the same way.");
  }
  opf_next(rd.lx);
  opf_sum right;
  if (const rescode r = read_sum(rd, 1, right); r != ok) return r;
  if (!right.isany) {
    return opf_fail(rd, "Expected a numeric value\n", "A number should stand here.");
  }
  if (right.hasterm) return opf_fail(rd, nullptr, "Variables may stand in the middle only.");
  return row_side(rd, relation, right, body, b);
}

rescode read_row(opf_reader& rd, prob_bound& b) {
  opf_sum left, right;
  if (const rescode r = read_sum(rd, 1, left); r != ok) return r;
  const lex_kind relation = rd.lx.tok.kind;
  if (!lex_isrelation(relation)) return opf_fail(rd, nullptr, "A constraint needs a relation.");
  opf_next(rd.lx);
  const bool isbodyright = !left.hasterm && left.isany;
  if (const rescode r = read_sum(rd, isbodyright ? 1 : -1, right); r != ok) return r;
  const bool isdouble = lex_isrelation(rd.lx.tok.kind);
  if (!right.isany && !(isdouble && isbodyright)) {
    return opf_fail(rd, "Expected a numeric value\n", "A number should stand here.");
  }
  if (isdouble && !isbodyright) {
    return opf_fail(rd, nullptr, "The first of three parts must be a number.");
  }
  if (isbodyright && (right.hasterm || isdouble)) {
    if (const rescode r = row_side(rd, mirrored(relation), left, right, b); r != ok) return r;
    return isdouble ? second_side(rd, relation, right, b) : ok;
  }
  return row_side(rd, relation, right, left, b);
}

// ---- Bounds

struct opf_boundread {
  prob_bound b = {ZLV_BK_RA, -prob_inf, prob_inf};
  uint8_t sides = 0;     // that were given
  bool isequal = false;  // by an equality
  bool iswild = false;   // of every variable
};

rescode give_side(opf_reader& rd, opf_boundread& bound, lex_kind relation, double value) {
  const uint8_t sides = sides_of(relation);
  const bool isequal = relation == lex_kind::equal;
  if (bound.sides != 0 && (isequal || bound.isequal)) {
    return opf_fail(rd, "Both equality and inequality was given in bound\n",
                    "The bound has another relation.");
  }
  if ((bound.sides & sides & row_lowergiven) != 0) {
    return opf_fail(rd, "Lower bound was specified twice in bound\n", "There is one already.");
  }
  if ((bound.sides & sides & row_uppergiven) != 0) {
    return opf_fail(rd, "Upper bound was specified twice in bound\n", "There is one already.");
  }
  bound.sides |= sides;
  bound.isequal = isequal;
  if (put_side(relation, value, bound.b)) return ok;
  return opf_fail(rd,
                  isequal                         ? "Error reading bound\n"
                  : relation == lex_kind::greater ? "Error reading lower bound\n"
                                                  : "Error reading upper bound\n",
                  "The bound before this place can never hold: it is infinite.");
}

// relation value, behind the variables.
rescode behind_side(opf_reader& rd, opf_boundread& bound) {
  const lex_kind relation = rd.lx.tok.kind;
  double value = 0;
  opf_next(rd.lx);
  const char* const said = relation == lex_kind::equal     ? "Error reading bound\n"
                           : relation == lex_kind::greater ? "Error reading lower bound\n"
                                                           : "Error reading upper bound\n";
  if (const rescode r = opf_number(rd, true, value, said); r != ok) return r;
  return give_side(rd, bound, relation, value);
}

// value relation, before the variables.
rescode front_side(opf_reader& rd, opf_boundread& bound) {
  double value = 0;
  if (const rescode r = opf_number(rd, true, value, "Expected a numeric value\n"); r != ok)
    return r;
  const lex_kind relation = rd.lx.tok.kind;
  if (!lex_isrelation(relation)) {
    return opf_fail(rd, "Extected a bound\n", "A relation should stand here.");
  }
  opf_next(rd.lx);
  return give_side(rd, bound, mirrored(relation), value);
}

rescode bound_names(opf_reader& rd, opf_boundread& bound, mm_vector<int32_t>& sub) {
  opf_lexer& lx = rd.lx;
  for (;; opf_next(lx)) {
    if (lx.tok.kind == lex_kind::times) {
      bound.iswild = true;
    } else if (lx.tok.kind == lex_kind::name) {
      int32_t j = 0;
      if (const rescode r = opf_variable(rd, j); r != ok) return r;
      sub.push_back(j);
    } else if (lx.tok.kind == lex_kind::tag) {
      return opf_fail(rd, "Error reading bound\n", "A variable should stand here.");
    } else {
      return opf_fail(rd, "Unexpected text in bound definition\n", "A variable should stand here.");
    }
    opf_next(lx);
    if (lx.tok.kind != lex_kind::comma) return ok;
  }
}

rescode bound_free(opf_reader& rd, opf_boundread& bound) {
  if (rd.lx.tok.isquoted || !lex_isword(rd.lx.tok.text, "free")) {
    return opf_fail(rd, "Expectec keyword 'free' at bound\n", "A variable is free or bounded.");
  }
  if (bound.sides != 0) {
    return opf_fail(rd, "Both bound and 'free' was specified in bound\n", "It is bounded.");
  }
  bound.sides = row_lowergiven | row_uppergiven;
  opf_next(rd.lx);
  return ok;
}

void store_bound(opf_reader& rd, const opf_boundread& bound, const mm_vector<int32_t>& sub) {
  const int32_t line = rd.lx.lines.number;
  row_makevars(rd.b);
  for (const int32_t j : sub) row_setsides(rd.b, j, bound.b, bound.sides, line);
  if (!bound.iswild) return;
  if ((bound.sides & row_lowergiven) != 0) rd.b.defaultlower = bound.b.lower;
  if ((bound.sides & row_uppergiven) != 0) rd.b.defaultupper = bound.b.upper;
}

rescode add_member(opf_reader& rd, prob_cone& cone) {
  int32_t j = 0;
  if (const rescode r = opf_variable(rd, j); r != ok) return r;
  const auto k = int32_t(rd.cones.size()) - 1;
  if (rd.coneof.size() < size_t(rd.b.numvar)) rd.coneof.resize(size_t(rd.b.numvar), -1);
  if (rd.coneof[j] >= 0) {
    return opf_fail(rd, nullptr,
                    rd.coneof[j] == k ? "The variable is a member of the cone already."
                                      : "The variable is a member of another cone.");
  }
  rd.coneof[j] = k;
  cone.sub.push_back(j);
  opf_next(rd.lx);
  return ok;
}

rescode cone_par(opf_reader& rd, double& par) {
  opf_next(rd.lx);
  if (rd.lx.tok.kind != lex_kind::equal) {
    return opf_fail(rd, "Unexpected text in cone definition\n", "An '=' should stand here.");
  }
  opf_next(rd.lx);
  return opf_number(rd, false, par, "Expected a numeric value\n");
}

}  // namespace

rescode opf_objective(opf_reader& rd) {
  opf_sum sum;
  row_begin(rd.b, prob_obj);
  if (const rescode r = read_sum(rd, 1, sum); r != ok) return r;
  if (sum.isinf) return opf_fail(rd, nullptr, "The objective cannot be infinite.");
  rd.b.cfix = sum.constant;
  return ok;
}

rescode opf_constraint(opf_reader& rd) {
  row_begin(rd.b, rd.b.numcon);
  prob_bound b = {ZLV_BK_RA, -prob_inf, prob_inf};
  if (const rescode r = read_row(rd, b); r != ok) return r;
  row_end(rd.b, rd.label, prob_normalise(rd.b.tol, b));
  return ok;
}

rescode opf_bound(opf_reader& rd) {
  opf_lexer& lx = rd.lx;
  opf_boundread bound;
  mm_vector<int32_t> sub(prob_place(rd.b.p));
  const lex_kind first = lx.tok.kind;
  if (first == lex_kind::number || first == lex_kind::sign || first == lex_kind::infinite ||
      first == lex_kind::bad) {
    if (const rescode r = front_side(rd, bound); r != ok) return r;
  }
  if (const rescode r = bound_names(rd, bound, sub); r != ok) return r;
  while (lex_isrelation(lx.tok.kind)) {
    if (const rescode r = behind_side(rd, bound); r != ok) return r;
  }
  if (lx.tok.kind == lex_kind::name) {
    if (const rescode r = bound_free(rd, bound); r != ok) return r;
  }
  if (bound.sides == 0) {
    return opf_fail(rd, "Expected upper bound or 'free'\n", "The variable gets no bound.");
  }
  store_bound(rd, bound, sub);
  return ok;
}

rescode opf_conehead(opf_reader& rd) {
  opf_lexer& lx = rd.lx;
  prob_cone cone(prob_place(rd.b.p));
  rd.label.clear();
  if (lx.tok.kind == lex_kind::name && lex_isword(lx.tok.text, "type")) {
    opf_next(lx);
    if (lx.tok.kind == lex_kind::equal) opf_next(lx);
  }
  const auto is = [&](std::string_view word) { return lex_isword(lx.tok.text, word); };
  const bool isquad = is("quad") || is("quadratic");
  if (lx.tok.kind != lex_kind::name || !(isquad || is("rquad") || is("rotatedquadratic"))) {
    return opf_fail(rd, "In conic constraint: Cone type required\n",
                    "quad, quadratic, rquad or rotatedquadratic should stand here.");
  }
  cone.type = isquad ? ZLV_CT_QUAD : ZLV_CT_RQUAD;
  for (opf_next(lx); lx.tok.kind == lex_kind::name;) {
    if (!lx.tok.isquoted && is("par")) {
      if (const rescode r = cone_par(rd, cone.par); r != ok) return r;
      continue;
    }
    if (!rd.label.empty()) {
      return opf_fail(rd, "Unexpected text in cone definition\n", "The cone has a name already.");
    }
    if (names_find(rd.conenames, ZLV_PI_CONE, lx.tok.text) >= 0) {
      return opf_fail(rd, nullptr, "Another cone has this name.");
    }
    rd.label = lx.tok.text;
    opf_next(lx);
  }
  names_append(rd.conenames, ZLV_PI_CONE, 1);
  names_put(rd.conenames, ZLV_PI_CONE, int32_t(rd.cones.size()), rd.label);
  rd.cones.push_back(std::move(cone));
  return ok;
}

rescode opf_cone(opf_reader& rd) {
  opf_lexer& lx = rd.lx;
  prob_cone& cone = rd.cones.back();
  while (lx.tok.kind == lex_kind::name) {
    if (const rescode r = add_member(rd, cone); r != ok) return r;
    if (lx.tok.kind != lex_kind::comma) break;
    opf_next(lx);
    if (lx.tok.kind != lex_kind::name) {
      return opf_fail(rd, "Unexpected text in cone definition\n", "A member should stand here.");
    }
  }
  const int32_t least = cone.type == ZLV_CT_QUAD ? 1 : 2;
  if (int32_t(cone.sub.size()) >= least) return ok;
  return opf_fail(rd,
                  lx.tok.kind == lex_kind::tag ? nullptr : "Unexpected text in cone definition\n",
                  "The cone has too few members.");
}
