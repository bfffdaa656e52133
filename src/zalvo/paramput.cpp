#include "zalvo/paramput.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace {

constexpr int filedigits = 8;  // behind the point, of doubles in parameter files

template <class T>
std::optional<T> parse(std::string_view text) noexcept {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  T value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, value);
  if (fault != std::errc() || stop != end) return std::nullopt;
  return value;
}

template <class... A>
num_text print(A... how) noexcept {
  num_text to;
  // The last place is left for the terminator; 24 characters hold every double.
  std::to_chars(to.text.data(), to.text.data() + to.text.size() - 1, how...);
  return to;
}

template <class R, class V>
rescode fail_range(task_rec& task, rescode code, const R& row, V value) {
  return task_fail(task, code, param_text(value).c_str(), row.name);
}

// list_values: on MSG, what a parameter that names its values can be set to.
void list_values(task_rec& task, const param_introw& row) {
  if (row.family >= symgroup::none) return;
  task_echo(task, msg_kind::msg, "The values of '%s' are", row.name);
  const char* separator = " ";
  for (const symbcon_row& symbol : symbcon_rows()) {
    if (symbol.group != row.family) continue;
    if (param_range(row, symbol.value) != rescode::ok) continue;
    task_echo(task, msg_kind::msg, "%s%s", separator, symbol.name);
    separator = ", ";
  }
  msg_write(task.streams, msg_kind::msg, ".\n");
}

rescode fail_text(task_rec& task, const char* text, const char* name) {
  return task_fail(task, rescode::err_param_value_str, text, name);
}

rescode put_inttext(task_rec& task, int32_t number, const char* text) {
  if (const auto value = param_parseint(text)) return param_putint(task, number, *value);
  if (const symbcon_row* symbol = symbcon_find(text)) {
    return param_putint(task, number, symbol->value);
  }
  const param_introw& row = param_introws()[size_t(number)];
  const rescode r = fail_text(task, text, row.name);
  list_values(task, row);
  return r;
}

rescode put_doutext(task_rec& task, int32_t number, const char* text) {
  if (const auto value = param_parsedou(text)) return param_putdou(task, number, *value);
  return fail_text(task, text, param_dourows()[size_t(number)].name);
}

}  // namespace

rescode param_putint(task_rec& task, int32_t number, int32_t value) {
  if (number < 0 || number >= ipar::count) {
    return task_fail(task, rescode::err_param_index, number, "int");
  }
  int32_t& stored = task.par.i[size_t(number)];
  if (stored == value) return rescode::ok;
  const param_introw& row = param_introws()[size_t(number)];
  if (const rescode r = param_range(row, value); r != rescode::ok) {
    return fail_range(task, r, row, value);
  }
  stored = value;
  return rescode::ok;
}

rescode param_putdou(task_rec& task, int32_t number, double value) {
  if (number < 0 || number >= dpar::count) {
    return task_fail(task, rescode::err_param_index, number, "double");
  }
  if (std::isnan(value)) return task_fail(task, rescode::err_nan_in_double_data, "value", 0);
  double& stored = task.par.d[size_t(number)];
  if (stored == value) return rescode::ok;
  const param_dourow& row = param_dourows()[size_t(number)];
  if (const rescode r = param_range(row, value); r != rescode::ok) {
    return fail_range(task, r, row, value);
  }
  stored = value;
  return rescode::ok;
}

rescode param_putstr(task_rec& task, int32_t number, std::string_view value) {
  if (number < 0 || number >= spar::count) {
    return task_fail(task, rescode::err_param_index, number, "string");
  }
  mm_string copy(value, mm_alloc<char>(mm_at(*task.mman)));
  task.par.s[size_t(number)].swap(copy);
  return rescode::ok;
}

rescode param_puttext(task_rec& task, param_id id, const char* text) {
  switch (id.type) {
    case ZLV_PAR_INT_TYPE:
      return put_inttext(task, id.number, text);
    case ZLV_PAR_DOU_TYPE:
      return put_doutext(task, id.number, text);
    case ZLV_PAR_STR_TYPE:
      return param_putstr(task, id.number, text);
    default:
      return task_fail(task, rescode::err_param_type, id.type);
  }
}

rescode param_unknown(task_rec& task, rescode code, const char* name, int32_t type) {
  const rescode r = task_fail(task, code, name);
  if (const char* nearest = param_nearest(name, type); nearest != nullptr) {
    task_echo(task, msg_kind::msg, "The nearest parameter name is '%s'.\n", nearest);
  }
  return r;
}

std::optional<int32_t> param_parseint(std::string_view text) noexcept {
  return parse<int32_t>(text);
}

std::optional<double> param_parsedou(std::string_view text) noexcept {
  const auto value = parse<double>(text);
  return value && std::isnan(*value) ? std::nullopt : value;
}

num_text param_text(int32_t value) noexcept {
  return print(value);
}

num_text param_text(double value) noexcept {
  return print(value);
}

num_text param_texte(double value) noexcept {
  const num_text fixed = print(value, std::chars_format::scientific, filedigits);
  if (parse<double>(fixed.c_str()) == value) return fixed;
  return print(value, std::chars_format::scientific);
}
