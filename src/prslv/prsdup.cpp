// Duplicates are found by a hash of the pattern and of the values divided by the value of the smallest
// subscript, and then compared entry by entry. A pair that rounding hides from the hash is missed.
// Tomlin, Welch, "Finding duplicate rows in a linear programming model", Oper. Res. Lett. 5 (1986),
// reach the same in linear time by splitting classes.
#include "prslv/prsdup.h"

#include <algorithm>

namespace {

// Two entries are proportional when they agree to this part.
constexpr double dupltol = 1e-12;
// A multiple beyond this or its inverse is left alone: merged bounds would lose digits.
constexpr double duplmaxscale = 1e6;
// Grid on which quotients of entries are hashed; not a power of two, so that simple fractions do not
// fall halfway between its points.
constexpr double hashgrid = 1048573.25;

uint64_t mix(uint64_t v) {  // the finalizer of MurmurHash3
  v = (v ^ (v >> 33)) * 0xff51afd7ed558ccdULL;
  v = (v ^ (v >> 33)) * 0xc4ceb9fe1a85ec53ULL;
  return v ^ (v >> 33);
}

// Keys of vectors, each with the first vector that brought it. Open addressing; filled in index order,
// so that which vector is first does not depend on the keys.
struct dup_table {
  mm_vector<uint64_t> key;
  mm_vector<int32_t> first;
  size_t mask = 15;
  dup_table(int32_t num, mm_place at) : key(at), first(at) {
    while (mask < 2 * size_t(num)) mask = 2 * mask + 1;
    key.resize(mask + 1);
    first.assign(mask + 1, -1);
  }
  // The place of the first vector with this key; it becomes k when there was none.
  int32_t& find(uint64_t value, int32_t k) {
    size_t at = size_t(value) & mask;
    while (first[at] >= 0 && key[at] != value) at = (at + 1) & mask;
    if (first[at] < 0) {
      key[at] = value;
      first[at] = k;
    }
    return first[at];
  }
};

// Row and column seen alike: subscript and successor of an entry along the vector.
struct along {
  bool rows;
  int32_t head(const prslv_work& w, int32_t k) const { return rows ? w.rhead[k] : w.chead[k]; }
  int32_t next(const prslv_entry& e) const { return rows ? e.rnext : e.cnext; }
  int32_t sub(const prslv_entry& e) const { return rows ? e.col : e.row; }
  int32_t len(const prslv_work& w, int32_t k) const { return rows ? w.rlen[k] : w.clen[k]; }
};

// The value that the others are divided by.
double leading(const prslv_work& w, const along& dir, int32_t k) {
  int32_t first = -1;
  double value = 1;
  for (int32_t e = dir.head(w, k); e >= 0; e = dir.next(w.ent[e])) {
    const int32_t sub = dir.sub(w.ent[e]);
    if (first >= 0 && sub > first) continue;
    first = sub;
    value = w.ent[e].val;
  }
  return value;
}

uint64_t subhash(int32_t sub) {
  const uint64_t part = (uint64_t(sub) + 1) * 0x9e3779b97f4a7c15ULL;
  return part ^ (part >> 29);
}

uint64_t patternhash(const prslv_work& w, const along& dir, int32_t k) {
  uint64_t key = uint64_t(dir.len(w, k));
  for (int32_t e = dir.head(w, k); e >= 0; e = dir.next(w.ent[e])) {
    key += subhash(dir.sub(w.ent[e]));
  }
  return mix(key);
}

// The same of all rows, along the columns, by which entries lie.
void rowhashes(prslv_work& w) {
  for (int32_t i = 0; i < w.m; ++i) w.rowhash[i] = uint64_t(w.rlen[i]);
  for (int32_t j = 0; j < w.n; ++j) {
    const uint64_t part = subhash(j);
    for (int32_t e = w.chead[j]; e >= 0; e = w.ent[e].cnext) w.rowhash[w.ent[e].row] += part;
  }
  for (int32_t i = 0; i < w.m; ++i) w.rowhash[i] = mix(w.rowhash[i]);
  w.work += double(w.numanz);
}

uint64_t valuehash(const prslv_work& w, const along& dir, int32_t k, uint64_t key) {
  const double lead = leading(w, dir, k);
  for (int32_t e = dir.head(w, k); e >= 0; e = dir.next(w.ent[e])) {
    const double quotient = std::clamp(w.ent[e].val / lead, -1e12, 1e12);
    const auto grid = uint64_t(std::llround(quotient * hashgrid));
    key += mix(grid + 7 * uint64_t(dir.sub(w.ent[e])));
  }
  return mix(key);
}

// The multiple s with vector i = s times vector k; 0 when there is none.
double multiple(prslv_work& w, const along& dir, int32_t i, int32_t k) {
  if (dir.len(w, i) != dir.len(w, k)) return 0;
  for (int32_t e = dir.head(w, k); e >= 0; e = dir.next(w.ent[e])) {
    w.place[dir.sub(w.ent[e])] = e;
  }
  double s = leading(w, dir, i) / leading(w, dir, k);
  for (int32_t e = dir.head(w, i); e >= 0 && s != 0; e = dir.next(w.ent[e])) {
    const int32_t f = w.place[dir.sub(w.ent[e])];
    const double value = w.ent[e].val;
    if (f < 0 || std::abs(value - s * w.ent[f].val) > dupltol * std::abs(value)) s = 0;
  }
  for (int32_t e = dir.head(w, k); e >= 0; e = dir.next(w.ent[e])) {
    w.place[dir.sub(w.ent[e])] = -1;
  }
  w.work += 2.0 * dir.len(w, k);
  return std::abs(s) <= duplmaxscale && std::abs(s) * duplmaxscale >= 1 ? s : 0;
}

// Live vectors whose pattern another one has too and of which one changed since the last call.
void candidates(prslv_work& w, const along& dir, mm_vector<int32_t>& list) {
  const int32_t num = dir.rows ? w.m : w.n;
  const auto skip = [&](int32_t k) {
    return dir.len(w, k) == 0 || (!dir.rows && prslv_isheld(w, k));
  };
  mm_vector<uint64_t>& hash = dir.rows ? w.rowhash : w.colhash;
  prslv_queue& queue = dir.rows ? w.duprowq : w.dupcolq;
  hash.resize(num);
  dup_table table(num, w.tmpsub.get_allocator().place);
  mm_vector<uint8_t> state(num, 0, w.tmpsub.get_allocator().place);  // of a pattern's first vector
  const bool all = dir.rows && 2 * (queue.list.size() - queue.head) >= size_t(w.numlivecon);
  if (all) rowhashes(w);
  for (int32_t k = prslv_dequeue(queue); k >= 0; k = prslv_dequeue(queue)) {
    state[k] = 1;
    if (all) continue;
    hash[k] = patternhash(w, dir, k);
    w.work += dir.len(w, k);
  }
  list.clear();
  constexpr uint8_t changed = 1, shared = 2;
  for (int32_t k = 0; k < num; ++k) {
    if (skip(k)) continue;
    const int32_t first = table.find(hash[k], k);
    if (first != k) state[first] = uint8_t(state[first] | shared | (state[k] & changed));
  }
  for (int32_t k = 0; k < num; ++k) {
    if (!skip(k) && state[table.find(hash[k], k)] == (changed | shared)) list.push_back(k);
  }
  w.work += num;
}

// Row i = s times row k: k gets the tighter sides of both.
void mergerow(prslv_work& w, int32_t i, int32_t k, double s) {
  const double low = (s > 0 ? w.blc[i] : w.buc[i]) / s, high = (s > 0 ? w.buc[i] : w.blc[i]) / s;
  const auto misses = [](double lower, double upper) {
    return lower - upper > prslv_infeastol * (1 + std::min(std::abs(lower), std::abs(upper)));
  };
  if (misses(low, w.buc[k]) || misses(w.blc[k], high)) {
    const double sign = misses(low, w.buc[k]) ? 1 : -1;
    w.seed.assign(1, {i, sign / s});
    w.seed.emplace_back(k, -sign);
    prslv_infeasible(w);
    return;
  }
  int32_t flags = 0;
  double lower = w.blc[k], upper = w.buc[k];
  const auto tighter = [](double gain, double side) {
    return std::isinf(side) ? gain > 0 : gain > prslv_equtol * (1 + std::abs(side));
  };
  if (tighter(low - lower, lower)) {
    lower = std::min(low, upper);
    flags |= prslv_lower;
  }
  if (tighter(upper - high, upper)) {
    upper = std::max(high, lower);
    flags |= prslv_upper;
  }
  prslv_push(w.rec.stack, prslv_opcode::duprow, {{i, k, flags}}, {{s}});
  prslv_removerow(w, i);
  if (flags != 0) prslv_setsides(w, k, lower, upper);
  ++w.rec.info.numduprow;
}

// Column j = s times column k, and k may take the room of j at less cost: j goes to a bound.
bool dominates(prslv_work& w, int32_t k, int32_t j, double s) {
  const double delta = prslv_cleansum(w.c[j], -s * w.c[k]);
  if (std::abs(delta) <= w.set.tols * (1 + std::abs(w.c[j]))) return false;
  if (!prslv_relax(w, k, (delta > 0) == (s > 0))) return false;
  const double bound = delta > 0 ? w.blx[j] : w.bux[j];
  if (std::isinf(bound)) {
    const double dir = delta > 0 ? -1 : 1;
    w.seed.assign(1, {j, dir});
    w.seed.emplace_back(k, -dir * s);
    prslv_unbound(w);
    return true;
  }
  prslv_fixcol(w, j, bound);
  ++w.rec.info.numdomcol;
  return true;
}

// Column j = s times column k with costs alike: k stands for x_k + s x_j. Beside cones and quadratic
// terms two columns with bounds don't become a free one: the optimizers have more trouble with that.
bool mergecol(prslv_work& w, int32_t j, int32_t k, double s) {
  const double delta = w.c[j] - s * w.c[k];
  if (std::abs(delta) > dupltol * (std::abs(w.c[j]) + std::abs(s * w.c[k]))) return false;
  const auto isfree = [&](int32_t col) { return std::isinf(w.blx[col]) && std::isinf(w.bux[col]); };
  if (isfree(j) && isfree(k)) {  // one is as good; zero is where a free one may stay
    if (w.merged[j] != 0 && w.merged[k] != 0) return false;
    prslv_fixcol(w, w.merged[j] != 0 ? k : j, 0);
    ++w.rec.info.numdupcol;
    return true;
  }
  const double lower = w.blx[k] + s * (s > 0 ? w.blx[j] : w.bux[j]);
  const double upper = w.bux[k] + s * (s > 0 ? w.bux[j] : w.blx[j]);
  if (w.numheld > 0 && std::isinf(lower) && std::isinf(upper) && !isfree(j) && !isfree(k)) {
    return false;
  }
  w.merged[k] = 1;
  prslv_push(w.rec.stack, prslv_opcode::dupcol, {{j, k}},
             {{s, w.blx[j], w.bux[j], w.blx[k], w.bux[k]}});
  prslv_removecol(w, j);
  if (lower != w.blx[k]) prslv_setblx(w, k, lower);
  if (upper != w.bux[k]) prslv_setbux(w, k, upper);
  ++w.rec.info.numdupcol;
  return true;
}

}  // namespace

void prslv_duprows(prslv_work& w) {
  const mm_place at = w.tmpsub.get_allocator().place;
  mm_vector<int32_t> list(at);
  const along dir = {true};
  candidates(w, dir, list);
  dup_table table(int32_t(list.size()), at);
  for (const int32_t i : list) {
    if (!prslv_poll(w)) return;
    const int32_t k = table.find(valuehash(w, dir, i, w.rowhash[i]), i);
    const double s = k != i ? multiple(w, dir, i, k) : 0;
    if (s != 0) mergerow(w, i, k, s);
  }
}

void prslv_dupcols(prslv_work& w) {
  const mm_place at = w.tmpsub.get_allocator().place;
  mm_vector<int32_t> list(at);
  const along dir = {false};
  candidates(w, dir, list);
  dup_table table(int32_t(list.size()), at);
  for (const int32_t j : list) {
    if (!prslv_poll(w)) return;
    int32_t& first = table.find(valuehash(w, dir, j, w.colhash[j]), j);
    const int32_t k = first;
    const double s = k != j ? multiple(w, dir, j, k) : 0;
    if (s == 0) continue;
    if (!dominates(w, k, j, s) && !w.stop && !mergecol(w, j, k, s)) dominates(w, j, k, 1 / s);
    if (w.clive[k] == 0) first = j;
  }
}
