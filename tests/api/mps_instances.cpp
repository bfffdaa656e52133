// Every instance of the data folder is read with the sizes that its index states.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "support/api_box.h"
#include "support/problem_text.h"

namespace {

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

// Written with all digits and read again, the problem is the same.
void expect_read_back(ZLV_task_t task, const std::string& name) {
  const test_folder folder;
  api_box back;
  ASSERT_EQ(ZLV_putintparam(task, ZLV_IPAR_WRITE_PRECISION, 17), ZLV_RES_OK);
  ASSERT_EQ(ZLV_writedata(task, folder.at("a.mps").c_str()), ZLV_RES_OK) << name;
  ASSERT_EQ(ZLV_readdata(back.task, folder.at("a.mps").c_str()), ZLV_RES_OK) << back.err();
  EXPECT_TRUE(problem_text(back.task) == problem_text(task)) << name;
}

TEST(MpsInstances, HaveTheSizesOfTheIndexAndAreWrittenTheSame) {
  const char* folder = std::getenv("ZALVO_DATA");
  if (folder == nullptr) GTEST_SKIP() << "ZALVO_DATA is not set";
  std::ifstream index(std::string(folder) + "/INDEX.tsv");
  std::string line;
  ASSERT_TRUE(std::getline(index, line)) << folder;
  while (std::getline(index, line)) {
    index_row row;
    ASSERT_TRUE(read_row(line, row)) << line;
    api_box box;
    const std::string file = std::string(folder) + "/" + row.kind + "/" + row.name + ".mps.gz";
    ASSERT_EQ(ZLV_readdata(box.task, file.c_str()), ZLV_RES_OK) << box.err();
    int32_t numcon = 0, numvar = 0, numanz = 0;
    ASSERT_EQ(ZLV_getnumcon(box.task, &numcon), ZLV_RES_OK);
    ASSERT_EQ(ZLV_getnumvar(box.task, &numvar), ZLV_RES_OK);
    ASSERT_EQ(ZLV_getnumanz(box.task, &numanz), ZLV_RES_OK);
    EXPECT_EQ(numcon, row.rows) << row.name;
    EXPECT_EQ(numvar, row.cols) << row.name;
    if (numanz != row.nnz) {  // the index counts all elements
      double tol = 0;
      ASSERT_EQ(ZLV_getdouparam(box.task, ZLV_DPAR_DATA_TOL_AIJ, &tol), ZLV_RES_OK);
      numanz += count_tiny(file, tol);
    }
    EXPECT_EQ(numanz, row.nnz) << row.name;
    expect_read_back(box.task, row.name);
  }
}

}  // namespace
