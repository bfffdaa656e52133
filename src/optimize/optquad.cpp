#include "optimize/optquad.h"

#include <algorithm>
#include <cmath>

#include "misc/exactsum.h"
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

namespace {

bool is_verdict(hs_status status) {
  return status == hs_status::optimal || status == hs_status::priminfeas ||
         status == hs_status::dualinfeas;
}

// An interior point of prob's minimization, and where a proof of infeasibility holds.
struct quad_point {
  bool isfilled = false;  // a run that is stopped before its first iteration leaves nothing
  hs_status status = hs_status::unknown;
  lp_point point;
  explicit quad_point(mm_place at) : point(at) {}
};

// What the stages below share.
struct quad_stage {
  const hs_settings& set;
  const monitor& mon;
  memman& mman;
  hs_info& info;
};

// The homogeneous optimizer on prob; sol only receives what needs no optimizer, and is defined then.
rescode solve_direct(const opt_quadproblem& prob, const quad_stage& stage, opt_solution* sol,
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
  hs_lp lp = opt_internalview(in, flat);
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

// prob with columns that let its rows be violated at a price, and without its objective: it has a
// solution unless prob is all but feasible, and multipliers that prove prob infeasible when it costs
// something.
struct elastic_problem {
  spmat a;
  mm_vector<double> blx, bux, c;
  mm_vector<int32_t> bkx;
  opt_quadproblem view;
  elastic_problem(const opt_quadproblem& prob, mm_place at)
      : a(at),
        blx(prob.flat.blx.begin(), prob.flat.blx.end(), at),
        bux(prob.flat.bux.begin(), prob.flat.bux.end(), at),
        c(prob.flat.blx.size(), 0.0, at),
        bkx(prob.flat.bkx.begin(), prob.flat.bkx.end(), at),
        view(prob) {
    const opt_problem& flat = prob.flat;
    a.ptr.assign(flat.a.ptr.begin(), flat.a.ptr.end());
    a.sub.assign(flat.a.sub.begin(), flat.a.sub.end());
    a.val.assign(flat.a.val.begin(), flat.a.val.end());
    mm_vector<double> size(size_t(flat.numcon), 0.0, at);
    for (size_t p = 0; p < a.sub.size(); ++p) {
      size[a.sub[p]] = std::max(size[a.sub[p]], std::abs(a.val[p]));
    }
    for (const opt_quadratic& term : prob.terms) {
      for (const double v : term.q->low.val) {
        size[term.row] = std::max(size[term.row], std::abs(v));
      }
    }
    for (int32_t i = 0; i < flat.numcon; ++i) {
      const double unit = size[i] > 0 ? size[i] : 1;
      if (opt_haslower(flat.bkc[i])) add_column(i, unit);
      if (opt_hasupper(flat.bkc[i])) add_column(i, -unit);
    }
    a.nrow = flat.numcon;
    a.ncol = int32_t(bkx.size());
    view.flat.numvar = a.ncol;
    view.flat.a = spmat_look(a);
    view.flat.bkx = bkx;
    view.flat.blx = blx;
    view.flat.bux = bux;
    view.flat.c = c;
    view.flat.cfix = 0;
    view.flat.maximize = false;
    view.flat.q = {};
  }
  void add_column(int32_t i, double v) {
    a.sub.push_back(i);
    a.val.push_back(v);
    a.ptr.push_back(ptrdiff_t(a.sub.size()));
    bkx.push_back(ZLV_BK_LO);
    blx.push_back(0);
    bux.push_back(0);
    c.push_back(1);
  }
};

// Looks for multipliers that prove prob infeasible.
rescode prove_infeasible(const opt_quadproblem& prob, const quad_stage& stage, quad_point& out) {
  constexpr double least_cost =
      1e-7;  // of all violations, in units of their rows; less is rounding
  stage.mon.log(2, "Looking for a certificate of primal infeasibility.\n");
  const elastic_problem elastic(prob, mm_at(stage.mman));
  const int32_t before = stage.info.iter;
  quad_point found(mm_at(stage.mman));
  const rescode r = solve_direct(elastic.view, stage, nullptr, found);
  stage.info.iter += before;
  if (!found.isfilled || found.status != hs_status::optimal) return r;
  double cost = 0;
  for (int32_t j = prob.flat.numvar; j < elastic.a.ncol; ++j) cost += found.point.x[j];
  if (!(cost > least_cost)) return r;
  found.point.x.resize(prob.flat.numvar);
  out.point.x.swap(found.point.x);
  out.point.y.swap(found.point.y);
  out.status = hs_status::priminfeas;
  out.isfilled = true;
  return r;
}

// The directions of prob in a box: those along which no term bends, no bound and no row ends. A linear
// problem, in which Q_k d = 0 for all terms is one system, that of their sum.
struct ray_problem {
  spmat a;
  mm_vector<double> blc, buc, blx, bux;
  mm_vector<int32_t> bkc, bkx;
  opt_problem view;
  ray_problem(const opt_quadproblem& prob, mm_place at)
      : a(at), blc(at), buc(at), blx(at), bux(at), bkc(at), bkx(at), view(prob.flat) {
    const opt_problem& flat = prob.flat;
    mm_vector<int32_t> subi(at), subj(at);
    mm_vector<double> val(at);
    double largest = 0;
    const auto add = [&](int32_t i, int32_t j, double v) {
      subi.push_back(i);
      subj.push_back(j);
      val.push_back(v);
    };
    const auto size_of = [](std::span<const double> v) {
      double most = 0;
      for (const double e : v) most = std::max(most, std::abs(e));
      return most > 0 ? most : 1;
    };
    largest = size_of(flat.q.val);
    for (int32_t j = 0; j < flat.q.ncol; ++j) {
      for (ptrdiff_t p = flat.q.ptr[j]; p < flat.q.ptr[j + 1]; ++p) {
        if (flat.q.sub[p] >= j) {
          add(flat.q.sub[p], j, (flat.maximize ? -1 : 1) * flat.q.val[p] / largest);
        }
      }
    }
    for (const opt_quadratic& term : prob.terms) {
      if (flat.bkc[term.row] == ZLV_BK_FR) continue;
      const spmat& q = term.q->low;
      const double unit = (flat.bkc[term.row] == ZLV_BK_UP ? 1 : -1) / size_of(q.val);
      for (int32_t j = 0; j < q.ncol; ++j) {
        for (ptrdiff_t p = q.ptr[j]; p < q.ptr[j + 1]; ++p) {
          add(term.q->vars[q.sub[p]], term.q->vars[j], unit * q.val[p]);
        }
      }
    }
    quad_form sum(at);
    quadform_assemble(subi, subj, val, 0, sum);
    set_rows(flat, sum);
    set_columns(flat);
    view.numcon = int32_t(bkc.size());
    view.a = spmat_look(a);
    view.bkc = bkc;
    view.blc = blc;
    view.buc = buc;
    view.bkx = bkx;
    view.blx = blx;
    view.bux = bux;
    view.cfix = 0;
    view.q = {};
  }
  void set_rows(const opt_problem& flat, const quad_form& sum) {
    const mm_place at = blc.get_allocator().place;
    spmat both(at), rows(at), all(at);
    both.nrow = both.ncol = sum.low.ncol;
    mm_vector<int32_t> place(size_t(flat.numvar), -1, at);
    for (size_t l = 0; l < sum.vars.size(); ++l) place[sum.vars[l]] = int32_t(l);
    spmat_transpose(spmat_look(sum.low), both);  // the upper triangle by columns
    all.nrow = flat.numcon + sum.low.ncol;
    all.ncol = flat.numvar;
    all.ptr.push_back(0);
    for (int32_t j = 0; j < flat.numvar; ++j) {
      for (ptrdiff_t p = flat.a.ptr[j]; p < flat.a.ptr[j + 1]; ++p) {
        all.sub.push_back(flat.a.sub[p]);
        all.val.push_back(flat.a.val[p]);
      }
      const int32_t l = place[j];
      if (l >= 0) {
        for (ptrdiff_t p = both.ptr[l]; p < both.ptr[l + 1]; ++p) {
          if (both.sub[p] == l) continue;
          all.sub.push_back(flat.numcon + both.sub[p]);
          all.val.push_back(both.val[p]);
        }
        for (ptrdiff_t p = sum.low.ptr[l]; p < sum.low.ptr[l + 1]; ++p) {
          all.sub.push_back(flat.numcon + sum.low.sub[p]);
          all.val.push_back(sum.low.val[p]);
        }
      }
      all.ptr.push_back(ptrdiff_t(all.sub.size()));
    }
    std::swap(a, all);
    bkc.assign(flat.bkc.begin(), flat.bkc.end());
    for (int32_t& key : bkc) key = key == ZLV_BK_RA ? ZLV_BK_FX : key;
    bkc.resize(size_t(a.nrow), ZLV_BK_FX);
    blc.assign(size_t(a.nrow), 0.0);
    buc.assign(size_t(a.nrow), 0.0);
  }
  void set_columns(const opt_problem& flat) {
    for (int32_t j = 0; j < flat.numvar; ++j) {
      const double lower = opt_haslower(flat.bkx[j]) ? 0 : -1,
                   upper = opt_hasupper(flat.bkx[j]) ? 0 : 1;
      blx.push_back(lower);
      bux.push_back(upper);
      bkx.push_back(lower == upper ? ZLV_BK_FX : ZLV_BK_RA);
    }
  }
};

// Looks for a direction along which the objective of prob runs off.
rescode prove_unbounded(const opt_quadproblem& prob, const quad_stage& stage, quad_point& out) {
  constexpr double least_slope =
      1e-6;  // of the cost along a direction, relative to the largest cost
  const mm_place at = mm_at(stage.mman);
  stage.mon.log(2, "Looking for a certificate of dual infeasibility.\n");
  const ray_problem ray(prob, at);
  opt_internal in(at);
  opt_prepare(ray.view, in);
  if (in.a.ncol == 0) return rescode::ok;
  hs_solution result(at);
  const int32_t before = stage.info.iter;
  const rescode r = hs_optimize(opt_internalview(in, ray.view), stage.set, stage.mon, stage.mman,
                                stage.info, result);
  stage.info.iter += before;
  if (result.x.empty() || result.status != hs_status::optimal) return r;
  lp_point point(at);
  opt_reverse(ray.view, in, result, point);
  double slope = 0, largest = 0;
  for (int32_t j = 0; j < prob.flat.numvar; ++j) {
    const double cost = prob.flat.maximize ? -prob.flat.c[j] : prob.flat.c[j];
    slope -= cost * point.x[j];
    largest = std::max(largest, std::abs(cost));
  }
  if (!(slope > least_slope * largest)) return r;
  out.point.x.swap(point.x);
  out.point.y.assign(prob.flat.numcon, 0.0);
  out.status = hs_status::dualinfeas;
  out.isfilled = true;
  return r;
}

}  // namespace

rescode opt_quadslv(const opt_quadproblem& prob, const hs_settings& set, const monitor& mon,
                    memman& mman, hs_info& info, opt_solution& sol) {
  const quad_stage stage{set, mon, mman, info};
  quad_point found(mm_at(mman));
  rescode r = solve_direct(prob, stage, &sol, found);
  if (sol.isdefined) return r;
  const auto isdoubtful = [&] {
    return (r == rescode::ok || r == rescode::trm_stall) && !is_verdict(found.status) &&
           found.status != hs_status::nearoptimal;
  };
  if (isdoubtful()) r = prove_unbounded(prob, stage, found);
  if (isdoubtful()) r = prove_infeasible(prob, stage, found);
  if (!found.isfilled) return r;
  opt_fillquad(prob, found.point, opt_statusof(found.status), mman, sol);
  sol.isdefined = true;
  return r;
}
