// Every put with every one of its allocations failing: the code is out of space, the task is as it
// was, and nothing leaks.
#include <gtest/gtest.h>

#include <functional>
#include <numeric>

#include "api/data_model.h"
#include "support/api_box.h"

namespace {

// All that the getters tell, as one text.
std::string dump(ZLV_task_t task) {
  int32_t numvar = 0, numcon = 0, numcone = 0, numanz = 0, type = 0, maxlen = 0;
  ZLV_getnumvar(task, &numvar);
  ZLV_getnumcon(task, &numcon);
  ZLV_getnumcone(task, &numcone);
  ZLV_getnumanz(task, &numanz);
  ZLV_getprobtype(task, &type);
  ZLV_getmaxnamelen(task, &maxlen);
  std::string out;
  const auto add = [&out](double x) { out += std::to_string(x) + " "; };
  for (const int32_t n : {numvar, numcon, numcone, numanz, type, maxlen}) add(n);
  for (const int32_t accmode : {ZLV_ACC_VAR, ZLV_ACC_CON}) {
    for (int32_t i = 0; i < (accmode == ZLV_ACC_VAR ? numvar : numcon); ++i) {
      int32_t bk = 0, vartype = 0;
      double bl = 0, bu = 0;
      char name[32] = "";
      ZLV_getbound(task, accmode, i, &bk, &bl, &bu);
      ZLV_getname(task, accmode, i, sizeof name, nullptr, name);
      if (accmode == ZLV_ACC_VAR) ZLV_getvartype(task, i, &vartype);
      out += name;
      for (const double x : {double(bk), bl, bu, double(vartype)}) add(x);
    }
  }
  for (int32_t i = 0; i < numcon; ++i) {
    for (int32_t j = 0; j < numvar; ++j) {
      double aij = 0;
      ZLV_getaij(task, i, j, &aij);
      add(aij);
    }
  }
  for (int32_t k = -1; k < numcon; ++k) {
    int32_t num = 0;
    int32_t subi[64], subj[64];
    double val[64];
    if (k < 0) ZLV_getqobj(task, &num, subi, subj, val);
    if (k >= 0) ZLV_getqconk(task, k, &num, subi, subj, val);
    for (int32_t p = 0; p < num; ++p) add(subi[p] * 100 + subj[p]), add(val[p]);
  }
  for (int32_t k = 0; k < numcone; ++k) {
    int32_t conetype = 0, nummem = 0, sub[32];
    double par = 0;
    ZLV_getcone(task, k, &conetype, &par, &nummem, sub);
    add(conetype * 1000 + sub[0] * 10 + sub[nummem - 1]);
  }
  return out;
}

struct put_case {
  const char* name;
  std::function<int32_t(ZLV_task_t)> put;
};

const int32_t sub40[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
double val40[20];
const int32_t zeros[20] = {};
const int32_t ptrb[] = {0, 4, 8};
const int32_t ptre[] = {4, 8, 19};
const int32_t keys[] = {ZLV_BK_RA, ZLV_BK_RA, ZLV_BK_RA};
const double low[] = {1, 2, 3};
const double upp[] = {4, 5, 6};
const std::string longname(500, 'n');

const put_case cases[] = {
    {"AppendVars", [](ZLV_task_t t) { return ZLV_append(t, ZLV_ACC_VAR, 3000); }},
    {"AppendCons", [](ZLV_task_t t) { return ZLV_append(t, ZLV_ACC_CON, 3000); }},
    {"AppendVarsData",
     [](ZLV_task_t t) {
       return ZLV_appendvars(t, 3, low, ptrb, ptre, sub40, val40, keys, low, upp);
     }},
    {"AppendConsData",
     [](ZLV_task_t t) { return ZLV_appendcons(t, 3, ptrb, ptre, sub40, val40, keys, low, upp); }},
    {"InputData",
     [](ZLV_task_t t) {
       return ZLV_inputdata(t, 30, 3, 20, 3, low, 1, ptrb, ptre, sub40, val40, nullptr, nullptr,
                            nullptr, keys, low, upp);
     }},
    {"Element", [](ZLV_task_t t) { return ZLV_putaij(t, 19, 19, 5); }},
    {"ElementList", [](ZLV_task_t t) { return ZLV_putaijlist(t, 20, sub40, sub40, val40); }},
    {"Column", [](ZLV_task_t t) { return ZLV_putavec(t, ZLV_ACC_VAR, 3, 20, sub40, val40); }},
    {"Row", [](ZLV_task_t t) { return ZLV_putavec(t, ZLV_ACC_CON, 3, 20, sub40, val40); }},
    {"ColumnList",
     [](ZLV_task_t t) {
       return ZLV_putaveclist(t, ZLV_ACC_VAR, 3, sub40, ptrb, ptre, sub40, val40);
     }},
    {"RowList",
     [](ZLV_task_t t) {
       return ZLV_putaveclist(t, ZLV_ACC_CON, 3, sub40, ptrb, ptre, sub40, val40);
     }},
    {"GetRow",
     [](ZLV_task_t t) { return ZLV_getavec(t, ZLV_ACC_CON, 3, nullptr, nullptr, nullptr); }},
    {"QObj", [](ZLV_task_t t) { return ZLV_putqobj(t, 20, sub40, sub40, val40); }},
    {"QObjIJ", [](ZLV_task_t t) { return ZLV_putqobjij(t, 7, 9, 3); }},
    {"QCon", [](ZLV_task_t t) { return ZLV_putqcon(t, 20, sub40, sub40, zeros, val40); }},
    {"QConK", [](ZLV_task_t t) { return ZLV_putqconk(t, 7, 20, sub40, zeros, val40); }},
    {"AppendCone", [](ZLV_task_t t) { return ZLV_appendcone(t, ZLV_CT_QUAD, 0, 3, sub40 + 8); }},
    {"PutCone", [](ZLV_task_t t) { return ZLV_putcone(t, 0, ZLV_CT_QUAD, 0, 5, sub40 + 3); }},
    {"RemoveCone", [](ZLV_task_t t) { return ZLV_removecone(t, 0); }},
    {"Type", [](ZLV_task_t t) { return ZLV_putvartype(t, 4, ZLV_VAR_TYPE_INT); }},
    {"Name", [](ZLV_task_t t) { return ZLV_putname(t, ZLV_PI_VAR, 4, "another"); }},
    {"LongName", [](ZLV_task_t t) { return ZLV_puttaskname(t, longname.c_str()); }},
    {"RemoveVars", [](ZLV_task_t t) { return ZLV_remove(t, ZLV_ACC_VAR, 2, sub40 + 5); }},
    {"RemoveCons", [](ZLV_task_t t) { return ZLV_remove(t, ZLV_ACC_CON, 9, sub40); }},
    {"MaxNumVar", [](ZLV_task_t t) { return ZLV_putmaxnumvar(t, 5000); }},
    {"MaxNumAnz", [](ZLV_task_t t) { return ZLV_putmaxnumanz(t, 500); }},
    {"MaxNumQnz", [](ZLV_task_t t) { return ZLV_putmaxnumqnz(t, 500); }},
};

// A task with something of everything and no room to spare.
void fill(ZLV_task_t t) {
  std::iota(std::begin(val40), std::end(val40), 1.0);
  const int32_t members[] = {0, 1, 2};
  ASSERT_EQ(ZLV_putmaxnumvar(t, 20), 0);
  ASSERT_EQ(ZLV_putmaxnumcon(t, 20), 0);
  ASSERT_EQ(ZLV_putmaxnumcone(t, 1), 0);
  ASSERT_EQ(ZLV_append(t, ZLV_ACC_VAR, 20), 0);
  ASSERT_EQ(ZLV_append(t, ZLV_ACC_CON, 20), 0);
  for (int32_t j = 0; j < 20; ++j) {
    ASSERT_EQ(ZLV_putavec(t, ZLV_ACC_VAR, j, 1 + j % 3, sub40 + j % 7, val40), 0);
  }
  ASSERT_EQ(ZLV_putqobj(t, 3, sub40, sub40, val40), 0);
  ASSERT_EQ(ZLV_putqconk(t, 2, 4, sub40 + 3, sub40, val40), 0);
  ASSERT_EQ(ZLV_appendcone(t, ZLV_CT_QUAD, 0, 3, members), 0);
  for (int32_t j = 0; j < 10; ++j) {
    ASSERT_EQ(ZLV_putname(t, ZLV_PI_VAR, j, std::to_string(j).c_str()), 0);
  }
}

TEST(DataFaults, OutOfSpaceLeavesTheTaskAsItWas) {
  constexpr long many = 200;  // more than any of the puts allocates
  for (const put_case& c : cases) {
    long k = 0;
    for (; k < many; ++k) {
      faulty_alloc alloc;
      {
        api_box box(&alloc);
        fill(box.task);
        const std::string before = dump(box.task);
        alloc.failat = alloc.numcalls + k;
        alloc.failsafter = k % 2 == 1;
        const int32_t r = c.put(box.task);
        const bool isreached = alloc.numcalls > alloc.failat;
        alloc.failat = -1;
        if (r == 0 && !isreached) break;
        // A failure that the put can do without, as of a second orientation of A, is no failure.
        if (r != 0) {
          ASSERT_EQ(r, ZLV_RES_ERR_SPACE) << c.name << " " << k;
          ASSERT_EQ(dump(box.task), before) << c.name << " " << k;
        }
        ASSERT_EQ(c.put(box.task), 0) << c.name << " " << k;  // there is space again
        ASSERT_NE(dump(box.task), "");
        ASSERT_EQ(box.close(), 0) << c.name << " " << k;
      }
      ASSERT_EQ(alloc.numlive, 0) << c.name << " " << k;
    }
    EXPECT_LT(k, many) << c.name;
  }
}

}  // namespace
