#include "lalib/parblas.h"

#include <algorithm>
#include <array>

#include "lalib/parblas_body.h"

// By parblas_kind; the wider instructions have no generic family.
extern const parblas_family parblas_sse2[4], parblas_avx2[3], parblas_avx512[3];

namespace {

// The compiler's own test reads the processor's identification and whether the system saves the
// wide registers.
bool has_avx2() noexcept {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
}
bool has_avx512() noexcept {
  __builtin_cpu_init();
  return has_avx2() && __builtin_cpu_supports("avx512f") != 0 &&
         __builtin_cpu_supports("avx512dq") != 0;
}

parblas_kind kind_of(int32_t cputype) noexcept {
  using enum parblas_kind;
  constexpr std::array<parblas_kind, 10> kinds = {
      // ZLV_CPU_*
      generic, generic, p3, p4, aamd, generic, generic, aamd, generic, p4};
  if (cputype > 0 && size_t(cputype) < kinds.size()) return kinds[size_t(cputype)];
  __builtin_cpu_init();
  if (__builtin_cpu_is("intel") != 0) return p4;
  return __builtin_cpu_is("amd") != 0 ? aamd : generic;
}

}  // namespace

const parblas_family* parblas_get(int32_t number) noexcept {
  if (number >= 0 && number < 4) return &parblas_sse2[number];
  if (number >= 4 && number < 7 && has_avx2()) return &parblas_avx2[number - 4];
  if (number >= 7 && number < 10 && has_avx512()) return &parblas_avx512[number - 7];
  return nullptr;
}

const parblas_family& parblas_choose(int32_t cputype) noexcept {
  const parblas_kind kind = kind_of(cputype);
  const auto k = int32_t(kind);
  if (kind == parblas_kind::generic) return parblas_sse2[0];
  if (has_avx512()) return parblas_avx512[k - 1];
  return has_avx2() ? parblas_avx2[k - 1] : parblas_sse2[k];
}

const char* parblas_name(parblas_kind kind) noexcept {
  constexpr std::array<const char*, 4> names = {"generic", "P3", "P4", "AAMD"};
  return names[size_t(kind)];
}

int32_t parblas_blockm(const parblas_family& family, int32_t cachel2) noexcept {
  // Half of the cache for the block of A, the rest for B and C.
  constexpr int32_t rowsize = parblas_blockk * int32_t(sizeof(double)) / 1024;  // kilobytes
  const int32_t rows = std::clamp(cachel2, 0, 1 << 20) / (2 * rowsize);
  return std::max(2, rows / family.tilem) * family.tilem;
}

ptrdiff_t parblas_worksize(int32_t n, int32_t k) noexcept {
  constexpr int32_t widest = 16;  // columns of the widest register tile
  const int32_t nb = std::min(n, parblas_blockn) + widest;
  return ptrdiff_t(nb) * std::min(k, parblas_blockk);
}
