#include "zalvo/param.h"

void param_reset(param_values& par) {
  const mm_place at = par.s.get_allocator().place;
  mm_vector<mm_string> strings(at);
  strings.reserve(spar::count);
#define ZLV_SPAR(name, number, value, text) strings.emplace_back(value, mm_alloc<char>(at));
#include "zalvo/param.def"
  par.s.swap(strings);
#define ZLV_IPAR(name, number, value, check, lower, upper, family, text) par.i[number] = value;
#define ZLV_DPAR(name, number, value, check, lower, upper, text) par.d[number] = value;
#include "zalvo/param.def"
}

void param_copy(param_values& to, const param_values& from) {
  const mm_place at = to.s.get_allocator().place;
  mm_vector<mm_string> strings(at);
  strings.reserve(from.s.size());
  for (const mm_string& text : from.s) {
    strings.emplace_back(text.c_str(), text.size(), mm_alloc<char>(at));
  }
  to.s.swap(strings);
  to.i = from.i;
  to.d = from.d;
}
