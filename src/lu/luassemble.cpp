// Puts the factors into the form that solves and updates want: U by columns and by rows (rows with
// room for what updates add), L also by rows.
#include "lu/lufactor_impl.h"

namespace {

// Cost of an entry touched by the factorization, against one touched by a solve.
constexpr double entrycost = 6;

// Room that a row of U gets for entries of later updates.
constexpr int32_t slack_of(int32_t num) {
  return num / 8 + 4;
}

// Original entries of a column in rows that were pivoted before its own, so that no elimination
// changed them: all of a singleton's, for a kernel column those of the singletons' rows.
// Returns the rank below which rows count for the k-th pivot; numsingle pivots stand in front of the
// kernel.
int32_t olds_of(int32_t k, int32_t numsingle) {
  return std::min(k, numsingle);
}

void count_columns(lu_rec& f, const lu_columns& b, int32_t numsingle) {
  const lu_kernel& ker = f.ker;
  for (const int32_t p : ker.ursub)
    if (ker.state[p] == lu_colpivoted && b.isstruct(p)) ++f.ucolat[f.rowofpos[p]].num;
  int64_t sum = 0;
  for (int32_t k = 0; k < f.m; ++k) {
    const int32_t i = f.useq[k], p = ker.pivpos[k];
    lu_range& at = f.ucolat[i];
    if (b.isstruct(p)) {
      const int32_t olds = olds_of(k, numsingle);
      for (ptrdiff_t e = b.beg(p); e < b.end(p); ++e)
        at.num += int32_t(ker.rank[b.a.sub[e]] < olds);
    }
    at.beg = int32_t(sum);
    sum += at.num;
  }
  lu_ensure(f.ucol, size_t(sum));
  f.count.nnzu = sum;
}

void fill_columns(lu_rec& f, const lu_columns& b, int32_t numsingle) {
  const lu_kernel& ker = f.ker;
  for (int32_t k = 0; k < f.m; ++k) {
    const int32_t p = ker.pivpos[k];
    lu_range& at = f.ucolat[f.useq[k]];
    at.num = 0;
    if (!b.isstruct(p)) continue;
    const int32_t olds = olds_of(k, numsingle);
    for (ptrdiff_t e = b.beg(p); e < b.end(p); ++e) {
      const int32_t i = b.a.sub[e];
      if (ker.rank[i] >= olds) continue;
      f.ucol.sub[at.beg + at.num] = i;
      f.ucol.val[at.beg + at.num++] = b.a.val[e];
    }
  }
  for (size_t r = 0; r < ker.urrow.size(); ++r) {
    const size_t end = r + 1 < ker.urrow.size() ? size_t(ker.urbeg[r + 1]) : ker.ursub.size();
    for (auto e = size_t(ker.urbeg[r]); e < end; ++e) {
      const int32_t p = ker.ursub[e];
      if (!b.isstruct(p)) continue;  // rejected, a logical stands there now
      lu_range& at = f.ucolat[f.rowofpos[p]];
      f.ucol.sub[at.beg + at.num] = ker.urrow[r];
      f.ucol.val[at.beg + at.num++] = ker.urval[e];
    }
  }
}

void fill_rows(lu_rec& f) {
  for (auto e = ptrdiff_t(f.count.nnzu) - 1; e >= 0; --e) ++f.urowat[f.ucol.sub[e]].cap;
  int64_t sum = 0;
  for (int32_t k = 0; k < f.m; ++k) {
    lu_slot& at = f.urowat[f.useq[k]];
    at.beg = int32_t(sum);
    at.cap += slack_of(at.cap);
    sum += at.cap;
  }
  f.urow.sub.clear();  // its size is where updates append
  f.urow.val.clear();
  if (sum > std::numeric_limits<int32_t>::max()) throw std::bad_alloc();
  f.urow.sub.resize(size_t(sum));
  f.urow.val.resize(size_t(sum));
  for (int32_t k = 0; k < f.m; ++k) {
    const int32_t j = f.useq[k];
    const lu_range col = f.ucolat[j];
    for (int32_t e = col.beg; e < col.beg + col.num; ++e) {
      lu_slot& at = f.urowat[f.ucol.sub[e]];
      f.urow.sub[at.beg + at.num] = j;
      f.urow.val[at.beg + at.num++] = f.ucol.val[e];
    }
  }
}

// Divides the columns by their diagonals and names the column of each entry.
void scale_columns(lu_rec& f) {
  f.ucolof.resize(size_t(f.count.nnzu));
  for (int32_t k = 0; k < f.m; ++k) {
    const int32_t j = f.useq[k];
    const lu_range col = f.ucolat[j];
    const double diag = f.udiag[j];
    for (int32_t e = col.beg; e < col.beg + col.num; ++e) {
      f.ucol.val[e] /= diag;
      f.ucolof[e] = j;
    }
  }
}

void name_nodes(const mm_vector<int32_t>& seq, const mm_vector<lu_range>& at,
                mm_vector<int32_t>& of) {
  for (const int32_t i : seq) std::fill_n(of.begin() + at[i].beg, at[i].num, i);
}

void transpose_l(lu_rec& f) {
  const size_t nnz = f.lcol.sub.size();
  f.count.nnzl = int64_t(nnz);
  if (nnz == 0) return;
  if (nnz > size_t(std::numeric_limits<int32_t>::max())) throw std::bad_alloc();
  lu_ensure(f.lrow, nnz);
  for (const int32_t i : f.lcol.sub) ++f.lrowat[i].num;
  int32_t sum = 0;
  for (int32_t k = f.m - 1; k >= 0; --k) {
    const int32_t i = f.useq[k];
    lu_range& at = f.lrowat[i];
    at.beg = sum;
    sum += at.num;
    if (at.num > 0) f.lrseq.push_back(i);
    at.num = 0;
  }
  for (const int32_t r : f.lseq) {
    const lu_range col = f.lcolat[r];
    for (int32_t e = col.beg; e < col.beg + col.num; ++e) {
      lu_range& at = f.lrowat[f.lcol.sub[e]];
      f.lrow.sub[at.beg + at.num] = r;
      f.lrow.val[at.beg + at.num++] = f.lcol.val[e];
    }
  }
  lu_ensure(f.lcolof, nnz);
  lu_ensure(f.lrowof, nnz);
  name_nodes(f.lseq, f.lcolat, f.lcolof);
  name_nodes(f.lrseq, f.lrowat, f.lrowof);
}

}  // namespace

void lu_assemble(lu_rec& f, const lu_columns& b) {
  const int32_t numsingle = f.m - f.count.numkernel - f.numsing;
  count_columns(f, b, numsingle);
  fill_columns(f, b, numsingle);
  f.ucol.sub.resize(size_t(f.count.nnzu));  // its size is where updates append
  f.ucol.val.resize(size_t(f.count.nnzu));
  fill_rows(f);
  scale_columns(f);
  transpose_l(f);
  f.count.facwork += 2.0 * double(f.count.nnzu + f.count.nnzl) + 2.0 * f.m;
  f.count.facwork *= entrycost;
}
