// Parallel schedule of the numeric factorization: subtrees of supernodes that threads own, and the
// top of the tree, whose fronts all threads share. It also gives every update matrix its place.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "kfac/symface.h"

// Thread t does subtrees threadptr[t] .. threadptr[t+1]-1 of first and last, supernodes first[k] ..
// last[k], then all threads do the supernodes in top one after the other.
struct psched {
  int32_t numthreads = 1;
  mm_vector<int32_t> threadptr;  // numthreads + 1
  mm_vector<int32_t> first, last;
  mm_vector<int32_t> top;  // increasing
  explicit psched(mm_place at) : threadptr(at), first(at), last(at), top(at) {}
};

// psched_flops: of one front, as stored.
double psched_flops(const symface& sym, int32_t s);
// psched_make: a schedule for a team of numthreads (at least 1; one thread when the work is small),
// and the places of the update matrices under it in sym.stackpos and sym.stacksize.
void psched_make(symface& sym, int32_t numthreads, psched& sched);
