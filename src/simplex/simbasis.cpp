#include <algorithm>
#include <cmath>

#include "simplex/simcore.h"

namespace {

// A singular basis is factored again with a threshold so much stricter, up to the second.
constexpr double basis_pivstep = 5.0, basis_maxpivrel = 0.5;
// Changes of the basis between two factorizations, however cheap they are: the least and the most,
// and between them one per so many rows more.
constexpr int32_t basis_minupdate = 500, basis_maxupdate = 5000, basis_rowsperupdate = 20;
// What recomputing the values costs besides a factorization, in entries touched per entry of A and row.
constexpr double basis_rebuildwork = 2;

void save_basis(sim_state& st) {
  st.saved.basic = st.basic;
  st.saved.move = st.move;
  st.saved.isset = true;
}

void restore_basis(sim_state& st) {
  mm_vector<int8_t>& move = st.saved.move;
  sim_takebasis(st, st.saved.basic);
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] < 0) sim_side(st, k, move[k] != -1);
  }
}

rescode factor_once(sim_state& st) {
  const double t0 = timer_cpu(st.mon.clock);
  st.lu.set.pivrel = st.pivrel;
  const rescode r = lu_factorize(st.lu, st.lp.a, st.basic, st.mon);
  st.info.lutime += timer_cpu(st.mon.clock) - t0;
  ++st.info.numfactor;
  st.info.lunz = st.lu.count.nnzl + st.lu.count.nnzu + st.m;
  if (r != rescode::ok) st.code = r;
  return r;
}

}  // namespace

void sim_takerepair(sim_state& st) {
  for (int32_t s = 0; s < st.lu.numsing; ++s) {
    const int32_t p = st.lu.singpos[s], was = st.lu.singvar[s];
    if (st.pos[was] == p) {
      st.pos[was] = -1;
      sim_side(st, was, std::abs(st.lo[was]) <= std::abs(st.up[was]));
    }
  }
  for (int32_t p = 0; p < st.m; ++p) {
    st.pos[st.basic[p]] = p;
    st.move[st.basic[p]] = 0;
  }
  sim_partition(st);
}

rescode sim_setback(sim_state& st) {
  st.pivrel = std::min(st.pivrel * basis_pivstep, basis_maxpivrel);
  int32_t& num = st.info.running == sim_method::primal ? st.info.primsetback : st.info.dualsetback;
  ++num;
  if (--st.setbackleft >= 0) return rescode::ok;
  st.code = rescode::trm_max_num_setbacks;
  return st.code;
}

rescode sim_factorize(sim_state& st, bool* isrestored) {
  if (isrestored != nullptr) *isrestored = false;
  rescode r = factor_once(st);
  if (r != rescode::ok) return r;
  if (st.lu.numsing > 0) {
    ++st.info.numsingular;
    if (st.saved.isset) {
      if (isrestored != nullptr) *isrestored = true;
      restore_basis(st);
      st.saved.isset = false;
      const rescode setback = sim_setback(st);
      r = factor_once(st);
      if (r != rescode::ok) return r;
      if (st.lu.numsing > 0) sim_takerepair(st);
      if (setback != rescode::ok) return setback;
    } else {
      sim_takerepair(st);
      if (isrestored != nullptr) *isrestored = true;
    }
  }
  save_basis(st);
  st.isfresh = true;
  return rescode::ok;
}

double sim_primals(sim_state& st) {
  const spmat_view& a = st.lp.a;
  lu_vector& b = st.work;
  double* rhs = st.dwork.data();
  lu_vecclear(b);
  double obj = 0, size = 1, residual = 0;
  for (int32_t j = 0; j < st.n; ++j) {
    const double x = st.pos[j] < 0 ? st.xval[j] : 0;
    if (x == 0) continue;
    obj += st.cost[j] * x;
    for (ptrdiff_t k = a.ptr[j]; k < a.ptr[j + 1]; ++k) b.val[a.sub[k]] -= a.val[k] * x;
  }
  for (int32_t i = 0; i < st.m; ++i) {
    if (st.pos[st.n + i] < 0) {
      b.val[i] += st.xval[st.n + i];
      obj += st.cost[st.n + i] * st.xval[st.n + i];
    }
    rhs[i] = b.val[i];
    size = std::max(size, std::abs(rhs[i]));
  }
  b.num = -1;
  sim_ftran(st, b);
  for (int32_t p = 0; p < st.m; ++p) {
    const int32_t k = st.basic[p];
    const double x = st.xb[p] = b.val[p];
    st.lob[p] = st.lo[k];
    st.upb[p] = st.up[k];
    if (x == 0) continue;
    obj += st.cost[k] * x;
    size = std::max(size, std::abs(x));
    if (k >= st.n) {
      rhs[k - st.n] += x;
      continue;
    }
    for (ptrdiff_t q = a.ptr[k]; q < a.ptr[k + 1]; ++q) rhs[a.sub[q]] -= a.val[q] * x;
  }
  for (int32_t i = 0; i < st.m; ++i) residual = std::max(residual, std::abs(rhs[i]));
  lu_vecclear(b);
  st.primobj = obj;
  st.pollwork += ptrdiff_t(st.rows.sub.size());
  return residual / size;
}

double sim_duals(sim_state& st) {
  lu_vector& y = st.work;
  lu_vecclear(y);
  for (int32_t p = 0; p < st.m; ++p) {
    if (st.cost[st.basic[p]] != 0) lu_vecset(y, p, st.cost[st.basic[p]]);
  }
  sim_btran(st, y);
  double obj = 0, size = 1, residual = 0;
  for (const double v : y.val) size = std::max(size, std::abs(v));
  for (int32_t k = 0; k < st.nt; ++k) {
    const double d = st.cost[k] - sim_dotcolumn(st, k, y.val);
    if (st.pos[k] >= 0) {
      residual = std::max(residual, std::abs(d));
      st.d[k] = 0;
    } else {
      st.d[k] = d;
      obj += d * st.xval[k];
    }
  }
  lu_vecclear(y);
  st.dualobj = obj;
  st.pollwork += st.lp.a.ptr.empty() ? 0 : st.lp.a.ptr[st.n];
  return residual / size;
}

lu_state sim_exchange(sim_state& st, int32_t p, int32_t q, double alpha, double x, bool toupper) {
  const int32_t k = st.basic[p];
  if (q < st.n) sim_rowsbasic(st, q);
  if (k < st.n) sim_rowsnonbasic(st, k);
  st.basic[p] = q;
  st.pos[q] = p;
  st.pos[k] = -1;
  st.move[q] = 0;
  st.move[k] = int8_t(st.lo[k] == st.up[k] ? 0 : toupper ? -1 : 1);
  st.xval[k] = toupper ? st.up[k] : st.lo[k];
  st.d[q] = 0;
  st.xb[p] = x;
  st.lob[p] = st.lo[q];
  st.upb[p] = st.up[q];
  st.isfresh = false;
  ++st.info.numupdate;
  const lu_state s = lu_update(st.lu, p, alpha);
  if (s == lu_state::unstable) st.lu.isfactored = false;
  return s;
}

bool sim_wantfactor(const sim_state& st) {
  const lu_count& count = st.lu.count;
  if (st.set.refactorfreq > 0) return count.numupdate >= st.set.refactorfreq;
  const int32_t most = basis_minupdate + st.m / basis_rowsperupdate;
  if (count.numupdate >= std::min(most, basis_maxupdate)) return true;
  const double rebuildwork = basis_rebuildwork * (double(st.rows.sub.size()) + st.m);
  return count.extrawork > count.facwork + rebuildwork;
}
