#include "kfac/psymface.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr double offmean = 10;    // an offending column has more than that many mean counts
constexpr double offroot = 20;    // and more than threshold sqrt(rows) over this
constexpr double offgap = 2;      // ratio of counts that makes a gap
constexpr double offshare = 0.1;  // the gap lies among the largest of this share of the columns
constexpr double offrows = 0.05;  // at most that many offending columns per row
constexpr int32_t offmax = 1000;  // at most that many in all
constexpr double offsaving = 3;   // sum of squared counts must fall by this factor

}  // namespace

void psymface_offcol(const spmat_view& a, int32_t threshold, mm_vector<int32_t>& list) {
  list.clear();
  if (threshold <= 0 || a.ncol < 2) return;
  const mm_place at = list.get_allocator().place;
  mm_vector<int32_t> count(size_t(a.ncol), 0, at);
  double mean = 0, squares = 0;
  for (int32_t j = 0; j < a.ncol; ++j) {
    count[j] = int32_t(a.ptr[j + 1] - a.ptr[j]);
    mean += count[j];
    squares += double(count[j]) * count[j];
  }
  mean /= a.ncol;
  const double limit = std::max(
      {double(threshold), offmean * mean, threshold * std::sqrt(double(a.nrow)) / offroot});
  const auto most =
      size_t(std::max(1.0, std::min({double(offmax), offrows * a.nrow, offshare * a.ncol})));
  const size_t keep = std::min(count.size(), most + 1);
  std::partial_sort(count.begin(), count.begin() + ptrdiff_t(keep), count.end(), std::greater<>());
  double offsquares = 0, best = offgap;
  int32_t smallest = 0;  // count of the smallest offending column
  for (size_t k = 0; k + 1 < keep && count[k] > limit; ++k) {
    offsquares += double(count[k]) * count[k];
    const double ratio = count[k] / std::max(1.0, double(count[k + 1]));
    if (ratio >= best && squares >= offsaving * (squares - offsquares)) {
      best = ratio;
      smallest = count[k];
    }
  }
  if (smallest == 0) return;
  for (int32_t j = 0; j < a.ncol; ++j) {
    if (a.ptr[j + 1] - a.ptr[j] >= smallest) list.push_back(j);
  }
}

namespace {

// Columns of a row; one that fills most of it comes first, so that a full row is done with it.
struct rowwalk {
  const spmat_view &a, &at;
  std::span<const uint8_t> isoff;
  template <class F>
  void each(int32_t i, F&& take) const {
    ptrdiff_t longest = -1, most = 0;
    for (ptrdiff_t p = at.ptr[i]; p < at.ptr[i + 1]; ++p) {
      const int32_t j = at.sub[p];
      const ptrdiff_t len = a.ptr[j + 1] - a.ptr[j];
      if (isoff[j] == 0 && len > most) {
        most = len;
        longest = p;
      }
    }
    if (2 * most < a.nrow) longest = -1;
    if (longest >= 0 && !take(at.sub[longest])) return;
    for (ptrdiff_t p = at.ptr[i]; p < at.ptr[i + 1]; ++p) {
      const int32_t j = at.sub[p];
      if (isoff[j] == 0 && p != longest && !take(j)) return;
    }
  }
};

}  // namespace

void par_setup_aat(const spmat_view& a, const spmat_view& at, std::span<const uint8_t> isoff,
                   spmat& graph) {
  const mm_place place = graph.ptr.get_allocator().place;
  const auto m = size_t(a.nrow);
  mm_vector<int32_t> mark(m, -1, place), list(m, 0, place);
  mm_vector<ptrdiff_t> ptr(m + 1, 0, place);
  mm_vector<int32_t> sub(place);
  sub.reserve(a.sub.size());
  const rowwalk walk{a, at, isoff};
  for (int32_t i = 0; i < a.nrow; ++i) {
    mark[i] = i;
    int32_t num = 0;
    walk.each(i, [&](int32_t j) {
      for (ptrdiff_t q = a.ptr[j]; q < a.ptr[j + 1]; ++q) {
        const int32_t r = a.sub[q];
        list[num] = r;
        num += std::exchange(mark[r], i) != i ? 1 : 0;
      }
      return num + 1 < a.nrow;
    });
    sub.insert(sub.end(), list.begin(), list.begin() + num);
    ptr[i + 1] = ptrdiff_t(sub.size());
  }
  graph.nrow = graph.ncol = a.nrow;
  graph.ptr = std::move(ptr);
  graph.sub = std::move(sub);
  graph.val.clear();
}

void psymface_star(const spmat_view& a, std::span<const uint8_t> isoff,
                   std::span<const int32_t> iperm, spmat& graph) {
  const mm_place place = graph.ptr.get_allocator().place;
  const auto m = size_t(a.nrow);
  mm_vector<int32_t> center(size_t(a.ncol), -1, place);
  mm_vector<ptrdiff_t> ptr(m + 1, 0, place);
  for (int32_t j = 0; j < a.ncol; ++j) {
    if (isoff[j] != 0 || a.ptr[j + 1] - a.ptr[j] < 2) continue;
    int32_t first = a.sub[a.ptr[j]];
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      ++ptr[a.sub[p] + 1];
      if (iperm[a.sub[p]] < iperm[first]) first = a.sub[p];
    }
    center[j] = first;
    ptr[first + 1] += a.ptr[j + 1] - a.ptr[j] - 2;
  }
  for (size_t i = 0; i < m; ++i) ptr[i + 1] += ptr[i];
  mm_vector<int32_t> sub(size_t(ptr.back()), 0, place);
  mm_vector<ptrdiff_t> fill(ptr.begin(), ptr.end(), place);
  for (int32_t j = 0; j < a.ncol; ++j) {
    const int32_t first = center[j];
    if (first < 0) continue;
    for (ptrdiff_t p = a.ptr[j]; p < a.ptr[j + 1]; ++p) {
      const int32_t r = a.sub[p];
      if (r == first) continue;
      sub[fill[first]++] = r;
      sub[fill[r]++] = first;
    }
  }
  graph.nrow = graph.ncol = a.nrow;
  graph.ptr = std::move(ptr);
  graph.sub = std::move(sub);
  graph.val.clear();
}
