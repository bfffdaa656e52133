#include "zalvo/paramtab.h"

#include <algorithm>

#include "zalvo.h"
#include "zalvo/nearest.h"

namespace {

constexpr param_introw int_row(std::string_view name, int32_t value, param_check check,
                               int32_t lower, int32_t upper, symgroup family) {
  param_introw row{{}, value, check, lower, upper, family};
  sym_copyname("ZLV_IPAR_", name, row.name);
  return row;
}
constexpr param_dourow dou_row(std::string_view name, double value, param_check check, double lower,
                               double upper) {
  param_dourow row{{}, value, check, lower, upper};
  sym_copyname("ZLV_DPAR_", name, row.name);
  return row;
}
constexpr param_strrow str_row(std::string_view name, const char* value) {
  param_strrow row{{}, value};
  sym_copyname("ZLV_SPAR_", name, row.name);
  return row;
}
constexpr inf_row item_row(std::string_view prefix, std::string_view name) {
  inf_row row{};
  sym_copyname(prefix, name, row.name);
  return row;
}

constexpr param_introw int_rows[] = {
#define ZLV_IPAR(name, number, value, check, lower, upper, family, text) \
  int_row(#name, value, param_check(check), lower, upper, symgroup::family),
#include "zalvo/param.def"
};
constexpr param_dourow dou_rows[] = {
#define ZLV_DPAR(name, number, value, check, lower, upper, text) \
  dou_row(#name, value, param_check(check), lower, upper),
#include "zalvo/param.def"
};
constexpr param_strrow str_rows[] = {
#define ZLV_SPAR(name, number, value, text) str_row(#name, value),
#include "zalvo/param.def"
};
constexpr inf_row iinf_rows[] = {
#define ZLV_IINF(name, number, text) item_row("ZLV_IINF_", #name),
#include "zalvo/infitem.def"
};
constexpr inf_row dinf_rows[] = {
#define ZLV_DINF(name, number, text) item_row("ZLV_DINF_", #name),
#include "zalvo/infitem.def"
};

char upper_case(char c) noexcept {
  return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c;
}

bool same_name(std::string_view a, std::string_view b, bool ignorecase) noexcept {
  if (!ignorecase) return a == b;
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return upper_case(x) == upper_case(y); });
}

template <class T, size_t n>
int32_t find_row(const T (&rows)[n], std::string_view name, bool ignorecase = false) noexcept {
  for (size_t k = 0; k < n; ++k) {
    if (same_name(rows[k].name, name, ignorecase)) return int32_t(k);
  }
  return -1;
}

template <class T, size_t n>
const char* row_name(const T (&rows)[n], int32_t number) noexcept {
  return number >= 0 && size_t(number) < n ? rows[number].name : nullptr;
}

template <class T, size_t n>
void offer_rows(nearest_name& search, const T (&rows)[n]) noexcept {
  for (const T& row : rows) nearest_offer(search, row.name);
}

template <class T, class V>
rescode range_of(const T& row, V value) noexcept {
  const bool haslower = row.check == param_check::lower || row.check == param_check::both;
  const bool hasupper = row.check == param_check::upper || row.check == param_check::both;
  if (haslower && value < row.lower) return rescode::err_param_is_too_small;
  if (hasupper && value > row.upper) return rescode::err_param_is_too_large;
  return rescode::ok;
}

}  // namespace

std::span<const param_introw> param_introws() noexcept {
  return int_rows;
}
std::span<const param_dourow> param_dourows() noexcept {
  return dou_rows;
}
std::span<const param_strrow> param_strrows() noexcept {
  return str_rows;
}
std::span<const inf_row> inf_introws() noexcept {
  return iinf_rows;
}
std::span<const inf_row> inf_dourows() noexcept {
  return dinf_rows;
}

int32_t param_findint(std::string_view name) noexcept {
  return find_row(int_rows, name);
}
int32_t param_finddou(std::string_view name) noexcept {
  return find_row(dou_rows, name);
}
int32_t param_findstr(std::string_view name) noexcept {
  return find_row(str_rows, name);
}
int32_t inf_findint(std::string_view name) noexcept {
  return find_row(iinf_rows, name);
}
int32_t inf_finddou(std::string_view name) noexcept {
  return find_row(dinf_rows, name);
}

param_id param_find(std::string_view name, bool ignorecase) noexcept {
  if (const int32_t k = find_row(int_rows, name, ignorecase); k >= 0) return {ZLV_PAR_INT_TYPE, k};
  if (const int32_t k = find_row(dou_rows, name, ignorecase); k >= 0) return {ZLV_PAR_DOU_TYPE, k};
  if (const int32_t k = find_row(str_rows, name, ignorecase); k >= 0) return {ZLV_PAR_STR_TYPE, k};
  return {ZLV_PAR_INVALID_TYPE, -1};
}

const char* param_name(param_id id) noexcept {
  switch (id.type) {
    case ZLV_PAR_INT_TYPE:
      return row_name(int_rows, id.number);
    case ZLV_PAR_DOU_TYPE:
      return row_name(dou_rows, id.number);
    case ZLV_PAR_STR_TYPE:
      return row_name(str_rows, id.number);
    default:
      return nullptr;
  }
}

int32_t param_count(int32_t type) noexcept {
  switch (type) {
    case ZLV_PAR_INT_TYPE:
      return int32_t(std::size(int_rows));
    case ZLV_PAR_DOU_TYPE:
      return int32_t(std::size(dou_rows));
    case ZLV_PAR_STR_TYPE:
      return int32_t(std::size(str_rows));
    default:
      return -1;
  }
}

const char* param_nearest(std::string_view name, int32_t type) noexcept {
  nearest_name search(name);
  const bool isany = type == ZLV_PAR_INVALID_TYPE;
  if (isany || type == ZLV_PAR_INT_TYPE) offer_rows(search, int_rows);
  if (isany || type == ZLV_PAR_DOU_TYPE) offer_rows(search, dou_rows);
  if (isany || type == ZLV_PAR_STR_TYPE) offer_rows(search, str_rows);
  return search.name;
}

const char* inf_nearest(std::string_view name, int32_t type) noexcept {
  nearest_name search(name);
  if (type == ZLV_INF_INT_TYPE) offer_rows(search, iinf_rows);
  if (type == ZLV_INF_DOU_TYPE) offer_rows(search, dinf_rows);
  return search.name;
}

rescode param_range(const param_introw& row, int32_t value) noexcept {
  return range_of(row, value);
}
rescode param_range(const param_dourow& row, double value) noexcept {
  return range_of(row, value);
}
