#include <algorithm>
#include <limits>

#include "simplex/simcore.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();

void setup_rows(sim_state& st) {
  const spmat_view& a = st.lp.a;
  sim_rows& r = st.rows;
  const ptrdiff_t nz = a.ptr.empty() ? 0 : a.ptr[st.n];
  r.beg.assign(st.m + 1, 0);
  r.sub.resize(nz);
  r.val.resize(nz);
  r.at.resize(nz);
  r.from.resize(nz);
  for (ptrdiff_t k = 0; k < nz; ++k) ++r.beg[a.sub[k] + 1];
  for (int32_t i = 0; i < st.m; ++i) r.beg[i + 1] += r.beg[i];
  r.end.assign(r.beg.begin(), r.beg.end() - 1);
  for (int32_t j = 0; j < st.n; ++j) {
    for (ptrdiff_t k = a.ptr[j]; k < a.ptr[j + 1]; ++k) {
      const ptrdiff_t to = r.end[a.sub[k]]++;
      r.sub[to] = j;
      r.val[to] = a.val[k];
      r.at[k] = to;
      r.from[to] = k;
    }
  }
}

void rows_swap(sim_rows& r, ptrdiff_t p, ptrdiff_t q) {
  if (p == q) return;
  std::swap(r.sub[p], r.sub[q]);
  std::swap(r.val[p], r.val[q]);
  std::swap(r.from[p], r.from[q]);
  r.at[r.from[p]] = p;
  r.at[r.from[q]] = q;
}

void setup_bounds(sim_state& st) {
  st.lo0.resize(st.nt);
  st.up0.resize(st.nt);
  st.cost0.assign(st.nt, 0.0);
  std::copy_n(st.lp.blx.begin(), st.n, st.lo0.begin());
  std::copy_n(st.lp.bux.begin(), st.n, st.up0.begin());
  std::copy_n(st.lp.c.begin(), st.n, st.cost0.begin());
  std::copy_n(st.lp.blc.begin(), st.m, st.lo0.begin() + st.n);
  std::copy_n(st.lp.buc.begin(), st.m, st.up0.begin() + st.n);
  st.lo = st.lo0;
  st.up = st.up0;
  st.cost = st.cost0;
}

// The basic variables that keys name, at most as many as rows. Too many: free ones are kept before
// others, columns before logicals, earlier before later. Too few: superbasic ones join.
void choose_basic(sim_state& st, const lp_basis& basis, mm_vector<int32_t>& chosen) {
  const auto key = [&](int32_t k) { return k < st.n ? basis.var[k] : basis.con[k - st.n]; };
  chosen.reserve(st.m);
  const auto take = [&](auto&& fits) {
    for (int32_t k = 0; k < st.nt && int32_t(chosen.size()) < st.m; ++k) {
      if (fits(k)) chosen.push_back(k);
    }
  };
  take([&](int32_t k) { return key(k) == lp_key::basic && sim_isfree(st, k); });
  take([&](int32_t k) { return key(k) == lp_key::basic && !sim_isfree(st, k); });
  take([&](int32_t k) { return key(k) == lp_key::superbasic; });
}

void take_keys(sim_state& st, const lp_basis& basis) {
  mm_vector<int32_t> chosen(mm_at(st.mman));
  choose_basic(st, basis, chosen);
  for (int32_t k = 0; k < st.nt; ++k) {
    const lp_key key = k < st.n ? basis.var[k] : basis.con[k - st.n];
    sim_side(st, k, key != lp_key::upper);
  }
  // A place that is left over repeats a variable: the factorization finds the repetition dependent
  // and puts there the logical of a row that nothing else covers.
  if (chosen.empty()) {
    for (int32_t i = 0; i < st.m; ++i) chosen.push_back(st.n + i);
  }
  const int32_t filler = chosen.empty() ? -1 : chosen.back();
  chosen.resize(st.m, filler);
  sim_takebasis(st, chosen);
}

}  // namespace

sim_state::sim_state(const lp_view& problem, const sim_settings& settings, const monitor& monit,
                     memman& manager, sim_info& information)
    : prob(problem),
      set(settings),
      mon(monit),
      mman(manager),
      info(information),
      scale(mm_at(manager)),
      store(mm_at(manager)),
      rows(mm_at(manager)),
      lo0(mm_at(manager)),
      up0(mm_at(manager)),
      cost0(mm_at(manager)),
      lo(mm_at(manager)),
      up(mm_at(manager)),
      cost(mm_at(manager)),
      basic(mm_at(manager)),
      pos(mm_at(manager)),
      move(mm_at(manager)),
      xval(mm_at(manager)),
      xb(mm_at(manager)),
      lob(mm_at(manager)),
      upb(mm_at(manager)),
      d(mm_at(manager)),
      lu(mm_at(manager)),
      saved(mm_at(manager)),
      code(rescode::ok),
      work(mm_at(manager)),
      dwork(mm_at(manager)) {}

void sim_side(sim_state& st, int32_t k, bool preferlower) {
  const double lo = st.lo[k], up = st.up[k];
  if (lo == up) {
    st.move[k] = 0;
    st.xval[k] = lo;
  } else if (lo != -inf && (preferlower || up == inf)) {
    st.move[k] = 1;
    st.xval[k] = lo;
  } else if (up != inf) {
    st.move[k] = -1;
    st.xval[k] = up;
  } else {
    st.move[k] = 0;
    st.xval[k] = 0;
  }
}

void sim_setup(sim_state& st, const lp_basis& basis) {
  st.m = st.prob.numcon;
  st.n = st.prob.numvar;
  st.nt = st.n + st.m;
  sim_scale_make(st.prob, st.set.scaling, st.mman, st.scale);
  st.lp = sim_scale_apply(st.prob, st.scale, st.store);
  st.random.state ^= st.set.seed;
  setup_rows(st);
  setup_bounds(st);
  st.pos.assign(st.nt, -1);
  st.move.assign(st.nt, 0);
  st.xval.assign(st.nt, 0.0);
  st.d.assign(st.nt, 0.0);
  st.dwork.assign(st.nt, 0.0);
  for (auto* v : {&st.xb, &st.lob, &st.upb}) v->assign(st.m, 0.0);
  lu_vecsize(st.work, st.m);
  st.basic.assign(st.m, -1);
  const bool isgiven = int32_t(basis.con.size()) == st.m && int32_t(basis.var.size()) == st.n;
  if (isgiven && st.set.hotstart && st.nt > 0) {
    take_keys(st, basis);
    return;
  }
  mm_vector<int32_t> logicals(mm_at(st.mman));
  for (int32_t i = 0; i < st.m; ++i) logicals.push_back(st.n + i);
  for (int32_t k = 0; k < st.nt; ++k) sim_side(st, k, std::abs(st.lo[k]) <= std::abs(st.up[k]));
  sim_takebasis(st, logicals);
}

void sim_takebasis(sim_state& st, std::span<const int32_t> basic) {
  // By the positions, not by the old basis: a factorization may have changed that.
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] < 0) continue;
    st.pos[k] = -1;
    sim_side(st, k, std::abs(st.lo[k]) <= std::abs(st.up[k]));
  }
  for (int32_t p = 0; p < st.m; ++p) {
    const int32_t k = basic[p];
    st.basic[p] = k;
    st.pos[k] = p;
    st.move[k] = 0;
  }
  sim_partition(st);
  st.isfresh = false;
  st.lu.isfactored = false;
}

void sim_partition(sim_state& st) {
  for (int32_t i = 0; i < st.m; ++i) st.rows.end[i] = st.rows.beg[i + 1];
  for (int32_t p = 0; p < st.m; ++p) {
    const int32_t j = st.basic[p];
    if (j < st.n && st.pos[j] == p) sim_rowsbasic(st, j);
  }
}

void sim_rowsbasic(sim_state& st, int32_t j) {
  const spmat_view& a = st.lp.a;
  for (ptrdiff_t k = a.ptr[j]; k < a.ptr[j + 1]; ++k) {
    rows_swap(st.rows, st.rows.at[k], --st.rows.end[a.sub[k]]);
  }
}

void sim_rowsnonbasic(sim_state& st, int32_t j) {
  const spmat_view& a = st.lp.a;
  for (ptrdiff_t k = a.ptr[j]; k < a.ptr[j + 1]; ++k) {
    rows_swap(st.rows, st.rows.at[k], st.rows.end[a.sub[k]]++);
  }
}

void sim_truedata(sim_state& st) {
  std::copy(st.lo0.begin(), st.lo0.end(), st.lo.begin());
  std::copy(st.up0.begin(), st.up0.end(), st.up.begin());
  std::copy(st.cost0.begin(), st.cost0.end(), st.cost.begin());
  for (int32_t k = 0; k < st.nt; ++k) {
    if (st.pos[k] < 0) sim_side(st, k, st.move[k] != -1);
  }
}

void sim_keys(const sim_state& st, lp_basis& basis) {
  basis.con.resize(st.m);
  basis.var.resize(st.n);
  for (int32_t k = 0; k < st.nt; ++k) {
    lp_key key = lp_key::superbasic;
    if (st.pos[k] >= 0) {
      key = lp_key::basic;
    } else if (st.lo0[k] == st.up0[k]) {
      key = lp_key::fixed;
    } else if (st.move[k] != 0) {
      key = st.move[k] > 0 ? lp_key::lower : lp_key::upper;
    }
    (k < st.n ? basis.var[k] : basis.con[k - st.n]) = key;
  }
}
