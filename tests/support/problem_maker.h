// Random problems of every kind, made through the interface: all bound keys, numbers with all their
// digits, quadratic terms, integers and, unless they are not wanted, cones. No row is free, and the
// bounds of a row are a number and a sum of two.
#pragma once

#include <gtest/gtest.h>
#include <zalvo.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>
#include <string>
#include <vector>

inline void set_int(ZLV_task_t task, int32_t which, int32_t value) {
  ASSERT_EQ(ZLV_putintparam(task, which, value), ZLV_RES_OK);
}

// A bound of a row or column (ZLV_ACC_*) and, unless it is empty, its name.
inline void put_item(ZLV_task_t task, int32_t acc, int32_t i, const char* name, int32_t key,
                     double lower, double upper) {
  ASSERT_EQ(ZLV_putbound(task, acc, i, key, lower, upper), ZLV_RES_OK);
  if (*name == '\0') return;
  ASSERT_EQ(ZLV_putname(task, acc == ZLV_ACC_VAR ? ZLV_PI_VAR : ZLV_PI_CON, i, name), ZLV_RES_OK);
}

struct problem_maker {
  std::mt19937 gen;
  bool iscones = true;
  int32_t upto(int32_t n) { return int32_t(gen() % uint32_t(n)); }
  double number() {
    const double digits = double(gen()) / 4294967296.0 + double(gen()) * 0x1p-63;
    return (upto(2) == 0 ? 1 : -1) * std::ldexp(digits + 0.001, upto(40) - 20);
  }
  void bounds(ZLV_task_t task, int32_t acc, int32_t num) {
    for (int32_t i = 0; i < num; ++i) {
      const double lower = upto(3) == 0 ? 0 : number(), width = std::abs(number());
      // rows: an upper bound that the sum of two doubles reaches
      const double upper = upto(4) == 0 ? -width : lower + width;
      const int32_t key = upto(acc == ZLV_ACC_CON ? 3 : 5);
      ASSERT_EQ(ZLV_putbound(task, acc, i, key == ZLV_BK_FR ? 3 : key, lower, upper), ZLV_RES_OK);
      if (acc == ZLV_ACC_CON && upto(3) == 0) {
        ASSERT_EQ(ZLV_putbound(task, acc, i, ZLV_BK_RA, lower, lower + width), ZLV_RES_OK);
      }
    }
  }
  void fill(ZLV_task_t task) {
    const int32_t m = upto(8), n = 1 + upto(12);
    ASSERT_EQ(ZLV_append(task, ZLV_ACC_CON, m), ZLV_RES_OK);
    ASSERT_EQ(ZLV_append(task, ZLV_ACC_VAR, n), ZLV_RES_OK);
    bounds(task, ZLV_ACC_CON, m);
    bounds(task, ZLV_ACC_VAR, n);
    for (int32_t j = 0; j < n; ++j) {
      if (upto(3) != 0) {
        ASSERT_EQ(ZLV_putcj(task, j, number()), ZLV_RES_OK);
      }
      if (upto(3) == 0) {
        ASSERT_EQ(ZLV_putvartype(task, j, 1), ZLV_RES_OK);
      }
      std::vector<int32_t> sub;
      std::vector<double> val;
      for (int32_t i = 0; i < m; ++i) {
        if (upto(2) == 0) continue;
        sub.push_back(i);
        val.push_back(number());
      }
      ASSERT_EQ(ZLV_putavec(task, ZLV_ACC_VAR, j, int32_t(sub.size()), sub.data(), val.data()),
                ZLV_RES_OK);
      if (upto(2) == 0) {
        ASSERT_EQ(ZLV_putqobjij(task, j, upto(j + 1), number()), ZLV_RES_OK);
      }
      if (m > 0 && upto(4) == 0) {
        const double value = number();
        ASSERT_EQ(ZLV_putqconk(task, upto(m), 1, &j, &j, &value), ZLV_RES_OK);
      }
      if (iscones && upto(4) == 0) {
        ASSERT_EQ(ZLV_appendcone(task, ZLV_CT_QUAD, upto(2) == 0 ? 0 : number(), 1, &j),
                  ZLV_RES_OK);
      }
    }
    if (upto(2) == 0) {
      ASSERT_EQ(ZLV_putcfix(task, number()), ZLV_RES_OK);
    }
    set_int(task, ZLV_IPAR_OBJECTIVE_SENSE, upto(2));
  }
};

inline std::string sorted_lines(const std::string& text) {  // quadratic terms have no order
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  std::string out;
  for (const std::string& line : lines) out += line + "\n";
  return out;
}
