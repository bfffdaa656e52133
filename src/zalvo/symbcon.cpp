#include "zalvo/symbcon.h"

#include <algorithm>
#include <array>

namespace {

constexpr symbcon_row make_row(std::string_view prefix, std::string_view name, int32_t value,
                               symgroup group) {
  symbcon_row row;
  sym_copyname(prefix, name, row.name);
  row.value = value;
  row.group = group;
  return row;
}

// The rows of every table; gathered below in the order of the groups.
constexpr symbcon_row table_rows[] = {
#define ZLV_ENUM(id, name, value) make_row("ZLV_", #name, value, symgroup::id),
#include "zalvo/symbcon.def"
#define ZLV_CODE(name, value, message, description) \
  make_row("ZLV_RES_", #name, value, symgroup::res),
#include "cpub/rescode.def"
#undef ZLV_CODE
#define ZLV_CALLBACK(name, value) make_row("ZLV_CALLBACK_", #name, value, symgroup::callback),
#include "cpub/callback.def"
#undef ZLV_CALLBACK
#define ZLV_IPAR(name, number, value, check, lower, upper, family, text) \
  make_row("ZLV_IPAR_", #name, number,                                   \
           symgroup::family == symgroup::reserved ? symgroup::reserved : symgroup::ipar),
#define ZLV_DPAR(name, number, value, check, lower, upper, text) \
  make_row("ZLV_DPAR_", #name, number, symgroup::dpar),
#define ZLV_SPAR(name, number, value, text) make_row("ZLV_SPAR_", #name, number, symgroup::spar),
#include "zalvo/param.def"
#define ZLV_IINF(name, number, text) make_row("ZLV_IINF_", #name, number, symgroup::iinf),
#define ZLV_DINF(name, number, text) make_row("ZLV_DINF_", #name, number, symgroup::dinf),
#include "zalvo/infitem.def"
};

constexpr bool is_listed(const symbcon_row& row) {
  return row.group < symgroup::none;
}

constexpr size_t num_listed() {
  return size_t(std::count_if(std::begin(table_rows), std::end(table_rows), is_listed));
}

struct symbcon_table {
  std::array<symbcon_row, num_listed()> rows;
  int32_t maxlen = 0;
};

constexpr symbcon_table gather() {
  symbcon_table table;
  std::array<size_t, size_t(symgroup::none) + 1> first{};  // of each group in rows
  for (const symbcon_row& row : table_rows) {
    if (is_listed(row)) ++first[size_t(row.group) + 1];
  }
  for (size_t g = 1; g < first.size(); ++g) first[g] += first[g - 1];
  for (const symbcon_row& row : table_rows) {
    if (!is_listed(row)) continue;
    table.rows[first[size_t(row.group)]++] = row;
    table.maxlen = std::max(table.maxlen, int32_t(std::string_view(row.name).size()));
  }
  return table;
}

constexpr symbcon_table table = gather();

}  // namespace

std::span<const symbcon_row> symbcon_rows() noexcept {
  return table.rows;
}

int32_t symbcon_maxlen() noexcept {
  return table.maxlen;
}

const symbcon_row* symbcon_find(std::string_view name) noexcept {
  for (const symbcon_row& row : table.rows) {
    if (name == row.name) return &row;
  }
  return nullptr;
}

const char* symbcon_name(symgroup group, int32_t value) noexcept {
  for (const symbcon_row& row : table.rows) {
    if (row.group == group && row.value == value) return row.name;
  }
  return nullptr;
}
