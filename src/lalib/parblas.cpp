#include "lalib/parblas.h"

#include <algorithm>

#include "lalib/parblas_body.h"

extern const parblas_family parblas_generic, parblas_avx2, parblas_avx512;

namespace {

constexpr int32_t cpu_generic = 1;  // ZLV_CPU_GENERIC

// The compiler's own test reads the processor's identification and whether the system saves the
// wide registers.
bool has_avx2() noexcept {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
}
bool has_avx512() noexcept {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0;
}

}  // namespace

const parblas_family* parblas_get(int32_t number) noexcept {
  const parblas_family* found[3] = {&parblas_generic};
  int32_t count = 1;
  if (has_avx2()) found[count++] = &parblas_avx2;
  if (has_avx512()) found[count++] = &parblas_avx512;
  return number >= 0 && number < count ? found[number] : nullptr;
}

const parblas_family& parblas_choose(int32_t cputype) noexcept {
  const parblas_family* best = parblas_get(0);
  if (cputype == cpu_generic) return *best;
  for (int32_t k = 1; const parblas_family* next = parblas_get(k); ++k) best = next;
  return *best;
}

ptrdiff_t parblas_worksize(int32_t n, int32_t k) noexcept {
  constexpr int32_t widest = 16;  // columns of the widest register tile
  const int32_t nb = std::min(n, parblas_blockn) + widest;
  return ptrdiff_t(nb) * std::min(k, parblas_blockk);
}
