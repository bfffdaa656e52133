// A plain model of a problem, changed alongside a task, and the comparison of every getter with it.
#pragma once

#include <gtest/gtest.h>
#include <zalvo.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace data_model {

struct bound {
  int32_t key;
  double lower, upper;
  bool operator==(const bound&) const = default;
};
using term = std::tuple<int32_t, int32_t, double>;
struct cone {
  int32_t type;
  double par;
  std::vector<int32_t> sub;
};
struct model {
  std::vector<bound> con, var;
  std::vector<double> c;
  double cfix = 0;
  std::map<std::pair<int32_t, int32_t>, double> a;
  std::vector<term> qobj;
  std::vector<std::vector<term>> qcon;
  std::vector<cone> cones;
  std::vector<int32_t> type;
  std::vector<std::string> names[3];  // by ZLV_PI_*
};

constexpr double infinite = 1e30;

inline void append(model& m, int32_t accmode, int32_t num) {
  for (int32_t k = 0; k < num; ++k) {
    if (accmode == ZLV_ACC_VAR) {
      m.var.push_back({ZLV_BK_FX, 0, 0});
      m.c.push_back(0);
      m.type.push_back(0);
      m.names[ZLV_PI_VAR].emplace_back();
    } else {
      m.con.push_back({ZLV_BK_FR, -infinite, infinite});
      m.qcon.emplace_back();
      m.names[ZLV_PI_CON].emplace_back();
    }
  }
}

template <class T>
void take_out(std::vector<T>& v, const std::vector<bool>& gone) {
  size_t i = 0;
  std::erase_if(v, [&](const T&) { return gone[i++]; });
}

inline void remove(model& m, int32_t accmode, const std::vector<bool>& gone) {
  std::vector<int32_t> map(gone.size());
  int32_t left = 0;
  for (size_t i = 0; i < gone.size(); ++i) map[i] = gone[i] ? -1 : left++;
  std::map<std::pair<int32_t, int32_t>, double> a;
  for (const auto& [place, value] : m.a) {
    std::pair<int32_t, int32_t> at = place;
    int32_t& k = accmode == ZLV_ACC_VAR ? at.second : at.first;
    k = map[k];
    if (k >= 0) a[at] = value;
  }
  m.a = a;
  if (accmode == ZLV_ACC_CON) {
    take_out(m.con, gone);
    take_out(m.qcon, gone);
    take_out(m.names[ZLV_PI_CON], gone);
    return;
  }
  take_out(m.var, gone);
  take_out(m.c, gone);
  take_out(m.type, gone);
  take_out(m.names[ZLV_PI_VAR], gone);
  const auto renumber = [&](std::vector<term>& q) {
    std::erase_if(q, [&](const term& t) { return gone[std::get<0>(t)] || gone[std::get<1>(t)]; });
    for (auto& [i, j, value] : q) i = map[i], j = map[j];
  };
  renumber(m.qobj);
  for (auto& q : m.qcon) renumber(q);
  for (auto& k : m.cones) {
    for (int32_t& j : k.sub) j = map[j];
  }
}

// ---- Comparison

inline void same_bounds(ZLV_task_t task, int32_t accmode, const std::vector<bound>& want) {
  std::vector<int32_t> bk(want.size());
  std::vector<double> bl(want.size()), bu(want.size());
  ASSERT_EQ(
      ZLV_getboundslice(task, accmode, 0, int32_t(want.size()), bk.data(), bl.data(), bu.data()),
      0);
  for (size_t i = 0; i < want.size(); ++i) {
    ASSERT_TRUE((bound{bk[i], bl[i], bu[i]} == want[i])) << accmode << " " << i;
  }
}

inline void same_vectors(ZLV_task_t task, int32_t accmode, const model& m) {
  const bool isvar = accmode == ZLV_ACC_VAR;
  const auto num = int32_t(isvar ? m.var.size() : m.con.size());
  for (int32_t k = 0; k < num; ++k) {
    int32_t nz = -1;
    ASSERT_EQ(ZLV_getavecnumnz(task, accmode, k, &nz), 0);
    std::vector<int32_t> sub(nz);
    std::vector<double> val(nz);
    ASSERT_EQ(ZLV_getavec(task, accmode, k, &nz, sub.data(), val.data()), 0);
    std::map<std::pair<int32_t, int32_t>, double> got, want;
    for (int32_t p = 0; p < nz; ++p) {
      got[isvar ? std::pair{sub[p], k} : std::pair{k, sub[p]}] = val[p];
    }
    for (const auto& [at, value] : m.a) {
      if ((isvar ? at.second : at.first) == k) want[at] = value;
    }
    ASSERT_EQ(size_t(nz), got.size());
    ASSERT_EQ(got, want) << accmode << " " << k;
  }
}

inline void same_slices(ZLV_task_t task, int32_t accmode, const model& m) {
  const bool isvar = accmode == ZLV_ACC_VAR;
  const auto num = int32_t(isvar ? m.var.size() : m.con.size());
  const int32_t first = num / 3;
  const int32_t last = num - num / 4;
  std::map<std::pair<int32_t, int32_t>, double> want, got, trip;
  for (const auto& [at, value] : m.a) {
    const int32_t k = isvar ? at.second : at.first;
    if (k >= first && k < last) want[at] = value;
  }
  int32_t nz = -1;
  ASSERT_EQ(ZLV_getaslicenumnz(task, accmode, first, last, &nz), 0);
  ASSERT_EQ(size_t(nz), want.size());
  std::vector<int32_t> ptrb(num), ptre(num), sub(nz), subi(nz), subj(nz);
  std::vector<double> val(nz), tval(nz);
  ASSERT_EQ(ZLV_getaslice(task, accmode, first, last, nz, ptrb.data(), ptre.data(), sub.data(),
                          val.data()),
            0);
  ASSERT_EQ(
      ZLV_getaslicetrip(task, accmode, first, last, nz, subi.data(), subj.data(), tval.data()), 0);
  for (int32_t k = first; k < last; ++k) {
    for (int32_t p = ptrb[k - first]; p < ptre[k - first]; ++p) {
      got[isvar ? std::pair{sub[p], k} : std::pair{k, sub[p]}] = val[p];
    }
  }
  for (int32_t p = 0; p < nz; ++p) trip[{subi[p], subj[p]}] = tval[p];
  ASSERT_EQ(got, want);
  ASSERT_EQ(trip, want);
}

inline void same_matrix(ZLV_task_t task, const model& m) {
  int32_t num = -1;
  ASSERT_EQ(ZLV_getnumanz(task, &num), 0);
  ASSERT_EQ(size_t(num), m.a.size());
  const auto numcon = int32_t(m.con.size());
  const auto numvar = int32_t(m.var.size());
  int32_t piece = 0;
  for (const auto& [at, value] : m.a) piece += at.first >= numcon / 2 && at.second < numvar / 2;
  ASSERT_EQ(ZLV_getapiecenumnz(task, numcon / 2, numcon, 0, numvar / 2, &num), 0);
  ASSERT_EQ(num, piece);
  for (int32_t i = 0; i < numcon; ++i) {
    for (int32_t j = 0; j < numvar; ++j) {
      double aij = -1;
      ASSERT_EQ(ZLV_getaij(task, i, j, &aij), 0);
      ASSERT_EQ(aij, m.a.contains({i, j}) ? m.a.at({i, j}) : 0.0);
    }
  }
  // Asking for one orientation only, as tests without this line would, hides a stale other one.
  for (const int32_t accmode : {ZLV_ACC_VAR, ZLV_ACC_CON}) {
    same_slices(task, accmode, m);
    if (!testing::Test::HasFatalFailure()) same_vectors(task, accmode, m);
  }
}

inline void same_terms(ZLV_task_t task, const model& m) {
  const auto get = [&](int32_t k) {
    int32_t num = -1;
    EXPECT_EQ(k < 0 ? ZLV_getqobj(task, &num, nullptr, nullptr, nullptr)
                    : ZLV_getqconk(task, k, &num, nullptr, nullptr, nullptr),
              0);
    std::vector<int32_t> subi(num), subj(num);
    std::vector<double> val(num);
    EXPECT_EQ(k < 0 ? ZLV_getqobj(task, &num, subi.data(), subj.data(), val.data())
                    : ZLV_getqconk(task, k, &num, subi.data(), subj.data(), val.data()),
              0);
    std::vector<term> got;
    for (int32_t p = 0; p < num; ++p) got.emplace_back(subi[p], subj[p], val[p]);
    return got;
  };
  ASSERT_EQ(get(-1), m.qobj);
  for (size_t k = 0; k < m.qcon.size(); ++k) ASSERT_EQ(get(int32_t(k)), m.qcon[k]) << k;
  const auto numvar = int32_t(m.var.size());
  for (int32_t i = 0; i < numvar; ++i) {
    const int32_t j = (i * 7 + 3) % numvar;
    double want = 0, got = -1, turned = -1;
    for (const auto& [ti, tj, value] : m.qobj) {
      if (std::minmax(ti, tj) == std::minmax(i, j)) want += value;
    }
    ASSERT_EQ(ZLV_getqobjij(task, i, j, &got), 0);
    ASSERT_EQ(ZLV_getqobjij(task, j, i, &turned), 0);
    ASSERT_EQ(got, want);
    ASSERT_EQ(turned, want);
  }
}

inline void same_cones(ZLV_task_t task, const model& m) {
  int32_t num = -1;
  ASSERT_EQ(ZLV_getnumcone(task, &num), 0);
  ASSERT_EQ(size_t(num), m.cones.size());
  for (int32_t k = 0; k < num; ++k) {
    int32_t type = -1, nummem = -1;
    double par = -1;
    ASSERT_EQ(ZLV_getnumconemem(task, k, &nummem), 0);
    std::vector<int32_t> sub(nummem);
    ASSERT_EQ(ZLV_getcone(task, k, &type, &par, &nummem, sub.data()), 0);
    ASSERT_EQ(type, m.cones[k].type);
    ASSERT_EQ(par, m.cones[k].par);
    ASSERT_EQ(sub, m.cones[k].sub);
  }
}

inline void same_names(ZLV_task_t task, const model& m) {
  size_t longest = 0;
  for (int32_t kind = 0; kind < 3; ++kind) {
    for (size_t i = 0; i < m.names[kind].size(); ++i) {
      char name[64];
      int32_t len = -1, asgn = -1, index = -2;
      ASSERT_EQ(ZLV_getname(task, kind, int32_t(i), sizeof name, &len, name), 0);
      ASSERT_EQ(name, m.names[kind][i]);
      ASSERT_EQ(size_t(len), m.names[kind][i].size());
      longest = std::max(longest, m.names[kind][i].size());
      if (len == 0) continue;
      ASSERT_EQ(ZLV_getnameindex(task, kind, name, &asgn, &index), 0);
      ASSERT_EQ(asgn, 1);
      ASSERT_EQ(index, int32_t(i));
    }
  }
  int32_t maxlen = -1;
  ASSERT_EQ(ZLV_getmaxnamelen(task, &maxlen), 0);
  ASSERT_EQ(size_t(maxlen), longest);
}

inline void same_columns(ZLV_task_t task, const model& m) {
  int32_t num = -1;
  std::vector<double> c(m.c.size() + 1);
  double cfix = -1;
  ASSERT_EQ(ZLV_getc(task, c.data()), 0);
  c.pop_back();
  ASSERT_EQ(c, m.c);
  ASSERT_EQ(ZLV_getcfix(task, &cfix), 0);
  ASSERT_EQ(cfix, m.cfix);
  for (size_t j = 0; j < m.type.size(); ++j) {
    ASSERT_EQ(ZLV_getvartype(task, int32_t(j), &num), 0);
    ASSERT_EQ(num, m.type[j]);
  }
  ASSERT_EQ(ZLV_getnumintvar(task, &num), 0);
  ASSERT_EQ(num, std::count(m.type.begin(), m.type.end(), 1));
}

inline void same_type(ZLV_task_t task, const model& m) {
  const bool hasqcon =
      std::any_of(m.qcon.begin(), m.qcon.end(), [](auto& q) { return !q.empty(); });
  const bool hasq = hasqcon || !m.qobj.empty();
  int32_t want = hasqcon ? ZLV_PROBTYPE_QCQO : hasq ? ZLV_PROBTYPE_QO : ZLV_PROBTYPE_LO;
  if (!m.cones.empty()) want = hasq ? ZLV_PROBTYPE_MIXED : ZLV_PROBTYPE_CONIC;
  int32_t type = -1;
  ASSERT_EQ(ZLV_getprobtype(task, &type), 0);
  ASSERT_EQ(type, want);
}

inline void same_problem(ZLV_task_t task, const model& m) {
  int32_t num = -1;
  ASSERT_EQ(ZLV_getnumvar(task, &num), 0);
  ASSERT_EQ(size_t(num), m.var.size());
  ASSERT_EQ(ZLV_getnumcon(task, &num), 0);
  ASSERT_EQ(size_t(num), m.con.size());
  for (auto* same : {same_columns, same_matrix, same_terms, same_cones, same_names, same_type}) {
    same(task, m);
    if (testing::Test::HasFatalFailure()) return;
  }
  same_bounds(task, ZLV_ACC_VAR, m.var);
  same_bounds(task, ZLV_ACC_CON, m.con);
}

}  // namespace data_model
