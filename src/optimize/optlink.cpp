#include "optimize/optlink.h"

#include <cmath>

#include "zalvo.h"

namespace {

// Largest ratio of another entry of the row or of the copy's column to the copy's entry in the row:
// larger ones would magnify errors.
constexpr double ratio_max = 1e3;

// Entries of a link's row: a member and a candidate copy, each once.
struct row_scan {
  int32_t member = -1, copy = -1, count = 0;
  double amember = 0, acopy = 0;
};

void scan_rows(const opt_problem& prob, mm_vector<row_scan>& row) {
  row.assign(prob.numcon, row_scan{});
  for (int32_t j = 0; j < prob.numvar; ++j) {
    for (ptrdiff_t p = prob.a.ptr[j]; p < prob.a.ptr[j + 1]; ++p) {
      row_scan& r = row[prob.a.sub[p]];
      if (prob.a.val[p] == 0) continue;
      ++r.count;
      if (prob.incone[j] != 0) {
        r.member = j;
        r.amember = prob.a.val[p];
      } else if (prob.bkx[j] == ZLV_BK_FR) {
        r.copy = j;
        r.acopy = prob.a.val[p];
      }
    }
  }
}

bool is_stable(const opt_problem& prob, const row_scan& r) {
  const double most = ratio_max * std::abs(r.acopy);
  if (!(std::abs(r.amember) <= most && std::abs(r.acopy) <= ratio_max * std::abs(r.amember))) {
    return false;
  }
  for (ptrdiff_t p = prob.a.ptr[r.copy]; p < prob.a.ptr[r.copy + 1]; ++p) {
    if (!(std::abs(prob.a.val[p]) <= most)) return false;
  }
  return true;
}

void find_links(const opt_problem& prob, mm_vector<opt_link>& link, mm_place at) {
  mm_vector<row_scan> row(at);
  scan_rows(prob, row);
  mm_vector<uint8_t> used(size_t(prob.numvar), 0, at);
  for (int32_t i = 0; i < prob.numcon; ++i) {
    const row_scan& r = row[i];
    if (r.count != 2 || r.member < 0 || r.copy < 0 || prob.bkc[i] != ZLV_BK_FX) continue;
    if (used[r.copy] != 0 || used[r.member] != 0 || !is_stable(prob, r)) continue;
    used[r.copy] = used[r.member] = 1;
    link.push_back({i, r.copy, r.member, r.acopy, r.amember, prob.blc[i]});
  }
}

// Column j less row i, and factor times the column from, less row i as well.
void merge_column(const spmat_view& a, int32_t j, double factor, int32_t from, int32_t i,
                  spmat& to) {
  ptrdiff_t p = a.ptr[j], q = a.ptr[from];
  const ptrdiff_t pend = a.ptr[j + 1], qend = a.ptr[from + 1];
  while (p < pend || q < qend) {
    const int32_t ip = p < pend ? a.sub[p] : a.nrow, iq = q < qend ? a.sub[q] : a.nrow;
    const int32_t row = ip < iq ? ip : iq;
    double value = ip == row ? a.val[p++] : 0;
    if (iq == row) value += factor * a.val[q++];
    if (row == i || value == 0) continue;
    to.sub.push_back(row);
    to.val.push_back(value);
  }
}

void build(const opt_problem& prob, opt_linked& out, mm_place at) {
  mm_vector<int32_t> linkof(size_t(prob.numvar), -1, at);
  for (size_t k = 0; k < out.link.size(); ++k) {
    const opt_link& l = out.link[k];
    linkof[l.copy] = linkof[l.member] = int32_t(k);
    const double shift = l.rhs / l.acopy;
    for (ptrdiff_t p = prob.a.ptr[l.copy]; p < prob.a.ptr[l.copy + 1]; ++p) {
      const int32_t i = prob.a.sub[p];
      if (opt_haslower(out.bkc[i])) out.blc[i] -= prob.a.val[p] * shift;
      if (opt_hasupper(out.bkc[i])) out.buc[i] -= prob.a.val[p] * shift;
    }
    out.c[l.member] -= l.amember / l.acopy * out.c[l.copy];
    out.cfix += out.c[l.copy] * shift;
  }
  out.a.nrow = prob.numcon;
  out.a.ncol = prob.numvar;
  out.a.ptr.push_back(0);
  for (int32_t j = 0; j < prob.numvar; ++j) {
    const opt_link* l = linkof[j] >= 0 ? &out.link[linkof[j]] : nullptr;
    if (l != nullptr && l->member == j) {
      merge_column(prob.a, j, -l->amember / l->acopy, l->copy, l->row, out.a);
    } else if (l == nullptr) {
      out.a.sub.insert(out.a.sub.end(), prob.a.sub.begin() + prob.a.ptr[j],
                       prob.a.sub.begin() + prob.a.ptr[j + 1]);
      out.a.val.insert(out.a.val.end(), prob.a.val.begin() + prob.a.ptr[j],
                       prob.a.val.begin() + prob.a.ptr[j + 1]);
    }
    out.a.ptr.push_back(ptrdiff_t(out.a.sub.size()));
  }
  for (const opt_link& l : out.link) {
    out.bkc[l.row] = ZLV_BK_FR;
    out.bkx[l.copy] = ZLV_BK_FX;
    out.blx[l.copy] = out.bux[l.copy] = out.c[l.copy] = 0;
  }
}

}  // namespace

void opt_linkmembers(const opt_problem& prob, opt_linked& out) {
  const mm_place at = out.c.get_allocator().place;
  out.view = prob;
  find_links(prob, out.link, at);
  if (out.link.empty()) return;
  out.bkc.assign(prob.bkc.begin(), prob.bkc.end());
  out.bkx.assign(prob.bkx.begin(), prob.bkx.end());
  out.blc.assign(prob.blc.begin(), prob.blc.end());
  out.buc.assign(prob.buc.begin(), prob.buc.end());
  out.blx.assign(prob.blx.begin(), prob.blx.end());
  out.bux.assign(prob.bux.begin(), prob.bux.end());
  out.c.assign(prob.c.begin(), prob.c.end());
  out.cfix = prob.cfix;
  build(prob, out, at);
  out.view.a = spmat_look(out.a);
  out.view.bkc = out.bkc;
  out.view.bkx = out.bkx;
  out.view.blc = out.blc;
  out.view.buc = out.buc;
  out.view.blx = out.blx;
  out.view.bux = out.bux;
  out.view.c = out.c;
  out.view.cfix = out.cfix;
}

void opt_unlink(const opt_problem& prob, const opt_linked& linked, opt_kind kind, lp_point& point) {
  for (const opt_link& l : linked.link) {
    const double rhs = kind == opt_kind::point ? l.rhs : 0;
    if (kind != opt_kind::dualray) {
      point.x[l.copy] = (rhs - l.amember * point.x[l.member]) / l.acopy;
    }
    if (kind == opt_kind::primalray) continue;
    double y = kind == opt_kind::point ? prob.c[l.copy] : 0;
    if (prob.maximize) y = -y;
    for (ptrdiff_t p = prob.a.ptr[l.copy]; p < prob.a.ptr[l.copy + 1]; ++p) {
      if (prob.a.sub[p] != l.row) y -= prob.a.val[p] * point.y[prob.a.sub[p]];
    }
    point.y[l.row] = y / l.acopy;
  }
}
