// Writer of MBT files.
#include <zlib.h>

#include <algorithm>
#include <array>
#include <span>

#include "zalvo/zalvombt.h"

namespace {

struct mbt_writer {
  task_rec& t;
  prob_rec& p;
  io_out& out;
  mbt_sizes size;
  uint32_t crc = 0;     // of the block so far
  uint64_t length = 0;  // of the block, and what is still to come of it
};

void put_bytes(mbt_writer& w, const void* data, size_t num) noexcept {
  constexpr size_t most = size_t{1} << 30;
  const auto* from = static_cast<const Bytef*>(data);
  w.length -= num;
  while (num > 0) {
    const size_t n = std::min(num, most);
    w.crc = uint32_t(crc32(w.crc, from, uInt(n)));
    io_put(w.out, {reinterpret_cast<const char*>(from), n});
    from += n;
    num -= n;
  }
}
template <class T>
void put(mbt_writer& w, std::span<const T> items) noexcept {
  put_bytes(w, items.data(), items.size_bytes());
}
template <class T>
void put(mbt_writer& w, const mm_vector<T>& items, int32_t num) noexcept {
  put(w, std::span<const T>(items.data(), size_t(num)));
}
void put(mbt_writer& w, int32_t item) noexcept {
  put_bytes(w, &item, sizeof item);
}

// A block holds so many integers, doubles and characters.
void begin_block(mbt_writer& w, mbt_tag tag, uint64_t numint, uint64_t numdouble,
                 uint64_t numchar = 0) {
  const mbt_blockhead head = {tag, 0, 4 * numint + 8 * numdouble + numchar};
  io_put(w.out, {reinterpret_cast<const char*>(&head), sizeof head});
  w.crc = uint32_t(crc32(0, nullptr, 0));
  w.length = head.length;
}
void end_block(mbt_writer& w) {
  fault_check(w.length == 0);
  const uint64_t crc = w.crc;
  io_put(w.out, {reinterpret_cast<const char*>(&crc), sizeof crc});
}

// ---- Blocks

int32_t defined_solutions(task_rec& t) {
  int32_t bits = 0;
  for (int32_t s = 0; s < sol_count && t.par.i[ipar::write_task_inc_sol] != 0; ++s) {
    if (sol_isdef(t, s) && t.sol.rec[size_t(s)].isallocated) bits |= 1 << s;
  }
  return bits;
}

mbt_sizes sizes_of(task_rec& t) {
  const prob_rec& p = t.prob;
  mbt_sizes s;
  s.numcon = p.numcon;
  s.numvar = p.numvar;
  s.numcone = p.numcone;
  s.sense = t.par.i[ipar::objective_sense];
  s.numanz = prob_numanz(p);
  s.numqobj = p.qobje - p.qobjb;
  s.numqcon = prob_qused(p) - s.numqobj;
  for (const prob_cone& cone : p.cone) s.numconemem += int32_t(cone.sub.size());
  s.numint = p.numintvar;
  s.numsol = defined_solutions(t);
  s.numipar = ipar::count;
  s.numdpar = dpar::count;
  s.numspar = spar::count;
  s.cfix = p.cfix;
  return s;
}

void put_sizes(mbt_writer& w) {
  begin_block(w, mbt_tag::sizes, 0, 0, sizeof w.size);
  put_bytes(w, &w.size, sizeof w.size);
  end_block(w);
}

void put_bounds(mbt_writer& w) {
  const prob_rec& p = w.p;
  const auto m = uint64_t(p.numcon), n = uint64_t(p.numvar);
  begin_block(w, mbt_tag::bounds, m + n, 2 * m + 3 * n);
  put(w, p.bkc, p.numcon);
  put(w, p.blc, p.numcon);
  put(w, p.buc, p.numcon);
  put(w, p.bkx, p.numvar);
  put(w, p.blx, p.numvar);
  put(w, p.bux, p.numvar);
  put(w, p.c, p.numvar);
  end_block(w);
}

void put_matrix(mbt_writer& w) {
  const sprmat& a = probmat_by(prob_mat(w.p), acc::var);
  const auto num = uint64_t(w.size.numanz);
  begin_block(w, mbt_tag::matrix, uint64_t(w.p.numvar) + num, num);
  for (int32_t j = 0; j < w.p.numvar; ++j) put(w, int32_t(sprmat_sub(a, j).size()));
  for (int32_t j = 0; j < w.p.numvar; ++j) put<int32_t>(w, sprmat_sub(a, j));
  for (int32_t j = 0; j < w.p.numvar; ++j) put<double>(w, sprmat_val(a, j));
  end_block(w);
}

void put_quadratic(mbt_writer& w) {
  const auto numobj = uint64_t(w.size.numqobj), numcon = uint64_t(w.size.numqcon);
  begin_block(w, mbt_tag::quadratic, 2 * numobj + 3 * numcon, numobj + numcon);
  const prob_qterms obj = prob_getq(w.p, prob_obj);
  put<int32_t>(w, obj.subi);
  put<int32_t>(w, obj.subj);
  put<double>(w, obj.val);
  const auto each = [&](auto&& what) {
    for (int32_t k = 0; k < w.p.numcon && numcon > 0; ++k) what(k, prob_getq(w.p, k));
  };
  each([&](int32_t k, const prob_qterms& q) {
    for (size_t s = 0; s < q.val.size(); ++s) put(w, k);
  });
  each([&](int32_t, const prob_qterms& q) { put<int32_t>(w, q.subi); });
  each([&](int32_t, const prob_qterms& q) { put<int32_t>(w, q.subj); });
  each([&](int32_t, const prob_qterms& q) { put<double>(w, q.val); });
  end_block(w);
}

void put_types(mbt_writer& w) {
  if (w.size.numint == 0) return;
  begin_block(w, mbt_tag::types, uint64_t(w.p.numvar), 0);
  put(w, w.p.vartype, w.p.numvar);
  end_block(w);
}

void put_cones(mbt_writer& w) {
  const auto k = uint64_t(w.p.numcone);
  begin_block(w, mbt_tag::cones, 2 * k + uint64_t(w.size.numconemem), k);
  for (const prob_cone& cone : w.p.cone) put(w, cone.type);
  for (const prob_cone& cone : w.p.cone) put(w, int32_t(cone.sub.size()));
  for (const prob_cone& cone : w.p.cone) put_bytes(w, &cone.par, sizeof cone.par);
  for (const prob_cone& cone : w.p.cone) put(w, cone.sub, int32_t(cone.sub.size()));
  end_block(w);
}

void put_names(mbt_writer& w) {
  const std::array<int32_t, names_numkinds> num = {w.p.numvar, w.p.numcon, w.p.numcone};
  const auto each = [&](auto&& what) {
    for (int32_t kind = 0; kind < names_numkinds; ++kind) {
      for (int32_t i = 0; i < num[size_t(kind)]; ++i) what(prob_name(w.p, kind, i));
    }
    what(prob_objname(w.p));
    what(prob_taskname(w.p));
  };
  uint64_t numname = 0, numchar = 0;
  each([&](std::string_view name) {
    ++numname;
    numchar += name.size();
  });
  begin_block(w, mbt_tag::names, numname, 0, numchar);
  each([&](std::string_view name) { put(w, int32_t(name.size())); });
  each([&](std::string_view name) { put_bytes(w, name.data(), name.size()); });
  end_block(w);
}

void put_parameters(mbt_writer& w) {
  const param_values& par = w.t.par;
  uint64_t numchar = 0;
  for (const mm_string& s : par.s) numchar += s.size();
  begin_block(w, mbt_tag::parameters, par.i.size() + par.s.size(), par.d.size(), numchar);
  put<int32_t>(w, par.i);
  put<double>(w, par.d);
  for (const mm_string& s : par.s) put(w, int32_t(s.size()));
  for (const mm_string& s : par.s) put_bytes(w, s.data(), s.size());
  end_block(w);
}

void put_solution(mbt_writer& w, int32_t s) {
  const sol_view v = sol_items(w.t, s);
  const std::span<int32_t> keys[] = {v.skc, v.skx, v.skn};
  const std::span<double> values[] = {v.xc, v.xx, v.y, v.slc, v.suc, v.slx, v.sux, v.snx};
  uint64_t numint = 2, numdouble = 0;
  for (const auto& k : keys) numint += k.size();
  for (const auto& x : values) numdouble += x.size();
  begin_block(w, mbt_tag(uint32_t(mbt_tag::interior) + uint32_t(s)), numint, numdouble);
  put(w, w.t.sol.rec[size_t(s)].prosta);
  put(w, w.t.sol.rec[size_t(s)].solsta);
  for (const auto& k : keys) put<int32_t>(w, k);
  for (const auto& x : values) put<double>(w, x);
  end_block(w);
}

}  // namespace

rescode mbt_write(task_rec& t, io_out& out) {
  mbt_writer w = {t, t.prob, out, sizes_of(t)};
  const mbt_head head;
  io_put(out, mbt_magic);
  io_put(out, {reinterpret_cast<const char*>(&head), sizeof head});
  put_sizes(w);
  put_bounds(w);
  put_matrix(w);
  put_quadratic(w);
  put_types(w);
  put_cones(w);
  put_names(w);
  put_parameters(w);
  for (int32_t s = 0; s < sol_count; ++s) {
    if ((w.size.numsol >> s & 1) != 0) put_solution(w, s);
  }
  begin_block(w, mbt_tag::end, 0, 0);
  end_block(w);
  return rescode::ok;
}
