// The generic family: SSE2, which every x86 processor that we build for has.
#include <emmintrin.h>

#include "lalib/parblas_body.h"

namespace {

struct generic {
  using vec = __m128d;
  using mask = bool;  // both lanes
  static constexpr int width = 2;
  static constexpr int tilev = 2;
#ifdef __x86_64__
  static constexpr int tilen = 4;
#else
  static constexpr int tilen = 2;  // eight registers
#endif
  static constexpr int32_t blockm = 128;

  static mask tail(int32_t n) {
    return n > 1;
  }
  static vec zero() {
    return _mm_setzero_pd();
  }
  static vec bcast(double x) {
    return _mm_set1_pd(x);
  }
  static vec load(const double* p) {
    return _mm_loadu_pd(p);
  }
  static vec loadm(const double* p, mask both) {
    return both ? _mm_loadu_pd(p) : _mm_load_sd(p);
  }
  static void store(double* p, vec x) {
    _mm_storeu_pd(p, x);
  }
  static void storem(double* p, mask both, vec x) {
    if (both) {
      _mm_storeu_pd(p, x);
    } else {
      _mm_store_sd(p, x);
    }
  }
  static vec add(vec x, vec y) {
    return x + y;
  }
  static vec mul(vec x, vec y) {
    return x * y;
  }
  static vec fnmadd(vec x, vec y, vec z) {
    return z - x * y;
  }
  static double sum(vec x) {
    return x[0] + x[1];
  }
};

}  // namespace

extern const parblas_family parblas_generic;
constinit const parblas_family parblas_generic = parblas_table<generic>("generic");
