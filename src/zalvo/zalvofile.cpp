#include "zalvo/zalvofile.h"

#include <algorithm>
#include <array>
#include <utility>

#include "zalvo/interrupt.h"
#include "zalvo/paramfile.h"
#include "zalvo/readmps.h"
#include "zalvo/solfile.h"
#include "zalvo/zalvodat.h"
#include "zalvo/zalvombt.h"
#include "zalvo/zalvorlp.h"
#include "zalvo/zalvoropf.h"
#include "zalvo/zalvowlp.h"
#include "zalvo/zalvowmps.h"
#include "zalvo/zalvowopf.h"

namespace {

using enum rescode;

rescode read_mps(task_rec& t, io_text& text, const char* filename, file_problem& out) {
  return mps_read(t, text, filename, out);
}

constexpr file_format formats[] = {{ZLV_DATA_FORMAT_MPS, "mps", "mps", &read_mps, &mps_write},
                                   {ZLV_DATA_FORMAT_LP, "lp", "lp", &lp_read, &lp_write},
                                   {ZLV_DATA_FORMAT_OP, "opf", "opf", &opf_read, &opf_write},
                                   {ZLV_DATA_FORMAT_MBT, "mbt", "mbt", &mbt_read, &mbt_write}};

bool endswith(std::string_view text, std::string_view lower) noexcept {
  if (text.size() < lower.size()) return false;
  text.remove_prefix(text.size() - lower.size());
  return std::equal(text.begin(), text.end(), lower.begin(), [](char a, char b) {
    return a == b || (a >= 'A' && a <= 'Z' && a - 'A' + 'a' == b);
  });
}

// Breaks count from its making on, and nobody listens for them behind its end.
struct break_watch {
  task_rec& t;
  explicit break_watch(task_rec& task) : t(task) { task_resetbreaks(t); }
  ~break_watch() { task_leavebreaks(t); }
  break_watch(const break_watch&) = delete;
  break_watch& operator=(const break_watch&) = delete;
};

// The spare room that the parameters ask for behind what was read.
void reserve_spare(const task_rec& t, prob_rec& p) {
  const auto plus = [&](int32_t num, int32_t which) {
    const int64_t sum = int64_t(num) + t.par.i[which];
    return int32_t(std::min<int64_t>(sum, sprmat_maxcap));
  };
  prob_setmax(p, plus(p.numcon, ipar::read_add_con), plus(p.numvar, ipar::read_add_var),
              plus(p.numcone, ipar::read_add_cone));
  if (t.par.i[ipar::read_add_anz] > 0) {
    probmat_setcap(p.a, plus(prob_numanz(p), ipar::read_add_anz));
  }
  if (t.par.i[ipar::read_add_qnz] > 0) {
    prob_qsetcap(p, plus(prob_qused(p), ipar::read_add_qnz));
  }
}

void tell_sizes(task_rec& t, const timer& clock) noexcept {
  const prob_rec& p = t.prob;
  int32_t numq = p.qobje > p.qobjb ? 1 : 0;
  for (int32_t k = 0; k < p.numcon && !p.qcptrb.empty(); ++k) {
    numq += p.qcptre[k] > p.qcptrb[k] ? 1 : 0;
  }
  t.inf.i[iinf::rd_numanz] = prob_numanz(p);
  t.inf.i[iinf::rd_numcon] = p.numcon;
  t.inf.i[iinf::rd_numvar] = p.numvar;
  t.inf.i[iinf::rd_numcone] = p.numcone;
  t.inf.i[iinf::rd_numintvar] = p.numintvar;
  t.inf.i[iinf::rd_numq] = numq;
  t.inf.i[iinf::rd_numqnz] = prob_qused(p);
  t.inf.i[iinf::rd_protype] = prob_probtype(p, false);
  t.inf.d[dinf::rd_cputime] = timer_cpu(clock);
}

bool islogged(const task_rec& t) noexcept {
  return t.par.i[ipar::log] != 0 && t.par.i[ipar::log_file] != 0;
}

rescode file_fail(task_rec& t, const io_result& result, const char* filename) noexcept {
  (void)task_fail(t, result.code, filename);
  task_echo(t, msg_kind::err, "%s: %s\n", filename, result.why);
  return result.code;
}

rescode chk_filename(task_rec& t, const char* filename) noexcept {
  if (const rescode r = chk_pointer(t, filename, "filename"); r != ok) return r;
  return *filename == '\0' ? task_fail(t, err_invalid_file_name, filename) : ok;
}

rescode find_format(task_rec& t, int32_t number, const char* filename, const file_format*& found) {
  found = file_find(number, filename);
  if (found != nullptr) return ok;
  return number == ZLV_DATA_FORMAT_EXTENSION ? task_fail(t, err_data_file_ext, filename)
                                             : task_fail(t, err_invalid_format_type, number);
}

rescode read_named(task_rec& t, int32_t number, const char* filename) {
  if (const rescode r = chk_filename(t, filename); r != ok) return r;
  const file_format* format = nullptr;
  if (const rescode r = find_format(t, number, filename, format); r != ok) return r;
  return file_read(t, *format, filename);
}

rescode put_lines(task_rec& t, std::string_view rest) {
  // The sign that begins a comment is one of the lines' own place, not one that they may change.
  const mm_string comment(param_commentsign(t.par), mm_alloc<char>(mm_at(*t.mman)));
  while (!rest.empty()) {
    const size_t len = rest.find('\n');
    if (const rescode r = param_putline(t, rest.substr(0, len), comment); r != ok) return r;
    rest.remove_prefix(len + 1);
  }
  return ok;
}

// The objective sense and the parameters that came with the problem.
rescode put_params(task_rec& t, file_problem& out) {
  if (out.ispar) {
    std::swap(t.par, out.par);  // the objective sense is one of them
    return ok;
  }
  const int32_t sense = out.isproblem ? out.sense : t.par.i[ipar::objective_sense];
  t.par.i[ipar::objective_sense] = sense;
  const rescode r = put_lines(t, out.params);
  if (r == ok && out.issensegiven) t.par.i[ipar::objective_sense] = sense;
  return r;
}

// The problem and the solutions aside change places with the task's. Doing it twice undoes it.
void swap_contents(task_rec& t, file_problem& out) noexcept {
  if (out.isproblem) {
    prob_swap(t.prob, out.prob);
    std::swap(t.sol, out.sol);
    return;
  }
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    sol_rec& given = out.sol.rec[size_t(whichsol)];
    if (given.isallocated) std::swap(t.sol.rec[size_t(whichsol)], given);
  }
}

void settle_solutions(task_rec& t, const std::array<bool, sol_count>& isgiven,
                      const char* filename) {
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    if (!isgiven[size_t(whichsol)]) continue;
    const sol_rec& rec = t.sol.rec[size_t(whichsol)];
    sol_settle(t, whichsol, rec.prosta, rec.solsta, filename);
  }
}

// What was read becomes the task's, all or nothing.
rescode take(task_rec& t, file_problem& out, const char* filename) {
  mm_string name(filename, mm_alloc<char>(mm_at(*t.mman)));
  const prob_rec& p = out.isproblem ? out.prob : t.prob;
  if (out.isproblem) reserve_spare(t, out.prob);
  std::array<bool, sol_count> isgiven{};
  for (int32_t whichsol = 0; whichsol < sol_count; ++whichsol) {
    sol_rec& rec = out.sol.rec[size_t(whichsol)];
    isgiven[size_t(whichsol)] = rec.isallocated;
    if (rec.isallocated) sol_adapt(rec, whichsol, p);
  }
  param_values old(mm_at(*t.mman));
  param_copy(old, t.par);
  swap_contents(t, out);
  rescode r = ok;
  const auto undo = [&]() noexcept {
    std::swap(t.par, old);
    swap_contents(t, out);
  };
  try {
    r = put_params(t, out);
    if (r == ok && !out.isproven) settle_solutions(t, isgiven, filename);
  } catch (...) {
    undo();
    throw;
  }
  if (r != ok) {
    undo();
    return r;
  }
  t.par.s[spar::data_file_name].swap(name);
  return ok;
}

rescode write_named(task_rec& t, int32_t number, const char* filename) {
  if (const rescode r = chk_filename(t, filename); r != ok) return r;
  const file_format* format = nullptr;
  if (const rescode r = find_format(t, number, filename, format); r != ok) return r;
  return file_write(t, *format, filename);
}

}  // namespace

bool file_isgzipname(std::string_view filename) noexcept {
  return endswith(filename, ".gz");
}

const file_format* file_find(int32_t number, std::string_view filename) noexcept {
  if (file_isgzipname(filename)) filename.remove_suffix(3);
  for (const file_format& f : formats) {
    if (number != ZLV_DATA_FORMAT_EXTENSION) {
      if (f.number == number) return &f;
    } else if (endswith(filename, f.extension) && filename.size() > f.extension.size() &&
               filename[filename.size() - f.extension.size() - 1] == '.') {
      return &f;
    }
  }
  return nullptr;
}

rescode file_poll(task_rec& t) noexcept {
  return task_pollbreak(t);
}

rescode file_read(task_rec& t, const file_format& format, const char* filename) {
  const break_watch watch(t);
  const timer clock = timer_start();
  if (islogged(t)) {
    task_echo(t, msg_kind::msg, "Reading %s file - %s\n", format.kind, filename);
  }
  file_problem out(mm_at(*t.mman));
  {
    io_text text(mm_at(*t.mman));
    if (const io_result r = io_readtext(filename, text); r.code != ok) {
      return file_fail(t, r, filename);
    }
    if (const rescode r = format.read(t, text, filename, out); r != ok) return r;
  }
  if (const rescode r = take(t, out, filename); r != ok) return r;
  tell_sizes(t, clock);
  if (islogged(t)) {
    task_echo(t, msg_kind::msg, "done reading. Time: %.2f\n\n", timer_wall(clock));
  }
  return ok;
}

rescode file_write(task_rec& t, const file_format& format, const char* filename) {
  const timer clock = timer_start();
  if (islogged(t)) {
    task_echo(t, msg_kind::msg, "Writing %s file - %s\n", format.kind, filename);
  }
  const bool isgzip =
      file_isgzipname(filename) || t.par.i[ipar::write_data_compressed] == ZLV_COMPRESS_GZIP;
  io_out* out = nullptr;
  if (const io_result r = io_create(filename, isgzip, *t.mman, out); r.code != ok) {
    return file_fail(t, r, filename);
  }
  rescode code = ok;
  try {
    code = format.write(t, *out);
  } catch (...) {
    io_abandon(out);
    throw;
  }
  if (code != ok) {
    io_abandon(out);
    return code;
  }
  if (const io_result r = io_finish(out); r.code != ok) return file_fail(t, r, filename);
  if (islogged(t)) {
    task_echo(t, msg_kind::msg, "done writing. Time: %.2f\n\n", timer_wall(clock));
  }
  return ok;
}

int32_t ZLV_readdata(ZLV_task_t task, const char* filename) {
  return task_call(
      task, [=](task_rec& t) { return read_named(t, t.par.i[ipar::read_data_format], filename); });
}

int32_t ZLV_readmps(ZLV_task_t task, const char* filename) {
  return task_call(task, [=](task_rec& t) { return read_named(t, ZLV_DATA_FORMAT_MPS, filename); });
}

int32_t ZLV_readmpsfile(ZLV_task_t task, const char* filename) {
  return ZLV_readmps(task, filename);
}

int32_t ZLV_writedata(ZLV_task_t task, const char* filename) {
  return task_call(task, [=](task_rec& t) {
    return write_named(t, t.par.i[ipar::write_data_format], filename);
  });
}

int32_t ZLV_writemps(ZLV_task_t task, const char* filename) {
  return task_call(task,
                   [=](task_rec& t) { return write_named(t, ZLV_DATA_FORMAT_MPS, filename); });
}

int32_t ZLV_putfilecompression(ZLV_task_t task, int32_t iomode, int32_t compression) {
  return task_call(task, [=](task_rec& t) {
    if (iomode < ZLV_IOMODE_READ || iomode > ZLV_IOMODE_READWRITE) {
      return task_fail(t, err_invalid_iomode, iomode);
    }
    if (compression < ZLV_COMPRESS_NONE || compression > ZLV_COMPRESS_GZIP) {
      return task_fail(t, err_invalid_compression, compression);
    }
    if (iomode != ZLV_IOMODE_WRITE) {
      t.par.i[ipar::read_data_compressed] = compression == ZLV_COMPRESS_NONE ? 0 : 1;
    }
    if (iomode != ZLV_IOMODE_READ) t.par.i[ipar::write_data_compressed] = compression;
    return ok;
  });
}
