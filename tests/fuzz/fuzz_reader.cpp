// Fuzzing of the readers of files. FUZZ_READER is mps, lp, opf, mbt (problems), sol (solution files) or
// par (parameter files). Beside what the sanitizers find: a file that is refused leaves the task's
// problem as it was; a problem that was read and can be written in its format is read back the same.
#include <sys/mman.h>
#include <unistd.h>
#include <zalvo.h>
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "compare.h"

namespace {

constexpr std::string_view reader = FUZZ_READER;

void require(bool holds) {
  if (!holds) std::abort();
}

// A file in memory that has a path.
struct memory_file {
  int fd;
  std::string path;
  explicit memory_file(const char* name) : fd(memfd_create(name, 0)) {
    require(fd >= 0);
    path = "/proc/self/fd/" + std::to_string(fd);
  }
  void put(std::string_view text) const {
    require(ftruncate(fd, 0) == 0);
    require(pwrite(fd, text.data(), text.size(), 0) == ssize_t(text.size()));
  }
  memory_file(const memory_file&) = delete;
  memory_file& operator=(const memory_file&) = delete;
  ~memory_file() { close(fd); }
};

int32_t format_of_reader() {
  if (reader == "mps") return ZLV_DATA_FORMAT_MPS;
  if (reader == "lp") return ZLV_DATA_FORMAT_LP;
  return reader == "opf" ? ZLV_DATA_FORMAT_OP : ZLV_DATA_FORMAT_MBT;
}

ZLV_env_t the_env() {
  static const ZLV_env_t env = [] {
    ZLV_env_t made = nullptr;
    require(ZLV_makeenv(&made, nullptr, nullptr, nullptr, nullptr) == ZLV_RES_OK);
    require(ZLV_initenv(made) == ZLV_RES_OK);
    return made;
  }();
  return env;
}

void set(ZLV_task_t task, int32_t which, int32_t value) {
  require(ZLV_putintparam(task, which, value) == ZLV_RES_OK);
}

// A task with a small problem that a file may replace.
struct fuzz_task {
  ZLV_task_t task = nullptr;
  explicit fuzz_task(bool isfilled) {
    require(ZLV_makeemptytask(the_env(), &task) == ZLV_RES_OK);
    set(task, ZLV_IPAR_READ_DATA_FORMAT, format_of_reader());
    set(task, ZLV_IPAR_READ_TASK_IGNORE_PARAM, ZLV_ON);
    if (!isfilled) return;
    require(ZLV_append(task, ZLV_ACC_CON, 2) == ZLV_RES_OK);
    require(ZLV_append(task, ZLV_ACC_VAR, 2) == ZLV_RES_OK);
    require(ZLV_putname(task, ZLV_PI_VAR, 0, "x") == ZLV_RES_OK);
    require(ZLV_putname(task, ZLV_PI_CON, 0, "r1") == ZLV_RES_OK);
    require(ZLV_putaij(task, 0, 1, 2.5) == ZLV_RES_OK);
  }
  fuzz_task(const fuzz_task&) = delete;
  fuzz_task& operator=(const fuzz_task&) = delete;
  ~fuzz_task() { require(ZLV_deletetask(&task) == ZLV_RES_OK); }
};

// Checksums that fit, so that what is behind them is reached.
void fix_checksums(std::string& file) {
  constexpr size_t headsize = 32, blockhead = 16;
  for (size_t at = headsize; at + blockhead <= file.size();) {
    uint64_t length = 0;
    std::memcpy(&length, &file[at + 8], sizeof length);
    if (length > file.size() - at - blockhead) return;
    if (file.size() - at - blockhead - length < sizeof(uint64_t)) return;
    char* const data = file.data() + at + blockhead;
    const uint64_t crc = crc32(0, reinterpret_cast<const Bytef*>(data), uInt(length));
    std::memcpy(data + length, &crc, sizeof crc);
    at += blockhead + length + sizeof crc;
  }
}

void write_and_compare(const fuzz_task& from) {
  static const memory_file file("written");
  set(from.task, ZLV_IPAR_WRITE_PRECISION, 17);
  set(from.task, ZLV_IPAR_WRITE_DATA_COMPRESSED, 0);
  set(from.task, ZLV_IPAR_WRITE_DATA_PARAM, 0);
  set(from.task, ZLV_IPAR_WRITE_GENERIC_NAMES, 0);
  set(from.task, ZLV_IPAR_OPF_WRITE_PROBLEM, 1);
  set(from.task, ZLV_IPAR_WRITE_DATA_FORMAT, format_of_reader());
  file.put("");
  const fuzz_task back(false);
  if (ZLV_writedata(from.task, file.path.c_str()) != ZLV_RES_OK) return;
  require(ZLV_readdata(back.task, file.path.c_str()) == ZLV_RES_OK);
  // In MPS files the upper end of a range may be one that no sum with the lower one reaches.
  if (reader != "mps") require(app_compare(from.task, back.task, nullptr) == 0);
}

void read_problem(const memory_file& file) {
  const fuzz_task task(true), before(true);
  if (ZLV_readdata(task.task, file.path.c_str()) == ZLV_RES_OK) {
    write_and_compare(task);
  } else {
    require(app_compare(task.task, before.task, nullptr) == 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const memory_file file("input");
  std::string text(reinterpret_cast<const char*>(data), size);
  if (reader == "mbt") fix_checksums(text);
  file.put(text);
  if (reader == "sol") {
    const fuzz_task task(true);
    (void)ZLV_readsolution(task.task, ZLV_SOL_ITR, file.path.c_str());
  } else if (reader == "par") {
    const fuzz_task task(true);
    require(ZLV_putstrparam(task.task, ZLV_SPAR_PARAM_READ_FILE_NAME, file.path.c_str()) ==
            ZLV_RES_OK);
    (void)ZLV_readparamfile(task.task);
  } else {
    read_problem(file);
  }
  return 0;
}
