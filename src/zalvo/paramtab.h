// The registry of parameters and information items: names, defaults, ranges and families by number,
// and numbers by name. Compiled in; made of param.def and infitem.def.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "cpub/rescode.h"
#include "zalvo/symbcon.h"

// Which bounds of a parameter are checked.
enum class param_check : int32_t { lower = 0, upper = 1, none = 3, both = 4 };

struct param_introw {
  char name[symbcon_row::slot];
  int32_t value;  // default
  param_check check;
  int32_t lower, upper;
  symgroup family;  // what names its values
};
struct param_dourow {
  char name[symbcon_row::slot];
  double value;
  param_check check;
  double lower, upper;
};
struct param_strrow {
  char name[symbcon_row::slot];
  const char* value;
};
struct inf_row {
  char name[symbcon_row::slot];
};

std::span<const param_introw> param_introws() noexcept;
std::span<const param_dourow> param_dourows() noexcept;
std::span<const param_strrow> param_strrows() noexcept;
std::span<const inf_row> inf_introws() noexcept;
std::span<const inf_row> inf_dourows() noexcept;

// Name look-ups: the number, or -1 for an unknown name.
int32_t param_findint(std::string_view name) noexcept;
int32_t param_finddou(std::string_view name) noexcept;
int32_t param_findstr(std::string_view name) noexcept;
int32_t inf_findint(std::string_view name) noexcept;
int32_t inf_finddou(std::string_view name) noexcept;

struct param_id {
  int32_t type;    // ZLV_PAR_*; ZLV_PAR_INVALID_TYPE for an unknown name
  int32_t number;  // -1 for an unknown name
};
// param_find: among all three types; ignorecase takes letters of either case as the same.
param_id param_find(std::string_view name, bool ignorecase = false) noexcept;

// param_name: the full name; null when there is no such type or number.
const char* param_name(param_id id) noexcept;
// param_count: how many parameters a type has; -1 when there is no such type.
int32_t param_count(int32_t type) noexcept;
// param_nearest, inf_nearest: the name nearest to an unknown one, null when none is near.
// ZLV_PAR_INVALID_TYPE stands for all types of parameters.
const char* param_nearest(std::string_view name, int32_t type) noexcept;
const char* inf_nearest(std::string_view name, int32_t type) noexcept;

// In range, or what a message calls the fault: err_param_is_too_small or err_param_is_too_large.
rescode param_range(const param_introw& row, int32_t value) noexcept;
rescode param_range(const param_dourow& row, double value) noexcept;
