// Symbolic constants: the ordered table of every name of the interface and its value, which the
// by-name look-ups, the parameter readers and ZLV_getsymbcon stand on. The groups are symbcon.def.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

enum class symgroup : int32_t {
#define ZLV_GROUP(id, text) id,
#define ZLV_TABLE(id, text) id,
#include "zalvo/symbcon.def"
  none,     // of a parameter: its values are plain numbers
  reserved  // of a parameter: its number has no meaning yet
};

struct symbcon_row {
  static constexpr int32_t slot = 64;  // longest name and its terminator
  char name[slot] = {};
  int32_t value = 0;
  symgroup group = symgroup::none;
};

// symbcon_rows: the rows in their published order, without the sentinel.
std::span<const symbcon_row> symbcon_rows() noexcept;
// symbcon_maxlen: length of the longest name, without terminator.
int32_t symbcon_maxlen() noexcept;
// symbcon_find: the row of a name, compared in full; null when there is none.
const symbcon_row* symbcon_find(std::string_view name) noexcept;
// symbcon_name: the name of a value within a group; null when the group has no such value.
const char* symbcon_name(symgroup group, int32_t value) noexcept;

// sym_copyname: prefix and the upper-case form of a table's name, at compile time.
constexpr void sym_copyname(std::string_view prefix, std::string_view name,
                            std::span<char> slot) noexcept {
  size_t p = 0;
  for (const char c : prefix) slot[p++] = c;
  for (const char c : name) slot[p++] = c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c;
  slot[p] = '\0';  // a name too long for its slot does not compile
}
