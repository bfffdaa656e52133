#include "misc/quadform.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

struct entry {
  int32_t row, col;  // row >= col
  double value;
  bool operator<(const entry& other) const {
    return std::pair(col, row) < std::pair(other.col, other.row);
  }
};

}  // namespace

void quadform_assemble(std::span<const int32_t> subi, std::span<const int32_t> subj,
                       std::span<const double> val, double drop, quad_form& form) {
  const mm_place at = form.vars.get_allocator().place;
  mm_vector<entry> entries(at);
  entries.reserve(val.size());
  for (size_t t = 0; t < val.size(); ++t) {
    const auto [low, high] = std::minmax(subi[t], subj[t]);
    entries.push_back({high, low, val[t]});
  }
  std::stable_sort(entries.begin(), entries.end());
  size_t kept = 0;
  for (size_t t = 0; t < entries.size();) {
    entry sum = entries[t++];
    while (t < entries.size() && !(sum < entries[t])) sum.value += entries[t++].value;
    if (std::abs(sum.value) > drop) entries[kept++] = sum;
  }
  entries.erase(entries.begin() + ptrdiff_t(kept), entries.end());
  mm_vector<int32_t> vars(at);
  vars.reserve(2 * kept);
  for (const entry& e : entries) vars.push_back(e.row), vars.push_back(e.col);
  std::sort(vars.begin(), vars.end());
  vars.erase(std::unique(vars.begin(), vars.end()), vars.end());
  const auto number = [&](int32_t j) {
    return int32_t(std::lower_bound(vars.begin(), vars.end(), j) - vars.begin());
  };
  spmat low(at);
  low.nrow = low.ncol = int32_t(vars.size());
  low.ptr.assign(vars.size() + 1, 0);
  low.sub.reserve(kept);
  low.val.reserve(kept);
  for (const entry& e : entries) {
    low.sub.push_back(number(e.row));
    low.val.push_back(e.value);
    ++low.ptr[number(e.col) + 1];
  }
  for (size_t j = 0; j < vars.size(); ++j) low.ptr[j + 1] += low.ptr[j];
  form.vars.swap(vars);
  std::swap(form.low, low);
}

void quadform_product(const quad_form& form, std::span<const double> x, std::span<double> out) {
  const spmat& q = form.low;
  std::fill(out.begin(), out.end(), 0.0);
  for (int32_t j = 0; j < q.ncol; ++j) {
    const double xj = x[form.vars[j]];
    double sum = 0;
    for (ptrdiff_t p = q.ptr[j]; p < q.ptr[j + 1]; ++p) {
      const int32_t i = q.sub[p];
      sum += q.val[p] * x[form.vars[i]];
      if (i != j) out[i] += q.val[p] * xj;
    }
    out[j] += sum;
  }
}
