// The families on processors with AVX2 and fused multiply-add.
#include <immintrin.h>

#include "lalib/parblas_body.h"

namespace {

alignas(32) constexpr long long lanes[8] = {-1, -1, -1, -1, 0, 0, 0, 0};

// TILEV registers by TILEN columns are one tile, BLOCKM rows stay in the second-level cache.
template <int TILEV, int TILEN, int32_t BLOCKM>
struct avx2 {
  using vec = __m256d;
  using mask = __m256i;
  static constexpr int width = 4;
  static constexpr int tilev = TILEV;
  static constexpr int tilen = TILEN;
  static constexpr int32_t blockm = BLOCKM;

  static mask tail(int32_t n) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lanes + 4 - n));
  }
  static vec zero() { return _mm256_setzero_pd(); }
  static vec bcast(double x) { return _mm256_set1_pd(x); }
  static vec load(const double* p) { return _mm256_loadu_pd(p); }
  static vec loadm(const double* p, mask m) { return _mm256_maskload_pd(p, m); }
  static void store(double* p, vec x) { _mm256_storeu_pd(p, x); }
  static void storem(double* p, mask m, vec x) { _mm256_maskstore_pd(p, m, x); }
  static vec add(vec x, vec y) { return x + y; }
  static vec mul(vec x, vec y) { return x * y; }
  static vec fnmadd(vec x, vec y, vec z) { return _mm256_fnmadd_pd(x, y, z); }
  static double sum(vec x) {
    const __m128d y = _mm256_castpd256_pd128(x) + _mm256_extractf128_pd(x, 1);
    return y[0] + y[1];
  }
};

}  // namespace

extern const parblas_family parblas_avx2[];
constinit const parblas_family parblas_avx2[] = {
#ifdef __x86_64__
    parblas_table<avx2<2, 4, 64>>(parblas_kind::p3, "AVX2"),
    parblas_table<avx2<3, 4, 144>>(parblas_kind::p4, "AVX2"),
    parblas_table<avx2<2, 6, 144>>(parblas_kind::aamd, "AVX2"),
#else  // eight registers
    parblas_table<avx2<1, 4, 64>>(parblas_kind::p3, "AVX2"),
    parblas_table<avx2<2, 2, 144>>(parblas_kind::p4, "AVX2"),
    parblas_table<avx2<1, 4, 144>>(parblas_kind::aamd, "AVX2"),
#endif
};
