#include "zalvo/nearest.h"

#include <algorithm>
#include <array>

namespace {

constexpr size_t maxlen = 96;     // no name of the library is longer; longer texts are near to none
constexpr size_t prefixlen = 9;   // of ZLV_IPAR_, ZLV_DINF_ and their like
constexpr int32_t editshare = 4;  // one edit in so many letters still counts as near

char lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

// Insertions, deletions and replacements that make b of a (Levenshtein), row by row.
int32_t edit_distance(std::string_view a, std::string_view b) noexcept {
  std::array<int32_t, maxlen + 1> row;  // of the first letters of a against all starts of b
  for (size_t k = 0; k <= b.size(); ++k) row[k] = int32_t(k);
  for (size_t i = 0; i < a.size(); ++i) {
    int32_t diagonal = row[0];
    row[0] = int32_t(i) + 1;
    for (size_t k = 0; k < b.size(); ++k) {
      const int32_t replaced = diagonal + (lower(a[i]) == lower(b[k]) ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({replaced, row[k] + 1, diagonal + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

void nearest_offer(nearest_name& search, const char* name) noexcept {
  const std::string_view full(name);
  if (search.wanted.size() > maxlen || full.size() > maxlen) return;
  int32_t distance = edit_distance(search.wanted, full);
  if (full.size() > prefixlen) {
    distance = std::min(distance, edit_distance(search.wanted, full.substr(prefixlen)));
  }
  if (distance > 1 + int32_t(search.wanted.size()) / editshare) return;
  if (search.name != nullptr && distance >= search.distance) return;
  search.name = name;
  search.distance = distance;
}
