// Solution files: a head with the statuses and objectives, then a table of the constraints, one of
// the variables and, for an interior solution of a problem with cones, one of the cones. A table is
// its title, a line with the names of its columns, and a line per item. Numbers have 17 digits, so a
// file gives back the same doubles; an infinite bound is NONE.
//
//   NAME                : blend
//   SOLUTION TYPE       : BASIC
//   PROBLEM STATUS      : PRIMAL_AND_DUAL_FEASIBLE
//   SOLUTION STATUS     : OPTIMAL
//   OBJECTIVE NAME      : cost
//   PRIMAL OBJECTIVE    : 9.0000000000000000e+00
//   DUAL OBJECTIVE      : 9.0000000000000000e+00
//
//   CONSTRAINTS
//   INDEX NAME AT ACTIVITY LOWER UPPER DUAL-LOWER DUAL-UPPER DUAL
//   0     need LL 4.0000000000000000e+00 ...
//
//   VARIABLES
//   INDEX NAME AT ACTIVITY LOWER UPPER DUAL-LOWER DUAL-UPPER
//
// A name is what stands between the index and the column AT, so it may hold blanks; with quotes
// (ZLV_IPAR_SOL_QUOTED_NAMES) it may begin and end with them too. Items without a name get a generic
// one, c or x or k and a number.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "cpub/memman.h"
#include "cpub/rescode.h"

struct ZLV_task_rec;
struct sol_view;

enum class sol_column : int32_t {
  index,
  name,
  at,
  activity,
  lower,
  upper,
  duallower,
  dualupper,
  dual,
  conicdual
};
constexpr std::array<std::string_view, 10> sol_columntext = {
    "INDEX", "NAME",       "AT",         "ACTIVITY", "LOWER",
    "UPPER", "DUAL-LOWER", "DUAL-UPPER", "DUAL",     "CONIC-DUAL"};
constexpr std::array<std::string_view, 3> sol_tabletext = {"VARIABLES", "CONSTRAINTS",
                                                           "CONES"};  // by ZLV_PI_*
constexpr std::array<std::string_view, 3> sol_typetext = {"INTERIOR", "BASIC", "INTEGER"};
constexpr std::string_view sol_infinite = "NONE";
// Keys of the head, in its order.
constexpr std::array<std::string_view, 7> sol_headtext = {
    "NAME",           "SOLUTION TYPE",    "PROBLEM STATUS", "SOLUTION STATUS",
    "OBJECTIVE NAME", "PRIMAL OBJECTIVE", "DUAL OBJECTIVE"};

// What a file says of the items of one kind.
struct sol_part {
  mm_vector<int32_t> sk;
  mm_vector<double> x, sl, su, more;  // more: y of constraints, snx of variables
  mm_vector<uint8_t> given;           // by item: the reader's marks of what occurred; 0: nothing
  explicit sol_part(mm_place at) : sk(at), x(at), sl(at), su(at), more(at), given(at) {}
};
// sol_sizepart: makes room for num items; what is new is unknown and zero.
void sol_sizepart(sol_part& part, size_t num);
// sol_storeparts: the values of constraints and variables become those of a solution.
void sol_storeparts(const sol_part& con, const sol_part& var, const sol_view& to) noexcept;

// sol_genericname: the generic name of item i of a kind (ZLV_PI_*).
struct sol_generic {
  std::array<char, 16> text{};
};
sol_generic sol_genericname(const ZLV_task_rec& task, int32_t whichitem, int32_t i) noexcept;
// sol_filename: the caller's name, or when that is null or empty the parameter's for this solution;
// empty when there is none.
std::string_view sol_filename(const ZLV_task_rec& task, int32_t whichsol,
                              const char* given) noexcept;
// sol_nofilename: reports that there is no file name for this solution.
rescode sol_nofilename(ZLV_task_rec& task, int32_t whichsol) noexcept;
// sol_settle: solution whichsol, whose values are stored, becomes defined with these statuses if the
// values bear them out on the task's problem, else with unknown ones and a warning that names the
// file. When it throws std::bad_alloc nothing has changed.
void sol_settle(ZLV_task_rec& task, int32_t whichsol, int32_t prosta, int32_t solsta,
                const char* path);
