// Internal faults: what only a bug of this library can cause. Raised anywhere, they travel as an
// exception to the exported function, which reports them, calls the environment's exit function
// and, if that returns, ends with the internal-error code.
#pragma once

#include <cstdint>

struct internal_fault {
  const char* file;  // a literal
  int32_t line;
  char text[256];  // without a newline; longer texts are cut
};

struct fault_place {
  const char* file;
  int32_t line;
};
inline fault_place fault_here(const char* file = __builtin_FILE(),
                              int32_t line = __builtin_LINE()) noexcept {
  return {file, line};
}

// fault_raise(fault_here(), "Mismatch numcon: %d numrow: %d", m, n)
[[noreturn]] void fault_raise(fault_place place, const char* form, ...)
    __attribute__((format(printf, 2, 3)));

// fault_check: an assertion that stays in release builds: for the borders of phases, not for loops.
inline void fault_check(bool holds,
                        fault_place place = fault_here(__builtin_FILE(), __builtin_LINE())) {
  if (!holds) [[unlikely]] {
    fault_raise(place, "Assertion failed at %s (%d).", place.file, place.line);
  }
}
