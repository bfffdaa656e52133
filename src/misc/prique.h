// Priority queue of nodes 0..n-1 with integer keys: buckets of doubly linked lists, so that insert,
// update and remove are O(1) and the smallest key is found in a bitmap of the buckets in use.
// Keys below prique_exact have a bucket each; larger ones share 64 buckets per power of two. Ties
// (equal bucket) are last in, first out.
#pragma once

#include <bit>
#include <cstdint>

#include "cpub/memman.h"

constexpr int64_t prique_exact = 4096;  // a power of two
constexpr int32_t prique_perpower = 64;
constexpr int32_t prique_exactbits = 12;
static_assert(prique_exact == int64_t(1) << prique_exactbits);
constexpr int32_t prique_numbucket =
    int32_t(prique_exact) + (63 - prique_exactbits) * prique_perpower;

struct prique {
  mm_vector<int32_t> head;        // prique_numbucket; first node of a bucket or -1
  mm_vector<uint64_t> used;       // one bit per bucket that is not empty
  mm_vector<int32_t> next, prev;  // n; neighbours in the bucket or -1
  mm_vector<int32_t> bucket;      // n; bucket of a node, -1 when it is not in the queue
  int32_t low = 0;                // no word of used below this one has a bit
  int32_t count = 0;              // nodes in the queue
  explicit prique(int32_t n, mm_place at);
};

// prique_bucketof: the bucket of a key >= 0. Never decreasing in the key.
constexpr int32_t prique_bucketof(int64_t key) {
  if (key < prique_exact) return int32_t(key);
  const int32_t power = 63 - std::countl_zero(uint64_t(key));  // >= prique_exactbits
  const auto part = int32_t(uint64_t(key) >> (power - 6)) & (prique_perpower - 1);
  return int32_t(prique_exact) + (power - prique_exactbits) * prique_perpower + part;
}

// prique_insert: adds a node that is not in the queue.
inline void prique_insert(prique& q, int32_t node, int64_t key) {
  const int32_t b = prique_bucketof(key);
  const int32_t first = q.head[b];
  q.next[node] = first;
  q.prev[node] = -1;
  if (first >= 0) q.prev[first] = node;
  q.head[b] = node;
  q.bucket[node] = b;
  q.used[b >> 6] |= uint64_t(1) << (b & 63);
  if ((b >> 6) < q.low) q.low = b >> 6;
  ++q.count;
}

// prique_remove: takes a node out; nothing happens when it is not in the queue.
inline void prique_remove(prique& q, int32_t node) {
  const int32_t b = q.bucket[node];
  if (b < 0) return;
  const int32_t before = q.prev[node];
  const int32_t after = q.next[node];
  if (after >= 0) q.prev[after] = before;
  if (before >= 0) {
    q.next[before] = after;
  } else {
    q.head[b] = after;
    if (after < 0) q.used[b >> 6] &= ~(uint64_t(1) << (b & 63));
  }
  q.bucket[node] = -1;
  --q.count;
}

// prique_update: the node, in the queue or not, is in it with this key afterwards.
inline void prique_update(prique& q, int32_t node, int64_t key) {
  prique_remove(q, node);
  prique_insert(q, node, key);
}

// prique_min: a node of the smallest bucket, which stays in the queue; -1 when the queue is empty.
inline int32_t prique_min(prique& q) {
  if (q.count == 0) return -1;
  while (q.used[q.low] == 0) ++q.low;
  return q.head[(q.low << 6) + std::countr_zero(q.used[q.low])];
}

// prique_check: the first node at which lists, buckets and bitmap disagree, or -1. O(n).
int32_t prique_check(const prique& q);
