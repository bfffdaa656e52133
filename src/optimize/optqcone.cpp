#include "optimize/optqcone.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "kfac/symdef.h"
#include "optimize/optconic.h"
#include "zalvo.h"

namespace {

constexpr double invsqrt2 = 1 / std::numbers::sqrt2;

// The conic problem, by rows while it is made: rows of prob, then those of the cones.
struct qcone_form {
  spmat rows;  // A by rows: columns of prob, then cone members
  mm_vector<int32_t> bkc, bkx;
  mm_vector<double> blc, buc, blx, bux, c;
  double cfix = 0;
  mm_vector<int32_t> member;     // members of all cones
  mm_vector<ptrdiff_t> conebeg;  // number of cones + 1
  mm_vector<int32_t> hrow;       // numcon: row of h of the constraint's cone (g follows), or -1
  mm_vector<double> factor;      // numcon: its f
  explicit qcone_form(mm_place at)
      : rows(at),
        bkc(at),
        bkx(at),
        blc(at),
        buc(at),
        blx(at),
        bux(at),
        c(at),
        member(at),
        conebeg(at),
        hrow(at),
        factor(at) {}
  int32_t numrow() const { return int32_t(bkc.size()); }
  int32_t numcol() const { return int32_t(bkx.size()); }
};

int32_t add_member(qcone_form& form, double cost) {
  form.bkx.push_back(ZLV_BK_FR);
  form.blx.push_back(-1e30);
  form.bux.push_back(1e30);
  form.c.push_back(cost);
  form.member.push_back(form.numcol() - 1);
  return form.numcol() - 1;
}

void put(qcone_form& form, int32_t j, double v) {
  form.rows.sub.push_back(j);
  form.rows.val.push_back(v);
}

void close_row(qcone_form& form, int32_t key, double lower, double upper) {
  form.rows.ptr.push_back(ptrdiff_t(form.rows.sub.size()));
  form.bkc.push_back(key);
  form.blc.push_back(lower);
  form.buc.push_back(upper);
}

// The rows F x - z = 0 of a cone, and its members z.
void add_root(const quad_form& q, double sign, memman& mman, qcone_form& form) {
  spmat root(mm_at(mman));
  symdef_root(spmat_look(q.low), sign, mman, root);
  for (int32_t k = 0; k < root.ncol; ++k) {
    for (ptrdiff_t p = root.ptr[k]; p < root.ptr[k + 1]; ++p) {
      put(form, q.vars[root.sub[p]], root.val[p]);
    }
    put(form, add_member(form, 0), -1);
    close_row(form, ZLV_BK_FX, 0, 0);
  }
  form.conebeg.push_back(ptrdiff_t(form.member.size()));
}

// A power of two near the root of what a term may amount to.
double cone_factor(double size) {
  return std::exp2(std::round(std::log2(std::max(1.0, size)) / 2));
}

quad_form objective_form(const spmat_view& q, memman& mman) {
  mm_vector<int32_t> subi(mm_at(mman)), subj(mm_at(mman));
  mm_vector<double> val(mm_at(mman));
  for (int32_t j = 0; j < q.ncol; ++j) {
    for (ptrdiff_t p = q.ptr[j]; p < q.ptr[j + 1]; ++p) {
      if (q.sub[p] < j) continue;
      subi.push_back(q.sub[p]);
      subj.push_back(j);
      val.push_back(q.val[p]);
    }
  }
  quad_form form(mm_at(mman));
  quadform_assemble(subi, subj, val, 0, form);
  return form;
}

// The objective's term: p = sqrt(2) f h - f^2, g = h - sqrt(2) f.
void add_objective(const opt_problem& prob, double sign, memman& mman, qcone_form& form) {
  double size = 0;
  for (const double q : prob.q.val) size = std::max(size, std::abs(q));
  const double f = cone_factor(size), shift = std::numbers::sqrt2 * f;
  const int32_t h = add_member(form, shift), g = add_member(form, 0);
  form.cfix -= f * f;
  put(form, h, 1);
  put(form, g, -1);
  close_row(form, ZLV_BK_FX, shift, shift);
  add_root(objective_form(prob.q, mman), sign, mman, form);
}

// Constraint i with a term: sign (a'x + x'Qx/2) <= sign bound; the row itself stays as a free one.
void add_constraint(const opt_quadratic& term, const spmat& arows, memman& mman, qcone_form& form) {
  const int32_t i = term.row;
  const bool isupper = form.bkc[i] == ZLV_BK_UP;
  const double sign = isupper ? 1 : -1, room = sign * (isupper ? form.buc[i] : form.blc[i]);
  const double f = cone_factor(std::abs(room));
  form.hrow[i] = form.numrow();
  form.factor[i] = f;
  for (const double side : {1.0, -1.0}) {
    for (ptrdiff_t p = arows.ptr[i]; p < arows.ptr[i + 1]; ++p) {
      put(form, arows.sub[p], sign * arows.val[p] * invsqrt2 / f);
    }
    put(form, add_member(form, 0), 1);
    const double rhs = (room / f + side * f) * invsqrt2;
    close_row(form, ZLV_BK_FX, rhs, rhs);
  }
  add_root(*term.q, sign, mman, form);
  form.bkc[i] = ZLV_BK_FR;
}

void make_form(const opt_problem& prob, std::span<const opt_quadratic> terms, memman& mman,
               qcone_form& form) {
  const double sign = prob.maximize ? -1 : 1;
  form.bkc.assign(prob.bkc.begin(), prob.bkc.end());
  form.blc.assign(prob.blc.begin(), prob.blc.end());
  form.buc.assign(prob.buc.begin(), prob.buc.end());
  form.bkx.assign(prob.bkx.begin(), prob.bkx.end());
  form.blx.assign(prob.blx.begin(), prob.blx.end());
  form.bux.assign(prob.bux.begin(), prob.bux.end());
  for (const double c : prob.c) form.c.push_back(sign * c);
  form.cfix = sign * prob.cfix;
  form.hrow.assign(prob.numcon, -1);
  form.factor.assign(prob.numcon, 1.0);
  form.conebeg.push_back(0);
  spmat_transpose(prob.a, form.rows);
  spmat arows(mm_at(mman));
  spmat_transpose(prob.a, arows);
  if (prob.q.ncol > 0 && !prob.q.sub.empty()) add_objective(prob, sign, mman, form);
  for (const opt_quadratic& term : terms) {
    if (form.bkc[term.row] != ZLV_BK_FR) add_constraint(term, arows, mman, form);
  }
  form.rows.nrow = form.numcol();
  form.rows.ncol = form.numrow();
}

opt_conic_problem view_of(const qcone_form& form, const spmat& a, std::span<opt_cone> cones) {
  opt_problem lp;
  lp.numcon = form.numrow();
  lp.numvar = form.numcol();
  lp.a = spmat_look(a);
  lp.bkc = form.bkc;
  lp.bkx = form.bkx;
  lp.blc = form.blc;
  lp.buc = form.buc;
  lp.blx = form.blx;
  lp.bux = form.bux;
  lp.c = form.c;
  lp.cfix = form.cfix;
  for (size_t k = 0; k < cones.size(); ++k) {
    cones[k] = {ZLV_CT_QUAD, std::span<const int32_t>(form.member)
                                 .subspan(form.conebeg[k], form.conebeg[k + 1] - form.conebeg[k])};
  }
  return {lp, cones};
}

// Storage for the solution of the conic problem.
struct qcone_solution {
  mm_vector<int32_t> sk;
  mm_vector<double> val;
  opt_conic_solution view;
  qcone_solution(size_t m, size_t n, size_t numcone, mm_place at)
      : sk(m + n + numcone, ZLV_SK_UNK, at), val(4 * (m + n), 0.0, at) {
    const std::span<int32_t> keys = sk;
    const std::span<double> v = val;
    opt_solution& s = view.lp;
    s.skc = keys.first(m);
    s.skx = keys.subspan(m, n);
    view.skn = keys.subspan(m + n, numcone);
    s.xc = v.subspan(0, m);
    s.y = v.subspan(m, m);
    s.slc = v.subspan(2 * m, m);
    s.suc = v.subspan(3 * m, m);
    s.xx = v.subspan(4 * m, n);
    s.slx = v.subspan(4 * m + n, n);
    s.sux = v.subspan(4 * m + 2 * n, n);
    view.snx = v.subspan(4 * m + 3 * n, n);
  }
};

// The multipliers of the minimization: a constraint with a term has those of h and g together.
void take_point(const opt_problem& prob, const qcone_form& form, const opt_solution& from,
                lp_point& point) {
  point.x.assign(from.xx.begin(), from.xx.begin() + prob.numvar);
  point.y.assign(from.y.begin(), from.y.begin() + prob.numcon);
  for (int32_t i = 0; i < prob.numcon; ++i) {
    const int32_t h = form.hrow[i];
    if (h < 0) continue;
    const double sign = prob.bkc[i] == ZLV_BK_UP ? 1 : -1;
    point.y[i] = sign * (from.y[h] + from.y[h + 1]) * invsqrt2 / form.factor[i];
  }
}

}  // namespace

rescode opt_qconslv(const opt_quadproblem& quad, const hs_settings& set, const monitor& mon,
                    memman& mman, hs_info& info, opt_solution& sol) {
  const opt_problem& prob = quad.flat;
  qcone_form form(mm_at(mman));
  make_form(prob, quad.terms, mman, form);
  spmat a(mm_at(mman));
  spmat_transpose(spmat_look(form.rows), a);
  mm_vector<opt_cone> cones(form.conebeg.size() - 1, opt_cone{}, mm_at(mman));
  qcone_solution found(size_t(form.numrow()), size_t(form.numcol()), cones.size(), mm_at(mman));
  found.view.keeppoint = true;
  const rescode r = opt_conslv(view_of(form, a, cones), set, mon, mman, info, found.view);
  if (!found.view.lp.isdefined) return r;
  lp_point point(mm_at(mman));
  take_point(prob, form, found.view.lp, point);
  const opt_status status{found.view.lp.prosta, found.view.lp.solsta};
  opt_fillquad(quad, point, status, mman, sol);
  sol.isdefined = true;
  return r;
}
