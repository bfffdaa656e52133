// Response codes: the one return type of every function that can fail, from the sparse kernels up
// to the exported functions. Names, values, templates and descriptions stand in rescode.def.
#pragma once

#include <cstdint>

// clang-format off
enum class [[nodiscard]] rescode : int32_t {
#define ZLV_CODE(name, value, message, description) name = value,
#include "cpub/rescode.def"
#undef ZLV_CODE
};
// clang-format on
