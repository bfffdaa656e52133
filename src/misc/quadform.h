// One quadratic term x'Qx/2 over the few variables that occur in it: its matrix among these.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"

struct quad_form {
  mm_vector<int32_t> vars;  // variables that occur, increasing
  spmat low;                // lower triangle over vars, rows increasing, every entry once, no zeros
  explicit quad_form(mm_place at) : vars(at), low(at) {}
};

// quadform_assemble: the form of terms (i, j, value) that stand for the entries (i, j) and (j, i) of Q.
// Repeated terms are summed; sums of magnitude at most drop are left out, and variables that only
// occurred in those with them. O(t log t).
//   form  out, replaced
void quadform_assemble(std::span<const int32_t> subi, std::span<const int32_t> subj,
                       std::span<const double> val, double drop, quad_form& form);

// quadform_product: out = Q x over form.vars; x has all variables.
void quadform_product(const quad_form& form, std::span<const double> x, std::span<double> out);
