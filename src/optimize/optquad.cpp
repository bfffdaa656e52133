#include "optimize/optquad.h"

#include <algorithm>
#include <cmath>

#include "misc/exactsum.h"
#include "optimize/optquadcert.h"
#include "zalvo.h"

namespace {

// A + sum e_k (Q_k x)': the constraints linearized at x; half[k] = x'Q_k x / 2.
void linearize(const opt_quadproblem& prob, std::span<const double> x, spmat& a,
               mm_vector<double>& half) {
  const mm_place at = half.get_allocator().place;
  const opt_problem& flat = prob.flat;
  spmat rows(at), sum(at);
  spmat_transpose(flat.a, rows);
  sum.nrow = flat.numvar;
  sum.ncol = flat.numcon;
  sum.ptr.push_back(0);
  mm_vector<exact_sum> work(size_t(flat.numvar), exact_sum{}, at);
  mm_vector<const quad_form*> of(size_t(flat.numcon), nullptr, at);
  for (const opt_quadratic& term : prob.terms) of[term.row] = term.q;
  mm_vector<int32_t> cols(at);
  half.assign(flat.numcon, 0.0);
  for (int32_t i = 0; i < flat.numcon; ++i) {
    const ptrdiff_t begin = rows.ptr[i], end = rows.ptr[i + 1];
    if (of[i] == nullptr) {
      sum.sub.insert(sum.sub.end(), rows.sub.begin() + begin, rows.sub.begin() + end);
      sum.val.insert(sum.val.end(), rows.val.begin() + begin, rows.val.begin() + end);
      sum.ptr.push_back(ptrdiff_t(sum.sub.size()));
      continue;
    }
    const spmat& q = of[i]->low;
    const mm_vector<int32_t>& vars = of[i]->vars;
    cols.assign(vars.begin(), vars.end());
    cols.insert(cols.end(), rows.sub.begin() + begin, rows.sub.begin() + end);
    std::sort(cols.begin(), cols.end());
    cols.erase(std::unique(cols.begin(), cols.end()), cols.end());
    for (const int32_t j : cols) work[j] = {};
    for (int32_t j = 0; j < q.ncol; ++j) {
      for (ptrdiff_t p = q.ptr[j]; p < q.ptr[j + 1]; ++p) {
        work[vars[q.sub[p]]].add(q.val[p] * x[vars[j]]);
        if (q.sub[p] != j) work[vars[j]].add(q.val[p] * x[vars[q.sub[p]]]);
      }
    }
    exact_sum xqx;
    for (const int32_t j : vars) xqx.add(work[j].value() * x[j]);
    half[i] = xqx.value() / 2;
    for (ptrdiff_t p = begin; p < end; ++p) work[rows.sub[p]].add(rows.val[p]);
    for (const int32_t j : cols) {
      const double v = work[j].value();
      if (v != 0) sum.sub.push_back(j), sum.val.push_back(v);
    }
    sum.ptr.push_back(ptrdiff_t(sum.sub.size()));
  }
  spmat_transpose(spmat_look(sum), a);
}

// The linearization as a problem: a constraint's bounds move by what its term leaves there.
struct tangent_problem {
  spmat a;
  mm_vector<double> half, blc, buc;
  opt_problem view;
  tangent_problem(const opt_quadproblem& prob, std::span<const double> x, mm_place at)
      : a(at),
        half(at),
        blc(prob.flat.blc.begin(), prob.flat.blc.end(), at),
        buc(prob.flat.buc.begin(), prob.flat.buc.end(), at),
        view(prob.flat) {
    linearize(prob, x, a, half);
    for (size_t i = 0; i < half.size(); ++i) {
      blc[i] += half[i];
      buc[i] += half[i];
    }
    view.a = spmat_look(a);
    view.blc = blc;
    view.buc = buc;
  }
};

// The bound that the internal form shifts column j to.
double start_of(const opt_problem& flat, int32_t j) {
  const int32_t key = flat.bkx[j];
  if (key == ZLV_BK_FR) return 0;
  return key == ZLV_BK_UP ? flat.bux[j] : flat.blx[j];
}

// Constraints whose term has two columns that can move, and such columns.
void mark_curved(const opt_quadproblem& prob, std::span<uint8_t> row, std::span<uint8_t> column) {
  for (const opt_quadratic& term : prob.terms) {
    const spmat& q = term.q->low;
    for (int32_t j = 0; j < q.ncol; ++j) {
      for (ptrdiff_t p = q.ptr[j]; p < q.ptr[j + 1]; ++p) {
        const int32_t v = term.q->vars[j], w = term.q->vars[q.sub[p]];
        if (prob.flat.bkx[v] == ZLV_BK_FX || prob.flat.bkx[w] == ZLV_BK_FX) continue;
        row[term.row] = column[v] = column[w] = 1;
      }
    }
  }
}

// The term in the columns of the internal form.
void move_term(const quad_form& from, const opt_internal& in, quad_form& to) {
  const mm_place at = to.vars.get_allocator().place;
  mm_vector<int32_t> subi(at), subj(at);
  mm_vector<double> val(at);
  for (int32_t j = 0; j < from.low.ncol; ++j) {
    const int32_t v = from.vars[j];
    for (ptrdiff_t p = from.low.ptr[j]; p < from.low.ptr[j + 1]; ++p) {
      const int32_t w = from.vars[from.low.sub[p]];
      if (in.colof[v] < 0 || in.colof[w] < 0) continue;
      subi.push_back(in.colof[w]);
      subj.push_back(in.colof[v]);
      val.push_back(in.flipped[v] != in.flipped[w] ? -from.low.val[p] : from.low.val[p]);
    }
  }
  quadform_assemble(subi, subj, val, 0, to);
}

// Row i of the problem's own A at the variables of its term.
void linear_part(const spmat& rows, int32_t i, const opt_internal& in, const quad_form& term,
                 mm_vector<double>& out) {
  out.assign(term.vars.size(), 0.0);
  for (ptrdiff_t p = rows.ptr[i]; p < rows.ptr[i + 1]; ++p) {
    const int32_t j = in.colof[rows.sub[p]];
    const auto at = std::lower_bound(term.vars.begin(), term.vars.end(), j);
    if (at != term.vars.end() && *at == j) out[at - term.vars.begin()] = rows.val[p];
  }
}

}  // namespace

void opt_fillquad(const opt_quadproblem& prob, const lp_point& point, opt_status status,
                  memman& mman, opt_solution& sol) {
  const opt_kind kind = opt_kindof(status);
  const opt_problem& flat = prob.flat;
  if (kind == opt_kind::primalray) return opt_fill(flat, point, status, sol);
  // The point that will be stored is within its bounds, and the gradients are those there. What a
  // certificate proves it proves from any point.
  mm_vector<double> x(point.x.begin(), point.x.end(), mm_at(mman));
  for (int32_t j = 0; j < flat.numvar && kind == opt_kind::point; ++j) {
    if (opt_haslower(flat.bkx[j])) x[j] = std::max(x[j], flat.blx[j]);
    if (opt_hasupper(flat.bkx[j])) x[j] = std::min(x[j], flat.bux[j]);
  }
  const tangent_problem tangent(prob, x, mm_at(mman));
  opt_fill(tangent.view, point, status, sol);
  if (kind == opt_kind::dualray) std::copy(x.begin(), x.end(), sol.xx.begin());
  for (const opt_quadratic& term : prob.terms) {
    if (kind == opt_kind::point) sol.xc[term.row] -= tangent.half[term.row];
  }
}

rescode opt_quadrun(const opt_quadproblem& prob, const quad_stage& stage, opt_solution* sol,
                    quad_point& out) {
  const mm_place at = mm_at(stage.mman);
  const opt_problem& flat = prob.flat;
  mm_vector<double> start(size_t(flat.numvar), 0.0, at);
  for (int32_t j = 0; j < flat.numvar; ++j) start[j] = start_of(flat, j);
  tangent_problem tangent(prob, start, at);
  mm_vector<uint8_t> row(size_t(flat.numcon), 0, at), column(size_t(flat.numvar), 0, at);
  mark_curved(prob, row, column);
  tangent.view.curved = row;
  tangent.view.incone = column;
  if (sol != nullptr && opt_trivial(tangent.view, *sol)) {
    if (opt_kindof({sol->prosta, sol->solsta}) == opt_kind::dualray) {
      std::copy(start.begin(), start.end(), sol->xx.begin());
    }
    sol->isdefined = true;
    return rescode::ok;
  }
  opt_internal in(at);
  opt_prepare(tangent.view, in);
  mm_vector<quad_form> forms(prob.terms.size(), quad_form(at), at);
  mm_vector<mm_vector<double>> linear(prob.terms.size(), mm_vector<double>(at), at);
  spmat rows(at);
  spmat_transpose(flat.a, rows);
  mm_vector<hs_quad> quads(at);
  for (size_t k = 0; k < prob.terms.size(); ++k) {
    const int32_t i = prob.terms[k].row;
    if (row[i] == 0 || in.rowof[i] < 0) continue;
    move_term(*prob.terms[k].q, in, forms[k]);
    linear_part(rows, i, in, forms[k], linear[k]);
    const double bound = flat.bkc[i] == ZLV_BK_UP ? flat.buc[i] : flat.blc[i];
    quads.push_back({in.rowof[i], &forms[k], linear[k], bound});
  }
  mm_vector<double> origin(size_t(in.a.ncol), 0.0, at);
  for (int32_t j = 0; j < flat.numvar; ++j) {
    const int32_t jj = in.colof[j];
    if (jj >= 0) origin[jj] = std::max(0.0, in.flipped[j] != 0 ? start[j] : -start[j]);
  }
  hs_lp lp = opt_internalview(in, flat);
  lp.origin = origin;
  lp.quads = quads;
  lp.nrmc = 0;
  for (const double v : flat.c) lp.nrmc = std::max(lp.nrmc, std::abs(v));
  hs_solution result(at);
  const rescode r = hs_optqc(lp, stage.set, stage.mon, stage.mman, stage.info, result);
  out.isfilled = !result.x.empty() || in.a.ncol == 0;
  if (!out.isfilled) return r;
  out.status = result.status;
  opt_reverse(tangent.view, in, result, out.point);
  if (opt_kindof(opt_statusof(result.status)) == opt_kind::dualray) {  // the point as well
    lp_point other(at);
    result.status = hs_status::unknown;
    opt_reverse(tangent.view, in, result, other);
    out.point.x.swap(other.x);
  }
  return r;
}

namespace {

bool is_verdict(hs_status status) {
  return status == hs_status::optimal || status == hs_status::nearoptimal ||
         status == hs_status::priminfeas || status == hs_status::dualinfeas;
}

}  // namespace

rescode opt_quadslv(const opt_quadproblem& prob, const hs_settings& set, const monitor& mon,
                    memman& mman, hs_info& info, opt_solution& sol) {
  const quad_stage stage{set, mon, mman, info};
  quad_point found(mm_at(mman));
  rescode r = opt_quadrun(prob, stage, &sol, found);
  if (sol.isdefined) return r;
  const auto isdoubtful = [&] {
    return (r == rescode::ok || r == rescode::trm_stall) && !is_verdict(found.status);
  };
  if (isdoubtful()) r = opt_quadunbounded(prob, stage, found);
  if (isdoubtful()) r = opt_quadinfeas(prob, stage, found);
  if (!found.isfilled) return r;
  opt_fillquad(prob, found.point, opt_statusof(found.status), mman, sol);
  sol.isdefined = true;
  return r;
}
