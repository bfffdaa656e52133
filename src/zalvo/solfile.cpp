#include "zalvo/solfile.h"

#include <algorithm>
#include <cstdio>

#include "zalvo/frame.h"

void sol_sizepart(sol_part& part, size_t num) {
  part.sk.resize(num, ZLV_SK_UNK);
  for (auto* values : {&part.x, &part.sl, &part.su, &part.more}) values->resize(num, 0.0);
  part.given.resize(num, uint8_t{0});
}

void sol_storeparts(const sol_part& con, const sol_part& var, const sol_view& to) noexcept {
  const auto copy = [](const auto& from, auto items) {  // a solution may lack items
    std::copy_n(from.begin(), items.size(), items.begin());
  };
  copy(con.sk, to.skc);
  copy(con.x, to.xc);
  copy(con.sl, to.slc);
  copy(con.su, to.suc);
  copy(con.more, to.y);
  copy(var.sk, to.skx);
  copy(var.x, to.xx);
  copy(var.sl, to.slx);
  copy(var.su, to.sux);
  copy(var.more, to.snx);
}

sol_generic sol_genericname(const task_rec& task, int32_t whichitem, int32_t i) noexcept {
  constexpr char letter[] = {'x', 'c', 'k'};
  sol_generic name;
  const int64_t number = int64_t(i) + task.par.i[ipar::write_generic_names_io];
  std::snprintf(name.text.data(), name.text.size(), "%c%lld", letter[whichitem],
                static_cast<long long>(number));
  return name;
}

std::string_view sol_filename(const task_rec& task, int32_t whichsol, const char* given) noexcept {
  if (given != nullptr && *given != '\0') return given;
  constexpr int32_t parameter[] = {spar::itr_sol_file_name, spar::bas_sol_file_name,
                                   spar::int_sol_file_name};
  return task.par.s[size_t(parameter[whichsol])];
}

rescode sol_nofilename(task_rec& task, int32_t whichsol) noexcept {
  constexpr const char* type[] = {"interior", "basic", "integer"};
  return task_fail(task, rescode::wrn_undef_sol_file_name, type[whichsol]);
}
