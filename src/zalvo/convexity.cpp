#include "zalvo/convexity.h"

#include "kfac/symdef.h"
#include "misc/quadform.h"

namespace {

enum class need { psd, nsd, zero };

bool is_as_needed(task_rec& t, const prob_qterms& q, need what) {
  quad_form form(mm_at(*t.mman));
  quadform_assemble(q.subi, q.subj, q.val, t.par.d[dpar::data_tol_qij], form);
  if (what == need::zero || form.vars.empty()) return form.vars.empty();
  return symdef_ispsd(spmat_look(form.low), what == need::psd ? 1 : -1, {}, *t.mman);
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
