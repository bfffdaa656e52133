#include "basic/basident.h"

#include <algorithm>
#include <cmath>

#include "basic/bascore.h"

namespace {

// Duals of the final basis: all reduced costs of basic variables are zero.
void final_point(bas_state& st) {
  for (int32_t j = 0; j < st.nt; ++j) {
    if (st.posof[j] >= 0)
      st.z[j] = 0;
    else
      st.x[j] = bas_boundof(st, j);
  }
  bas_primals(st);
  bas_duals(st);
}

lp_key key_of(const bas_state& st, int32_t j) {
  if (st.posof[j] >= 0) return lp_key::basic;
  switch (st.place[j]) {
    case bas_place::lower:
      return lp_key::lower;
    case bas_place::upper:
      return lp_key::upper;
    case bas_place::fixed:
      return lp_key::fixed;
    case bas_place::inside:
      break;
  }
  if (std::isinf(st.lo[j]) && std::isinf(st.up[j])) return lp_key::superbasic;
  return st.x[j] == st.lo[j] ? lp_key::lower : lp_key::upper;
}

// The basis and its point in the caller's units.
void deliver(const bas_state& st, const sim_scale& scale, bas_result& out) {
  bas_result made(mm_at(st.mman));
  made.basis.var.resize(size_t(st.n));
  made.basis.con.resize(size_t(st.m));
  made.x.resize(size_t(st.n));
  made.y.resize(size_t(st.m));
  for (int32_t j = 0; j < st.n; ++j) {
    made.basis.var[j] = key_of(st, j);
    made.x[j] = st.x[j] * scale.col[j];
  }
  for (int32_t i = 0; i < st.m; ++i) {
    made.basis.con[i] = key_of(st, st.n + i);
    made.y[i] = st.y[i] * scale.row[i] / scale.cost;
  }
  out = std::move(made);
}

struct violation {
  int32_t num = 0;
  double most = 0;
  void add(double v, double tol) {
    num += int32_t(v > tol);
    most = std::max(most, v);
  }
};

// Violations of the delivered point, in the caller's units.
void measure(bas_state& st, const sim_scale& scale, const lp_view& prob) {
  violation primal, dual;
  st.info.pobj = prob.cfix;
  for (int32_t j = 0; j < st.nt; ++j) {
    const bool iscol = j < st.n;
    const double size = iscol ? scale.col[j] : 1 / scale.row[j - st.n];
    primal.add(size * std::max(st.lo[j] - st.x[j], st.x[j] - st.up[j]), st.set.tolx);
    const double z = st.z[j] / (scale.cost * size);
    const bool canfall = st.posof[j] < 0 && st.x[j] < st.up[j];  // may rise, so z < 0 is wrong
    const bool canrise = st.posof[j] < 0 && st.x[j] > st.lo[j];
    dual.add(std::max(canfall ? -z : 0.0, canrise ? z : 0.0), st.set.tols);
    if (iscol) st.info.pobj += prob.c[j] * st.x[j] * size;
  }
  st.info.numpviol = primal.num;
  st.info.maxpviol = primal.most;
  st.info.numdviol = dual.num;
  st.info.maxdviol = dual.most;
}

template <class Work>
rescode phase(const bas_state& st, monitor_where begin, monitor_where end, const Work& work) {
  return monitor_phase([&](monitor_where where, rescode) { return st.mon.poll(where); }, begin, end,
                       work);
}

rescode setup_dual(bas_state& st) {
  if (const rescode r = bas_crash(st); r != rescode::ok) return r;
  bas_duals(st);
  return rescode::ok;
}

rescode finish_primal(bas_state& st) {
  if (const rescode r = bas_primalpush(st); r != rescode::ok) return r;
  if (const rescode r = bas_factor(st); r != rescode::ok) return r;
  final_point(st);
  return rescode::ok;
}

rescode phases(bas_state& st) {
  using namespace callback_code;
  rescode r = phase(st, begin_dual_setup_bi, end_dual_setup_bi, [&] { return setup_dual(st); });
  if (r != rescode::ok) return r;
  st.mon.log(1, "Variables between bounds : %-10d  superbasic : %d\n", st.info.numinside,
             st.info.numsuper);
  st.mon.log(1, "%-8s %10s %10s %10s %8s\n", "PHASE", "PUSHES", "LEFT", "PIVOTS", "TIME");
  r = phase(st, begin_dual_bi, end_dual_bi, [&] { return bas_dualpush(st); });
  if (r != rescode::ok) return r;
  r = phase(st, begin_primal_setup_bi, end_primal_setup_bi, [&] { return bas_factor(st); });
  if (r != rescode::ok) return r;
  return phase(st, begin_primal_bi, end_primal_bi, [&] { return finish_primal(st); });
}

}  // namespace

rescode bas_identify(const lp_view& prob, std::span<const double> x, std::span<const double> y,
                     const bas_settings& set, const monitor& mon, memman& mman, bas_result& out,
                     bas_info& info) {
  info = bas_info{};
  sim_scale scale(mm_at(mman));
  sim_scale_make(prob, sim_scaling::free, mman, scale);
  sim_scaled store(mm_at(mman));
  bas_state st(sim_scale_apply(prob, scale, store), set, mon, mman, info);
  mm_vector<double> start(x.begin(), x.end(), mm_at(mman));
  for (int32_t j = 0; j < st.n; ++j) start[j] /= scale.col[j];
  for (int32_t i = 0; i < st.m; ++i) st.y[i] = scale.cost * y[i] / scale.row[i];
  bas_drop(st, start);
  if (const rescode r = phases(st); r != rescode::ok) return r;
  measure(st, scale, prob);
  info.cputime = timer_cpu(st.clock);
  mon.log(1, "%-8s %10d %10d %10d %8.2f\n", "End", info.dualiter + info.primaliter, 0,
          info.dualpivot + info.primalpivot, info.cputime);
  deliver(st, scale, out);
  return rescode::ok;
}
