// One level of a multilevel partition: a weighted graph and the three sets of its vertices, with
// the steps between levels and the refinement of a separator. Internal to the graph-partitioning
// orders.
#pragma once

#include <cstdint>
#include <utility>

#include "cpub/memman.h"
#include "cpub/monitor.h"

// The set of a vertex: one of the two sides, which no edge joins, or the separator between them.
constexpr int8_t gpart_sep = 2;

struct gpart_level {
  int32_t n = 0;
  mm_vector<ptrdiff_t> ptr;  // n + 1
  mm_vector<int32_t> adj;    // neighbours, both ends of every edge, no diagonal, no repetitions
  mm_vector<int32_t> ewgt;   // edges of the finest graph that an edge stands for
  mm_vector<int32_t> vwgt;   // vertices of the original graph that a vertex stands for
  mm_vector<int32_t> map;    // vertex of the next coarser level
  mm_vector<int8_t> where;   // set of a vertex
  int64_t weight[3] = {0, 0, 0};  // of the sets
  explicit gpart_level(mm_place at)
      : ptr(1, 0, at), adj(at), ewgt(at), vwgt(at), map(at), where(at) {}
};

// What travels through all steps: randomness of our own, and the poll.
struct gpart_run {
  const monitor* mon = nullptr;
  memman* mman = nullptr;
  uint64_t seed = 1;
  int64_t work = 0;            // edges touched since the last poll
  rescode code = rescode::ok;  // of the poll; the steps end early when it is not ok
};

// Edges touched between two polls: some milliseconds of work.
constexpr int64_t gpart_pollwork = 1 << 19;
inline bool gpart_stopped(gpart_run& run, int64_t work) {
  run.work += work;
  if (run.work >= gpart_pollwork) {
    run.work = 0;
    if (run.code == rescode::ok) run.code = run.mon->poll();
  }
  return run.code != rescode::ok;
}
inline uint32_t gpart_random(gpart_run& run, int32_t below) {
  run.seed ^= run.seed << 13;
  run.seed ^= run.seed >> 7;
  run.seed ^= run.seed << 17;
  return uint32_t(run.seed >> 32) % uint32_t(below);
}

// gpart_coarsen: merges pairs of vertices joined by heavy edges, no pair heavier than maxweight.
// Fills fine.map and coarse.
void gpart_coarsen(gpart_run& run, gpart_level& fine, gpart_level& coarse, int64_t maxweight);

// gpart_project: the sets of the coarse level on the fine one.
void gpart_project(const gpart_level& coarse, gpart_level& fine);

// gpart_grow: a first partition: side 0 grows from a random vertex until it has half the weight.
void gpart_grow(gpart_run& run, gpart_level& g);

// gpart_refine: makes the separator lighter by moving its vertices into the sides, at most
// `passes` passes; neither side grows beyond maxside but to make the heavier one lighter.
void gpart_refine(gpart_run& run, gpart_level& g, int64_t maxside, int32_t passes);

// gpart_cost: what is made small: the separator's weight, more for unequal sides.
double gpart_cost(const gpart_level& g);

// gpart_separate: partition of g (at least two vertices, connected) through all levels, the best of
// `tries`. The sets are in g.where; when the monitor stops it, they may be anything.
void gpart_separate(gpart_run& run, gpart_level& g, int32_t tries);
