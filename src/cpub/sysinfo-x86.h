// Processor type and cache sizes of an x86 processor, from its identification instruction.
#pragma once

#include <array>
#include <cstdint>

// eax, ebx, ecx, edx of a leaf and its subleaf; zeros for a leaf that the processor doesn't have.
using sysinfo_regs = std::array<uint32_t, 4>;
using sysinfo_leaffn = sysinfo_regs (*)(uint32_t leaf, uint32_t subleaf);
sysinfo_regs sysinfo_cpuid(uint32_t leaf, uint32_t subleaf) noexcept;

enum class sysinfo_type : int32_t {  // values of ZLV_CPU_*
  unknown = 0,
  generic = 1,
  intel_p3 = 2,
  intel_p4 = 3,
  amd_athlon = 4,
  amd_opteron = 7,
  intel_pm = 9
};

struct sysinfo_cpu {
  int32_t type = 0;                  // sysinfo_type or another ZLV_CPU_*; unknown: detect
  int32_t sizel1 = -1, sizel2 = -1;  // kilobytes, data of one core; -1: detect
};

// sysinfo_detect: what was asked for, with the members that say "detect" filled in.
sysinfo_cpu sysinfo_detect(const sysinfo_cpu& asked, sysinfo_leaffn leaf = sysinfo_cpuid);
