// The tables that the public header is made of: numbering, order, ranges, texts.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "cpub/rescode.h"
#include "zalvo.h"
#include "zalvo/frame.h"
#include "zalvo/nearest.h"
#include "zalvo/paramtab.h"

namespace {

struct code_row {
  const char* name;
  int32_t value;
  std::string message, description;
};
const std::vector<code_row> codes = {
#define ZLV_CODE(name, value, message, description) {#name, value, message, description},
#include "cpub/rescode.def"
#undef ZLV_CODE
};

struct table_row {
  std::string name;
  int32_t number;
};
std::string cased(const char* name) {
  std::string text(name);
  for (char& c : text) c = char(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// Rows numbered from first in ASCII order of their names.
void expect_numbered(const std::vector<table_row>& rows, size_t begin, size_t end) {
  for (size_t k = begin; k < end; ++k) {
    EXPECT_EQ(rows[k].number, int32_t(k)) << rows[k].name;
    EXPECT_TRUE(k == begin || rows[k - 1].name < rows[k].name) << rows[k].name;
  }
}

}  // namespace

TEST(TablesCodes, AreInOrderUniqueAndHaveTexts) {
  std::set<std::string> names;
  int32_t last = -1;
  for (const code_row& row : codes) {
    EXPECT_GT(row.value, last) << row.name;
    last = row.value;
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_FALSE(row.message.empty()) << row.name;
    const bool istextless = row.value >= 3002 && row.value <= 3004;
    EXPECT_EQ(row.description.empty(), istextless) << row.name;
    EXPECT_EQ(row.description.find('%'), std::string::npos) << row.name;
    // The class shows in the name as in the value.
    const std::string prefix = std::string(row.name).substr(0, 4);
    const char* wanted = row.value == 0     ? "ok"
                         : row.value < 1000 ? "wrn_"
                         : row.value < 4000 ? "err_"
                                            : "trm_";
    EXPECT_EQ(prefix, wanted) << row.name;
  }
}

TEST(TablesCodes, TemplatesHoldOnlyWhatMessagesCanFill) {
  for (const code_row& row : codes) {
    for (size_t p = row.message.find('%'); p != std::string::npos; p = row.message.find('%', p)) {
      p = row.message.find_first_not_of("-.0123456789", p + 1);
      ASSERT_NE(p, std::string::npos) << row.name;
      EXPECT_NE(std::strchr("dsge", row.message[p]), nullptr) << row.name;
    }
  }
}

TEST(TablesNumbers, FollowTheAsciiOrderOfTheNames) {
  const std::vector<table_row> ints = {
#define ZLV_IPAR(name, number, value, check, lower, upper, family, text) {cased(#name), number},
#include "zalvo/param.def"
  };
  const std::vector<table_row> dous = {
#define ZLV_DPAR(name, number, value, check, lower, upper, text) {cased(#name), number},
#include "zalvo/param.def"
  };
  const std::vector<table_row> strs = {
#define ZLV_SPAR(name, number, value, text) {cased(#name), number},
#include "zalvo/param.def"
  };
  const std::vector<table_row> iinfs = {
#define ZLV_IINF(name, number, text) {cased(#name), number},
#include "zalvo/infitem.def"
  };
  const std::vector<table_row> dinfs = {
#define ZLV_DINF(name, number, text) {cased(#name), number},
#include "zalvo/infitem.def"
  };
  EXPECT_EQ(int32_t(ints.size()), ipar::count);
  EXPECT_EQ(int32_t(dous.size()), dpar::count);
  EXPECT_EQ(int32_t(strs.size()), spar::count);
  EXPECT_EQ(int32_t(iinfs.size()), iinf::count);
  EXPECT_EQ(int32_t(dinfs.size()), dinf::count);
  expect_numbered(ints, 0, ints.size());
  expect_numbered(dous, 0, dous.size());
  expect_numbered(strs, 0, strs.size());
  // Items that only this library's tools print come behind the public ones, in an order of their own.
  expect_numbered(iinfs, 0, 46);
  expect_numbered(iinfs, 46, iinfs.size());
  expect_numbered(dinfs, 0, 47);
  expect_numbered(dinfs, 47, dinfs.size());
  EXPECT_EQ(iinf::bi_clean_iter, 47);
  EXPECT_EQ(iinf::bi_primal_iter, 51);
  EXPECT_EQ(dinf::sim_dual_cputime, 79);
}

TEST(TablesParams, DefaultsAreInTheirRanges) {
  for (const param_introw& row : param_introws()) {
    EXPECT_EQ(param_range(row, row.value), rescode::ok) << row.name;
  }
  for (const param_dourow& row : param_dourows()) {
    EXPECT_EQ(param_range(row, row.value), rescode::ok) << row.name;
  }
}

TEST(TablesParams, RangesAreClosed) {
  param_introw row{{}, 0, param_check::both, 2, 5, symgroup::none};
  EXPECT_EQ(param_range(row, 1), rescode::err_param_is_too_small);
  EXPECT_EQ(param_range(row, 2), rescode::ok);
  EXPECT_EQ(param_range(row, 5), rescode::ok);
  EXPECT_EQ(param_range(row, 6), rescode::err_param_is_too_large);
  row.check = param_check::lower;
  EXPECT_EQ(param_range(row, 6), rescode::ok);
  EXPECT_EQ(param_range(row, 1), rescode::err_param_is_too_small);
  row.check = param_check::upper;
  EXPECT_EQ(param_range(row, 1), rescode::ok);
  EXPECT_EQ(param_range(row, 6), rescode::err_param_is_too_large);
  row.check = param_check::none;
  EXPECT_EQ(param_range(row, 1), rescode::ok);
  EXPECT_EQ(param_range(row, 6), rescode::ok);
}

// An integer parameter with both bounds that names its values names every value in its range.
TEST(TablesParams, FamiliesNameTheWholeRange) {
  int32_t numfamily = 0;
  for (const param_introw& row : param_introws()) {
    if (row.family >= symgroup::none || row.check != param_check::both) continue;
    ++numfamily;
    for (int32_t v = row.lower; v <= row.upper; ++v) {
      EXPECT_NE(symbcon_name(row.family, v), nullptr) << row.name << " " << v;
    }
  }
  EXPECT_GT(numfamily, 50);
}

TEST(TablesSymbols, AreUniqueAndFoundByNameAndByValue) {
  std::set<std::string> names;
  for (const symbcon_row& row : symbcon_rows()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_EQ(std::string(row.name).rfind("ZLV_", 0), 0U) << row.name;
    EXPECT_EQ(symbcon_find(row.name), &row);
    EXPECT_STREQ(symbcon_name(row.group, row.value), row.name);
    EXPECT_LE(int32_t(std::strlen(row.name)), symbcon_maxlen());
    EXPECT_EQ(std::string(row.name).find("RESERVED"), std::string::npos);
  }
  EXPECT_EQ(symbcon_find("ZLV_IPAR_ITEM_RESERVED_1"), nullptr);
  EXPECT_EQ(symbcon_find("ZLV_O"), nullptr);
  EXPECT_EQ(symbcon_find(""), nullptr);
}

TEST(TablesSymbols, StandInTheirPublishedOrder) {
  const auto at = [](const char* name) { return symbcon_find(name) - symbcon_rows().data(); };
  const char* ordered[] = {"ZLV_ACC_VAR",         "ZLV_SPAR_STAT_KEY",
                           "ZLV_IINF_BI_ITER",    "ZLV_DINF_BI_CPUTIME",
                           "ZLV_OPTIMIZER_FREE",  "ZLV_ON",
                           "ZLV_RES_OK",          "ZLV_RES_TRM_STALL",
                           "ZLV_BK_LO",           "ZLV_MAX_STR_LEN",
                           "ZLV_IPAR_LOG",        "ZLV_CALLBACK_CONIC",
                           "ZLV_DPAR_DATA_TOL_X", "ZLV_CHECK_CONVEXITY_SIMPLE"};
  for (size_t k = 1; k < std::size(ordered); ++k) EXPECT_LT(at(ordered[k - 1]), at(ordered[k]));
  EXPECT_EQ(at(ordered[0]), 0);
  EXPECT_EQ(at(ordered[std::size(ordered) - 1]), int64_t(symbcon_rows().size()) - 1);
}

struct nearest_case {
  const char* typed;
  const char* nearest;  // null: none
};
TEST(TablesNearest, FindsWhatWasMeant) {
  const nearest_case cases[] = {
      {"ZLV_IPAR_OPTIMISER", "ZLV_IPAR_OPTIMIZER"},
      {"zlv_ipar_optimizer", "ZLV_IPAR_OPTIMIZER"},
      {"OPTIMIZER_MAX_TIME", "ZLV_DPAR_OPTIMIZER_MAX_TIME"},
      {"ZLV_DPAR_INTPNT_TOL_RELGAP", "ZLV_DPAR_INTPNT_TOL_REL_GAP"},
      {"", nullptr},
      {"XYZZY", nullptr},
      {"something that no parameter is called by, and longer than all of their names together are",
       nullptr},
  };
  for (const nearest_case& c : cases) {
    EXPECT_STREQ(param_nearest(c.typed, ZLV_PAR_INVALID_TYPE), c.nearest) << c.typed;
  }
  EXPECT_STREQ(param_nearest("ZLV_IPAR_OPTIMISER", ZLV_PAR_STR_TYPE), nullptr);
}
