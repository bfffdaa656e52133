// Rows of calls with one bad argument each: a row holds a function of the library, a call of it that
// works, and for each argument the bad values with the code that each must get. A row is written as
//   row("ZLV_putcj", ZLV_putcj, task(), var(), finite_or_huge(1.0))
// where var() stands for an index of a variable that exists, and for those that don't.
#pragma once

#include <zalvo.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace every {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr int32_t largest = std::numeric_limits<int32_t>::max();
constexpr int32_t smallest = std::numeric_limits<int32_t>::min();

// What the tables' task holds.
constexpr int32_t num_con = 3, num_var = 4, num_cone = 1;

// Values of one argument: the one of the call that works, the others with the code they must get.
template <class T>
struct argument {
  T good{};
  std::vector<std::pair<T, int32_t>> bad;
};

struct handles {
  ZLV_env_t env;
  ZLV_task_t task;
};
struct bad_call {
  size_t position = 0;  // of the bad argument
  size_t choice = 0;    // which of its values
  int32_t code = 0;
  std::function<int32_t(const handles&)> make;
};
struct row_rec {
  std::string name;
  std::function<int32_t(const handles&)> works;
  std::vector<bad_call> bad;
  bool keeps = true;  // a refused call leaves the task as it was
};

template <class T>
T value_of(const argument<T>& a, const handles& at) {
  if constexpr (std::is_same_v<T, ZLV_task_t>) return at.task;
  if constexpr (std::is_same_v<T, ZLV_env_t>) return at.env;
  return a.good;
}

template <size_t K, class F, class... T>
void add_bad(row_rec& row, F func, const std::tuple<argument<T>...>& all) {
  size_t choice = 0;
  for (const auto& [value, code] : std::get<K>(all).bad) {
    const auto make = [func, all, value = value](const handles& at) {
      auto values =
          std::apply([&](const auto&... a) { return std::make_tuple(value_of(a, at)...); }, all);
      std::get<K>(values) = value;
      return std::apply(func, values);
    };
    row.bad.push_back({K, choice++, code, make});
  }
}

template <class... T>
row_rec row(const char* name, int32_t (*func)(T...), std::type_identity_t<argument<T>>... args) {
  const std::tuple<argument<T>...> all{args...};
  row_rec made;
  made.name = name;
  made.works = [func, all](const handles& at) {
    return std::apply([&](const auto&... a) { return func(value_of(a, at)...); }, all);
  };
  [&]<size_t... K>(std::index_sequence<K...>) {
    (add_bad<K>(made, func, all), ...);
  }
  (std::index_sequence_for<T...>{});
  return made;
}
// A put of a list that may have done a part when it meets the bad element, or replaced what was there.
inline row_rec partial(row_rec r) {
  r.keeps = false;
  return r;
}

// ---- Arguments

inline argument<ZLV_task_t> task() {
  return {nullptr, {{nullptr, ZLV_RES_ERR_NULL_TASK}}};
}
inline argument<ZLV_env_t> env() {
  return {nullptr, {{nullptr, ZLV_RES_ERR_NULL_ENV}}};
}
template <class T>
argument<T> any(T good) {
  return {good, {}};
}
inline argument<int32_t> index(int32_t count) {
  return {0,
          {{-1, ZLV_RES_ERR_INDEX_IS_TOO_SMALL},
           {smallest, ZLV_RES_ERR_INDEX_IS_TOO_SMALL},
           {count, ZLV_RES_ERR_INDEX_IS_TOO_LARGE},
           {largest, ZLV_RES_ERR_INDEX_IS_TOO_LARGE}}};
}
inline argument<int32_t> con() {
  return index(num_con);
}
inline argument<int32_t> var() {
  return index(num_var);
}
// One of a few numbers: a key, a type, a parameter.
inline argument<int32_t> choice(int32_t good, int32_t code) {
  return {good, {{-1, code}, {100000, code}, {largest, code}, {smallest, code}}};
}
inline argument<int32_t> cone() {
  argument<int32_t> a = choice(0, ZLV_RES_ERR_CONE_INDEX);
  a.bad.push_back({num_cone, ZLV_RES_ERR_CONE_INDEX});
  return a;
}
inline argument<int32_t> accmode(int32_t good = ZLV_ACC_VAR) {
  argument<int32_t> a = choice(good, ZLV_RES_ERR_IN_ARGUMENT);
  a.bad.push_back({2, ZLV_RES_ERR_IN_ARGUMENT});
  return a;
}
inline argument<int32_t> count(int32_t good, int32_t code = ZLV_RES_ERR_IN_ARGUMENT) {
  return {good, {{-1, code}, {smallest, code}}};
}
// The number of items of a list that does nothing when it is empty.
inline argument<int32_t> length(int32_t good) {
  return count(good, ZLV_RES_OK);
}
// A size too small for what is there.
inline argument<int32_t> capacity(int32_t good, int32_t code) {
  return {good, {{-1, code}, {smallest, code}, {0, code}}};
}
inline argument<int32_t> from(int32_t good, int32_t code = ZLV_RES_ERR_FIRST) {
  return {good, {{-1, code}, {smallest, code}}};
}
inline argument<int32_t> to(int32_t good, int32_t code = ZLV_RES_ERR_LAST) {
  return {good, {{100, code}, {largest, code}}};
}
inline argument<double> finite(double good) {
  return {good,
          {{not_a_number, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA},
           {infinity, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA},
           {-infinity, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA}}};
}
inline argument<double> number(double good) {
  return {good, {{not_a_number, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA}}};
}

// ---- Arrays, long enough for every row

inline double outdou[64];
inline int32_t outint[64];
inline char outstr[4096];

inline const int32_t numbers[] = {0, 1, 2, 3};
inline const int32_t integers[16] = {1, 1, 1, 1};
inline const int32_t ranges[16] = {ZLV_BK_RA, ZLV_BK_RA, ZLV_BK_RA, ZLV_BK_RA};
inline const int32_t basics[16] = {ZLV_SK_BAS, ZLV_SK_BAS, ZLV_SK_BAS, ZLV_SK_BAS};
inline const int32_t negatives[] = {-1, -1, -1, -1};
inline const int32_t larges[] = {100, 100, 100, 100};
inline const int32_t largests[] = {largest, largest, largest, largest};
inline const double ones[16] = {1, 1, 1, 1, 1, 1, 1, 1};
inline const double nans[] = {not_a_number, not_a_number, not_a_number, not_a_number};
inline const double infinities[] = {infinity, infinity, infinity, infinity};

// Outputs that must be there, and those that need not.
template <class T>
argument<T*> needs(T* good) {
  return {good, {{nullptr, ZLV_RES_ERR_NULL_POINTER}}};
}
template <class T>
argument<T*> may(T* good) {
  return {good, {{nullptr, ZLV_RES_OK}}};
}
inline argument<const int32_t*> list(int32_t small = ZLV_RES_ERR_INDEX_ARR_IS_TOO_SMALL,
                                     int32_t large = ZLV_RES_ERR_INDEX_ARR_IS_TOO_LARGE) {
  return {numbers,
          {{nullptr, ZLV_RES_ERR_NULL_POINTER},
           {negatives, small},
           {larges, large},
           {largests, large}}};
}
inline argument<const int32_t*> keys(int32_t code, const int32_t* good) {
  return {
      good,
      {{nullptr, ZLV_RES_ERR_NULL_POINTER}, {negatives, code}, {larges, code}, {largests, code}}};
}
inline argument<const double*> values() {
  return {ones,
          {{nullptr, ZLV_RES_ERR_NULL_POINTER},
           {nans, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA},
           {infinities, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA}}};
}
inline argument<const double*> bounds() {
  return {ones, {{nullptr, ZLV_RES_ERR_NULL_POINTER}, {nans, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA}}};
}
// The same where no array at all is fine.
template <class T>
argument<T> or_none(argument<T> a) {
  for (auto& [value, code] : a.bad) {
    if (value == nullptr) code = ZLV_RES_OK;
  }
  return a;
}
inline argument<const char*> text(const char* good, const char* wrong, int32_t code) {
  return {good, {{nullptr, ZLV_RES_ERR_NULL_POINTER}, {wrong, code}}};
}

std::vector<row_rec> frame_rows();     // environments, streams, texts
std::vector<row_rec> param_rows();     // parameters and information items
std::vector<row_rec> data_rows();      // problem data and names
std::vector<row_rec> solution_rows();  // solutions, files, optimizing

}  // namespace every
