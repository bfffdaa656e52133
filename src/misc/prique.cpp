#include "misc/prique.h"

prique::prique(int32_t n, mm_place at)
    : head(prique_numbucket, -1, at),
      used((prique_numbucket + 63) / 64, 0, at),
      next(n, -1, at),
      prev(n, -1, at),
      bucket(n, -1, at) {}

int32_t prique_check(const prique& q) {
  const auto n = int32_t(q.bucket.size());
  int32_t seen = 0;
  for (int32_t b = 0; b < prique_numbucket; ++b) {
    const bool bit = ((q.used[b >> 6] >> (b & 63)) & 1) != 0;
    if (bit != (q.head[b] >= 0)) return bit ? 0 : q.head[b];
    if (bit && (b >> 6) < q.low) return q.head[b];
    int32_t before = -1;
    for (int32_t i = q.head[b]; i >= 0; before = i, i = q.next[i]) {
      if (q.bucket[i] != b || q.prev[i] != before || ++seen > n) return i;
    }
  }
  int32_t inqueue = 0;
  for (int32_t i = 0; i < n; ++i) inqueue += q.bucket[i] >= 0 ? 1 : 0;
  return seen == q.count && seen == inqueue ? -1 : 0;
}
