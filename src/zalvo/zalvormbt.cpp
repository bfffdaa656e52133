// Reader of MBT files.
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "zalvo/paramtab.h"
#include "zalvo/zalvodat.h"
#include "zalvo/zalvofile.h"
#include "zalvo/zalvombt.h"

namespace {

using enum rescode;

struct mbt_reader {
  task_rec& t;
  file_problem& out;
  prob_rec& p;  // what is being built
  const char* filename;
  io_text& text;
  size_t chunk = 0, pos = 0;  // where the next byte is
  uint64_t left = 0;          // bytes of the file from there on
  uint64_t length = 0;        // bytes of the block from there on
  uint32_t crc = 0;           // of the block so far
  rescode stop = ok;          // the caller wants an end
  mbt_sizes size;
};

// ---- Bytes

// The next bytes of the file, which must hold that many.
void take(mbt_reader& r, void* to, uint64_t num) {
  auto* target = static_cast<char*>(to);
  r.left -= num;
  while (num > 0) {
    mm_vector<char>& chunk = r.text.chunk[r.chunk];
    const auto n = size_t(std::min<uint64_t>(num, chunk.size() - r.pos));
    std::memcpy(target, chunk.data() + r.pos, n);
    target += n;
    num -= n;
    r.pos += n;
    if (r.pos < chunk.size()) continue;
    mm_vector<char>(chunk.get_allocator()).swap(chunk);  // it is done with
    ++r.chunk;
    r.pos = 0;
    if (r.stop == ok) r.stop = file_poll(r.t);
  }
}

// The next bytes of the block, which must hold that many.
void get_bytes(mbt_reader& r, void* to, uint64_t num) {
  constexpr uint64_t most = uint64_t{1} << 30;
  take(r, to, num);
  r.length -= num;
  const auto* from = static_cast<const Bytef*>(to);
  for (; num > 0;) {
    const uint64_t n = std::min(num, most);
    r.crc = uint32_t(crc32(r.crc, from, uInt(n)));
    from += n;
    num -= n;
  }
}
template <class T>
void get(mbt_reader& r, T* to, int32_t num) {
  get_bytes(r, to, uint64_t(num) * sizeof(T));
}
template <class T>
mm_vector<T> get(mbt_reader& r, int32_t num) {
  mm_vector<T> items(size_t(num), T{}, prob_place(r.p));
  get(r, items.data(), num);
  return items;
}

// ---- Failures and blocks

rescode invalid(mbt_reader& r, const char* why) noexcept {
  const rescode code = task_fail(r.t, err_invalid_mbt_file, r.filename);
  task_echo(r.t, msg_kind::err, "%s: %s\n", r.filename, why);
  return code;
}

constexpr const char* cutoff = "The file is cut off.";

// What a block of this tag must hold: integers, doubles and, in some, any number of characters.
rescode begin_block(mbt_reader& r, mbt_tag tag, uint64_t numint, uint64_t numdouble,
                    bool ischars = false) {
  mbt_blockhead head;
  if (r.stop != ok) return r.stop;
  if (r.left < sizeof head) return invalid(r, cutoff);
  take(r, &head, sizeof head);
  const uint64_t least = 4 * numint + 8 * numdouble;
  if (head.tag != tag || head.length < least || (head.length > least && !ischars)) {
    return invalid(r, "A block has another length or place than it should.");
  }
  if (r.left < head.length || r.left - head.length < sizeof(uint64_t)) return invalid(r, cutoff);
  r.length = head.length;
  r.crc = uint32_t(crc32(0, nullptr, 0));
  return ok;
}

rescode end_block(mbt_reader& r) {
  uint64_t crc = 0;
  take(r, &crc, sizeof crc);
  return crc == r.crc ? ok : invalid(r, "The file is damaged: a checksum is wrong.");
}

template <class T, class F>
bool all(const T& items, F&& holds) {
  return std::all_of(items.begin(), items.end(), holds);
}
bool inrange(const mm_vector<int32_t>& items, int32_t num) {
  return all(items, [=](int32_t i) { return i >= 0 && i < num; });
}
bool isfinite(const mm_vector<double>& items) {
  return all(items, [](double x) { return std::isfinite(x); });
}
// Lengths that are what they add up to.
bool addup(const mm_vector<int32_t>& items, uint64_t sum) {
  uint64_t total = 0;
  for (const int32_t n : items) {
    if (n < 0) return false;
    total += uint64_t(n);
  }
  return total == sum;
}

// ---- The parts of the file

rescode read_head(mbt_reader& r) {
  char magic[mbt_magic.size()];
  mbt_head head;
  if (r.left < sizeof magic) return invalid(r, "It is no MBT file.");
  take(r, magic, sizeof magic);
  if (std::string_view(magic, sizeof magic) != mbt_magic) return invalid(r, "It is no MBT file.");
  if (r.left < sizeof head) return invalid(r, cutoff);
  take(r, &head, sizeof head);
  const char* why = nullptr;
  if (head.order != mbt_order) {
    why = "Its numbers have another byte order.";
  } else if (head.version == 0 || head.version > mbt_version) {
    why = "A later version has written it.";
  } else if (head.intsize != sizeof(int32_t) || head.doublesize != sizeof(double) ||
             std::bit_cast<uint64_t>(head.probe) != std::bit_cast<uint64_t>(mbt_probe)) {
    why = "Its numbers have another size or form.";
  }
  if (why == nullptr) return ok;
  const rescode code = task_fail(r.t, err_mbt_incompatible, r.filename);
  task_echo(r.t, msg_kind::err, "%s: %s\n", r.filename, why);
  return code;
}

rescode read_sizes(mbt_reader& r) {
  if (const rescode c = begin_block(r, mbt_tag::sizes, 0, sizeof r.size / sizeof(double));
      c != ok) {
    return c;
  }
  get_bytes(r, &r.size, sizeof r.size);
  if (const rescode c = end_block(r); c != ok) return c;
  const mbt_sizes& s = r.size;
  const bool isnegative = std::min({s.numcon, s.numvar, s.numcone, s.numanz, s.numqobj, s.numqcon,
                                    s.numconemem, s.numint}) < 0;
  const bool islarge =
      std::max({s.numcon, s.numvar, s.numcone, s.numanz, s.numqobj, s.numqcon}) > sprmat_maxcap ||
      int64_t(s.numqobj) + s.numqcon > sprmat_maxcap;
  if (isnegative || islarge || s.numint > s.numvar || (s.sense != 0 && s.sense != 1) ||
      s.numsol < 0 || s.numsol >= 1 << sol_count || s.numipar != ipar::count ||
      s.numdpar != dpar::count || s.numspar != spar::count || !std::isfinite(s.cfix)) {
    return invalid(r, "Its sizes make no sense.");
  }
  return ok;
}

bool isbound(int32_t key, double lower, double upper) noexcept {
  if (key < ZLV_BK_LO || key > ZLV_BK_RA || !std::isfinite(lower) || !std::isfinite(upper)) {
    return false;
  }
  const bool islower = key != ZLV_BK_UP && key != ZLV_BK_FR;
  const bool isupper = key != ZLV_BK_LO && key != ZLV_BK_FR;
  return (islower || lower == -prob_inf) && (isupper || upper == prob_inf);
}

rescode read_bounds(mbt_reader& r) {
  const int32_t m = r.size.numcon, n = r.size.numvar;
  if (const rescode c = begin_block(r, mbt_tag::bounds, uint64_t(m) + uint64_t(n),
                                    2 * uint64_t(m) + 3 * uint64_t(n));
      c != ok) {
    return c;
  }
  prob_rec& p = r.p;
  prob_append(p, acc::con, m);
  prob_append(p, acc::var, n);
  get(r, p.bkc.data(), m);
  get(r, p.blc.data(), m);
  get(r, p.buc.data(), m);
  get(r, p.bkx.data(), n);
  get(r, p.blx.data(), n);
  get(r, p.bux.data(), n);
  get(r, p.c.data(), n);
  p.cfix = r.size.cfix;
  if (const rescode c = end_block(r); c != ok) return c;
  bool isvalid = true;
  for (int32_t i = 0; i < m; ++i) isvalid = isvalid && isbound(p.bkc[i], p.blc[i], p.buc[i]);
  for (int32_t j = 0; j < n; ++j) {
    isvalid = isvalid && isbound(p.bkx[j], p.blx[j], p.bux[j]) && std::isfinite(p.c[j]);
  }
  return isvalid ? ok : invalid(r, "A bound or a cost makes no sense.");
}

bool ismatrix(const mbt_reader& r, const mm_vector<ptrdiff_t>& ptr, const mm_vector<int32_t>& sub) {
  mm_vector<int32_t> last(size_t(r.size.numcon), -1, prob_place(r.p));
  for (int32_t j = 0; j < r.size.numvar; ++j) {
    for (ptrdiff_t k = ptr[j]; k < ptr[j + 1]; ++k) {
      if (last[sub[k]] == j) return false;
      last[sub[k]] = j;
    }
  }
  return true;
}

rescode read_matrix(mbt_reader& r) {
  const int32_t n = r.size.numvar, num = r.size.numanz;
  if (const rescode c = begin_block(r, mbt_tag::matrix, uint64_t(n) + uint64_t(num), uint64_t(num));
      c != ok) {
    return c;
  }
  const auto lengths = get<int32_t>(r, n);
  const auto sub = get<int32_t>(r, num);
  const auto val = get<double>(r, num);
  if (const rescode c = end_block(r); c != ok) return c;
  mm_vector<ptrdiff_t> ptr(size_t(n) + 1, 0, prob_place(r.p));
  if (!addup(lengths, uint64_t(num)) || !inrange(sub, r.size.numcon) ||
      !all(val, [](double x) { return std::isfinite(x) && x != 0; })) {
    return invalid(r, "The constraint matrix makes no sense.");
  }
  for (int32_t j = 0; j < n; ++j) ptr[j + 1] = ptr[j] + lengths[j];
  if (!ismatrix(r, ptr, sub)) return invalid(r, "The constraint matrix has an element twice.");
  prob_loadcolumns(r.p, ptr, sub, val);
  return ok;
}

rescode read_quadratic(mbt_reader& r) {
  const int32_t numobj = r.size.numqobj, numcon = r.size.numqcon, n = r.size.numvar;
  if (const rescode c =
          begin_block(r, mbt_tag::quadratic, 2 * uint64_t(numobj) + 3 * uint64_t(numcon),
                      uint64_t(numobj) + uint64_t(numcon));
      c != ok) {
    return c;
  }
  const auto obji = get<int32_t>(r, numobj), objj = get<int32_t>(r, numobj);
  const auto objval = get<double>(r, numobj);
  const auto conk = get<int32_t>(r, numcon), coni = get<int32_t>(r, numcon),
             conj = get<int32_t>(r, numcon);
  const auto conval = get<double>(r, numcon);
  if (const rescode c = end_block(r); c != ok) return c;
  if (!inrange(obji, n) || !inrange(objj, n) || !isfinite(objval) ||
      !inrange(conk, r.size.numcon) || !inrange(coni, n) || !inrange(conj, n) ||
      !isfinite(conval)) {
    return invalid(r, "A quadratic term makes no sense.");
  }
  prob_qreserve(r.p, numobj + numcon);
  if (numobj > 0) {
    prob_qwriter w = prob_qopen(r.p, prob_obj, numobj);
    for (int32_t k = 0; k < numobj; ++k) prob_qpush(r.p, w, obji[k], objj[k], objval[k]);
    prob_qclose(r.p, w);
  }
  prob_tol tol;
  tol.qij = -1;  // all of them
  if (numcon > 0) prob_qloadcons(r.p, tol, conk, {coni, conj, conval});
  return ok;
}

rescode read_types(mbt_reader& r) {
  if (r.size.numint == 0) return ok;
  const int32_t n = r.size.numvar;
  if (const rescode c = begin_block(r, mbt_tag::types, uint64_t(n), 0); c != ok) return c;
  const auto types = get<int32_t>(r, n);
  if (const rescode c = end_block(r); c != ok) return c;
  if (!inrange(types, 2) || std::count(types.begin(), types.end(), 1) != r.size.numint) {
    return invalid(r, "The types of the variables make no sense.");
  }
  prob_maketypes(r.p);
  for (int32_t j = 0; j < n; ++j) {
    if (types[j] == ZLV_VAR_TYPE_INT) prob_setint(r.p, j);
  }
  return ok;
}

rescode read_cones(mbt_reader& r) {
  const int32_t num = r.size.numcone, nummem = r.size.numconemem, n = r.size.numvar;
  if (const rescode c =
          begin_block(r, mbt_tag::cones, 2 * uint64_t(num) + uint64_t(nummem), uint64_t(num));
      c != ok) {
    return c;
  }
  const auto types = get<int32_t>(r, num), lengths = get<int32_t>(r, num);
  const auto pars = get<double>(r, num);
  const auto members = get<int32_t>(r, nummem);
  if (const rescode c = end_block(r); c != ok) return c;
  mm_vector<uint8_t> taken(size_t(n), 0, prob_place(r.p));
  const auto isnew = [&](int32_t j) { return taken[j]++ == 0; };
  if (!inrange(types, 2) || !addup(lengths, uint64_t(nummem)) || !isfinite(pars) ||
      !inrange(members, n) || !all(members, isnew)) {
    return invalid(r, "A cone makes no sense.");
  }
  size_t first = 0;
  for (int32_t k = 0; k < num; ++k) {
    const auto len = size_t(lengths[k]);
    if (len < (types[k] == ZLV_CT_RQUAD ? 2U : 1U)) return invalid(r, "A cone is too small.");
    prob_appendcone(r.p, types[k], pars[k], {members.data() + first, len});
    first += len;
  }
  return ok;
}

// Texts one behind the other, as long as the lengths say. Their characters follow in the block.
rescode read_texts(mbt_reader& r, const mm_vector<int32_t>& lengths, mm_vector<char>& chars) {
  if (!addup(lengths, r.length)) return invalid(r, "The lengths of its texts make no sense.");
  chars.resize(size_t(r.length));
  get_bytes(r, chars.data(), r.length);
  if (const rescode c = end_block(r); c != ok) return c;
  if (all(chars, [](char c) { return c != '\0'; })) return ok;
  return invalid(r, "A text holds a zero byte.");
}

rescode read_names(mbt_reader& r) {
  prob_rec& p = r.p;
  const int32_t num[] = {p.numvar, p.numcon, p.numcone};  // by ZLV_PI_*
  const uint64_t total = uint64_t(p.numvar) + uint64_t(p.numcon) + uint64_t(p.numcone) + 2;
  if (const rescode c = begin_block(r, mbt_tag::names, total, 0, true); c != ok) return c;
  mm_vector<int32_t> lengths(size_t(total), 0, prob_place(p));
  get_bytes(r, lengths.data(), total * sizeof(int32_t));
  mm_vector<char> chars(prob_place(p));
  if (const rescode c = read_texts(r, lengths, chars); c != ok) return c;
  size_t first = 0, k = 0;
  const auto next = [&] {
    const auto len = size_t(lengths[k++]);
    first += len;
    return std::string_view(chars.data() + first - len, len);
  };
  for (int32_t kind = 0; kind < names_numkinds; ++kind) {
    for (int32_t i = 0; i < num[kind]; ++i) {
      if (names_put(p.names, kind, i, next()) >= 0) return invalid(r, "A name stands there twice.");
    }
  }
  names_putobj(p.names, next());
  names_puttask(p.names, next());
  return ok;
}

bool areinrange(const param_values& par) {
  for (int32_t k = 0; k < ipar::count; ++k) {
    if (param_range(param_introws()[size_t(k)], par.i[size_t(k)]) != ok) return false;
  }
  for (int32_t k = 0; k < dpar::count; ++k) {
    const double value = par.d[size_t(k)];
    if (std::isnan(value) || param_range(param_dourows()[size_t(k)], value) != ok) return false;
  }
  return true;
}

rescode read_parameters(mbt_reader& r) {
  if (const rescode c = begin_block(r, mbt_tag::parameters, uint64_t(ipar::count) + spar::count,
                                    dpar::count, true);
      c != ok) {
    return c;
  }
  param_values& par = r.out.par;
  param_reset(par);
  get(r, par.i.data(), ipar::count);
  get(r, par.d.data(), dpar::count);
  const auto lengths = get<int32_t>(r, spar::count);
  mm_vector<char> chars(prob_place(r.p));
  if (const rescode c = read_texts(r, lengths, chars); c != ok) return c;
  size_t first = 0;
  for (size_t k = 0; k < par.s.size(); ++k) {
    par.s[k].assign(chars.data() + first, size_t(lengths[k]));
    first += size_t(lengths[k]);
  }
  if (!areinrange(par)) return invalid(r, "A parameter is out of its range.");
  r.out.ispar = r.t.par.i[ipar::read_task_ignore_param] == 0;
  r.out.sense = r.size.sense;
  r.out.issensegiven = true;
  if (r.out.ispar) par.i[ipar::objective_sense] = r.size.sense;
  return ok;
}

rescode read_solution(mbt_reader& r, int32_t s) {
  const auto m = uint64_t(r.p.numcon), n = uint64_t(r.p.numvar), k = uint64_t(r.p.numcone);
  const bool isitr = s == ZLV_SOL_ITR;
  const uint64_t numdouble = m + n + (s == ZLV_SOL_ITG ? 0 : 3 * m + 2 * n) + (isitr ? n : 0);
  if (const rescode c = begin_block(r, mbt_tag(uint32_t(mbt_tag::interior) + uint32_t(s)),
                                    2 + m + n + (isitr ? k : 0), numdouble);
      c != ok) {
    return c;
  }
  sol_rec& rec = r.out.sol.rec[size_t(s)];
  const sol_view v = sol_make(rec, s, r.p);
  get(r, &rec.prosta, 1);
  get(r, &rec.solsta, 1);
  bool isvalid = rec.prosta >= 0 && rec.prosta <= ZLV_PRO_STA_PRIM_INFEAS_OR_UNBOUNDED &&
                 rec.solsta >= 0 && rec.solsta <= ZLV_SOL_STA_NEAR_INTEGER_OPTIMAL;
  for (const auto& keys : {v.skc, v.skx, v.skn}) {
    get(r, keys.data(), int32_t(keys.size()));
    isvalid = isvalid && all(keys, [](int32_t sk) { return sk >= 0 && sk <= ZLV_SK_INF; });
  }
  for (const auto& x : {v.xc, v.xx, v.y, v.slc, v.suc, v.slx, v.sux, v.snx}) {
    get(r, x.data(), int32_t(x.size()));
  }
  rec.isdef = r.out.hassol = true;
  if (const rescode c = end_block(r); c != ok) return c;
  return isvalid ? ok : invalid(r, "A status of a solution makes no sense.");
}

rescode read_end(mbt_reader& r) {
  if (const rescode c = begin_block(r, mbt_tag::end, 0, 0); c != ok) return c;
  if (const rescode c = end_block(r); c != ok) return c;
  return r.left == 0 ? ok : invalid(r, "Something stands behind its end.");
}

}  // namespace

rescode mbt_read(task_rec& t, io_text& text, const char* filename, file_problem& out) {
  mbt_reader r = {t, out, out.prob, filename, text, 0, 0, uint64_t(text.numchar), 0, 0, ok, {}};
  for (const auto part : {read_head, read_sizes, read_bounds, read_matrix, read_quadratic,
                          read_types, read_cones, read_names, read_parameters}) {
    if (const rescode c = part(r); c != ok) return c;
  }
  for (int32_t s = 0; s < sol_count; ++s) {
    if ((r.size.numsol >> s & 1) == 0) continue;
    if (const rescode c = read_solution(r, s); c != ok) return c;
  }
  out.isproven = true;  // nobody has changed them since they were stored
  return read_end(r);
}
