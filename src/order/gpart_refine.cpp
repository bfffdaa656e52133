// Refinement of a vertex separator: a vertex of the separator moves into a side, and its neighbours
// in the other side take its place. Passes of such moves climb over hills and return to the best
// partition they met. Most passes move into one side only, so that the separator sweeps through the
// graph; a pass that may move both ways settles it.
#include <algorithm>

#include "order/gpart_level.h"

namespace {

// Moves without a better partition after which a pass ends: by the vertices of the separator, and at
// most.
constexpr int32_t gpart_hillshare = 5;
constexpr int32_t gpart_hill = 300;
constexpr int32_t gpart_cycle = 3;  // passes: one into each side, one both ways
constexpr int32_t gpart_idle = 2;   // passes without a better partition that end the refinement
constexpr int8_t gpart_bothways = -1;

struct candidate {
  int64_t gain = 0;  // weight that the separator loses
  int32_t node = 0;
  int8_t side = 0;
  bool operator<(const candidate& o) const {
    if (gain != o.gain) return gain < o.gain;
    return node != o.node ? node > o.node : side > o.side;
  }
};

struct refinement {
  gpart_level& g;
  int64_t maxside;
  mm_vector<candidate> heap[2];  // one per target side; entries of old gains are passed over
  mm_vector<int64_t> gain[2];    // of a separator vertex, by target side
  mm_vector<int8_t> locked;      // moved in this pass
  mm_vector<int32_t> moved;      // vertices in order of their change of set
  mm_vector<int8_t> before;      // and the set they left
  refinement(gpart_level& level, int64_t limit, mm_place at)
      : g(level),
        maxside(limit),
        heap{mm_vector<candidate>(at), mm_vector<candidate>(at)},
        gain{mm_vector<int64_t>(level.n, 0, at), mm_vector<int64_t>(level.n, 0, at)},
        locked(level.n, 0, at),
        moved(at),
        before(at) {}
};

void push_candidate(refinement& r, int32_t v, int8_t side) {
  auto& heap = r.heap[side];
  heap.push_back({r.gain[side][v], v, side});
  std::push_heap(heap.begin(), heap.end());
}

void compute_gains(refinement& r, int32_t v) {
  const gpart_level& g = r.g;
  int64_t in[3] = {0, 0, 0};
  for (ptrdiff_t p = g.ptr[v]; p < g.ptr[v + 1]; ++p) in[g.where[g.adj[p]]] += g.vwgt[g.adj[p]];
  for (const int8_t side : {int8_t(0), int8_t(1)}) {
    r.gain[side][v] = g.vwgt[v] - in[1 - side];
    if (r.locked[v] == 0) push_candidate(r, v, side);
  }
}

void change_set(refinement& r, int32_t v, int8_t to) {
  r.moved.push_back(v);
  r.before.push_back(r.g.where[v]);
  r.g.weight[r.g.where[v]] -= r.g.vwgt[v];
  r.g.weight[to] += r.g.vwgt[v];
  r.g.where[v] = to;
}

// The best move of a heap, or null: entries whose gain has changed since go.
const candidate* heap_top(refinement& r, int8_t side) {
  auto& heap = r.heap[side];
  while (!heap.empty()) {
    const candidate& c = heap.front();
    if (r.g.where[c.node] == gpart_sep && r.locked[c.node] == 0 && r.gain[side][c.node] == c.gain) {
      return &c;
    }
    std::pop_heap(heap.begin(), heap.end());
    heap.pop_back();
  }
  return nullptr;
}

// The move to make: into one side alone, or the larger gain, into the lighter side when equal; within
// the limit or from the heavier to the lighter side. Node -1 when there is none.
candidate choose_move(refinement& r, int8_t only) {
  candidate best;
  best.node = -1;
  const int8_t lighter = r.g.weight[0] <= r.g.weight[1] ? 0 : 1;
  for (const int8_t side : {lighter, int8_t(1 - lighter)}) {
    if (only != gpart_bothways && side != only) continue;
    const candidate* c = heap_top(r, side);
    if (c == nullptr) continue;
    const bool islimited = side != lighter || only != gpart_bothways;
    if (islimited && r.g.weight[side] + r.g.vwgt[c->node] > r.maxside) continue;
    if (best.node < 0 || c->gain > best.gain) best = *c;
  }
  return best;
}

int64_t apply_move(refinement& r, const candidate& m) {
  gpart_level& g = r.g;
  const auto other = int8_t(1 - m.side);
  change_set(r, m.node, m.side);
  r.locked[m.node] = 1;
  int64_t work = 0;
  for (ptrdiff_t p = g.ptr[m.node]; p < g.ptr[m.node + 1]; ++p) {
    const int32_t u = g.adj[p];
    if (g.where[u] == gpart_sep) {  // moving u to the other side would now pull m.node back
      r.gain[other][u] -= g.vwgt[m.node];
      if (r.locked[u] == 0) push_candidate(r, u, other);
    } else if (g.where[u] == other) {
      change_set(r, u, gpart_sep);
      for (ptrdiff_t q = g.ptr[u]; q < g.ptr[u + 1]; ++q) {
        const int32_t w = g.adj[q];
        if (g.where[w] != gpart_sep || w == u) continue;
        r.gain[m.side][w] += g.vwgt[u];
        if (r.locked[w] == 0) push_candidate(r, w, m.side);
      }
      compute_gains(r, u);
      work += g.ptr[u + 1] - g.ptr[u];
    }
  }
  return work + g.ptr[m.node + 1] - g.ptr[m.node];
}

void undo_to(refinement& r, size_t length) {
  while (r.moved.size() > length) {
    const int32_t v = r.moved.back();
    r.g.weight[r.g.where[v]] -= r.g.vwgt[v];
    r.g.weight[r.before.back()] += r.g.vwgt[v];
    r.g.where[v] = r.before.back();
    r.moved.pop_back();
    r.before.pop_back();
  }
}

// One pass; true when the partition became better.
bool refine_pass(gpart_run& run, refinement& r, int8_t only) {
  r.heap[0].clear();
  r.heap[1].clear();
  r.moved.clear();
  r.before.clear();
  std::fill(r.locked.begin(), r.locked.end(), int8_t(0));
  int32_t numsep = 0;
  for (int32_t v = 0; v < r.g.n; ++v) {
    if (r.g.where[v] != gpart_sep) continue;
    compute_gains(r, v);
    ++numsep;
  }
  const int32_t hill = std::min(gpart_hill, gpart_hillshare * numsep);
  const double start = gpart_cost(r.g);
  double best = start;
  size_t bestlength = 0;
  for (int32_t idle = 0; idle < hill; ++idle) {
    const candidate m = choose_move(r, only);
    if (m.node < 0) break;
    const int64_t work = apply_move(r, m);
    if (const double cost = gpart_cost(r.g); cost < best) {
      best = cost;
      bestlength = r.moved.size();
      idle = -1;
    }
    if (gpart_stopped(run, work)) break;
  }
  undo_to(r, bestlength);
  return best < start;
}

}  // namespace

void gpart_refine(gpart_run& run, gpart_level& g, int64_t maxside, int32_t passes) {
  refinement r(g, maxside, mm_at(*run.mman));
  int8_t to = g.weight[0] < g.weight[1] ? 1 : 0;
  for (int32_t k = 0, idle = 0; k < passes && idle < gpart_idle; ++k) {
    const bool isone = k % gpart_cycle != gpart_cycle - 1;
    const bool better = refine_pass(run, r, isone ? to : gpart_bothways);
    if (isone) to = int8_t(1 - to);
    idle = better ? 0 : idle + 1;
    if (gpart_stopped(run, g.n)) break;
  }
}
