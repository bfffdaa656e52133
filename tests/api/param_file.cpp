// Parameter files and the listing.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <random>

#include "support/api_box.h"
#include "support/file_text.h"

namespace {

constexpr int32_t numint = 168, numdou = 59, numstr = 25;

// A file of the test's own name that is gone afterwards.
struct temp_file {
  std::string name = testing::TempDir() + "zalvo_" +
                     testing::UnitTest::GetInstance()->current_test_info()->name() + ".par";
  temp_file() { std::remove(name.c_str()); }
  ~temp_file() { std::remove(name.c_str()); }
  temp_file(const temp_file&) = delete;
  temp_file& operator=(const temp_file&) = delete;

  void put(const std::string& text) const { std::ofstream(name, std::ios::binary) << text; }
  std::string get() const { return file_text(name); }
};

int32_t read_file(api_box& box, const std::string& name) {
  const int32_t r = ZLV_putstrparam(box.task, ZLV_SPAR_PARAM_READ_FILE_NAME, name.c_str());
  return r != ZLV_RES_OK ? r : ZLV_readparamfile(box.task);
}

int32_t int_value(ZLV_task_t task, int32_t k) {
  int32_t value = -12345;
  EXPECT_EQ(ZLV_getintparam(task, k, &value), ZLV_RES_OK);
  return value;
}
double dou_value(ZLV_task_t task, int32_t k) {
  double value = -12345;
  EXPECT_EQ(ZLV_getdouparam(task, k, &value), ZLV_RES_OK);
  return value;
}
std::string str_value(ZLV_task_t task, int32_t k) {
  int32_t len = 0;
  EXPECT_EQ(ZLV_getstrparam(task, k, 0, &len, nullptr), ZLV_RES_OK);
  std::string value(size_t(len) + 1, '?');
  EXPECT_EQ(ZLV_getstrparam(task, k, len + 1, nullptr, value.data()), ZLV_RES_OK);
  value.pop_back();
  return value;
}

// Any text, with what is special in a file drawn often.
std::string random_text(std::mt19937& gen) {
  static const std::string often = " \t\"\\%#\n\rx0;e";
  std::string text(gen() % 12, '\0');
  for (char& c : text) {
    c = gen() % 2 != 0 ? often[gen() % often.size()] : char(1 + gen() % 255);
  }
  return text;
}

double random_double(std::mt19937& gen) {
  std::uniform_real_distribution<double> mantissa(0, 10), exponent(-320, 308);
  const double sign = gen() % 2 != 0 ? -1 : 1;
  switch (gen() % 4) {
    case 0:
      return sign * std::floor(mantissa(gen) * 1000) / 1000;
    case 1:
      return sign * mantissa(gen) / 10;
    case 2:
      return sign * mantissa(gen) * std::pow(10.0, exponent(gen));
    default:
      return sign * std::numeric_limits<double>::infinity();
  }
}

// Gives as many parameters as the ranges let random values.
void put_random(ZLV_task_t task, std::mt19937& gen) {
  for (int32_t k = 0; k < numint; ++k) {
    const auto value = int32_t(gen() % 3 != 0 ? gen() % 10 : gen());
    if (k != ZLV_IPAR_MAX_NUM_WARNINGS) static_cast<void>(ZLV_putintparam(task, k, value));
  }
  for (int32_t k = 0; k < numdou; ++k) {
    static_cast<void>(ZLV_putdouparam(task, k, random_double(gen)));
  }
  for (int32_t k = 0; k < numstr; ++k) {
    EXPECT_EQ(ZLV_putstrparam(task, k, random_text(gen).c_str()), ZLV_RES_OK);
  }
}

}  // namespace

TEST(ParamFile, LinesHaveTheFixedForm) {
  api_box box;
  const temp_file file;
  ASSERT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_OPTIMIZER_MAX_TIME, 0.1), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_UPPER_OBJ_CUT, 1.0 / 3), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putstrparam(box.task, ZLV_SPAR_STAT_KEY, "two words"), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putstrparam(box.task, ZLV_SPAR_STAT_NAME, " blank"), ZLV_RES_OK);
  ASSERT_EQ(ZLV_writeparamfile(box.task, file.name.c_str()), ZLV_RES_OK);
  const std::string text = file.get().insert(0, 1, '|');
  for (const char* line : {
           "|BEGIN ZALVO\n\nZLV_IPAR_ALLOC_ADD_ANZ            0                 \n",
           "\nZLV_IPAR_MIO_CUT_LEVEL            -1                \n",
           "\nZLV_IPAR_LP_WRITE_IGNORE_INCOMPATIBLE_ITEMS 0                 \n",
           "\nZLV_DPAR_OPTIMIZER_MAX_TIME       1.00000000e-01    \n",
           "\nZLV_DPAR_LOWER_OBJ_CUT            -1.00000000e+30   \n",
           "\nZLV_DPAR_UPPER_OBJ_CUT            3.333333333333333e-01\n",
           "\nZLV_SPAR_BAS_SOL_FILE_NAME        \n",
           "\nZLV_SPAR_STAT_KEY                 two words\n",
           "\nZLV_SPAR_STAT_NAME                \" blank\"\n",
           "\nZLV_SPAR_WRITE_LP_GEN_VAR_NAME    xzlvgen\n\nEND ZALVO\n",
       }) {
    EXPECT_NE(text.find(line), std::string::npos) << line;
  }
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4 + numint + numdou + numstr);
  EXPECT_EQ(box.msg().find("Writing par file - " + file.name + "\ndone writing. Time: "), 0U);
}

TEST(ParamFile, ReadsBackToTheSameValues) {
  const char* signs[] = {"", "%", "#", "//", "\"", "ZLV", "1", " ", "\\"};
  std::mt19937 gen(20061010);
  const temp_file file;
  for (int round = 0; round < 45; ++round) {
    SCOPED_TRACE(round);
    api_box from, to;
    const char* sign = signs[size_t(round) % std::size(signs)];
    put_random(from.task, gen);
    put_random(to.task, gen);
    for (api_box* box : {&from, &to}) {
      ASSERT_EQ(ZLV_putstrparam(box->task, ZLV_SPAR_PARAM_COMMENT_SIGN, sign), ZLV_RES_OK);
    }
    ASSERT_EQ(ZLV_writeparamfile(from.task, file.name.c_str()), ZLV_RES_OK);
    ASSERT_EQ(read_file(to, file.name), ZLV_RES_OK) << to.err() << file.get();
    for (int32_t k = 0; k < numint; ++k) EXPECT_EQ(int_value(to.task, k), int_value(from.task, k));
    for (int32_t k = 0; k < numdou; ++k) EXPECT_EQ(dou_value(to.task, k), dou_value(from.task, k));
    for (int32_t k = 0; k < numstr; ++k) EXPECT_EQ(str_value(to.task, k), str_value(from.task, k));
  }
}

struct file_case {
  const char *name, *text;
  int32_t wanted, optimizer;
  const char* err;  // what the ERR stream must hold
};
// clang-format off
const file_case file_cases[] = {
    {"Plain", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER 4\nEND ZALVO\n", ZLV_RES_OK, 4, ""},
    {"NoLastNewline", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER 4\nEND ZALVO", ZLV_RES_OK, 4, ""},
    {"CarriageReturns", "BEGIN ZALVO\r\nZLV_IPAR_OPTIMIZER 4\r\nEND ZALVO\r\n", ZLV_RES_OK, 4, ""},
    {"ByteOrderMark", "\xEF\xBB\xBF" "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER 4\nEND ZALVO", ZLV_RES_OK, 4, ""},
    {"TextAround", "junk\n\nBEGIN ZALVO version\nZLV_IPAR_OPTIMIZER 4\nEND ZALVO.\nZLV_IPAR_OPTIMIZER 5\n",
     ZLV_RES_OK, 4, ""},
    {"CommentsAndBlankLines", "BEGIN ZALVO\n\n% all\n \t\n  % more\n\tZLV_IPAR_OPTIMIZER \t 4 % one\nEND ZALVO\n",
     ZLV_RES_OK, 4, ""},
    {"Symbolic", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER ZLV_OPTIMIZER_PRIMAL_SIMPLEX\nEND ZALVO\n", ZLV_RES_OK, 4, ""},
    {"LastWins", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER 5\nZLV_IPAR_OPTIMIZER 4\nEND ZALVO\n", ZLV_RES_OK, 4, ""},
    {"UnknownNameStops", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER 4\nZLV_IPAR_NO 1\nZLV_IPAR_OPTIMIZER 5\nEND ZALVO\n",
     ZLV_RES_ERR_PARAM_NAME, 4,
     "The parameter name 'ZLV_IPAR_NO' is invalid.\nThe error occured in line:\nZLV_IPAR_NO 1\n"},
    {"BadNumber", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER 4 5\nEND ZALVO\n", ZLV_RES_ERR_PARAM_VALUE_STR, 0,
     "The parameter value string '4 5' for parameter ZLV_IPAR_OPTIMIZER is incorrect.\n"
     "The error occured in line:\nZLV_IPAR_OPTIMIZER 4 5\n"},
    {"BadDouble", "BEGIN ZALVO\nZLV_DPAR_DATA_TOL_X 1,5\nEND ZALVO\n", ZLV_RES_ERR_PARAM_VALUE_STR, 0,
     "string '1,5' for parameter ZLV_DPAR_DATA_TOL_X"},
    {"NoValue", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER\nEND ZALVO\n", ZLV_RES_ERR_PARAM_VALUE_STR, 0,
     "string '' for parameter ZLV_IPAR_OPTIMIZER"},
    {"OutOfRange", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER 10\nEND ZALVO\n", ZLV_RES_ERR_PARAM_IS_TOO_LARGE, 0,
     "The error occured in line:\nZLV_IPAR_OPTIMIZER 10\n"},
    {"OpenQuote", "BEGIN ZALVO\nZLV_SPAR_STAT_KEY \"abc\nEND ZALVO\n", ZLV_RES_ERR_PARAM_VALUE_STR, 0, "'\"abc'"},
    {"BadEscape", "BEGIN ZALVO\nZLV_SPAR_STAT_KEY \"a\\x0\"\nEND ZALVO\n", ZLV_RES_ERR_PARAM_VALUE_STR, 0, "STAT_KEY"},
    {"TextBehindQuote", "BEGIN ZALVO\nZLV_SPAR_STAT_KEY \"a\" b\nEND ZALVO\n", ZLV_RES_ERR_PARAM_VALUE_STR, 0, "STAT_KEY"},
    {"WrongCase", "BEGIN ZALVO\nzlv_ipar_optimizer 4\nEND ZALVO\n", ZLV_RES_ERR_PARAM_NAME, 0, "'zlv_ipar_optimizer'"},
    {"NoBegin", "ZLV_IPAR_OPTIMIZER 4\nEND ZALVO\n", ZLV_RES_ERR_END_OF_FILE, 0, "The end of file"},
    {"NoEnd", "BEGIN ZALVO\nZLV_IPAR_OPTIMIZER 4\n", ZLV_RES_ERR_END_OF_FILE, 4, "The end of file"},
    {"Empty", "", ZLV_RES_ERR_END_OF_FILE, 0, "The end of file"},
};
// clang-format on

TEST(ParamFile, IsReadAsMeantOrRefusedWithThePlace) {
  const temp_file file;
  for (const file_case& c : file_cases) {
    SCOPED_TRACE(c.name);
    api_box box;
    file.put(c.text);
    EXPECT_EQ(read_file(box, file.name), c.wanted) << box.err();
    EXPECT_EQ(int_value(box.task, ZLV_IPAR_OPTIMIZER), c.optimizer);
    EXPECT_NE(box.err().find(c.err), std::string::npos) << box.err();
    EXPECT_EQ(box.err().empty(), c.wanted == ZLV_RES_OK);
    EXPECT_EQ(box.msg().find("done reading. Time: ") != std::string::npos, c.wanted == ZLV_RES_OK);
  }
}

TEST(ParamFile, EchoesWhatItReads) {
  api_box box;
  const temp_file file;
  file.put("BEGIN ZALVO\nZLV_IPAR_LOG   0\nzlv_spar_stat_key a b\nEND ZALVO\n");
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_PARAM_READ_CASE_NAME, ZLV_OFF), ZLV_RES_OK);
  ASSERT_EQ(read_file(box, file.name), ZLV_RES_OK) << box.err();
  EXPECT_EQ(box.msg().find("Reading par file - " + file.name +
                           "\nZLV_IPAR_LOG                         0\n"
                           "zlv_spar_stat_key                    a b\ndone reading."),
            0U)
      << box.msg();
  EXPECT_EQ(str_value(box.task, ZLV_SPAR_STAT_KEY), "a b");
}

TEST(ParamFile, MissingOrUnwritableFilesAreToldApart) {
  api_box box;
  const temp_file file;
  EXPECT_EQ(read_file(box, file.name), ZLV_RES_WRN_OPEN_PARAM_FILE);
  EXPECT_NE(box.wrn().find("Could not open the parameter file '" + file.name + "'."),
            std::string::npos);
  EXPECT_EQ(read_file(box, ""), ZLV_RES_WRN_OPEN_PARAM_FILE);
  EXPECT_EQ(read_file(box, testing::TempDir()), ZLV_RES_ERR_FILE_READ);
  EXPECT_EQ(ZLV_writeparamfile(box.task, "/no/such/folder/file"), ZLV_RES_ERR_FILE_OPEN);
  EXPECT_NE(box.err().find("opening file '/no/such/folder/file'"), std::string::npos);
  if (std::FILE* full = std::fopen("/dev/full", "w")) {
    std::fclose(full);
    EXPECT_EQ(ZLV_writeparamfile(box.task, "/dev/full"), ZLV_RES_ERR_FILE_WRITE);
  }
}

TEST(ParamFile, OverwritesAFileThatIsThere) {
  api_box box;
  const temp_file file;
  file.put("something longer than nothing");
  ASSERT_EQ(ZLV_writeparamfile(box.task, file.name.c_str()), ZLV_RES_OK);
  EXPECT_EQ(file.get().find("BEGIN ZALVO\n"), 0U);
  EXPECT_EQ(std::fopen((file.name + ".part").c_str(), "r"), nullptr);
}

TEST(ParamFile, EveryFailedAllocationLeavesTheTaskUsable) {
  const temp_file file;
  file.put(
      "BEGIN ZALVO\nZLV_SPAR_STAT_KEY \"a string that needs a block of its own\"\nEND ZALVO\n");
  for (long k = 0;; ++k) {
    faulty_alloc from;
    {
      api_box box(&from);
      ASSERT_EQ(box.made, ZLV_RES_OK);
      ASSERT_EQ(ZLV_putstrparam(box.task, ZLV_SPAR_PARAM_READ_FILE_NAME, file.name.c_str()),
                ZLV_RES_OK);
      from.failat = from.numcalls + k;
      const int32_t r = ZLV_readparamfile(box.task);
      from.failat = -1;
      if (r == ZLV_RES_OK) {
        EXPECT_GT(k, 0);
        break;
      }
      ASSERT_EQ(r, ZLV_RES_ERR_SPACE) << k;
      EXPECT_EQ(str_value(box.task, ZLV_SPAR_STAT_KEY), "") << k;
      EXPECT_EQ(ZLV_readparamfile(box.task), ZLV_RES_OK) << k;
      EXPECT_EQ(box.close(), ZLV_RES_OK) << k;
    }
    ASSERT_EQ(from.numlive, 0) << k;
  }
}

TEST(ParamList, ShowsEveryParameter) {
  api_box box;
  ASSERT_EQ(ZLV_putstrparam(box.task, ZLV_SPAR_STAT_NAME, std::string(6000, 'x').c_str()),
            ZLV_RES_OK);
  ASSERT_EQ(ZLV_printparam(box.task), ZLV_RES_OK);
  const std::string& text = box.msg();
  for (const char* part :
       {"Integer parameters\n0   ZLV_IPAR_ALLOC_ADD_ANZ           : 0                 \n",
        "\n\nDouble parameters\n0   ZLV_DPAR_BASIS_REL_TOL_S         : 1.00000000e-12    \n",
        "\n\nString parameters\n0   ZLV_SPAR_BAS_SOL_FILE_NAME       : NONE\n",
        "\n24  ZLV_SPAR_WRITE_LP_GEN_VAR_NAME   : xzlvgen\n"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(std::count(text.begin(), text.end(), 'x') > 6000, true);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5 + numint + numdou + numstr);
}
