// The order of the factorization: which of the orderings is asked for, and which is taken.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "cpub/spmat.h"

struct sorder1_result {
  bool gpused = false;      // a graph-partitioning order was taken
  int64_t gpsavednz = 0;    // nonzeros of L that it saves against the local-fill order
  double gpsavedflops = 0;  // the same for flops
  double tgporder = 0;      // seconds spent on it, taken or not
  int64_t nnzl = 0;         // of the order that was taken; zero when it was not counted
  double flops = 0;
};

// sorder1_order: an elimination order of a pattern by the method (ZLV_ORDER_METHOD_*). The free choice
// runs both local orders, and the graph-partitioning one where a factorization is dear enough for it
// to pay; the one of least flops is taken.
//   perm  out, n; perm[k] is the node eliminated k-th
// Returns ok or a termination code of the monitor.
rescode sorder1_order(const spmat_view& graph, int32_t method, const monitor& orderlog,
                      memman& mman, std::span<int32_t> perm, sorder1_result& result);
