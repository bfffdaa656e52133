#include "zalvo/probmat.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace {

// What a mirror may cost after it was made, beyond one unit a nonzero: small matrices always keep
// both orientations.
constexpr int64_t freecredit = 1 << 14;

void drop(sprmat& a, bool& has) noexcept {
  has = false;
  sprmat empty(a.vec.get_allocator().place);
  empty.growtrh = a.growtrh;
  empty.addnum = a.addnum;
  a = std::move(empty);
}

// The other orientation follows a change of vector k of the leading one, or is dropped when that is
// too much work or there is no space for it.
struct mirror {
  sprmat* m = nullptr;  // null: none to follow
  bool* has = nullptr;
};
mirror mirror_of(probmat& a, acc mode) {
  if (mode == acc::var) return a.hasrow ? mirror{&a.row, &a.hasrow} : mirror{};
  return a.hascol ? mirror{&a.col, &a.hascol} : mirror{};
}

void follow_put(probmat& a, const mirror& other, const sprmat& lead, int32_t k,
                std::span<const int32_t> sub, std::span<const double> val) noexcept {
  if (other.m == nullptr) return;
  for (const int32_t s : sprmat_sub(lead, k)) a.credit -= sprmat_len(*other.m, s);
  a.credit -= int64_t(sub.size());
  if (a.credit < 0) return drop(*other.m, *other.has);
  for (const int32_t s : sprmat_sub(lead, k))
    sprmat_erase(*other.m, s, sprmat_find(*other.m, s, k));
  try {
    for (size_t p = 0; p < sub.size(); ++p) sprmat_add(*other.m, sub[p], k, val[p]);
  } catch (...) {
    drop(*other.m, *other.has);
  }
}

void grow_marks(probmat& a, size_t want) {
  if (want <= a.mark.size()) return;
  a.mark.resize(std::max(want, a.mark.size() * 3 / 2), 0);
}

bool is_increasing(std::span<const int32_t> sub) {
  return std::adjacent_find(sub.begin(), sub.end(), std::greater_equal<>()) == sub.end();
}

}  // namespace

void probmat_append(probmat& a, int32_t numcon, int32_t numvar) {
  grow_marks(a, size_t(std::max(a.numcon + numcon, a.numvar + numvar)));
  if (a.hascol) sprmat_append(a.col, numvar);
  try {
    if (a.hasrow) sprmat_append(a.row, numcon);
  } catch (...) {
    if (a.hascol) a.col.vec.resize(size_t(a.numvar), sprmat_vec{});
    throw;
  }
  a.numcon += numcon;
  a.numvar += numvar;
}

void probmat_setcap(probmat& a, ptrdiff_t cap) {
  sprmat_setcap(probmat_lead(a), cap);
  if (a.hascol && a.hasrow) drop(a.row, a.hasrow);  // it would have another capacity
}

const sprmat& probmat_by(probmat& a, acc mode) {
  if (mode == acc::var && !a.hascol) {
    sprmat_transpose(a.row, a.numvar, a.row.cap, a.col);
    a.hascol = true;
    a.credit = a.row.num + freecredit;
  }
  if (mode == acc::con && !a.hasrow) {
    sprmat_transpose(a.col, a.numcon, a.col.cap, a.row);
    a.hasrow = true;
    a.credit = a.col.num + freecredit;
  }
  return mode == acc::var ? a.col : a.row;
}

int32_t probmat_stamps(probmat& a, int32_t num) noexcept {
  if (num > std::numeric_limits<int32_t>::max() - a.stamp) {
    std::fill(a.mark.begin(), a.mark.end(), 0);
    a.stamp = 0;
  }
  a.stamp += num;
  return a.stamp - num + 1;
}

void probmat_put(probmat& a, acc mode, int32_t k, std::span<const int32_t> sub,
                 std::span<const double> val) {
  probmat_by(a, mode);
  sprmat& lead = mode == acc::var ? a.col : a.row;
  if (ptrdiff_t(sub.size()) > lead.vec[k].lim - lead.vec[k].beg) {
    sprmat_reserve(lead, ptrdiff_t(sub.size()));  // all that can fail, before anything changes
  }
  follow_put(a, mirror_of(a, mode), lead, k, sub, val);
  sprmat_put(lead, k, sub, val);
}

void probmat_set(probmat& a, int32_t i, int32_t j, double value) {
  if (a.hascol) {
    sprmat_set(a.col, j, i, value);
    if (!a.hasrow) return;
    try {
      sprmat_set(a.row, i, j, value);
    } catch (...) {
      drop(a.row, a.hasrow);
    }
  } else {
    sprmat_set(a.row, i, j, value);
  }
}

void probmat_erase(probmat& a, int32_t i, int32_t j) {
  if (a.hascol) {
    const ptrdiff_t p = sprmat_find(a.col, j, i);
    if (p >= 0) sprmat_erase(a.col, j, p);
  }
  if (a.hasrow) {
    const ptrdiff_t p = sprmat_find(a.row, i, j);
    if (p >= 0) sprmat_erase(a.row, i, p);
  }
}

double probmat_get(const probmat& a, int32_t i, int32_t j) {
  const sprmat& lead = probmat_lead(a);
  const ptrdiff_t p = a.hascol ? sprmat_find(lead, j, i) : sprmat_find(lead, i, j);
  return p >= 0 ? lead.val[p] : 0.0;
}

void probmat_remove(probmat& a, acc mode, std::span<const uint8_t> gone,
                    std::span<const int32_t> map) noexcept {
  sprmat& along = mode == acc::var ? a.col : a.row;
  sprmat& across = mode == acc::var ? a.row : a.col;
  if (mode == acc::var ? a.hascol : a.hasrow) sprmat_removevecs(along, gone);
  if (mode == acc::var ? a.hasrow : a.hascol) sprmat_renumber(across, map);
  const auto left = int32_t(std::count(gone.begin(), gone.end(), uint8_t{0}));
  (mode == acc::var ? a.numvar : a.numcon) = left;
}

void probmat_columns(const probmat& a, spmat& packed) {
  if (!a.hascol) {
    spmat rows(packed.ptr.get_allocator().place);
    sprmat_pack(a.row, a.numvar, rows);
    spmat_transpose(spmat_look(rows), packed);
    return;
  }
  sprmat_pack(a.col, a.numcon, packed);
  bool sorted = true;
  for (int32_t j = 0; j < packed.ncol && sorted; ++j) sorted = is_increasing(sprmat_sub(a.col, j));
  if (sorted) return;
  spmat rows(packed.ptr.get_allocator().place);
  spmat_transpose(spmat_look(packed), rows);
  spmat_transpose(spmat_look(rows), packed);
}
