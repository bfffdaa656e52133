#include "kfac/sorder1.h"

#include <algorithm>
#include <numeric>

#include "cpub/timer.h"
#include "kfac/symface.h"
#include "order/gpart.h"
#include "order/symord.h"

namespace {

// Values of ZLV_ORDER_METHOD_*.
enum class order_method : int32_t { free, appminloc1, appminloc2, graphpar1, graphpar2, none };

constexpr double secondflops = 1e5;  // below it a second local order can't save what it costs
// Partitioning pays when the factorizations of a run take several times as long as it does itself.
// Sparse factors that are hardly fuller than the matrix leave it nothing to save.
constexpr double partruns = 25;     // factorizations of a run
constexpr double partrate = 1e10;   // flops a second of one
constexpr double parttime = 4e-7;   // seconds of partitioning per entry of the pattern
constexpr double partshare = 2.5;   // times that its time must be worth
constexpr double partfill = 1.5;    // nnz(L) over nnz of the matrix
constexpr double partform2 = 1e11;  // flops from which the thorough form is worth its time
constexpr double partgain = 0.95;   // part of the local order's flops that it must stay below

// The better of the two local orders, by flops.
rescode local_order(const spmat_view& graph, const monitor& orderlog, memman& mman,
                    std::span<int32_t> perm, symord_result& best) {
  rescode r = symord_order(graph, symord_scoretype::clique, orderlog, mman, perm, best);
  if (r != rescode::ok || best.flops < secondflops) return r;
  mm_vector<int32_t> other(perm.size(), 0, mm_at(mman));
  symord_result second;
  r = symord_order(graph, symord_scoretype::fill, orderlog, mman, other, second);
  if (r != rescode::ok || !(second.flops < best.flops)) return r;
  std::ranges::copy(other, perm.begin());
  best = second;
  return r;
}

// The graph-partitioning order in perm if it is asked for or beats the local one.
rescode part_order(const spmat_view& graph, int32_t form, bool forced, const symord_result& local,
                   const monitor& orderlog, memman& mman, std::span<int32_t> perm,
                   sorder1_result& result) {
  const timer clock = timer_start();
  mm_vector<int32_t> part(perm.size(), 0, mm_at(mman));
  const rescode r = gpart_order(graph, form, orderlog, mman, part);
  if (r != rescode::ok) return r;
  const symface_cost cost = symface_size(graph, part, mman);
  result.tgporder = timer_wall(clock);
  result.nnzl = local.nnzl;
  result.flops = local.flops;
  if (!forced && !(cost.flops < partgain * local.flops)) return rescode::ok;
  std::ranges::copy(part, perm.begin());
  result.gpused = true;
  result.nnzl = cost.numnz;
  result.flops = cost.flops;
  result.gpsavednz = local.nnzl - cost.numnz;
  result.gpsavedflops = local.flops - cost.flops;
  return rescode::ok;
}

bool part_may_pay(const spmat_view& graph, const symord_result& local) {
  const double matrixnz = double(graph.sub.size()) / 2 + graph.ncol;
  const double gain = partruns * local.flops / partrate;
  const double cost = parttime * double(graph.sub.size());
  return gain > partshare * cost && double(local.nnzl) > partfill * matrixnz;
}

}  // namespace

rescode sorder1_order(const spmat_view& graph, int32_t method, const monitor& orderlog,
                      memman& mman, std::span<int32_t> perm, sorder1_result& result) {
  const auto kind = order_method(method);
  result = {};
  if (kind == order_method::none || graph.ncol == 0) {
    std::iota(perm.begin(), perm.end(), 0);
    return rescode::ok;
  }
  symord_result local;
  rescode r = rescode::ok;
  if (kind == order_method::appminloc2) {
    r = symord_order(graph, symord_scoretype::fill, orderlog, mman, perm, local);
  } else if (kind == order_method::appminloc1) {
    r = symord_order(graph, symord_scoretype::clique, orderlog, mman, perm, local);
  } else {
    r = local_order(graph, orderlog, mman, perm, local);
  }
  result.nnzl = local.nnzl;
  result.flops = local.flops;
  if (r != rescode::ok || kind == order_method::appminloc1 || kind == order_method::appminloc2) {
    return r;
  }
  const bool forced = kind != order_method::free;
  if (!forced && !part_may_pay(graph, local)) return r;
  const int32_t form =
      kind == order_method::graphpar2 || (!forced && local.flops > partform2) ? 2 : 1;
  return part_order(graph, form, forced, local, orderlog, mman, perm, result);
}
