#include "kfac/sorder1.h"

#include <algorithm>
#include <numeric>

#include "order/symord.h"

namespace {

// Values of ZLV_ORDER_METHOD_*.
enum class order_method : int32_t { free, appminloc1, appminloc2, graphpar1, graphpar2, none };

constexpr double secondflops = 1e5;  // below it a second order can't save what it costs

}  // namespace

rescode sorder1_order(const spmat_view& graph, int32_t method, const monitor& orderlog,
                      memman& mman, std::span<int32_t> perm) {
  const auto kind = order_method(method);
  if (kind == order_method::none || graph.ncol == 0) {
    std::iota(perm.begin(), perm.end(), 0);
    return rescode::ok;
  }
  symord_result result;
  const bool first = kind == order_method::free || kind == order_method::appminloc1;
  const symord_score score = first ? symord_score::clique : symord_score::fill;
  rescode r = symord_order(graph, score, orderlog, mman, perm, result);
  if (r != rescode::ok || kind != order_method::free || result.flops < secondflops) return r;
  mm_vector<int32_t> other(perm.size(), 0, mm_at(mman));
  symord_result otherresult;
  r = symord_order(graph, symord_score::fill, orderlog, mman, other, otherresult);
  if (r == rescode::ok && otherresult.flops < result.flops) std::ranges::copy(other, perm.begin());
  return r;
}
