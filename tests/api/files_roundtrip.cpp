// What is written is read back as it was, in every format and from each to the next: random problems of
// every kind with names of every kind, and every instance of the data folder. And what the formats
// share when something fails: full disks, no space, interrupts.
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "support/model_texts.h"
#include "support/problem_maker.h"

namespace {

struct format_case {
  const char* name;
  const char* file;
  bool iscones, iswhole;  // it holds cones; it holds the order of terms and what has no name
};
void PrintTo(const format_case& c, std::ostream* out) {
  *out << c.name;
}
class FileFormats : public testing::TestWithParam<format_case> {};

const char* const oddnames[] = {"x y", "free", "[",   "2x",       "e5",
                                "a.b", "inf",  "end", "\xC3\xA6", "x*y"};

// Gives names to variables, or to some of them.
void put_names(problem_maker& make, ZLV_task_t task, bool isall) {
  int32_t num = 0;
  ASSERT_EQ(ZLV_getnumvar(task, &num), ZLV_RES_OK);
  for (int32_t j = 0; j < num; ++j) {
    if (make.upto(2) == 0 && j < 10) {
      ASSERT_EQ(ZLV_putname(task, ZLV_PI_VAR, j, oddnames[j]), ZLV_RES_OK);
    } else if (isall) {
      const std::string name = std::to_string(j) + " v";
      ASSERT_EQ(ZLV_putname(task, ZLV_PI_VAR, j, name.c_str()), ZLV_RES_OK);
    }
  }
}

// A product in the first row, and a row whose two sides count as one.
void put_more(problem_maker& make, ZLV_task_t task) {
  int32_t numcon = 0, numvar = 0;
  ASSERT_EQ(ZLV_getnumcon(task, &numcon), ZLV_RES_OK);
  ASSERT_EQ(ZLV_getnumvar(task, &numvar), ZLV_RES_OK);
  if (numcon == 0 || numvar < 2) return;
  const int32_t i = 1, j = make.upto(2);
  const double value = make.number();
  ASSERT_EQ(ZLV_putqconk(task, 0, 1, &i, &j, &value), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putbound(task, ZLV_ACC_CON, 0, ZLV_BK_RA, 1, 1 + 1e-9), ZLV_RES_OK);
}

TEST_P(FileFormats, RandomProblemsAreReadBackBitForBit) {
  const test_folder folder;
  const format_case& c = GetParam();
  const std::string name = c.name;
  problem_maker make{std::mt19937(5), c.iscones};
  for (int32_t trial = 0; trial < 200; ++trial) {
    SCOPED_TRACE(trial);
    api_box box, back;
    make.fill(box.task);
    const bool ismps = name.starts_with("Mps");
    if (!ismps) {
      put_more(make, box.task);
      put_names(make, box.task, name.starts_with("Opf"));
    }
    if (HasFatalFailure()) return;
    set_int(box.task, ZLV_IPAR_WRITE_PRECISION, 17);
    set_int(box.task, ZLV_IPAR_WRITE_LP_TERMS_PER_LINE, make.upto(4));
    set_int(box.task, ZLV_IPAR_OPF_MAX_TERMS_PER_LINE, make.upto(4));
    if (ismps && trial % 3 == 1) {
      set_int(back.task, ZLV_IPAR_READ_MPS_FORMAT, ZLV_MPS_FORMAT_FREE);
    }
    const std::string file = folder.at(c.file);
    ASSERT_EQ(ZLV_writedata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
    ASSERT_EQ(ZLV_readdata(back.task, file.c_str()), ZLV_RES_OK) << back.err();
    ASSERT_EQ(sorted_lines(problem_text(back.task, c.iswhole)),
              sorted_lines(problem_text(box.task, c.iswhole)));
    EXPECT_EQ(back.wrn(), "");
    ASSERT_EQ(folder.get(c.file).starts_with("\x1f\x8b"), file.ends_with(".gz"));
  }
}

// One item of many kinds, all with names that every format can hold.
void make_sample(ZLV_task_t task, const test_folder& folder) {
  ASSERT_EQ(ZLV_readdata(task, folder
                                   .put("sample.lp",
                                        "max\n o: x + 2 y + 7 + [ x^2 + x * z ]/2\nst\n"
                                        " r1: 1 <= 3 x + z <= 4\n r2: x - y + [ y^2 ] <= 1\n"
                                        "bounds\n x <= 3\ngeneral\n y\nend\n")
                                   .c_str()),
            ZLV_RES_OK);
}

TEST_P(FileFormats, AFullDiskIsTold) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP();
  const test_folder folder;
  api_box box;
  make_sample(box.task, folder);
  const std::string name = GetParam().name;
  set_int(box.task, ZLV_IPAR_WRITE_DATA_FORMAT,
          name.starts_with("Mps")   ? ZLV_DATA_FORMAT_MPS
          : name.starts_with("Lp")  ? ZLV_DATA_FORMAT_LP
          : name.starts_with("Opf") ? ZLV_DATA_FORMAT_OP
                                    : ZLV_DATA_FORMAT_MBT);
  EXPECT_EQ(ZLV_writedata(box.task, "/dev/full"), ZLV_RES_ERR_FILE_WRITE);
  ASSERT_EQ(ZLV_putfilecompression(box.task, ZLV_IOMODE_WRITE, ZLV_COMPRESS_GZIP), ZLV_RES_OK);
  EXPECT_EQ(ZLV_writedata(box.task, "/dev/full"), ZLV_RES_ERR_FILE_WRITE);
}

TEST_P(FileFormats, OutOfSpaceLeavesTaskAndFileAsTheyWere) {
  const test_folder folder;
  const std::string file = folder.at(GetParam().file);
  {
    api_box box;
    make_sample(box.task, folder);
    set_int(box.task, ZLV_IPAR_OPF_WRITE_PARAMETERS, ZLV_ON);
    ASSERT_EQ(ZLV_writedata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
  }
  for (const bool iswrite : {false, true}) {
    for (long k = 0;; ++k) {
      faulty_alloc from;
      api_box box(&from);
      make_sample(box.task, folder);
      if (!iswrite) {
        ASSERT_EQ(ZLV_putcj(box.task, 0, 77), ZLV_RES_OK);  // so that it is another problem
      }
      const std::string before = problem_text(box.task), content = folder.get(GetParam().file);
      from.failat = from.numcalls + k;
      const int32_t r =
          iswrite ? ZLV_writedata(box.task, file.c_str()) : ZLV_readdata(box.task, file.c_str());
      from.failat = -1;
      if (r == ZLV_RES_OK) {
        EXPECT_GT(k, 3);
        break;
      }
      ASSERT_EQ(r, ZLV_RES_ERR_SPACE) << k << box.err();
      ASSERT_EQ(problem_text(box.task), before) << k;
      ASSERT_EQ(folder.get(GetParam().file), content) << k;
      ASSERT_EQ(box.close(), ZLV_RES_OK) << k;
      ASSERT_EQ(from.numlive, 0) << k;
    }
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 2);
}

// Text of more than one piece; the caller wants an end at once.
TEST_P(FileFormats, ReadingCanBeInterrupted) {
  const test_folder folder;
  api_box box;
  constexpr int32_t num = 40000;
  ASSERT_EQ(ZLV_append(box.task, ZLV_ACC_VAR, num), ZLV_RES_OK);
  for (int32_t j = 0; j < num; ++j) {
    ASSERT_EQ(ZLV_putname(box.task, ZLV_PI_VAR, j, ("variable" + std::to_string(j)).c_str()), 0);
    ASSERT_EQ(ZLV_putcj(box.task, j, j + 0.1), ZLV_RES_OK);
  }
  set_int(box.task, ZLV_IPAR_WRITE_PRECISION, 17);
  set_int(box.task, ZLV_IPAR_CHECK_CTRL_C, ZLV_ON);
  ASSERT_EQ(ZLV_writedata(box.task, folder.at(GetParam().file).c_str()), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putcj(box.task, 0, 77), ZLV_RES_OK);
  const std::string before = problem_text(box.task);
  ASSERT_EQ(ZLV_putctrlcfunc(
                box.env, [](void*) { return int32_t{1}; }, nullptr),
            ZLV_RES_OK);
  EXPECT_EQ(ZLV_readdata(box.task, folder.at(GetParam().file).c_str()), ZLV_RES_TRM_USER_BREAK);
  EXPECT_TRUE(problem_text(box.task) == before);
}

INSTANTIATE_TEST_SUITE_P(All, FileFormats,
                         testing::Values(format_case{"Mps", "a.mps", true, false},
                                         format_case{"MpsGzip", "a.mps.gz", true, false},
                                         format_case{"Lp", "a.lp", false, false},
                                         format_case{"LpGzip", "a.lp.gz", false, false},
                                         format_case{"Opf", "a.opf", true, true},
                                         format_case{"OpfGzip", "a.opf.gz", true, true},
                                         format_case{"Mbt", "a.mbt", true, true},
                                         format_case{"MbtGzip", "a.mbt.gz", true, true}),
                         [](const auto& tc) { return std::string(tc.param.name); });

// ---- The data folder

struct index_row {
  std::string kind, name;
  int32_t rows = 0, cols = 0, nnz = 0;
};

bool read_row(const std::string& line, index_row& row) {
  std::istringstream in(line);
  return bool(std::getline(in, row.kind, '\t') && std::getline(in, row.name, '\t') &&
              in >> row.rows >> row.cols >> row.nnz);
}

// Elements of the COLUMNS section that count as zero when they are put into a task.
int32_t count_tiny(const std::string& file, double tol) {
  const gzFile in = gzopen(file.c_str(), "rb");
  char line[1024];
  int32_t num = 0;
  for (bool isinside = false; gzgets(in, line, sizeof line) != nullptr;) {
    if (line[0] != ' ') isinside = std::string(line).starts_with("COLUMNS");
    if (line[0] != ' ' || !isinside) continue;
    std::istringstream fields(line);
    std::string name, row, value;
    fields >> name;
    while (fields >> row >> value) num += std::abs(std::atof(value.c_str())) <= tol ? 1 : 0;
  }
  gzclose(in);
  return num;
}

void expect_sizes(ZLV_task_t task, const index_row& row, const std::string& file) {
  int32_t numcon = 0, numvar = 0, numanz = 0;
  ASSERT_EQ(ZLV_getnumcon(task, &numcon), ZLV_RES_OK);
  ASSERT_EQ(ZLV_getnumvar(task, &numvar), ZLV_RES_OK);
  ASSERT_EQ(ZLV_getnumanz(task, &numanz), ZLV_RES_OK);
  if (numanz != row.nnz) {  // the index counts all elements
    double tol = 0;
    ASSERT_EQ(ZLV_getdouparam(task, ZLV_DPAR_DATA_TOL_AIJ, &tol), ZLV_RES_OK);
    numanz += count_tiny(file, tol);
  }
  EXPECT_EQ(numcon, row.rows);
  EXPECT_EQ(numvar, row.cols);
  EXPECT_EQ(numanz, row.nnz);
}

// The problem as an MPS file whatever its name; the lines of a column and quadratic terms have no
// order.
std::string mps_lines(ZLV_task_t task, const test_folder& folder) {
  EXPECT_EQ(ZLV_putintparam(task, ZLV_IPAR_WRITE_PRECISION, 17), ZLV_RES_OK);
  EXPECT_EQ(ZLV_puttaskname(task, "t"), ZLV_RES_OK);
  EXPECT_EQ(ZLV_writedata(task, folder.at("lines.mps").c_str()), ZLV_RES_OK);
  return sorted_lines(folder.get("lines.mps"));
}

// MPS -> LP -> OPF -> MPS -> MBT; problems with cones leave LP out.
TEST(FileInstances, HaveTheSizesOfTheIndexAndStayTheSameThroughAllFormats) {
  const char* data = std::getenv("ZALVO_DATA");
  if (data == nullptr) GTEST_SKIP() << "ZALVO_DATA is not set";
  const test_folder folder;
  std::ifstream index(std::string(data) + "/INDEX.tsv");
  std::string line;
  ASSERT_TRUE(std::getline(index, line)) << data;
  while (std::getline(index, line)) {
    index_row row;
    ASSERT_TRUE(read_row(line, row)) << line;
    SCOPED_TRACE(row.name);
    api_box box;
    const std::string file = std::string(data) + "/" + row.kind + "/" + row.name + ".mps.gz";
    ASSERT_EQ(ZLV_readdata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
    expect_sizes(box.task, row, file);
    int32_t numcone = 0;
    ASSERT_EQ(ZLV_getnumcone(box.task, &numcone), ZLV_RES_OK);
    const std::string before = mps_lines(box.task, folder);
    for (const char* ending : {".lp", ".opf", ".mps", ".mbt"}) {
      if (numcone > 0 && std::string(ending) == ".lp") continue;
      const std::string next = folder.at(std::string("a") + ending);
      ASSERT_EQ(ZLV_writedata(box.task, next.c_str()), ZLV_RES_OK) << box.err();
      ASSERT_EQ(ZLV_readdata(box.task, next.c_str()), ZLV_RES_OK) << box.err();
    }
    EXPECT_TRUE(mps_lines(box.task, folder) == before);
  }
}

}  // namespace
