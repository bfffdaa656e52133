#include "kfac/sqdwait.h"

#include <utility>

namespace {

enum : uint8_t { ready = 0, bare = 1, waiting = 2 };

struct delay {
  const sqdwait& in;
  spmat byrow;                    // the columns with nodes, by rows
  mm_vector<int32_t> colof;       // of each column node its column
  mm_vector<uint8_t> state;       // of each node
  mm_vector<uint8_t> isheld;      // rows that wait for one column
  mm_vector<int32_t> rowof;       // of each column the row held for it, -1 for none
  mm_vector<int32_t> stack, out;  // nodes to place; nodes placed
  delay(const sqdwait& input, size_t numnode, mm_place at)
      : in(input),
        byrow(at),
        colof(size_t(input.numcolnode), 0, at),
        state(numnode, ready, at),
        isheld(size_t(input.a.nrow), 0, at),
        rowof(size_t(input.a.ncol), -1, at),
        stack(at),
        out(at) {
    out.reserve(numnode);
  }
};

void transpose_nodes(const sqdwait& in, spmat& byrow) {
  const spmat_view& a = in.a;
  byrow.nrow = a.ncol;
  byrow.ncol = a.nrow;
  byrow.ptr.assign(size_t(a.nrow) + 1, 0);
  const auto each = [&](auto&& take) {
    for (int32_t j = 0; j < a.ncol; ++j) {
      if (in.node[j] < 0) continue;
      for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) take(a.sub[p], j);
    }
  };
  each([&](int32_t i, int32_t) { ++byrow.ptr[i + 1]; });
  for (int32_t i = 0; i < a.nrow; ++i) byrow.ptr[i + 1] += byrow.ptr[i];
  byrow.sub.resize(size_t(byrow.ptr[a.nrow]));
  mm_vector<ptrdiff_t> fill(byrow.ptr.begin(), byrow.ptr.end(), byrow.ptr.get_allocator().place);
  each([&](int32_t i, int32_t j) { byrow.sub[fill[i]++] = j; });
}

void set_states(delay& d) {
  const sqdwait& in = d.in;
  for (int32_t i = 0; i < in.a.nrow; ++i) {
    const bool hasnode = d.byrow.ptr[i] != d.byrow.ptr[i + 1];
    if (hasnode && in.isreached[i] == 0) d.state[in.numcolnode + i] = bare;
  }
  for (int32_t j = 0; j < in.a.ncol; ++j) {
    if (in.node[j] >= 0) d.colof[in.node[j]] = j;
  }
  for (const kktfac_border& b : in.border) {
    if (b.isbare && in.node[b.node] >= 0) d.state[in.node[b.node]] = bare;
    if (b.row < 0) continue;
    d.state[in.numcolnode + b.row] = bare;
    d.isheld[b.row] = 1;
    d.rowof[b.node] = b.row;
  }
}

// A node stands: those that it stands for need not wait any more.
void release(delay& d, int32_t x) {
  if (d.state[x] == waiting) d.stack.push_back(x);
  d.state[x] = ready;
}

void place(delay& d, int32_t x) {
  const int32_t nc = d.in.numcolnode;
  d.stack.push_back(x);
  while (!d.stack.empty()) {
    const int32_t now = d.stack.back();
    d.stack.pop_back();
    d.out.push_back(now);
    if (now >= nc) {
      for (ptrdiff_t p = d.byrow.ptr[now - nc]; p < d.byrow.ptr[now - nc + 1]; ++p) {
        release(d, d.in.node[d.byrow.sub[p]]);
      }
      continue;
    }
    const int32_t j = d.colof[now];
    for (ptrdiff_t p = d.in.a.ptr[j]; p < d.in.a.ptr[j + 1]; ++p) {
      if (d.isheld[d.in.a.sub[p]] == 0) release(d, nc + d.in.a.sub[p]);
    }
    if (d.rowof[j] >= 0) release(d, nc + d.rowof[j]);
  }
}

}  // namespace

void sqdwait_delay(const sqdwait& in, mm_vector<int32_t>& order) {
  delay d(in, order.size(), order.get_allocator().place);
  transpose_nodes(in, d.byrow);
  set_states(d);
  for (const int32_t x : order) {
    if (d.state[x] == ready) {
      place(d, x);
    } else {
      d.state[x] = waiting;
    }
  }
  // What waits for one another only.
  for (const int32_t x : order) {
    if (d.state[x] != waiting) continue;
    d.state[x] = ready;
    place(d, x);
  }
  order = std::move(d.out);
}
