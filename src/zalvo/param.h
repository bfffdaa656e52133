// Numbers and values of the parameters and information items. The tables are param.def and
// infitem.def; names, ranges and look-ups are in paramtab.h, checked access in paramput.h.
#pragma once

#include <array>
#include <cstdint>

#include "cpub/memman.h"

namespace ipar {
enum : int32_t {
#define ZLV_IPAR(name, number, value, check, lower, upper, family, text) name = number,
#include "zalvo/param.def"
  count = 168
};
}  // namespace ipar
namespace dpar {
enum : int32_t {
#define ZLV_DPAR(name, number, value, check, lower, upper, text) name = number,
#include "zalvo/param.def"
  count = 59
};
}  // namespace dpar
namespace spar {
enum : int32_t {
#define ZLV_SPAR(name, number, value, text) name = number,
#include "zalvo/param.def"
  count = 25
};
}  // namespace spar
namespace iinf {
enum : int32_t {
#define ZLV_IINF(name, number, text) name = number,
#include "zalvo/infitem.def"
  count = 133
};
}  // namespace iinf
namespace dinf {
enum : int32_t {
#define ZLV_DINF(name, number, text) name = number,
#include "zalvo/infitem.def"
  count = 84
};
}  // namespace dinf

// One value per parameter: the environment's are the defaults, a task's are its settings.
struct param_values {
  std::array<int32_t, ipar::count> i{};
  std::array<double, dpar::count> d{};
  mm_vector<mm_string> s;  // spar::count once param_reset was called
  explicit param_values(mm_place at) : s(at) {}
};

// param_reset: every parameter gets the default of the table.
void param_reset(param_values& par);
// param_copy: the values of from, in the memory manager of to. to is as before when it throws.
void param_copy(param_values& to, const param_values& from);

// Results of the last run, public items first.
struct inf_values {
  std::array<int32_t, iinf::count> i{};
  std::array<double, dinf::count> d{};
};
