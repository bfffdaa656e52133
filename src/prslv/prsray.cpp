#include "prslv/prsray.h"

#include <algorithm>
#include <cmath>

#include "misc/exactsum.h"

namespace {

// A ray's violations are at most this part of what it proves.
constexpr double raytol = 1e-9;

}  // namespace

bool prslv_provesinfeas(const lp_view& prob, const lp_point& ray) {
  exact_sum proof;
  double wrong = 0, size = 0;
  const auto term = [&](double mult, double lower, double upper) {
    if (mult == 0) return;
    const double bound = mult > 0 ? lower : upper;
    if (std::isinf(bound)) {
      wrong = std::max(wrong, std::abs(mult));
    } else {
      proof.add(mult * bound);
      size = std::max(size, std::abs(mult * bound));
    }
  };
  for (int32_t i = 0; i < prob.numcon; ++i) term(ray.y[i], prob.blc[i], prob.buc[i]);
  for (int32_t j = 0; j < prob.numvar; ++j) {
    exact_sum z;
    double scale = 0;
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      const double product = prob.a.val[p] * ray.y[prob.a.sub[p]];
      z.add(-product);
      scale = std::max(scale, std::abs(product));
    }
    const double value = z.value();
    if (std::abs(value) > raytol * raytol * scale) term(value, prob.blx[j], prob.bux[j]);
  }
  return proof.value() > raytol * size && wrong <= raytol * proof.value();
}

bool prslv_provesunbound(const lp_view& prob, const lp_point& ray) {
  exact_sum proof;
  double wrong = 0;
  mm_vector<exact_sum> act(prob.numcon, exact_sum(), ray.x.get_allocator().place);
  const auto within = [&](double move, double lower, double upper) {
    if (std::isfinite(lower)) wrong = std::max(wrong, -move);
    if (std::isfinite(upper)) wrong = std::max(wrong, move);
  };
  for (int32_t j = 0; j < prob.numvar; ++j) {
    if (ray.x[j] == 0) continue;
    proof.add(-prob.c[j] * ray.x[j]);
    within(ray.x[j], prob.blx[j], prob.bux[j]);
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      act[prob.a.sub[p]].add(prob.a.val[p] * ray.x[j]);
    }
  }
  for (int32_t i = 0; i < prob.numcon; ++i) within(act[i].value(), prob.blc[i], prob.buc[i]);
  return proof.value() > 0 && wrong <= raytol * proof.value();
}
