#include "cpub/sysinfo-x86.h"

#include <cpuid.h>

#include <cstring>

namespace {

// For a processor that doesn't tell: the smallest of those served.
constexpr int32_t defaultl1 = 16, defaultl2 = 256;  // kilobytes

constexpr uint32_t extended = 0x80000000;  // leaves from here on are counted by themselves
enum reg { eax, ebx, ecx, edx };

constexpr uint32_t bits(uint32_t value, int first, int count) {
  return value >> first & ((1U << count) - 1);
}

struct identity {
  bool isintel = false, isamd = false;
  uint32_t maxleaf = 0, maxextended = 0;
  uint32_t family = 0;
  bool hassse2 = false;
};

identity identify(sysinfo_leaffn leaf) {
  identity id;
  const sysinfo_regs zero = leaf(0, 0);
  id.maxleaf = zero[eax];
  if (id.maxleaf == 0) return id;
  char vendor[12];
  std::memcpy(vendor, &zero[ebx], 4);
  std::memcpy(vendor + 4, &zero[edx], 4);
  std::memcpy(vendor + 8, &zero[ecx], 4);
  id.isintel = std::memcmp(vendor, "GenuineIntel", sizeof vendor) == 0;
  id.isamd = std::memcmp(vendor, "AuthenticAMD", sizeof vendor) == 0 ||
             std::memcmp(vendor, "HygonGenuine", sizeof vendor) == 0;
  const sysinfo_regs one = leaf(1, 0);
  id.family = bits(one[eax], 8, 4);
  if (id.family == 15) id.family += bits(one[eax], 20, 8);
  id.hassse2 = bits(one[edx], 26, 1) != 0;
  const sysinfo_regs ext = leaf(extended, 0);
  id.maxextended = ext[eax] >= extended ? ext[eax] : 0;
  return id;
}

sysinfo_type type_of(const identity& id) {
  if (id.maxleaf == 0) return sysinfo_type::unknown;
  if (id.isintel && id.family == 15) return sysinfo_type::intel_p4;
  // What came after the Pentium M is of its family and is served as it is.
  if (id.isintel && id.family == 6) {
    return id.hassse2 ? sysinfo_type::intel_pm : sysinfo_type::intel_p3;
  }
  if (id.isintel && id.family > 15) return sysinfo_type::intel_pm;
  if (id.isamd && id.family >= 15) return sysinfo_type::amd_opteron;
  if (id.isamd && id.family == 6) return sysinfo_type::amd_athlon;
  return sysinfo_type::generic;
}

struct caches {
  int32_t l1 = 0, l2 = 0;  // kilobytes, 0: not told
};

// The leaves that list every cache with its geometry: 4, and on newer AMD processors 0x8000001d.
caches from_list(sysinfo_leaffn leaf, uint32_t number) {
  constexpr uint32_t maxcache = 16;  // more than any processor has
  constexpr uint32_t data = 1, unified = 3;
  caches found;
  for (uint32_t k = 0; k < maxcache; ++k) {
    const sysinfo_regs r = leaf(number, k);
    const uint32_t kind = bits(r[eax], 0, 5), level = bits(r[eax], 5, 3);
    if (kind == 0) break;
    if (kind != data && kind != unified) continue;
    const uint64_t bytes = uint64_t(bits(r[ebx], 22, 10) + 1) * (bits(r[ebx], 12, 10) + 1) *
                           (bits(r[ebx], 0, 12) + 1) * (uint64_t(r[ecx]) + 1);
    if (level == 1) found.l1 = int32_t(bytes / 1024);
    if (level == 2) found.l2 = int32_t(bytes / 1024);
  }
  return found;
}

struct descriptor {
  uint8_t code, level;
  int16_t size;  // kilobytes
};
// One-byte descriptors of leaf 2, for the processors that have no leaf 4.
constexpr descriptor descriptors[] = {
    {0x0a, 1, 8},    {0x0c, 1, 16},  {0x2c, 1, 32},  {0x60, 1, 16},   {0x66, 1, 8},
    {0x67, 1, 16},   {0x68, 1, 32},  {0x39, 2, 128}, {0x3b, 2, 128},  {0x3c, 2, 256},
    {0x41, 2, 128},  {0x42, 2, 256}, {0x43, 2, 512}, {0x44, 2, 1024}, {0x45, 2, 2048},
    {0x78, 2, 1024}, {0x79, 2, 128}, {0x7a, 2, 256}, {0x7b, 2, 512},  {0x7c, 2, 1024},
    {0x7d, 2, 2048}, {0x7f, 2, 512}, {0x82, 2, 256}, {0x83, 2, 512},  {0x84, 2, 1024},
    {0x85, 2, 2048}, {0x86, 2, 512}, {0x87, 2, 1024}};

caches from_descriptors(sysinfo_leaffn leaf) {
  caches found;
  sysinfo_regs r = leaf(2, 0);
  r[eax] &= ~0xffU;  // its lowest byte is a count
  for (const uint32_t word : r) {
    if (bits(word, 31, 1) != 0) continue;  // holds no descriptors
    for (int shift = 0; shift < 32; shift += 8) {
      for (const descriptor& d : descriptors) {
        if (d.code == bits(word, shift, 8)) (d.level == 1 ? found.l1 : found.l2) = d.size;
      }
    }
  }
  return found;
}

caches caches_of(const identity& id, sysinfo_leaffn leaf) {
  constexpr uint32_t amdlist = extended + 0x1d, amdl1 = extended + 5, amdl2 = extended + 6;
  caches found;
  if (id.isamd && id.maxextended >= amdlist) found = from_list(leaf, amdlist);
  if (id.isamd && found.l1 == 0 && id.maxextended >= amdl2) {
    found.l1 = int32_t(bits(leaf(amdl1, 0)[ecx], 24, 8));
    found.l2 = int32_t(bits(leaf(amdl2, 0)[ecx], 16, 16));
  }
  if (!id.isamd && id.maxleaf >= 4) found = from_list(leaf, 4);
  if (!id.isamd && found.l1 == 0 && id.maxleaf >= 2) found = from_descriptors(leaf);
  return found;
}

}  // namespace

sysinfo_regs sysinfo_cpuid(uint32_t leaf, uint32_t subleaf) noexcept {
  sysinfo_regs r{};
  if (__get_cpuid_count(leaf, subleaf, &r[eax], &r[ebx], &r[ecx], &r[edx]) == 0) return {};
  return r;
}

sysinfo_cpu sysinfo_detect(const sysinfo_cpu& asked, sysinfo_leaffn leaf) {
  const identity id = identify(leaf);
  const caches found = caches_of(id, leaf);
  sysinfo_cpu cpu = asked;
  if (cpu.type == int32_t(sysinfo_type::unknown)) cpu.type = int32_t(type_of(id));
  if (cpu.sizel1 == -1) cpu.sizel1 = found.l1 > 0 ? found.l1 : defaultl1;
  if (cpu.sizel2 == -1) cpu.sizel2 = found.l2 > 0 ? found.l2 : defaultl2;
  return cpu;
}
