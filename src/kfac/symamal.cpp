#include "kfac/symamal.h"

#include <algorithm>
#include <utility>

namespace {

// Model of the time of a front: fixed overhead, work at a rate that grows with the width of the
// panel, and passing the update matrix to the parent. Measured with the widest kernel family.
constexpr double costfront = 90;       // ns per front
constexpr double costassemble = 0.35;  // ns per entry of the update matrix
constexpr double costentry = 0.5;      // ns per stored entry of the panel: forming, solving
constexpr double costcolumn = 8;       // ns per column: its pivot
constexpr double ratepeak = 100;       // flops per ns
constexpr double widthhalf = 6;        // panel width at which half of the peak is reached

}  // namespace

double symamal_cost(int32_t ncol, int32_t below) noexcept {
  const double w = ncol, r = below;
  const double flops = w * w * w / 3 + w * w * r + w * r * r;
  const double rate = ratepeak * w / (w + widthhalf);
  return costfront + costcolumn * w + flops / rate + costassemble * r * (r + 1) / 2 +
         costentry * w * (w + r);
}

namespace {

struct merging {
  mm_vector<int32_t> ncol, below, up, head, next, into;  // per fundamental supernode
  mm_vector<int32_t> list;                               // children of one node
  merging(size_t num, mm_place at)
      : ncol(num, 0, at),
        below(num, 0, at),
        up(num, -1, at),
        head(num, -1, at),
        next(num, -1, at),
        into(num, -1, at),
        list(num, 0, at) {}
};

int32_t fundamental(std::span<const int32_t> parent, std::span<const int32_t> count, symamal& sn,
                    std::span<int32_t> ofcol) {
  const auto n = int32_t(parent.size());
  std::ranges::fill(ofcol, 0);  // first the number of children
  for (int32_t j = 0; j < n; ++j) {
    if (parent[j] >= 0) ++ofcol[parent[j]];
  }
  int32_t num = 0;
  sn.fundfirst.resize(size_t(n) + 1);
  for (int32_t j = 0; j < n; ++j) {
    const bool joins = j > 0 && parent[j - 1] == j && count[j - 1] == count[j] + 1 && ofcol[j] == 1;
    if (!joins) sn.fundfirst[num++] = j;
    ofcol[j] = num - 1;
  }
  sn.fundfirst[num] = n;
  sn.fundfirst.resize(size_t(num) + 1);
  return num;
}

// The children of p that are cheaper inside it, the latest first: these are the most alike.
void merge_children(int32_t p, merging& m) {
  size_t count = 0;
  for (int32_t c = m.head[p]; c >= 0; c = m.next[c]) m.list[count++] = c;
  m.head[p] = -1;
  double own = symamal_cost(m.ncol[p], m.below[p]);
  for (size_t k = 0; k < count; ++k) {
    const int32_t c = m.list[k];
    const double merged = symamal_cost(m.ncol[p] + m.ncol[c], m.below[p]);
    if (merged > own + symamal_cost(m.ncol[c], m.below[c])) {
      m.next[c] = std::exchange(m.head[p], c);
      continue;
    }
    own = merged;
    m.ncol[p] += m.ncol[c];
    m.into[c] = p;
    while (m.head[c] >= 0) {  // its children are p's now
      const int32_t g = std::exchange(m.head[c], m.next[m.head[c]]);
      m.next[g] = std::exchange(m.head[p], g);
    }
  }
}

}  // namespace

void symamal_make(std::span<const int32_t> parent, std::span<const int32_t> count, symamal& sn) {
  const mm_place at = sn.parent.get_allocator().place;
  mm_vector<int32_t> ofcol(parent.size(), 0, at);
  const int32_t numfund = fundamental(parent, count, sn, ofcol);
  merging m{size_t(numfund), at};
  for (int32_t f = 0; f < numfund; ++f) {
    const int32_t last = sn.fundfirst[f + 1] - 1;
    m.ncol[f] = last + 1 - sn.fundfirst[f];
    m.below[f] = count[last] - 1;
    m.up[f] = parent[last] < 0 ? -1 : ofcol[parent[last]];
    if (m.head[f] >= 0) merge_children(f, m);
    if (m.up[f] >= 0) m.next[f] = std::exchange(m.head[m.up[f]], f);
  }
  // Postorder of what is left: roots in order, children by number.
  mm_vector<int32_t> up(size_t(numfund), -1, at), number(size_t(numfund), -1, at);
  for (int32_t f = numfund - 1; f >= 0; --f) {
    if (m.into[f] >= 0) m.into[f] = m.into[m.into[f]] >= 0 ? m.into[m.into[f]] : m.into[f];
  }
  const auto owner = [&](int32_t f) { return m.into[f] >= 0 ? m.into[f] : f; };
  std::ranges::fill(m.head, -1);
  for (int32_t f = numfund - 1; f >= 0; --f) {
    if (m.into[f] >= 0) continue;
    if (m.up[f] >= 0) {
      up[f] = owner(m.up[f]);
      m.next[f] = std::exchange(m.head[up[f]], f);
    }
  }
  sn.num = 0;
  for (int32_t root = 0; root < numfund; ++root) {
    if (m.into[root] >= 0 || up[root] >= 0) continue;
    size_t top = 0;
    m.list[top++] = root;
    while (top > 0) {
      const int32_t f = m.list[top - 1];
      if (m.head[f] >= 0) {
        m.list[top++] = std::exchange(m.head[f], m.next[m.head[f]]);
      } else {
        number[f] = sn.num++;
        --top;
      }
    }
  }
  const auto num = size_t(sn.num);
  sn.memberhead.assign(num, -1);
  sn.membernext.assign(size_t(numfund), -1);
  sn.parent.assign(num, -1);
  sn.below.assign(num, 0);
  for (int32_t f = numfund - 1; f >= 0; --f) {
    const int32_t s = number[owner(f)];
    sn.membernext[f] = std::exchange(sn.memberhead[s], f);
    if (m.into[f] >= 0) continue;
    sn.below[s] = m.below[f];
    if (up[f] >= 0) sn.parent[s] = number[up[f]];
  }
}
