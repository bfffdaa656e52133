// The order of the factorization: which of the orderings is asked for, and which is taken.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/spmat.h"

// sorder1_order: an elimination order of a pattern by the method (ZLV_ORDER_METHOD_*).
//   perm  out, n; perm[k] is the node eliminated k-th
// Returns ok or a termination code of the monitor.
rescode sorder1_order(const spmat_view& graph, int32_t method, const monitor& orderlog,
                      memman& mman, std::span<int32_t> perm);
