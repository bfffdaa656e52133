// Sums whose rounding errors are kept and added at the end: for numbers that prove something, where
// terms of ten or more digits cancel.
#pragma once

#include <cmath>

// A compensated sum, Neumaier, "Rundungsfehleranalyse einiger Verfahren zur Summation endlicher
// Summen", ZAMM 54 (1974): its error does not grow with the number of terms.
struct exact_sum {
  double sum = 0, lost = 0;
  void add(double term) noexcept {
    const double next = sum + term;
    lost += std::abs(sum) >= std::abs(term) ? (sum - next) + term : (term - next) + sum;
    sum = next;
  }
  double value() const noexcept { return std::isfinite(sum) ? sum + lost : sum; }
};
