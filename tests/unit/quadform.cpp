// Terms of a quadratic form assembled over the variables that occur, against the dense matrix.
#include "misc/quadform.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "cpub/memman.h"

namespace {

TEST(Quadform, SumsTermsOfBothTrianglesAndLeavesOutWhatCancels) {
  memman* mman = memman_create(nullptr, nullptr, nullptr, false);
  std::mt19937 gen(7);
  const int32_t n = 9;
  for (int32_t trial = 0; trial < 50; ++trial) {
    std::uniform_int_distribution<int32_t> var(0, n - 1), small(-2, 2);
    std::vector<int32_t> subi, subj;
    std::vector<double> val, dense(n * n, 0.0), x(n), want(n, 0.0);
    for (double& e : x) e = small(gen) + 0.5;
    for (int32_t t = 0; t < trial; ++t) {
      const int32_t i = var(gen), j = var(gen);
      subi.push_back(i), subj.push_back(j), val.push_back(small(gen));
      dense[i * n + j] += val.back();
      if (i != j) dense[j * n + i] += val.back();
    }
    quad_form form(mm_at(*mman));
    quadform_assemble(subi, subj, val, 0, form);
    std::vector<double> got(form.vars.size());
    quadform_product(form, x, got);
    std::vector<uint8_t> occurs(n, 0);
    for (int32_t i = 0; i < n; ++i) {
      for (int32_t j = 0; j < n; ++j) {
        want[i] += dense[i * n + j] * x[j];
        if (dense[i * n + j] != 0) occurs[i] = 1;
      }
    }
    size_t l = 0;
    for (int32_t i = 0; i < n; ++i) {
      if (occurs[i] == 0) continue;
      ASSERT_LT(l, form.vars.size());
      EXPECT_EQ(form.vars[l], i);
      EXPECT_NEAR(got[l++], want[i], 1e-12);
    }
    EXPECT_EQ(l, form.vars.size());
  }
  EXPECT_EQ(memman_delete(mman), 0u);
}

}  // namespace
