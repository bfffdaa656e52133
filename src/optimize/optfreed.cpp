#include "optimize/optfreed.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "misc/exactsum.h"
#include "zalvo.h"

opt_freedsol::opt_freedsol(const opt_problem& prob, mm_place at)
    : sk(size_t(prob.numcon) + prob.numvar, ZLV_SK_UNK, at),
      val(4 * size_t(prob.numcon) + 3 * size_t(prob.numvar), 0.0, at) {
  const size_t m = prob.numcon, n = prob.numvar;
  view.skc = std::span(sk).first(m);
  view.skx = std::span(sk).last(n);
  const std::span<double> v = val;
  view.xc = v.subspan(0, m);
  view.y = v.subspan(m, m);
  view.slc = v.subspan(2 * m, m);
  view.suc = v.subspan(3 * m, m);
  view.xx = v.subspan(4 * m, n);
  view.slx = v.subspan(4 * m + n, n);
  view.sux = v.subspan(4 * m + 2 * n, n);
}

bool opt_ishead(const opt_cone& cone, size_t place) {
  return place == 0 || (place == 1 && cone.type == ZLV_CT_RQUAD);
}

namespace {

// The key of what a member's bounds say beyond its cone, which keeps a head from being negative.
int32_t extra_key(const opt_problem& lp, int32_t j, bool ishead) {
  const int32_t key = lp.bkx[j];
  if (!ishead || key == ZLV_BK_FX || !opt_haslower(key) || lp.blx[j] > 0) return key;
  return key == ZLV_BK_RA ? ZLV_BK_UP : ZLV_BK_FR;
}

void add_boundrow(const opt_problem& lp, int32_t j, int32_t key, opt_freed& freed) {
  freed.boundrow[j] = int32_t(freed.bkc.size());
  freed.bkc.push_back(key);
  freed.blc.push_back(lp.blx[j]);
  freed.buc.push_back(lp.bux[j]);
}

void copy_matrix(const opt_problem& lp, opt_freed& freed) {
  freed.a.nrow = int32_t(freed.bkc.size());
  freed.a.ncol = lp.numvar;
  const size_t room = lp.a.sub.size() + freed.bkc.size() - size_t(lp.numcon);
  freed.a.sub.reserve(room);
  freed.a.val.reserve(room);
  freed.a.ptr.reserve(size_t(lp.numvar) + 1);
  freed.a.ptr.push_back(0);
  for (int32_t j = 0; j < lp.numvar; ++j) {
    for (ptrdiff_t p = lp.a.ptr[j]; p < lp.a.ptr[j + 1]; ++p) {
      freed.a.sub.push_back(lp.a.sub[p]);
      freed.a.val.push_back(lp.a.val[p]);
    }
    if (freed.boundrow[j] >= 0) {
      freed.a.sub.push_back(freed.boundrow[j]);
      freed.a.val.push_back(1);
    }
    freed.a.ptr.push_back(ptrdiff_t(freed.a.sub.size()));
  }
}

}  // namespace

void opt_freemembers(const opt_conic_problem& prob, opt_freed& freed) {
  const opt_problem& lp = prob.lp;
  freed.bkc.assign(lp.bkc.begin(), lp.bkc.end());
  freed.blc.assign(lp.blc.begin(), lp.blc.end());
  freed.buc.assign(lp.buc.begin(), lp.buc.end());
  freed.bkx.assign(lp.bkx.begin(), lp.bkx.end());
  freed.incone.assign(lp.numvar, 0);
  freed.boundrow.assign(lp.numvar, -1);
  for (const opt_cone& cone : prob.cones) {
    for (size_t k = 0; k < cone.sub.size(); ++k) {
      const int32_t j = cone.sub[k], key = extra_key(lp, j, opt_ishead(cone, k));
      freed.incone[j] = 1;
      freed.bkx[j] = ZLV_BK_FR;
      if (key != ZLV_BK_FR) add_boundrow(lp, j, key, freed);
    }
  }
  copy_matrix(lp, freed);
  freed.view = lp;
  freed.view.numcon = freed.a.nrow;
  freed.view.a = spmat_look(freed.a);
  freed.view.bkc = freed.bkc;
  freed.view.blc = freed.blc;
  freed.view.buc = freed.buc;
  freed.view.bkx = freed.bkx;
  freed.view.incone = freed.incone;
}

namespace {

// How far z is from leaving the cone, its head, and its size, all with a rotated cone turned.
struct cone_place {
  double head = 0, tail = 0;
};
cone_place place_in(const opt_cone& cone, std::span<const double> z, double sign) {
  double head = sign * z[cone.sub[0]], square = 0;
  size_t first = 1;
  if (cone.type == ZLV_CT_RQUAD) {
    const double other = sign * z[cone.sub[1]];
    const double turned = (head - other) / std::numbers::sqrt2;
    head = (head + other) / std::numbers::sqrt2;
    square = turned * turned;
    first = 2;
  }
  for (size_t k = first; k < cone.sub.size(); ++k) square += z[cone.sub[k]] * z[cone.sub[k]];
  return {head, std::sqrt(square)};
}

int32_t cone_key(const opt_cone& cone, const opt_conic_solution& sol, double sign) {
  const cone_place x = place_in(cone, sol.lp.xx, 1), s = place_in(cone, sol.snx, sign);
  if (x.head - x.tail > s.head) return ZLV_SK_BAS;
  return s.head - s.tail > x.head ? ZLV_SK_LOW : ZLV_SK_SUPBAS;
}

}  // namespace

double opt_coneshort(const opt_cone& cone, std::span<const double> z) {
  const cone_place at = place_in(cone, z, 1);
  return at.tail - at.head;
}

void opt_takefreed(const opt_conic_problem& prob, const opt_freed& freed, const opt_freedsol& from,
                   opt_conic_solution& sol) {
  const opt_problem& lp = prob.lp;
  opt_solution& to = sol.lp;
  const opt_solution& v = from.view;
  auto first = [](std::span<const double> src, std::span<double> dst) {
    std::copy_n(src.begin(), dst.size(), dst.begin());
  };
  first(v.xc, to.xc);
  first(v.y, to.y);
  first(v.slc, to.slc);
  first(v.suc, to.suc);
  first(v.xx, to.xx);
  first(v.slx, to.slx);
  first(v.sux, to.sux);
  std::copy_n(v.skc.begin(), to.skc.size(), to.skc.begin());
  std::copy_n(v.skx.begin(), to.skx.size(), to.skx.begin());
  to.prosta = v.prosta;
  to.solsta = v.solsta;
  std::fill(sol.snx.begin(), sol.snx.end(), 0.0);
  std::fill(sol.skn.begin(), sol.skn.end(), ZLV_SK_UNK);
  const opt_kind kind = opt_kindof({to.prosta, to.solsta});
  if (kind == opt_kind::primalray) return;
  for (const opt_cone& cone : prob.cones) {
    for (const int32_t j : cone.sub) {
      const int32_t row = freed.boundrow[j];
      exact_sum sum;
      if (kind == opt_kind::point) sum.add(lp.c[j]);
      for (ptrdiff_t p = freed.a.ptr[j]; p < freed.a.ptr[j + 1]; ++p) {
        sum.add(-freed.a.val[p] * v.y[freed.a.sub[p]]);
      }
      sol.snx[j] = sum.value();
      to.slx[j] = row < 0 ? 0 : v.slc[row];
      to.sux[j] = row < 0 ? 0 : v.suc[row];
      if (row >= 0) to.skx[j] = v.skc[row];
    }
  }
  if (kind != opt_kind::point) return;
  const double sign = lp.maximize ? -1 : 1;
  for (size_t k = 0; k < prob.cones.size(); ++k) sol.skn[k] = cone_key(prob.cones[k], sol, sign);
}
