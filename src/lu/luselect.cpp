#include "lu/luselect.h"

#include <cmath>

#include "lu/lufactor_impl.h"

namespace {

// The column of a variable in x, its largest entry returned; ispure: it meets no row with a pivot, so
// that no multiplier touches it.
double load(const lu_rec& f, const spmat_view& a, int32_t var, lu_vector& x, bool& ispure) {
  ispure = true;
  double big = 0;
  const auto put = [&](int32_t i, double v) {
    lu_vecset(x, i, v);
    ispure = ispure && f.ker.rank[i] < 0;
    big = std::max(big, std::abs(v));
  };
  if (var >= a.ncol)
    put(var - a.ncol, -1);
  else
    for (ptrdiff_t e = a.ptr[var]; e < a.ptr[var + 1]; ++e) put(a.sub[e], a.val[e]);
  return big;
}

}  // namespace

rescode lu_select(lu_rec& f, const spmat_view& a, std::span<const int32_t> vars,
                  std::span<const int32_t> classend, const monitor& mon, lu_selection& out) {
  lu_begin(f, a.nrow, a.ncol, int32_t(vars.size()));
  out.taken.clear();
  out.rest.clear();
  lu_vector x(out.taken.get_allocator().place);
  lu_vecsize(x, f.m);
  f.kind = 1;
  int32_t p = 0;
  for (const int32_t end : classend) {
    lu_kernelempty(f);
    for (; p < end; ++p) {
      bool ispure = true;
      const double big = load(f, a, vars[p], x, ispure);
      if (!ispure) lu_ftranl(f, x);
      f.ker.czero[p] = f.set.pivabs * std::max(1.0, big);
      lu_kernelcolumn(f, p, x);
      lu_vecclear(x);
    }
    lu_kernelrows(f);
    if (const rescode r = lu_kernelrun(f, mon); r != rescode::ok) return r;
  }
  for (size_t k = 0; k < f.useq.size(); ++k) out.taken.push_back(f.ker.pivpos[k]);
  for (int32_t i = 0; i < f.m; ++i)
    if (f.ker.rank[i] < 0) out.rest.push_back(i);
  return rescode::ok;
}
