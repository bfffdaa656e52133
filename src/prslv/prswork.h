// The problem while it is being reduced: entries linked by rows and by columns, activity bounds of the
// rows, queues of what changed, and the few changes that every reduction is made of. Each of these
// keeps lists, activities and queues in step, so that a reduction states only what it does.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "cpub/memman.h"
#include "cpub/monitor.h"
#include "misc/exactsum.h"
#include "prslv/prslv.h"

constexpr double prslv_inf = std::numeric_limits<double>::infinity();
// A bound of at least this size counts as infinite where activities are summed: terms of its size
// would drown all others.
constexpr double prslv_hugebound = 1e16;
// A row that misses a side by more than this cannot hold; relative to 1 + the largest term.
constexpr double prslv_infeastol = 1e-6;
// Sides and bounds nearer than this are equal; relative to 1 + the largest term. Far above rounding of
// the compensated sums, far below what an optimizer resolves.
constexpr double prslv_equtol = 1e-9;
// A sum that cancelled to this part of its terms is rounding and becomes zero.
constexpr double prslv_canceltol = 1e-14;

struct prslv_entry {
  double val;
  int32_t row, col;
  int32_t rnext, rprev, cnext, cprev;  // neighbours in its row and column, or -1
};

// Bounds of a row's activity: sums of the finite terms and numbers of the infinite ones.
struct prslv_act {
  exact_sum min, max;
  int32_t infmin = 0, infmax = 0;
};
inline double prslv_actmin(const prslv_act& act) {
  return act.infmin > 0 ? -prslv_inf : act.min.value();
}
inline double prslv_actmax(const prslv_act& act) {
  return act.infmax > 0 ? prslv_inf : act.max.value();
}

// First in, first out; each number at most once.
struct prslv_queue {
  mm_vector<int32_t> list;
  mm_vector<uint8_t> has;
  size_t head = 0;
  explicit prslv_queue(mm_place place) : list(place), has(place) {}
};
inline void prslv_enqueue(prslv_queue& q, int32_t k) {
  if (q.has[k] != 0) return;
  q.has[k] = 1;
  q.list.push_back(k);
}
int32_t prslv_dequeue(prslv_queue& q);  // -1 when it is empty

struct prslv_work {
  int32_t m = 0, n = 0;
  mm_vector<prslv_entry> ent;
  int32_t freeent = -1;  // places of removed entries, linked by rnext
  int64_t numanz = 0;
  mm_vector<int32_t> rhead, rlen, chead, clen;
  mm_vector<uint8_t> rlive, clive;
  mm_vector<prslv_hold> held;
  mm_vector<uint8_t> merged;  // columns that stand for several
  mm_vector<double> blc, buc, blx, bux, c;
  exact_sum cfix;
  mm_vector<prslv_act> act;
  // Upper bounds of the rows' largest entries; exact while the row is as long as rowmaxlen.
  mm_vector<double> rowmax;
  mm_vector<int32_t> rowmaxlen;
  prslv_queue rowq, colq;
  prslv_queue slackq;                    // long rows with columns that have no other entry
  prslv_queue duprowq, dupcolq, elimq;   // rows and columns changed since those searches ran
  mm_vector<uint64_t> rowhash, colhash;  // of the patterns when the search for duplicates ran
  int32_t numlivecon = 0, numlivevar = 0, numheld = 0;
  double work = 0, polled = 0;  // entries touched; and when mon was asked last
  // Set once a certificate was found: y or x of the problem at this moment.
  bool stop = false;
  prslv_verdict verdict = prslv_verdict::reduced;
  mm_vector<std::pair<int32_t, double>> seed;
  mm_vector<int32_t> tmpsub, place;  // scratch; place: max(m, n) times -1 between uses
  mm_vector<double> tmpval;
  rescode code = rescode::ok;  // of the last poll
  prslv_rec& rec;
  const prslv_settings& set;
  const monitor& mon;
  prslv_work(prslv_rec& record, const prslv_settings& settings, const monitor& monit, memman& mman);
};

// prslv_setup: fills w from the problem; every row and column is queued.
void prslv_setup(prslv_work& w, const lp_view& prob, std::span<const prslv_hold> held);
// prslv_poll: whether to go on; asks the monitor after every so many entries of work.
bool prslv_poll(prslv_work& w);

inline bool prslv_isequ(const prslv_work& w, int32_t i) {
  return w.blc[i] == w.buc[i];
}
inline bool prslv_isheld(const prslv_work& w, int32_t j) {
  return w.held[j] != prslv_hold::none;
}
inline bool prslv_keepsbounds(const prslv_work& w, int32_t j) {
  return w.held[j] == prslv_hold::all;
}

// prslv_setblx, prslv_setbux: a new bound of column j, activities and queues with it.
void prslv_setblx(prslv_work& w, int32_t j, double value);
void prslv_setbux(prslv_work& w, int32_t j, double value);
// prslv_setside: new sides of row i; its columns are queued.
void prslv_setsides(prslv_work& w, int32_t i, double lower, double upper);
// prslv_dropsides: takes sides away.
void prslv_dropsides(prslv_work& w, int32_t i, bool lower, bool upper);
// prslv_shiftsides: adds to both sides; only the row is queued.
void prslv_shiftsides(prslv_work& w, int32_t i, double shift);
void prslv_addcost(prslv_work& w, int32_t j, double delta);
// prslv_changeentry: gives an entry another value; removes it when it is negligible beside scale.
void prslv_changeentry(prslv_work& w, int32_t e, double value, double scale);
void prslv_addentry(prslv_work& w, int32_t i, int32_t j, double value);
void prslv_removeentry(prslv_work& w, int32_t e);
void prslv_removerow(prslv_work& w, int32_t i);  // without a record
void prslv_removecol(prslv_work& w, int32_t j);  // without a record; its terms are dropped
// prslv_queuerow, prslv_queuecol: for every search that looks at what changed.
void prslv_queuerow(prslv_work& w, int32_t i);
void prslv_queuecol(prslv_work& w, int32_t j);

// prslv_pushrow, prslv_pushcol: adds the row's (column's) entries but the one named to the last record.
void prslv_pushrow(prslv_work& w, int32_t i, int32_t butcol);
void prslv_pushcol(prslv_work& w, int32_t j, int32_t butrow);

// prslv_droprow: row i binds nothing: its multiplier is zero.
void prslv_droprow(prslv_work& w, int32_t i);
// prslv_fixcol: column j leaves at value.
void prslv_fixcol(prslv_work& w, int32_t j, double value);

// prslv_infeasible, prslv_unbound: ends presolve; w.seed holds the rows of y (columns of x).
void prslv_infeasible(prslv_work& w);
void prslv_unbound(prslv_work& w);

// prslv_rowscale: 1 + the largest of the side and of the terms of the row's activity bound.
double prslv_rowscale(const prslv_work& w, int32_t i, bool upper);

// The largest (least) activity of the entry's row without the entry's own term.
inline double prslv_restmax(const prslv_work& w, const prslv_entry& e) {
  const prslv_act& act = w.act[e.row];
  const double own = e.val > 0 ? w.bux[e.col] : w.blx[e.col];
  const bool isbig = !(std::abs(own) < prslv_hugebound);
  if (act.infmax > (isbig ? 1 : 0)) return prslv_inf;
  return act.max.value() - (isbig ? 0 : e.val * own);
}
inline double prslv_restmin(const prslv_work& w, const prslv_entry& e) {
  const prslv_act& act = w.act[e.row];
  const double own = e.val > 0 ? w.blx[e.col] : w.bux[e.col];
  const bool isbig = !(std::abs(own) < prslv_hugebound);
  if (act.infmin > (isbig ? 1 : 0)) return -prslv_inf;
  return act.min.value() - (isbig ? 0 : e.val * own);
}
// prslv_impliedlower, -upper: bound that row e.row alone puts on column e.col; infinite for none.
inline double prslv_impliedlower(const prslv_work& w, const prslv_entry& e) {
  const double side = e.val > 0 ? w.blc[e.row] : w.buc[e.row];
  if (std::isinf(side)) return -prslv_inf;
  return (side - (e.val > 0 ? prslv_restmax(w, e) : prslv_restmin(w, e))) / e.val;
}
inline double prslv_impliedupper(const prslv_work& w, const prslv_entry& e) {
  const double side = e.val > 0 ? w.buc[e.row] : w.blc[e.row];
  if (std::isinf(side)) return prslv_inf;
  return (side - (e.val > 0 ? prslv_restmin(w, e) : prslv_restmax(w, e))) / e.val;
}

// prslv_isimplied: whether rows keep column j within its bound (upper or lower), or it has none.
bool prslv_isimplied(const prslv_work& w, int32_t j, bool upper);
// prslv_relax: takes that bound away if rows imply it. Returns whether there is none now.
bool prslv_relax(prslv_work& w, int32_t j, bool upper);

// prslv_cleansum: a + b, zero when nothing but rounding is left.
inline double prslv_cleansum(double a, double b) {
  const double sum = a + b;
  return std::abs(sum) < prslv_canceltol * (std::abs(a) + std::abs(b)) ? 0.0 : sum;  // inf stays
}
