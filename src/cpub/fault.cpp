#include "cpub/fault.h"

#include <cstdarg>
#include <cstdio>

void fault_raise(fault_place place, const char* form, ...) {
  internal_fault fault{place.file, place.line, {}};
  va_list args;
  va_start(args, form);
  std::vsnprintf(fault.text, sizeof fault.text, form, args);
  va_end(args);
  throw fault;
}
