#include "homo/homquad.h"

#include <algorithm>
#include <cmath>

#include "homo/homopt.h"
#include "homo/homtool.h"

namespace {
constexpr double slack_change = 3;  // most change of a slack behind a step, as a factor
}

void homquad_start(hom_quads& quads, double floor, double dfloor, hom_point& point) {
  const hom_prob& prob = quads.prob;
  for (const hom_quadrow& row : quads.rows) {
    for (const int32_t j : row.q.vars) {
      point.x[j] = prob.isfree[j] != 0 ? 0 : std::max(quads.origin[j], floor);
    }
  }
  for (size_t k = 0; k < prob.u.size(); ++k) {
    const int32_t j = prob.ucol[k];
    const double least = std::min(floor, prob.u[k] / 2);
    point.x[j] = std::clamp(point.x[j], least, prob.u[k] - least);
    point.w[k] = prob.u[k] - point.x[j];
  }
  mm_vector<double> product(quads.b.get_allocator());
  // Reduced costs there, without multipliers of rows.
  std::copy(quads.c.begin(), quads.c.end(), quads.z.begin());
  homquad_addq(quads, point.x, quads.z);
  for (int32_t j = 0; j < prob.n; ++j) {
    point.s[j] = prob.isfree[j] != 0 ? 0 : std::max(quads.z[j], 0.0) + dfloor;
  }
  for (size_t k = 0; k < prob.u.size(); ++k) {
    point.v[k] = std::max(-quads.z[prob.ucol[k]], 0.0) + dfloor;
  }
  for (const hom_quadrow& row : quads.rows) {
    const ptrdiff_t last = prob.at.ptr[row.row + 1] - 1;
    const int32_t slack = prob.at.sub[last];
    const double factor = prob.at.val[last];
    product.resize(row.q.vars.size());
    quadform_product(row.q, point.x, product);
    double value = 0;
    for (ptrdiff_t p = prob.at.ptr[row.row]; p < last; ++p) {
      value += prob.at.val[p] * point.x[prob.at.sub[p]];
    }
    for (size_t l = 0; l < product.size(); ++l) {
      const int32_t j = row.q.vars[l];
      value += (row.a[l] - prob.at.val[row.in_at[l]] + product[l] / 2) * point.x[j];
    }
    point.x[slack] = std::max(floor, (quads.b[row.row] - value) / factor);
    point.s[slack] = dfloor;
    point.y[row.row] = -dfloor / factor;
  }
}

namespace {

// The data at a point at which Q_k z is grad + factor * along.
void set_data(hom_quads& quads, const hom_point& point, double factor) {
  hom_prob& prob = quads.prob;
  const double tau = point.tau;
  std::copy(quads.c.begin(), quads.c.end(), prob.c.begin());
  std::fill(quads.qx.begin(), quads.qx.end(), 0.0);
  homquad_addq(quads, point.x, quads.qx);
  quads.shift = 0;
  for (size_t k = 0; k < quads.rows.size(); ++k) {
    const hom_quadrow& row = quads.rows[k];
    const double w = row.sign * std::max(0.0, -row.sign * point.y[row.row] / tau);
    quads.weight[k] = w;
    double zqz = 0;
    for (size_t l = 0; l < row.grad.size(); ++l) {
      const int32_t j = row.q.vars[l];
      const double g = factor == 0 ? row.grad[l] : row.grad[l] + factor * row.along[l];
      zqz += point.x[j] / tau * g;
      prob.a.val[row.in_a[l]] = prob.at.val[row.in_at[l]] = row.a[l] + g;
      prob.c[j] -= w * g;
      quads.qx[j] += w * tau * g;
    }
    prob.b[row.row] = quads.b[row.row] + zqz / 2;
    quads.shift += w * zqz / 2;
  }
}

}  // namespace

void homquad_addq(const hom_quads& quads, std::span<const double> x, std::span<double> out) {
  const hom_prob& prob = quads.prob;
  if (!prob.qdiag.empty()) {
    for (int32_t j = 0; j < prob.n; ++j) out[j] += quads.h[j] * x[j];
    return;
  }
  for (int32_t j = 0; j < prob.n; ++j) {
    double sum = 0;
    for (ptrdiff_t p = prob.q.ptr[j]; p < prob.q.ptr[j + 1]; ++p) {
      const int32_t i = prob.q.sub[p];
      sum += quads.h[p] * x[i];
      if (i != j) out[i] += quads.h[p] * x[j];
    }
    out[j] += sum;
  }
}

void homquad_move(hom_quads& quads, const hom_point& point) {
  for (int32_t j = 0; j < quads.prob.n; ++j) quads.z[j] = point.x[j] / point.tau;
  for (hom_quadrow& row : quads.rows) quadform_product(row.q, quads.z, row.grad);
  set_data(quads, point, 0);
}

void homquad_setalong(hom_quads& quads, const hom_point& point, const hom_point& dir) {
  const double dt = dir.tau / point.tau;
  for (int32_t j = 0; j < quads.prob.n; ++j) quads.z[j] = dir.x[j] - dt * point.x[j];
  for (hom_quadrow& row : quads.rows) {
    quadform_product(row.q, quads.z, row.along);
    row.curve = 0;
    for (size_t l = 0; l < row.along.size(); ++l)
      row.curve += quads.z[row.q.vars[l]] * row.along[l];
  }
}

void homquad_movealong(hom_quads& quads, const hom_point& moved, double step) {
  set_data(quads, moved, step / moved.tau);
}

void homquad_keeprp(hom_quads& quads, std::span<const double> rp) {
  for (hom_quadrow& row : quads.rows) row.rp = rp[row.row];
}

void homquad_reslack(const hom_quads& quads, double factor, hom_point& moved,
                     std::span<double> rp) {
  const hom_prob& prob = quads.prob;
  for (const hom_quadrow& row : quads.rows) {
    const ptrdiff_t last = prob.at.ptr[row.row + 1] - 1;
    double& slack = moved.x[prob.at.sub[last]];
    const double wanted = slack + (rp[row.row] - factor * row.rp) / prob.at.val[last];
    const double now = std::clamp(wanted, slack / slack_change, slack * slack_change);
    rp[row.row] -= prob.at.val[last] * (now - slack);
    slack = now;
  }
}

void homquad_error(const hom_quads& quads, const hom_point& point, const hom_point& dir,
                   hom_target& target) {
  const double tau = point.tau + dir.tau;
  std::fill(target.rp.begin(), target.rp.end(), 0.0);
  std::fill(target.rd.begin(), target.rd.end(), 0.0);
  target.rg = 0;
  for (const hom_quadrow& row : quads.rows) {
    const int32_t i = row.row;
    target.rp[i] = -row.curve / (2 * tau);
    const double weight = (dir.y[i] - point.y[i] / point.tau * dir.tau) / tau;
    double slope = 0;  // z'Q u
    for (size_t l = 0; l < row.along.size(); ++l) {
      const int32_t j = row.q.vars[l];
      target.rd[j] -= weight * row.along[l];
      slope += point.x[j] / point.tau * row.along[l];
    }
    target.rg -= weight * slope + (point.y[i] + dir.y[i]) * row.curve / (2 * tau * tau);
  }
}

void homquad_hessian(hom_quads& quads) {
  hom_prob& prob = quads.prob;
  if (!prob.qdiag.empty()) {
    prob.qdiag = quads.h;
    for (size_t k = 0; k < quads.rows.size(); ++k) {
      const quad_form& q = quads.rows[k].q;
      for (size_t l = 0; l < q.vars.size(); ++l) {
        prob.qdiag[q.vars[l]] += quads.weight[k] * q.low.val[l];
      }
    }
    return;
  }
  std::copy(quads.h.begin(), quads.h.end(), prob.q.val.begin());
  for (int32_t j = 0; j < prob.n; ++j) {
    if (quads.use_ptr[j] == quads.use_ptr[j + 1]) continue;
    for (ptrdiff_t p = prob.q.ptr[j]; p < prob.q.ptr[j + 1]; ++p) quads.place[prob.q.sub[p]] = p;
    for (ptrdiff_t u = quads.use_ptr[j]; u < quads.use_ptr[j + 1]; ++u) {
      const int32_t k = quads.use_row[u], l = quads.use_col[u];
      const quad_form& form = quads.rows[k].q;
      const double w = quads.weight[k];
      for (ptrdiff_t p = form.low.ptr[l]; p < form.low.ptr[l + 1]; ++p) {
        prob.q.val[quads.place[form.vars[form.low.sub[p]]]] += w * form.low.val[p];
      }
    }
  }
}

double homquad_ray(const hom_quads& quads, const hom_point& point) {
  const hom_prob& prob = quads.prob;
  const std::span<const double> x = point.x;
  double most = 0;
  for (const hom_quadrow& row : quads.rows) {
    const double unit = 1 / prob.rowfac[row.row];
    // a_i'x is that of all columns, the slack's too.
    double ax = 0;
    for (ptrdiff_t p = prob.at.ptr[row.row]; p < prob.at.ptr[row.row + 1]; ++p) {
      ax += prob.at.val[p] * x[prob.at.sub[p]];
    }
    for (size_t l = 0; l < row.q.vars.size(); ++l) {
      const int32_t j = row.q.vars[l];
      ax += (row.a[l] - prob.at.val[row.in_at[l]]) * x[j];
      most =
          hom_nanmax(most, point.tau * std::abs(row.grad[l]) * unit / (prob.colfac[j] * prob.sb));
    }
    most = hom_nanmax(most, std::abs(ax) * unit);
  }
  return most;
}
