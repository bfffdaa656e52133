#include "prslv/prswork.h"

#include <algorithm>

#include "cpub/callback.h"

namespace {

// The monitor is asked after this many touched entries: a few milliseconds.
constexpr double workperpoll = 5e5;

bool isbig(double bound) {
  return !(std::abs(bound) < prslv_hugebound);
}

// Adds (sign 1) or takes out (sign -1) the terms of an entry in its row's activity bounds.
void addterms(prslv_work& w, int32_t row, double val, double lower, double upper, int32_t sign) {
  prslv_act& act = w.act[row];
  const double atmin = val > 0 ? lower : upper, atmax = val > 0 ? upper : lower;
  if (isbig(atmin)) {
    act.infmin += sign;
  } else {
    act.min.add(sign * val * atmin);
  }
  if (isbig(atmax)) {
    act.infmax += sign;
  } else {
    act.max.add(sign * val * atmax);
  }
}

void linkentry(prslv_work& w, int32_t e) {
  prslv_entry& ent = w.ent[e];
  ent.rprev = ent.cprev = -1;
  ent.rnext = w.rhead[ent.row];
  ent.cnext = w.chead[ent.col];
  if (ent.rnext >= 0) w.ent[ent.rnext].rprev = e;
  if (ent.cnext >= 0) w.ent[ent.cnext].cprev = e;
  w.rhead[ent.row] = w.chead[ent.col] = e;
  ++w.rlen[ent.row];
  ++w.clen[ent.col];
  w.rowmax[ent.row] = std::max(w.rowmax[ent.row], std::abs(ent.val));
  w.rowmaxlen[ent.row] = -1;
  ++w.numanz;
}

void unlinkrow(prslv_work& w, const prslv_entry& ent) {
  (ent.rprev >= 0 ? w.ent[ent.rprev].rnext : w.rhead[ent.row]) = ent.rnext;
  if (ent.rnext >= 0) w.ent[ent.rnext].rprev = ent.rprev;
  --w.rlen[ent.row];
}

void unlinkcol(prslv_work& w, const prslv_entry& ent) {
  (ent.cprev >= 0 ? w.ent[ent.cprev].cnext : w.chead[ent.col]) = ent.cnext;
  if (ent.cnext >= 0) w.ent[ent.cnext].cprev = ent.cprev;
  --w.clen[ent.col];
}

void freeentry(prslv_work& w, int32_t e) {
  w.ent[e].rnext = w.freeent;
  w.freeent = e;
  --w.numanz;
}

void setqueue(prslv_queue& q, int32_t num, bool full) {
  q.list.reserve(num);
  q.has.assign(num, full ? 1 : 0);
  for (int32_t k = 0; full && k < num; ++k) q.list.push_back(k);
}

}  // namespace

prslv_work::prslv_work(prslv_rec& record, const prslv_settings& settings, const monitor& monit,
                       memman& mman)
    : ent(mm_at(mman)),
      rhead(mm_at(mman)),
      rlen(mm_at(mman)),
      chead(mm_at(mman)),
      clen(mm_at(mman)),
      rlive(mm_at(mman)),
      clive(mm_at(mman)),
      held(mm_at(mman)),
      merged(mm_at(mman)),
      blc(mm_at(mman)),
      buc(mm_at(mman)),
      blx(mm_at(mman)),
      bux(mm_at(mman)),
      c(mm_at(mman)),
      act(mm_at(mman)),
      rowmax(mm_at(mman)),
      rowmaxlen(mm_at(mman)),
      rowq(mm_at(mman)),
      colq(mm_at(mman)),
      slackq(mm_at(mman)),
      duprowq(mm_at(mman)),
      dupcolq(mm_at(mman)),
      elimq(mm_at(mman)),
      rowhash(mm_at(mman)),
      colhash(mm_at(mman)),
      seed(mm_at(mman)),
      tmpsub(mm_at(mman)),
      place(mm_at(mman)),
      tmpval(mm_at(mman)),
      rec(record),
      set(settings),
      mon(monit) {}

int32_t prslv_dequeue(prslv_queue& q) {
  if (q.head == q.list.size()) {
    q.list.clear();
    q.head = 0;
    return -1;
  }
  const int32_t k = q.list[q.head++];
  q.has[k] = 0;
  return k;
}

void prslv_setup(prslv_work& w, const lp_view& prob, std::span<const prslv_hold> held) {
  w.m = prob.numcon;
  w.n = prob.numvar;
  const auto copy = [](mm_vector<double>& to, std::span<const double> from) {
    to.assign(from.begin(), from.end());
  };
  copy(w.blc, prob.blc);
  copy(w.buc, prob.buc);
  copy(w.blx, prob.blx);
  copy(w.bux, prob.bux);
  copy(w.c, prob.c);
  w.cfix.add(prob.cfix);
  w.held.assign(w.n, prslv_hold::none);
  w.merged.assign(w.n, 0);
  std::copy(held.begin(), held.end(), w.held.begin());
  w.numheld = int32_t(w.n - std::count(w.held.begin(), w.held.end(), prslv_hold::none));
  w.rhead.assign(w.m, -1);
  w.chead.assign(w.n, -1);
  w.rlen.assign(w.m, 0);
  w.clen.assign(w.n, 0);
  w.rlive.assign(w.m, 1);
  w.clive.assign(w.n, 1);
  w.act.assign(w.m, {});
  w.rowmax.assign(w.m, 0.0);
  w.rowmaxlen.assign(w.m, -1);
  w.place.assign(std::max(w.m, w.n), -1);
  w.numlivecon = w.m;
  w.numlivevar = w.n;
  w.ent.reserve(prob.a.sub.size());
  for (int32_t j = w.n - 1; j >= 0; --j) {  // backwards: links are made at the front
    for (ptrdiff_t p = prob.a.ptr[j + 1] - 1; p >= prob.a.ptr[j]; --p) {
      if (std::abs(prob.a.val[p]) <= w.set.tolaij) continue;
      w.ent.push_back({prob.a.val[p], prob.a.sub[p], j, -1, -1, -1, -1});
      linkentry(w, int32_t(w.ent.size()) - 1);
      addterms(w, prob.a.sub[p], prob.a.val[p], w.blx[j], w.bux[j], 1);
    }
  }
  setqueue(w.rowq, w.m, true);
  setqueue(w.colq, w.n, true);
  setqueue(w.slackq, w.m, false);
  setqueue(w.duprowq, w.m, true);
  setqueue(w.dupcolq, w.n, true);
  setqueue(w.elimq, w.n, true);
}

bool prslv_poll(prslv_work& w) {
  if (w.stop) return false;
  if (w.work - w.polled > workperpoll) {
    w.polled = w.work;
    w.code = w.mon.poll(callback_code::im_presolve);
  }
  return w.code == rescode::ok;
}

void prslv_queuerow(prslv_work& w, int32_t i) {
  prslv_enqueue(w.rowq, i);
  prslv_enqueue(w.duprowq, i);
}

void prslv_queuecol(prslv_work& w, int32_t j) {
  prslv_enqueue(w.colq, j);
  prslv_enqueue(w.dupcolq, j);
  prslv_enqueue(w.elimq, j);
}

void prslv_setblx(prslv_work& w, int32_t j, double value) {
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    addterms(w, ent.row, ent.val, w.blx[j], w.bux[j], -1);
    addterms(w, ent.row, ent.val, value, w.bux[j], 1);
    prslv_enqueue(w.rowq, ent.row);
  }
  w.work += w.clen[j];
  w.blx[j] = value;
  prslv_queuecol(w, j);
}

void prslv_setbux(prslv_work& w, int32_t j, double value) {
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    addterms(w, ent.row, ent.val, w.blx[j], w.bux[j], -1);
    addterms(w, ent.row, ent.val, w.blx[j], value, 1);
    prslv_enqueue(w.rowq, ent.row);
  }
  w.work += w.clen[j];
  w.bux[j] = value;
  prslv_queuecol(w, j);
}

void prslv_setsides(prslv_work& w, int32_t i, double lower, double upper) {
  w.blc[i] = lower;
  w.buc[i] = upper;
  prslv_queuerow(w, i);
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
    prslv_enqueue(w.colq, w.ent[e].col);
    prslv_enqueue(w.elimq, w.ent[e].col);
  }
  w.work += w.rlen[i];
}

void prslv_dropsides(prslv_work& w, int32_t i, bool lower, bool upper) {
  double low = w.blc[i], high = w.buc[i];
  if (lower) low = -prslv_inf;
  if (upper) high = prslv_inf;
  prslv_setsides(w, i, low, high);
}

void prslv_shiftsides(prslv_work& w, int32_t i, double shift) {
  const bool isequ = prslv_isequ(w, i);
  w.blc[i] = prslv_cleansum(w.blc[i], shift);
  w.buc[i] = isequ ? w.blc[i] : prslv_cleansum(w.buc[i], shift);
  prslv_queuerow(w, i);
}

void prslv_addcost(prslv_work& w, int32_t j, double delta) {
  if (delta == 0) return;
  w.c[j] = prslv_cleansum(w.c[j], delta);
  prslv_queuecol(w, j);
}

void prslv_removeentry(prslv_work& w, int32_t e) {
  const prslv_entry& ent = w.ent[e];
  addterms(w, ent.row, ent.val, w.blx[ent.col], w.bux[ent.col], -1);
  unlinkrow(w, ent);
  unlinkcol(w, ent);
  prslv_queuerow(w, ent.row);
  prslv_queuecol(w, ent.col);
  freeentry(w, e);
}

void prslv_changeentry(prslv_work& w, int32_t e, double value, double scale) {
  if (std::abs(value) <= std::max(w.set.tolaij, 1e2 * prslv_canceltol * scale)) {
    prslv_removeentry(w, e);
    return;
  }
  prslv_entry& ent = w.ent[e];
  addterms(w, ent.row, ent.val, w.blx[ent.col], w.bux[ent.col], -1);
  w.rowmax[ent.row] = std::max(w.rowmax[ent.row], std::abs(value));
  w.rowmaxlen[ent.row] = -1;
  ent.val = value;
  addterms(w, ent.row, ent.val, w.blx[ent.col], w.bux[ent.col], 1);
  prslv_queuerow(w, ent.row);
  prslv_queuecol(w, ent.col);
}

void prslv_addentry(prslv_work& w, int32_t i, int32_t j, double value) {
  if (std::abs(value) <= w.set.tolaij) return;
  int32_t e = w.freeent;
  if (e >= 0) {
    w.freeent = w.ent[e].rnext;
    w.ent[e] = {value, i, j, -1, -1, -1, -1};
  } else {
    e = int32_t(w.ent.size());
    w.ent.push_back({value, i, j, -1, -1, -1, -1});
  }
  linkentry(w, e);
  addterms(w, i, value, w.blx[j], w.bux[j], 1);
  prslv_queuerow(w, i);
  prslv_queuecol(w, j);
}

void prslv_removerow(prslv_work& w, int32_t i) {
  w.work += w.rlen[i];
  for (int32_t e = w.rhead[i], next = -1; e >= 0; e = next) {
    next = w.ent[e].rnext;
    unlinkcol(w, w.ent[e]);
    prslv_queuecol(w, w.ent[e].col);
    freeentry(w, e);
  }
  w.rhead[i] = -1;
  w.rlen[i] = 0;
  w.rlive[i] = 0;
  --w.numlivecon;
}

void prslv_removecol(prslv_work& w, int32_t j) {
  w.work += w.clen[j];
  for (int32_t e = w.chead[j], next = -1; e >= 0; e = next) {
    const prslv_entry& ent = w.ent[e];
    next = ent.cnext;
    addterms(w, ent.row, ent.val, w.blx[j], w.bux[j], -1);
    unlinkrow(w, ent);
    prslv_queuerow(w, ent.row);
    freeentry(w, e);
  }
  w.chead[j] = -1;
  w.clen[j] = 0;
  w.clive[j] = 0;
  --w.numlivevar;
}

void prslv_pushrow(prslv_work& w, int32_t i, int32_t butcol) {
  w.tmpsub.clear();
  w.tmpval.clear();
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
    if (w.ent[e].col == butcol) continue;
    w.tmpsub.push_back(w.ent[e].col);
    w.tmpval.push_back(w.ent[e].val);
  }
  prslv_pushlist(w.rec.stack, w.tmpsub, w.tmpval);
}

void prslv_pushcol(prslv_work& w, int32_t j, int32_t butrow) {
  w.tmpsub.clear();
  w.tmpval.clear();
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    if (w.ent[e].row == butrow) continue;
    w.tmpsub.push_back(w.ent[e].row);
    w.tmpval.push_back(w.ent[e].val);
  }
  prslv_pushlist(w.rec.stack, w.tmpsub, w.tmpval);
}

void prslv_droprow(prslv_work& w, int32_t i) {
  prslv_push(w.rec.stack, prslv_opcode::freerow, {{i}}, {});
  prslv_removerow(w, i);
}

void prslv_fixcol(prslv_work& w, int32_t j, double value) {
  prslv_push(w.rec.stack, prslv_opcode::fixcol, {{j}}, {{value, w.c[j], w.blx[j], w.bux[j]}});
  prslv_pushcol(w, j, -1);
  if (value != 0) {
    for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
      prslv_shiftsides(w, w.ent[e].row, -w.ent[e].val * value);
    }
    w.cfix.add(w.c[j] * value);
  }
  prslv_removecol(w, j);
}

void prslv_infeasible(prslv_work& w) {
  w.stop = true;
  w.verdict = prslv_verdict::infeas;
}

void prslv_unbound(prslv_work& w) {
  w.stop = true;
  w.verdict = prslv_verdict::unbounded;
}

double prslv_rowscale(const prslv_work& w, int32_t i, bool upper) {
  const double side = upper ? w.buc[i] : w.blc[i];
  double scale = 1 + (std::isfinite(side) ? std::abs(side) : 0);
  for (int32_t e = w.rhead[i]; e >= 0; e = w.ent[e].rnext) {
    const prslv_entry& ent = w.ent[e];
    const double bound = (ent.val > 0) == upper ? w.blx[ent.col] : w.bux[ent.col];
    if (!isbig(bound)) scale = std::max(scale, std::abs(ent.val * bound));
  }
  return scale;
}

bool prslv_isimplied(const prslv_work& w, int32_t j, bool upper) {
  if (std::isinf(upper ? w.bux[j] : w.blx[j])) return true;
  for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) {
    const prslv_entry& ent = w.ent[e];
    if (upper ? prslv_impliedupper(w, ent) <= w.bux[j] + prslv_equtol
              : prslv_impliedlower(w, ent) >= w.blx[j] - prslv_equtol) {
      return true;
    }
  }
  return false;
}

bool prslv_relax(prslv_work& w, int32_t j, bool upper) {
  if (std::isinf(upper ? w.bux[j] : w.blx[j])) return true;
  if (std::isinf(upper ? w.blx[j] : w.bux[j]) && w.set.forinterior) return false;
  if (!prslv_isimplied(w, j, upper)) return false;
  if (upper) {
    prslv_setbux(w, j, prslv_inf);
  } else {
    prslv_setblx(w, j, -prslv_inf);
  }
  return true;
}
