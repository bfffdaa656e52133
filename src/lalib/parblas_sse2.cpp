// The families with the instructions of every processor that we build for: SSE2.
#include <emmintrin.h>

#include "lalib/parblas_body.h"

namespace {

// TILEV registers by TILEN columns are one tile, BLOCKM rows stay in the second-level cache.
template <int TILEV, int TILEN, int32_t BLOCKM>
struct sse2 {
  using vec = __m128d;
  using mask = bool;  // both lanes
  static constexpr int width = 2;
  static constexpr int tilev = TILEV;
  static constexpr int tilen = TILEN;
  static constexpr int32_t blockm = BLOCKM;

  static mask tail(int32_t n) { return n > 1; }
  static vec zero() { return _mm_setzero_pd(); }
  static vec bcast(double x) { return _mm_set1_pd(x); }
  static vec load(const double* p) { return _mm_loadu_pd(p); }
  static vec loadm(const double* p, mask both) { return both ? _mm_loadu_pd(p) : _mm_load_sd(p); }
  static void store(double* p, vec x) { _mm_storeu_pd(p, x); }
  static void storem(double* p, mask both, vec x) {
    if (both) {
      _mm_storeu_pd(p, x);
    } else {
      _mm_store_sd(p, x);
    }
  }
  static vec add(vec x, vec y) { return x + y; }
  static vec mul(vec x, vec y) { return x * y; }
  static vec fnmadd(vec x, vec y, vec z) { return z - x * y; }
  static double sum(vec x) { return x[0] + x[1]; }
};

}  // namespace

extern const parblas_family parblas_sse2[];
constinit const parblas_family parblas_sse2[] = {
#ifdef __x86_64__
    parblas_table<sse2<2, 4, 128>>(parblas_kind::generic, "SSE2"),
    parblas_table<sse2<2, 4, 64>>(parblas_kind::p3, "SSE2"),
    parblas_table<sse2<2, 6, 128>>(parblas_kind::p4, "SSE2"),
    parblas_table<sse2<3, 4, 96>>(parblas_kind::aamd, "SSE2"),
#else  // eight registers
    parblas_table<sse2<2, 2, 128>>(parblas_kind::generic, "SSE2"),
    parblas_table<sse2<1, 4, 64>>(parblas_kind::p3, "SSE2"),
    parblas_table<sse2<2, 2, 128>>(parblas_kind::p4, "SSE2"),
    parblas_table<sse2<1, 4, 96>>(parblas_kind::aamd, "SSE2"),
#endif
};
