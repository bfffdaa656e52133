// Constraint matrix of a problem, kept by columns, by rows, or both. An orientation is made when
// somebody first asks for it and lives as long as keeping it up to date costs no more than making it
// again, so that building by columns, building by rows and mixtures are all amortised linear.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/sprmat.h"

enum class acc : int32_t { var = 0, con = 1 };  // ZLV_ACC_*: columns or rows

struct probmat {
  int32_t numcon = 0, numvar = 0;
  bool hascol = true, hasrow = false;  // which of the two is up to date; at least one is
  int64_t credit = 0;                  // work that may go into keeping both up to date
  sprmat col, row;                     // the stale one is empty
  mm_vector<int32_t> mark;             // scratch, at least max(numcon, numvar) entries
  int32_t stamp = 0;                   // the largest in use
  explicit probmat(mm_place at) : col(at), row(at), mark(at) {}
};

inline sprmat& probmat_lead(probmat& a) {
  return a.hascol ? a.col : a.row;
}
inline const sprmat& probmat_lead(const probmat& a) {
  return a.hascol ? a.col : a.row;
}
inline int32_t probmat_nnz(const probmat& a) {
  return int32_t(probmat_lead(a).num);
}

// What throws std::bad_alloc leaves the matrix as it was.
void probmat_append(probmat& a, int32_t numcon, int32_t numvar);  // empty rows and columns
void probmat_setcap(probmat& a, ptrdiff_t cap);                   // cap >= nonzeros
// probmat_by: the matrix by columns or by rows, made when needed.
const sprmat& probmat_by(probmat& a, acc mode);
// probmat_stamps: num stamps that no entry of mark holds, the result and its followers, for finding
// repeated subscripts and where they were.
int32_t probmat_stamps(probmat& a, int32_t num) noexcept;
// probmat_put: row or column k becomes the elements given; their subscripts differ.
void probmat_put(probmat& a, acc mode, int32_t k, std::span<const int32_t> sub,
                 std::span<const double> val);
void probmat_set(probmat& a, int32_t i, int32_t j, double value);  // O(length of row or column)
void probmat_erase(probmat& a, int32_t i, int32_t j);
double probmat_get(const probmat& a, int32_t i, int32_t j);  // 0 where absent

// probmat_remove: rows or columns with gone[k] != 0 leave. map: new number of each, or -1.
void probmat_remove(probmat& a, acc mode, std::span<const uint8_t> gone,
                    std::span<const int32_t> map) noexcept;
// probmat_columns: a copy by columns, rows increasing within a column. packed is replaced.
void probmat_columns(const probmat& a, spmat& packed);
