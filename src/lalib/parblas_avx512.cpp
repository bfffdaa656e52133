// The families on processors with AVX-512.
#include <immintrin.h>

#include "lalib/parblas_body.h"

namespace {

// TILEV registers by TILEN columns are one tile, BLOCKM rows stay in the second-level cache.
template <int TILEV, int TILEN, int32_t BLOCKM>
struct avx512 {
  using vec = __m512d;
  using mask = __mmask8;
  static constexpr int width = 8;
  static constexpr int tilev = TILEV;
  static constexpr int tilen = TILEN;
  static constexpr int32_t blockm = BLOCKM;

  static mask tail(int32_t n) { return mask((1U << unsigned(n)) - 1U); }
  static vec zero() { return _mm512_setzero_pd(); }
  static vec bcast(double x) { return _mm512_set1_pd(x); }
  static vec load(const double* p) { return _mm512_loadu_pd(p); }
  static vec loadm(const double* p, mask m) { return _mm512_maskz_loadu_pd(m, p); }
  static void store(double* p, vec x) { _mm512_storeu_pd(p, x); }
  static void storem(double* p, mask m, vec x) { _mm512_mask_storeu_pd(p, m, x); }
  static vec add(vec x, vec y) { return x + y; }
  static vec mul(vec x, vec y) { return x * y; }
  static vec fnmadd(vec x, vec y, vec z) { return _mm512_fnmadd_pd(x, y, z); }
  static double sum(vec x) {
    const __m256d y =
        _mm512_maskz_extractf64x4_pd(0xf, x, 0) + _mm512_maskz_extractf64x4_pd(0xf, x, 1);
    const __m128d z = _mm256_castpd256_pd128(y) + _mm256_extractf128_pd(y, 1);
    return z[0] + z[1];
  }
};

}  // namespace

extern const parblas_family parblas_avx512[];
constinit const parblas_family parblas_avx512[] = {
#ifdef __x86_64__
    parblas_table<avx512<2, 8, 64>>(parblas_kind::p3, "AVX-512"),
    parblas_table<avx512<3, 8, 192>>(parblas_kind::p4, "AVX-512"),
    parblas_table<avx512<3, 8, 240>>(parblas_kind::aamd, "AVX-512"),
#else  // eight registers
    parblas_table<avx512<1, 4, 64>>(parblas_kind::p3, "AVX-512"),
    parblas_table<avx512<1, 4, 192>>(parblas_kind::p4, "AVX-512"),
    parblas_table<avx512<1, 4, 192>>(parblas_kind::aamd, "AVX-512"),
#endif
};
