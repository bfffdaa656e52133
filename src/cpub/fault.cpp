#include "cpub/fault.h"

#include <cstdarg>
#include <cstdio>

namespace {
internal_fault fault_of(fault_place place, const char* form, va_list args) noexcept {
  internal_fault fault{place.file, place.line, {}};
  std::vsnprintf(fault.text, sizeof fault.text, form, args);
  return fault;
}
}  // namespace

void fault_raise(fault_place place, const char* form, ...) {
  va_list args;
  va_start(args, form);
  const internal_fault fault = fault_of(place, form, args);
  va_end(args);
  throw internal_fault(fault);
}
