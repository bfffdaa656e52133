// Parallel schedule of the numeric factorization: ranges of subtrees that one thread does each, and
// the top of the tree, whose fronts all threads share. It also gives every update matrix its place.
#pragma once

#include <cstdint>

#include "cpub/memman.h"
#include "kfac/symface.h"

// Task k is supernodes first[k] .. last[k], whole subtrees, whichever thread takes it; tasks come with
// the most work first. Then all threads do the supernodes in top one after the other. An update
// matrix that stays within its range stands in the region of the thread that does it, at stackpos of
// the symbolic factor from the region's begin; all others at stackpos itself.
struct psched {
  int32_t numthreads = 1;
  mm_vector<int32_t> first, last;
  mm_vector<int32_t> top;  // increasing
  ptrdiff_t regionbase = 0, regionsize = 0;
  explicit psched(mm_place at) : first(at), last(at), top(at) {}
};

// psched_flops: of one front, as stored.
double psched_flops(const symface& sym, int32_t s);
// psched_make: a schedule for a team of numthreads (at least 1; one thread when the work is small),
// and the places of the update matrices under it in sym.stackpos and sym.stacksize.
void psched_make(symface& sym, int32_t numthreads, psched& sched);
