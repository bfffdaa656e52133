#include "zalvo/convexity.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "kfac/symdef.h"

namespace {

struct entry {
  int32_t row, col;  // row >= col
  double value;
  bool operator<(const entry& other) const {
    return std::pair(col, row) < std::pair(other.col, other.row);
  }
};

enum class need { psd, nsd, zero };

// The lower triangle of the terms' matrix over the variables that occur in them, its entries summed;
// sums of at most qij, as terms that cancel leave, are left out.
void assemble(const prob_qterms& q, double qij, spmat& a) {
  const mm_place at = a.ptr.get_allocator().place;
  mm_vector<int32_t> vars(q.subi.begin(), q.subi.end(), at);
  vars.insert(vars.end(), q.subj.begin(), q.subj.end());
  std::sort(vars.begin(), vars.end());
  vars.erase(std::unique(vars.begin(), vars.end()), vars.end());
  const auto number = [&](int32_t j) {
    return int32_t(std::lower_bound(vars.begin(), vars.end(), j) - vars.begin());
  };
  mm_vector<entry> entries(at);
  entries.reserve(q.val.size());
  for (size_t t = 0; t < q.val.size(); ++t) {
    const auto [low, high] = std::minmax(q.subi[t], q.subj[t]);
    entries.push_back({number(high), number(low), q.val[t]});
  }
  std::stable_sort(entries.begin(), entries.end());
  a.nrow = a.ncol = int32_t(vars.size());
  a.ptr.assign(vars.size() + 1, 0);
  for (size_t t = 0; t < entries.size();) {
    entry sum = entries[t++];
    while (t < entries.size() && !(sum < entries[t])) sum.value += entries[t++].value;
    if (!(std::abs(sum.value) > qij)) continue;
    a.sub.push_back(sum.row);
    a.val.push_back(sum.value);
    ++a.ptr[sum.col + 1];
  }
  for (size_t j = 0; j < vars.size(); ++j) a.ptr[j + 1] += a.ptr[j];
}

bool is_as_needed(task_rec& t, const prob_qterms& q, need what) {
  spmat a(mm_at(*t.mman));
  assemble(q, t.par.d[dpar::data_tol_qij], a);
  if (what == need::zero || a.val.empty()) return a.val.empty();
  return symdef_ispsd(spmat_look(a), what == need::psd ? 1 : -1, {}, *t.mman);
}

need need_of(int32_t key) {
  if (key == ZLV_BK_UP) return need::psd;
  return key == ZLV_BK_LO ? need::nsd : need::zero;
}

const char* word_of(need what) {
  if (what == need::zero) return "ZD";
  return what == need::psd ? "PSD" : "NSD";
}

}  // namespace

rescode convexity_find(task_rec& t) {
  const prob_qterms objective = prob_getq(t.prob, prob_obj);
  const bool ismin = t.par.i[ipar::objective_sense] == ZLV_OBJECTIVE_SENSE_MIN;
  const need what = ismin ? need::psd : need::nsd;
  if (!objective.val.empty() && !is_as_needed(t, objective, what)) {
    task_echo(t, msg_kind::err, "The quadratic constraint matrix in the objective is not %s.\n",
              word_of(what));
    return rescode::err_nonconvex;
  }
  for (int32_t k = 0; k < t.prob.numcon; ++k) {
    const prob_qterms terms = prob_getq(t.prob, k);
    if (terms.val.empty() || t.prob.bkc[k] == ZLV_BK_FR) continue;
    const need wanted = need_of(t.prob.bkc[k]);
    if (is_as_needed(t, terms, wanted)) continue;
    task_echo(t, msg_kind::err, "The quadratic constraint matrix in constraint %d is not %s.\n", k,
              word_of(wanted));
    return rescode::err_nonconvex;
  }
  return rescode::ok;
}

rescode convexity_check(task_rec& t) {
  const rescode r = convexity_find(t);
  return r == rescode::ok ? r : task_fail(t, r);
}

int32_t ZLV_checkconvexity(ZLV_task_t task) {
  return task_call(task, [](task_rec& t) { return convexity_check(t); });
}
