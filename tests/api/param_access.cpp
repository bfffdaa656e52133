// Parameters and information items through the interface: by number, by name, as text.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "support/api_box.h"

namespace {

bool holds(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

struct int_case {
  const char* name;
  int32_t param, value, wanted;
};
// clang-format off
const int_case int_cases[] = {
    {"ThreadsBelowOne", ZLV_IPAR_INTPNT_NUM_THREADS, 0, ZLV_RES_ERR_PARAM_IS_TOO_SMALL},
    {"ThreadsHaveNoUpperBound", ZLV_IPAR_INTPNT_NUM_THREADS, 64, ZLV_RES_OK},
    {"OptimizerBeyondLast", ZLV_IPAR_OPTIMIZER, 10, ZLV_RES_ERR_PARAM_IS_TOO_LARGE},
    {"OptimizerNegative", ZLV_IPAR_OPTIMIZER, -1, ZLV_RES_ERR_PARAM_IS_TOO_SMALL},
    {"CacheUnchecked", ZLV_IPAR_CACHE_SIZE_L1, -77, ZLV_RES_OK},
    {"ReadWidth", ZLV_IPAR_READ_LP_LINE_WIDTH, 1023, ZLV_RES_ERR_PARAM_IS_TOO_SMALL},
    {"WriteWidth", ZLV_IPAR_WRITE_LP_LINE_WIDTH, 39, ZLV_RES_ERR_PARAM_IS_TOO_SMALL},
    {"WriteWidthLeast", ZLV_IPAR_WRITE_LP_LINE_WIDTH, 40, ZLV_RES_OK},
    {"ReservedSlot", 35, 12345, ZLV_RES_OK},
    {"NumberNegative", -1, 1, ZLV_RES_ERR_PARAM_INDEX},
    {"NumberBeyondLast", 168, 1, ZLV_RES_ERR_PARAM_INDEX},
};
// clang-format on

}  // namespace

TEST(ParamPut, ChecksTheRangeAndKeepsTheOldValue) {
  for (const int_case& c : int_cases) {
    SCOPED_TRACE(c.name);
    api_box box;
    int32_t before = 0, after = 0;
    const int32_t r = ZLV_getintparam(box.task, c.param, &before);
    EXPECT_EQ(r, c.wanted == ZLV_RES_ERR_PARAM_INDEX ? c.wanted : ZLV_RES_OK);
    EXPECT_EQ(box.err(), "");  // a get does not write the message
    EXPECT_EQ(ZLV_putintparam(box.task, c.param, c.value), c.wanted);
    EXPECT_EQ(box.err().empty(), c.wanted == ZLV_RES_OK);
    if (r != ZLV_RES_OK) continue;
    EXPECT_EQ(ZLV_getintparam(box.task, c.param, &after), ZLV_RES_OK);
    EXPECT_EQ(after, c.wanted == ZLV_RES_OK ? c.value : before);
  }
}

TEST(ParamPut, MessagesNameParameterAndValue) {
  api_box box;
  EXPECT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, 10), ZLV_RES_ERR_PARAM_IS_TOO_LARGE);
  EXPECT_EQ(box.err(),
            "ZALVO Error 1215   - The parameter value 10 is too large for parameter "
            "'ZLV_IPAR_OPTIMIZER'.\n");
  box.forget();
  EXPECT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_INTPNT_TOL_REL_STEP, 1.0),
            ZLV_RES_ERR_PARAM_IS_TOO_LARGE);
  EXPECT_TRUE(
      holds(box.err(), "value 1 is too large for parameter 'ZLV_DPAR_INTPNT_TOL_REL_STEP'"));
  box.forget();
  EXPECT_EQ(ZLV_putintparam(box.task, 168, 0), ZLV_RES_ERR_PARAM_INDEX);
  EXPECT_TRUE(holds(box.err(), "The parameter index 168 is invalid for a parameter of type int."));
}

TEST(ParamPut, DoublesRefuseNaN) {
  api_box box;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  double value = 0;
  for (const int32_t param : {ZLV_DPAR_LOWER_OBJ_CUT, ZLV_DPAR_DATA_TOL_X}) {
    EXPECT_EQ(ZLV_putdouparam(box.task, param, nan), ZLV_RES_ERR_NAN_IN_DOUBLE_DATA);
    EXPECT_EQ(ZLV_getdouparam(box.task, param, &value), ZLV_RES_OK);
    EXPECT_FALSE(std::isnan(value));
  }
  EXPECT_EQ(ZLV_putdouparam(box.task, ZLV_DPAR_LOWER_OBJ_CUT, -HUGE_VAL), ZLV_RES_OK);
}

TEST(ParamString, IsCutToItsBuffer) {
  api_box box;
  ASSERT_EQ(ZLV_putstrparam(box.task, ZLV_SPAR_STAT_NAME, "abcde"), ZLV_RES_OK);
  struct {
    int32_t maxlen, wanted;
    const char* text;
  } const cases[] = {{6, ZLV_RES_OK, "abcde"},
                     {5, ZLV_RES_WRN_SPAR_MAX_LEN, "abcd"},
                     {1, ZLV_RES_WRN_SPAR_MAX_LEN, ""},
                     {0, ZLV_RES_WRN_SPAR_MAX_LEN, "?"},
                     {-3, ZLV_RES_WRN_SPAR_MAX_LEN, "?"}};
  for (const auto& c : cases) {
    char text[8] = "?";
    int32_t len = 0;
    EXPECT_EQ(ZLV_getstrparam(box.task, ZLV_SPAR_STAT_NAME, c.maxlen, &len, text), c.wanted);
    EXPECT_STREQ(text, c.text);
    EXPECT_EQ(len, 5);
  }
  EXPECT_TRUE(holds(box.wrn(), "length 5 of parameter 'ZLV_SPAR_STAT_NAME'"));
  int32_t len = 0;
  EXPECT_EQ(ZLV_getstrparam(box.task, ZLV_SPAR_STAT_NAME, 0, &len, nullptr), ZLV_RES_OK);
  EXPECT_EQ(len, 5);
}

TEST(ParamNames, LookUpsAgree) {
  api_box box;
  for (const int32_t type : {ZLV_PAR_INT_TYPE, ZLV_PAR_DOU_TYPE, ZLV_PAR_STR_TYPE}) {
    int32_t num = 0, max = 0;
    ASSERT_EQ(ZLV_getnumparam(box.task, type, &num), ZLV_RES_OK);
    ASSERT_EQ(ZLV_getparammax(box.task, type, &max), ZLV_RES_OK);
    EXPECT_EQ(max, num - 1);
    for (int32_t k = 0; k < num; ++k) {
      char name[ZLV_MAX_STR_LEN];
      ASSERT_EQ(ZLV_getparamname(box.task, type, k, name), ZLV_RES_OK);
      int32_t found = -1, foundtype = -1, number = -1;
      EXPECT_EQ(ZLV_whichparam(box.task, name, &foundtype, &found), ZLV_RES_OK);
      EXPECT_EQ(found, k);
      EXPECT_EQ(foundtype, type);
      const int32_t isint = ZLV_isintparname(box.task, name, &number);
      EXPECT_EQ(isint == ZLV_RES_OK, type == ZLV_PAR_INT_TYPE) << name;
      const int32_t isdou = ZLV_isdouparname(box.task, name, &number);
      EXPECT_EQ(isdou == ZLV_RES_OK, type == ZLV_PAR_DOU_TYPE) << name;
      const int32_t isstr = ZLV_isstrparname(box.task, name, &number);
      EXPECT_EQ(isstr == ZLV_RES_OK, type == ZLV_PAR_STR_TYPE) << name;
    }
    char name[ZLV_MAX_STR_LEN];
    EXPECT_EQ(ZLV_getparamname(box.task, type, num, name), ZLV_RES_ERR_PARAM_INDEX);
  }
  int32_t num = 0;
  EXPECT_EQ(ZLV_getnumparam(box.task, ZLV_PAR_INVALID_TYPE, &num), ZLV_RES_ERR_PARAM_TYPE);
}

TEST(ParamNames, UnknownOnesAreReportedWithTheNearest) {
  api_box box;
  int32_t value = 0, type = 7;
  double dvalue = 0;
  EXPECT_EQ(ZLV_putnaintparam(box.task, "ZLV_IPAR_OPTIMISER", 1), ZLV_RES_ERR_PARAM_NAME_INT);
  EXPECT_TRUE(holds(box.err(), "The parameter name 'ZLV_IPAR_OPTIMISER' is invalid."));
  EXPECT_TRUE(holds(box.msg(), "The nearest parameter name is 'ZLV_IPAR_OPTIMIZER'.\n"));
  EXPECT_EQ(ZLV_getnadouparam(box.task, "ZLV_IPAR_LOG", &dvalue), ZLV_RES_ERR_PARAM_NAME_DOU);
  EXPECT_EQ(ZLV_putnastrparam(box.task, "zlv_spar_stat_key", "x"), ZLV_RES_ERR_PARAM_NAME_STR);
  EXPECT_EQ(ZLV_putparam(box.task, "NO_SUCH", "1"), ZLV_RES_ERR_PARAM_NAME);
  EXPECT_EQ(ZLV_whichparam(box.task, "NO_SUCH", &type, &value), ZLV_RES_ERR_PARAM_NAME);
  EXPECT_EQ(type, ZLV_PAR_INVALID_TYPE);
}

struct text_case {
  const char *param, *value;
  int32_t wanted;
};
TEST(ParamText, IsReadWholeOrRefused) {
  const text_case cases[] = {
      {"ZLV_IPAR_OPTIMIZER", "5", ZLV_RES_OK},
      {"ZLV_IPAR_OPTIMIZER", "+5", ZLV_RES_OK},
      {"ZLV_IPAR_OPTIMIZER", "ZLV_OPTIMIZER_DUAL_SIMPLEX", ZLV_RES_OK},
      {"ZLV_IPAR_CACHE_SIZE_L1", "-2147483648", ZLV_RES_OK},
      {"ZLV_IPAR_CACHE_SIZE_L1", "2147483648", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_IPAR_OPTIMIZER", "On", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_IPAR_OPTIMIZER", "zlv_optimizer_free", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_IPAR_OPTIMIZER", "5x", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_IPAR_OPTIMIZER", "5.0", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_IPAR_OPTIMIZER", "", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_IPAR_OPTIMIZER", "+-5", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_IPAR_OPTIMIZER", "12", ZLV_RES_ERR_PARAM_IS_TOO_LARGE},
      {"ZLV_DPAR_DATA_TOL_X", "1.5e-7", ZLV_RES_OK},
      {"ZLV_DPAR_DATA_TOL_X", "1", ZLV_RES_OK},
      {"ZLV_DPAR_DATA_TOL_X", "1,5", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_DPAR_DATA_TOL_X", "1.0x3", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_DPAR_DATA_TOL_X", "1e400", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_DPAR_DATA_TOL_X", "nan", ZLV_RES_ERR_PARAM_VALUE_STR},
      {"ZLV_DPAR_DATA_TOL_X", "-1e-9", ZLV_RES_ERR_PARAM_IS_TOO_SMALL},
      {"ZLV_SPAR_STAT_KEY", " any text at all ", ZLV_RES_OK},
  };
  for (const text_case& c : cases) {
    api_box box;
    EXPECT_EQ(ZLV_putparam(box.task, c.param, c.value), c.wanted) << c.param << " " << c.value;
  }
  api_box box;
  EXPECT_EQ(ZLV_putparam(box.task, "ZLV_IPAR_PRESOLVE_USE", "yes"), ZLV_RES_ERR_PARAM_VALUE_STR);
  EXPECT_TRUE(holds(box.err(), "value string 'yes' for parameter ZLV_IPAR_PRESOLVE_USE is"));
  EXPECT_TRUE(holds(box.msg(), "The values of 'ZLV_IPAR_PRESOLVE_USE' are ZLV_ON, ZLV_OFF.\n"));
}

TEST(ParamText, SymbolicNamesOfValuesReadBack) {
  api_box box;
  int32_t num = 0, numnamed = 0;
  ASSERT_EQ(ZLV_getnumparam(box.task, ZLV_PAR_INT_TYPE, &num), ZLV_RES_OK);
  for (int32_t k = 0; k < num; ++k) {
    for (int32_t v = -1; v < 12; ++v) {
      char name[ZLV_MAX_STR_LEN] = "?";
      int32_t back = -99;
      if (ZLV_iparvaltosymnam(box.env, k, v, name) != ZLV_RES_OK) {
        EXPECT_STREQ(name, "");
        continue;
      }
      ++numnamed;
      EXPECT_EQ(ZLV_symnamtovalue(name, &back), ZLV_RES_OK);
      EXPECT_EQ(back, v);
    }
  }
  EXPECT_GT(numnamed, 200);
  char name[ZLV_MAX_STR_LEN];
  ASSERT_EQ(ZLV_iparvaltosymnam(box.env, ZLV_IPAR_INTPNT_BASIS, 1, name), ZLV_RES_OK);
  EXPECT_STREQ(name, "ZLV_BI_ALWAYS");
  EXPECT_EQ(ZLV_iparvaltosymnam(box.env, num, 0, name), ZLV_RES_ERR_PARAM_INDEX);
  int32_t value = 3;
  EXPECT_EQ(ZLV_symnamtovalue("ZLV_NO_SUCH", &value), ZLV_RES_ERR_IN_ARGUMENT);
  EXPECT_EQ(value, 3);
}

TEST(ParamDefaults, ComeFromTheEnvironment) {
  api_box box;
  ASSERT_EQ(ZLV_putcpudefaults(box.env, ZLV_CPU_INTEL_PM, 32768, 2097152), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putintparam(box.task, ZLV_IPAR_OPTIMIZER, ZLV_OPTIMIZER_INTPNT), ZLV_RES_OK);
  ASSERT_EQ(ZLV_putstrparam(box.task, ZLV_SPAR_WRITE_LP_GEN_VAR_NAME, "other"), ZLV_RES_OK);
  ASSERT_EQ(ZLV_setdefaults(box.task), ZLV_RES_OK);
  int32_t value = -1;
  char text[32] = "";
  EXPECT_EQ(ZLV_getintparam(box.task, ZLV_IPAR_CACHE_SIZE_L2, &value), ZLV_RES_OK);
  EXPECT_EQ(value, 2097152);
  EXPECT_EQ(ZLV_getintparam(box.task, ZLV_IPAR_OPTIMIZER, &value), ZLV_RES_OK);
  EXPECT_EQ(value, ZLV_OPTIMIZER_FREE);
  EXPECT_EQ(ZLV_getnastrparam(box.task, "ZLV_SPAR_WRITE_LP_GEN_VAR_NAME", 32, nullptr, text),
            ZLV_RES_OK);
  EXPECT_STREQ(text, "xzlvgen");
  EXPECT_EQ(ZLV_putcpudefaults(box.env, 10, 0, 0), ZLV_RES_ERR_PARAM_IS_TOO_LARGE);
  EXPECT_EQ(ZLV_putcpudefaults(nullptr, 0, 0, 0), ZLV_RES_ERR_NULL_ENV);
}

TEST(ParamAccess, NullPointersAreNamed) {
  api_box box;
  const ZLV_task_t t = box.task;
  struct {
    int32_t code;
    const char* argument;
  } const cases[] = {
      {ZLV_getintparam(t, 0, nullptr), "value"},
      {ZLV_getdouparam(t, 0, nullptr), "value"},
      {ZLV_getstrparam(t, 0, 9, nullptr, nullptr), "value"},
      {ZLV_getstrparamal(t, 0, 0, nullptr), "value"},
      {ZLV_putstrparam(t, 0, nullptr), "value"},
      {ZLV_putnaintparam(t, nullptr, 1), "paramname"},
      {ZLV_isdouparname(t, "x", nullptr), "param"},
      {ZLV_whichparam(t, "x", nullptr, nullptr), "partype"},
      {ZLV_putparam(t, "ZLV_IPAR_LOG", nullptr), "parvalue"},
      {ZLV_getparamname(t, ZLV_PAR_INT_TYPE, 0, nullptr), "parname"},
      {ZLV_getnumparam(t, ZLV_PAR_INT_TYPE, nullptr), "numparam"},
      {ZLV_getparammax(t, ZLV_PAR_INT_TYPE, nullptr), "parammax"},
      {ZLV_writeparamfile(t, nullptr), "filename"},
      {ZLV_getintinf(t, 0, nullptr), "ivalue"},
      {ZLV_getnadouinf(t, nullptr, nullptr), "infname"},
      {ZLV_getinfindex(t, ZLV_INF_INT_TYPE, "x", nullptr), "infindex"},
      {ZLV_getinfmax(t, ZLV_INF_INT_TYPE, nullptr), "infmax"},
  };
  std::string wanted;
  for (const auto& c : cases) {
    EXPECT_EQ(c.code, ZLV_RES_ERR_NULL_POINTER) << c.argument;
    wanted += std::string("ZALVO Error 1065   - Argument '") + c.argument +
              "' is unexpectedly a NULL pointer.\n";
  }
  EXPECT_EQ(box.err(), wanted);
}

TEST(InfItems, NamesAndNumbersAgreeAndStartAtZero) {
  api_box box;
  for (const int32_t type : {ZLV_INF_INT_TYPE, ZLV_INF_DOU_TYPE}) {
    int32_t max = 0;
    ASSERT_EQ(ZLV_getinfmax(box.task, type, &max), ZLV_RES_OK);
    EXPECT_EQ(max, type == ZLV_INF_INT_TYPE ? 132 : 83);
    for (int32_t k = 0; k <= max; ++k) {
      char name[ZLV_MAX_STR_LEN];
      int32_t found = -1, ivalue = -1;
      double dvalue = -1;
      ASSERT_EQ(ZLV_getinfname(box.task, type, k, name), ZLV_RES_OK);
      EXPECT_EQ(ZLV_getinfindex(box.task, type, name, &found), ZLV_RES_OK);
      EXPECT_EQ(found, k) << name;
      const int32_t r = type == ZLV_INF_INT_TYPE ? ZLV_getnaintinf(box.task, name, &ivalue)
                                                 : ZLV_getnadouinf(box.task, name, &dvalue);
      EXPECT_EQ(r, ZLV_RES_OK) << name;
      EXPECT_TRUE(ivalue == 0 || dvalue == 0) << name;
    }
  }
  char name[ZLV_MAX_STR_LEN];
  int32_t ivalue = 0;
  double dvalue = 0;
  EXPECT_EQ(ZLV_getintinf(box.task, 133, &ivalue), ZLV_RES_ERR_INF_INT_INDEX);
  EXPECT_EQ(ZLV_getdouinf(box.task, -1, &dvalue), ZLV_RES_ERR_INF_DOU_INDEX);
  EXPECT_EQ(ZLV_getinfname(box.task, ZLV_INF_DOU_TYPE, 84, name), ZLV_RES_ERR_INF_DOU_INDEX);
  EXPECT_EQ(ZLV_getinfname(box.task, 2, 0, name), ZLV_RES_ERR_INF_TYPE);
  EXPECT_EQ(ZLV_getnaintinf(box.task, "ZLV_IINF_INTPNT_ITERS", &ivalue), ZLV_RES_ERR_INF_INT_NAME);
  EXPECT_TRUE(holds(box.msg(), "nearest information item is 'ZLV_IINF_INTPNT_ITER'"));
  EXPECT_EQ(ZLV_getnadouinf(box.task, "ZLV_IINF_BI_ITER", &dvalue), ZLV_RES_ERR_INF_DOU_NAME);
}
