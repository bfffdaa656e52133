// Small vector helpers of the homogeneous method.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

// Largest entry in absolute value; NaN when one is NaN.
inline double hom_maxabs(std::span<const double> v) {
  double most = 0;
  bool isnan = false;
  for (const double e : v) {
    most = std::max(most, std::abs(e));
    isnan |= !(e == e);
  }
  return isnan ? std::numeric_limits<double>::quiet_NaN() : most;
}

inline double hom_nanmax(double a, double b) {
  return (a > b || !(a == a)) ? a : b;
}

inline double hom_dot(std::span<const double> a, std::span<const double> b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}
