// Processor types and cache sizes from recorded identification leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "cpub/sysinfo-x86.h"

namespace {

using leaf_map = std::map<std::pair<uint32_t, uint32_t>, sysinfo_regs>;

const leaf_map* current = nullptr;  // what the stand-in processor below answers

sysinfo_regs answer(uint32_t leaf, uint32_t subleaf) {
  const auto found = current->find({leaf, subleaf});
  return found != current->end() ? found->second : sysinfo_regs{};
}

sysinfo_regs vendor(uint32_t maxleaf, const char* name) {
  sysinfo_regs r{maxleaf, 0, 0, 0};
  std::copy_n(name, 4, reinterpret_cast<char*>(&r[1]));
  std::copy_n(name + 4, 4, reinterpret_cast<char*>(&r[3]));
  std::copy_n(name + 8, 4, reinterpret_cast<char*>(&r[2]));
  return r;
}

// A cache of leaf 4 and its like: kind 1 data, 2 code, 3 unified.
sysinfo_regs cache(uint32_t kind, uint32_t level, uint32_t ways, uint32_t line, uint32_t sets) {
  return {kind | level << 5, (ways - 1) << 22 | (line - 1), sets - 1, 0};
}

constexpr uint32_t sse2 = 1U << 26;

struct cpu_case {
  const char* name;
  leaf_map leaves;
  int32_t type, sizel1, sizel2;
};

}  // namespace

TEST(Sysinfo, KnowsItsProcessors) {
  // clang-format off
  const cpu_case cases[] = {
    {"None", {}, 0, 16, 256},
    {"PentiumIII", {{{0, 0}, vendor(2, "GenuineIntel")}, {{1, 0}, {0x68a, 0, 0, 0}},
                    {{2, 0}, {0x03020101, 0, 0, 0x0c040882}}}, 2, 16, 256},
    {"Pentium4", {{{0, 0}, vendor(2, "GenuineIntel")}, {{1, 0}, {0xf24, 0, 0, sse2}},
                  {{2, 0}, {0x665b5001, 0, 0, 0x007b7040}}}, 3, 8, 512},
    {"PentiumM", {{{0, 0}, vendor(2, "GenuineIntel")}, {{1, 0}, {0x695, 0, 0, sse2}},
                  {{2, 0}, {0x02b3b001, 0xf0, 0, 0x2c04307d}}}, 9, 32, 2048},
    {"IntelWithList", {{{0, 0}, vendor(22, "GenuineIntel")}, {{1, 0}, {0x506e3, 0, 0, sse2}},
                  {{4, 0}, cache(1, 1, 8, 64, 64)}, {{4, 1}, cache(2, 1, 8, 64, 64)},
                  {{4, 2}, cache(3, 2, 4, 64, 1024)}, {{4, 3}, cache(3, 3, 16, 64, 8192)}}, 9, 32, 256},
    {"Athlon", {{{0, 0}, vendor(1, "AuthenticAMD")}, {{1, 0}, {0x662, 0, 0, 0}},
                {{0x80000000, 0}, {0x80000008, 0, 0, 0}}, {{0x80000005, 0}, {0, 0, 0x40020140, 0}},
                {{0x80000006, 0}, {0, 0, 0x01008140, 0}}}, 4, 64, 256},
    {"Opteron", {{{0, 0}, vendor(1, "AuthenticAMD")}, {{1, 0}, {0xf5a, 0, 0, sse2}},
                 {{0x80000000, 0}, {0x80000018, 0, 0, 0}}, {{0x80000005, 0}, {0, 0, 0x40020140, 0}},
                 {{0x80000006, 0}, {0, 0, 0x04008140, 0}}}, 7, 64, 1024},
    {"AmdWithList", {{{0, 0}, vendor(16, "AuthenticAMD")}, {{1, 0}, {0x870f10, 0, 0, sse2}},
                 {{0x80000000, 0}, {0x80000020, 0, 0, 0}}, {{0x8000001d, 0}, cache(1, 1, 8, 64, 64)},
                 {{0x8000001d, 1}, cache(3, 2, 8, 64, 1024)}}, 7, 32, 512},
    {"Other", {{{0, 0}, vendor(1, "CentaurHauls")}, {{1, 0}, {0x6fa, 0, 0, sse2}}}, 1, 16, 256},
  };
  // clang-format on
  for (const cpu_case& c : cases) {
    current = &c.leaves;
    const sysinfo_cpu cpu = sysinfo_detect({}, answer);
    EXPECT_EQ(cpu.type, c.type) << c.name;
    EXPECT_EQ(cpu.sizel1, c.sizel1) << c.name;
    EXPECT_EQ(cpu.sizel2, c.sizel2) << c.name;
    const sysinfo_cpu given = sysinfo_detect({4, 48, -1}, answer);  // only what is asked for
    EXPECT_EQ(given.type, 4) << c.name;
    EXPECT_EQ(given.sizel1, 48) << c.name;
    EXPECT_EQ(given.sizel2, c.sizel2) << c.name;
  }
}

TEST(Sysinfo, ThisProcessorHasCaches) {
  const sysinfo_cpu cpu = sysinfo_detect({});
  EXPECT_NE(cpu.type, 0);
  EXPECT_GE(cpu.sizel1, 8);
  EXPECT_LE(cpu.sizel1, 1024);
  EXPECT_GE(cpu.sizel2, cpu.sizel1);
}
