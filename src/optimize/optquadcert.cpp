#include "optimize/optquadcert.h"

#include <algorithm>
#include <cmath>

#include "zalvo.h"

namespace {

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

}  // namespace

rescode opt_quadinfeas(const opt_quadproblem& prob, const quad_stage& stage, quad_point& out) {
  constexpr double least_cost =
      1e-7;  // of all violations, in units of their rows; less is rounding
  stage.mon.log(2, "Looking for a certificate of primal infeasibility.\n");
  const elastic_problem elastic(prob, mm_at(stage.mman));
  const int32_t before = stage.info.iter;
  quad_point found(mm_at(stage.mman));
  const rescode r = opt_quadrun(elastic.view, stage, nullptr, found);
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

namespace {

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

}  // namespace

rescode opt_quadunbounded(const opt_quadproblem& prob, const quad_stage& stage, quad_point& out) {
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
