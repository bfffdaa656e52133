// Checked writing of a task's parameters, by number or as text, with the messages of what is wrong.
// A put that fails leaves the old value.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "zalvo/frame.h"
#include "zalvo/paramtab.h"

rescode param_putint(task_rec& task, int32_t number, int32_t value);
rescode param_putdou(task_rec& task, int32_t number, double value);
rescode param_putstr(task_rec& task, int32_t number, std::string_view value);
// param_puttext: a value of any type as text; an integer may be the name of a symbolic constant.
rescode param_puttext(task_rec& task, param_id id, const char* text);
// param_unknown: reports an unknown name, with code, and on MSG the nearest name there is.
rescode param_unknown(task_rec& task, rescode code, const char* name, int32_t type);

// Numbers as text, whatever the locale. The whole text must be one number; a sign may lead it.
std::optional<int32_t> param_parseint(std::string_view text) noexcept;
std::optional<double> param_parsedou(std::string_view text) noexcept;  // infinities, never a NaN

struct num_text {
  std::array<char, 32> text{};  // zero-terminated
  const char* c_str() const noexcept { return text.data(); }
};
// param_text: the shortest text that reads back as the value.
num_text param_text(int32_t value) noexcept;
num_text param_text(double value) noexcept;
// param_texte: as by "%.8e", or the shortest exponent form when that doesn't read back as the value.
num_text param_texte(double value) noexcept;
