// Random edits of a task against a plain model of the problem: after each one every getter agrees.
#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <set>

#include "api/data_model.h"
#include "support/api_box.h"

namespace {

using namespace data_model;

struct editor {
  api_box box;
  model m;
  std::mt19937 rng;
  std::string what;  // the last edit
  explicit editor(uint32_t seed) : rng(seed) {}

  int32_t below(int32_t n) { return int32_t(rng() % uint32_t(n)); }
  int32_t numvar() const { return int32_t(m.var.size()); }
  int32_t numcon() const { return int32_t(m.con.size()); }
  int32_t count(int32_t accmode) const { return accmode == ZLV_ACC_VAR ? numvar() : numcon(); }
  double value() { return (below(2) == 0 ? -1 : 1) * double(1 + below(1000)) / 8; }
  double maybe_zero() { return below(8) == 0 ? 0.0 : below(8) == 0 ? 1e-13 : value(); }

  std::vector<int32_t> some(int32_t n, int32_t num) {  // num different numbers below n
    std::vector<int32_t> all(n);
    std::iota(all.begin(), all.end(), 0);
    std::shuffle(all.begin(), all.end(), rng);
    all.resize(std::min(num, n));
    return all;
  }
};

constexpr int32_t maxitems = 14;

bound random_bound(editor& e, bound& given) {  // what is stored for it
  const int32_t key = e.below(5);
  const double lower = e.below(5) == 0 ? -1e17 : e.value();
  const double upper = e.below(5) == 0 ? 1e17 : std::abs(lower) + double(1 + e.below(4));
  given = {key, lower, upper};
  const bool haslower = (key == ZLV_BK_LO || key == ZLV_BK_RA) && lower > -1e16;
  const bool hasupper = (key == ZLV_BK_UP || key == ZLV_BK_RA) && upper < 1e16;
  if (key == ZLV_BK_FX) {
    if (lower > -1e16) return {ZLV_BK_FX, lower, lower};
    return {ZLV_BK_UP, -infinite, lower};
  }
  if (haslower && hasupper) return {ZLV_BK_RA, lower, upper};
  if (haslower) return {ZLV_BK_LO, lower, infinite};
  if (hasupper) return {ZLV_BK_UP, -infinite, upper};
  return {ZLV_BK_FR, -infinite, infinite};
}

int32_t edit_append(editor& e) {
  const int32_t accmode = e.below(2);
  const int32_t num = e.below(4);
  if (e.count(accmode) + num > maxitems) return 0;
  append(e.m, accmode, num);
  return ZLV_append(e.box.task, accmode, num);
}

int32_t edit_appenddata(editor& e) {
  const int32_t accmode = e.below(2);
  const bool isvar = accmode == ZLV_ACC_VAR;
  const int32_t first = e.count(accmode);
  const int32_t num = 1 + e.below(3);
  if (first + num > maxitems) return 0;
  append(e.m, accmode, num);
  std::vector<int32_t> ptrb, ptre, sub, bk;
  std::vector<double> val, bl, bu, c;
  for (int32_t k = first; k < first + num; ++k) {
    ptrb.push_back(int32_t(sub.size()));
    for (const int32_t s : e.some(e.count(1 - accmode), 4)) {
      sub.push_back(s);
      val.push_back(e.maybe_zero());
      if (std::abs(val.back()) > 1e-12)
        e.m.a[isvar ? std::pair{s, k} : std::pair{k, s}] = val.back();
    }
    ptre.push_back(int32_t(sub.size()));
    bound given{};
    (isvar ? e.m.var : e.m.con)[k] = random_bound(e, given);
    bk.push_back(given.key);
    bl.push_back(given.lower);
    bu.push_back(given.upper);
    c.push_back(e.value());
    if (isvar) e.m.c[k] = c.back();
  }
  if (isvar) {
    return ZLV_appendvars(e.box.task, num, c.data(), ptrb.data(), ptre.data(), sub.data(),
                          val.data(), bk.data(), bl.data(), bu.data());
  }
  return ZLV_appendcons(e.box.task, num, ptrb.data(), ptre.data(), sub.data(), val.data(),
                        bk.data(), bl.data(), bu.data());
}

int32_t edit_remove(editor& e) {
  const int32_t accmode = e.below(2);
  if (e.count(accmode) == 0) return 0;
  std::vector<int32_t> sub = e.some(e.count(accmode), 1 + e.below(3));
  std::set<int32_t> members;
  for (const auto& k : e.m.cones) members.insert(k.sub.begin(), k.sub.end());
  const auto ismember = [&](int32_t j) { return members.contains(j); };
  if (accmode == ZLV_ACC_VAR && std::any_of(sub.begin(), sub.end(), ismember)) {
    EXPECT_EQ(ZLV_remove(e.box.task, accmode, int32_t(sub.size()), sub.data()),
              ZLV_RES_ERR_REMOVE_CONE_VARIABLE);
    return 0;
  }
  std::vector<bool> gone(e.count(accmode));
  for (const int32_t k : sub) gone[k] = true;
  remove(e.m, accmode, gone);
  sub.push_back(sub[0]);  // a repeated number is no matter
  return ZLV_remove(e.box.task, accmode, int32_t(sub.size()), sub.data());
}

int32_t edit_bound(editor& e) {
  const int32_t accmode = e.below(2);
  if (e.count(accmode) == 0) return 0;
  const int32_t i = e.below(e.count(accmode));
  bound given{};
  (accmode == ZLV_ACC_VAR ? e.m.var : e.m.con)[i] = random_bound(e, given);
  return ZLV_putbound(e.box.task, accmode, i, given.key, given.lower, given.upper);
}

int32_t edit_cost(editor& e) {
  if (e.numvar() == 0) return 0;
  std::vector<double> val;
  const std::vector<int32_t> sub = e.some(e.numvar(), 3);
  for (const int32_t j : sub) val.push_back(e.m.c[j] = e.value());
  e.m.cfix = e.value();
  EXPECT_EQ(ZLV_putcfix(e.box.task, e.m.cfix), 0);
  return ZLV_putclist(e.box.task, int32_t(sub.size()), sub.data(), val.data());
}

void model_set(model& m, int32_t i, int32_t j, double value) {
  if (std::abs(value) > 1e-12) {
    m.a[{i, j}] = value;
  } else {
    m.a.erase({i, j});
  }
}

int32_t edit_element(editor& e) {
  if (e.numvar() == 0 || e.numcon() == 0) return 0;
  const int32_t i = e.below(e.numcon());
  const int32_t j = e.below(e.numvar());
  const double value = e.maybe_zero();
  model_set(e.m, i, j, value);
  return ZLV_putaij(e.box.task, i, j, value);
}

int32_t edit_elements(editor& e) {
  if (e.numvar() == 0 || e.numcon() == 0) return 0;
  std::vector<int32_t> subi, subj;
  std::vector<double> val;
  const int32_t stop = e.below(4) == 0 ? e.below(6) : -1;  // a bad element here
  for (const int32_t at : e.some(e.numvar() * e.numcon(), e.below(40))) {
    const bool isbad = int32_t(val.size()) == stop;
    subi.push_back(isbad && stop != 3 ? -1 : at / e.numvar());
    subj.push_back(at % e.numvar());
    val.push_back(e.maybe_zero());
    if (isbad && stop == 3) subi[3] = subi[0], subj[3] = subj[0];  // repeated
    if (stop < 0 || int32_t(val.size()) <= stop)
      model_set(e.m, subi.back(), subj.back(), val.back());
  }
  const int32_t r =
      ZLV_putaijlist(e.box.task, int32_t(val.size()), subi.data(), subj.data(), val.data());
  if (stop < 0 || int32_t(val.size()) <= stop) return r;
  EXPECT_EQ(r, stop == 3 ? ZLV_RES_ERR_MUL_A_ELEMENT : ZLV_RES_ERR_INDEX_ARR_IS_TOO_SMALL);
  return 0;
}

int32_t edit_vectors(editor& e) {
  const int32_t accmode = e.below(2);
  const bool isvar = accmode == ZLV_ACC_VAR;
  if (e.count(accmode) == 0) return 0;
  const std::vector<int32_t> which = e.some(e.count(accmode), 1 + e.below(3));
  std::vector<int32_t> ptrb, ptre, sub = {99};  // something before the first vector
  std::vector<double> val = {99};
  for (const int32_t k : which) {
    std::erase_if(e.m.a, [&](auto& x) { return (isvar ? x.first.second : x.first.first) == k; });
    ptrb.push_back(int32_t(sub.size()));
    for (const int32_t s : e.some(e.count(1 - accmode), e.below(8))) {
      sub.push_back(s);
      val.push_back(e.maybe_zero());
      model_set(e.m, isvar ? s : k, isvar ? k : s, val.back());
    }
    ptre.push_back(int32_t(sub.size()));
  }
  if (which.size() == 1) {
    return ZLV_putavec(e.box.task, accmode, which[0], ptre[0] - 1, sub.data() + 1, val.data() + 1);
  }
  return ZLV_putaveclist(e.box.task, accmode, int32_t(which.size()), which.data(), ptrb.data(),
                         ptre.data(), sub.data(), val.data());
}

struct terms {
  std::vector<int32_t> subk, subi, subj;
  std::vector<double> val;
};
terms random_terms(editor& e, int32_t num) {
  terms t;
  for (int32_t p = 0; p < num; ++p) {
    t.subk.push_back(e.numcon() > 0 ? e.below(e.numcon()) : 0);
    t.subi.push_back(e.below(e.numvar()));
    t.subj.push_back(e.below(e.numvar()));
    t.val.push_back(e.below(6) == 0 ? 1e-16 : e.value());
  }
  return t;
}
std::vector<term> kept(const terms& t) {
  std::vector<term> q;
  for (size_t p = 0; p < t.val.size(); ++p) {
    if (std::abs(t.val[p]) > 1e-16) q.emplace_back(t.subi[p], t.subj[p], t.val[p]);
  }
  return q;
}

int32_t edit_qobj(editor& e) {
  if (e.numvar() == 0) return 0;
  terms t = random_terms(e, e.below(9));
  const bool isbad = t.val.size() > 3 && e.below(3) == 0;
  if (isbad) t.subi[3] = -1;
  const int32_t r =
      ZLV_putqobj(e.box.task, int32_t(t.val.size()), t.subi.data(), t.subj.data(), t.val.data());
  if (isbad) t.val.resize(3);  // what came before stays
  e.m.qobj = kept(t);
  EXPECT_EQ(r, isbad ? ZLV_RES_ERR_INDEX_ARR_IS_TOO_SMALL : 0);
  return 0;
}

int32_t edit_qobjij(editor& e) {
  if (e.numvar() == 0) return 0;
  const int32_t i = e.below(e.numvar());
  const int32_t j = e.below(e.numvar());
  const double value = e.below(3) == 0 ? 0.0 : e.value();
  std::vector<term> q;
  bool isset = value == 0;
  for (auto [ti, tj, tv] : e.m.qobj) {
    const bool isthis = std::minmax(ti, tj) == std::minmax(i, j);
    if (!isthis) q.emplace_back(ti, tj, tv);
    if (isthis && !isset) q.emplace_back(ti, tj, value);
    isset = isset || isthis;
  }
  if (!isset) q.emplace_back(i, j, value);
  e.m.qobj = q;
  return ZLV_putqobjij(e.box.task, i, j, value);
}

int32_t edit_qcon(editor& e) {
  if (e.numvar() == 0 || e.numcon() == 0) return 0;
  const terms t = random_terms(e, e.below(9));
  const auto num = int32_t(t.val.size());
  if (e.below(3) > 0) {
    const int32_t k = e.below(e.numcon());
    e.m.qcon[k] = kept(t);
    return ZLV_putqconk(e.box.task, k, num, t.subi.data(), t.subj.data(), t.val.data());
  }
  for (auto& q : e.m.qcon) q.clear();
  for (int32_t p = 0; p < num; ++p) {
    if (t.val[p] != 1e-16) e.m.qcon[t.subk[p]].emplace_back(t.subi[p], t.subj[p], t.val[p]);
  }
  return ZLV_putqcon(e.box.task, num, t.subk.data(), t.subi.data(), t.subj.data(), t.val.data());
}

int32_t edit_cone(editor& e) {
  const auto numcone = int32_t(e.m.cones.size());
  if (numcone > 0 && e.below(3) == 0) {
    const int32_t k = e.below(numcone);
    e.m.cones.erase(e.m.cones.begin() + k);
    e.m.names[ZLV_PI_CONE].erase(e.m.names[ZLV_PI_CONE].begin() + k);
    return ZLV_removecone(e.box.task, k);
  }
  const int32_t k = e.below(numcone + 1);  // numcone: append
  std::set<int32_t> taken;
  for (int32_t other = 0; other < numcone; ++other) {
    if (other != k) taken.insert(e.m.cones[other].sub.begin(), e.m.cones[other].sub.end());
  }
  cone made = {e.below(2), e.value(), e.some(e.numvar(), 1 + e.below(4))};
  const auto istaken = [&](int32_t j) { return taken.contains(j); };
  int32_t want = 0;
  if (std::any_of(made.sub.begin(), made.sub.end(), istaken)) want = ZLV_RES_ERR_CONE_OVERLAP;
  if (int32_t(made.sub.size()) < 1 + made.type) want = ZLV_RES_ERR_CONE_SIZE;
  const auto num = int32_t(made.sub.size());
  const int32_t r = k == numcone
                        ? ZLV_appendcone(e.box.task, made.type, made.par, num, made.sub.data())
                        : ZLV_putcone(e.box.task, k, made.type, made.par, num, made.sub.data());
  EXPECT_EQ(r, want);
  if (want != 0) return 0;
  if (k < numcone) {
    e.m.cones[k] = made;
  } else {
    e.m.cones.push_back(made);
    e.m.names[ZLV_PI_CONE].emplace_back();
  }
  return 0;
}

int32_t edit_type(editor& e) {
  if (e.numvar() == 0) return 0;
  const int32_t j = e.below(e.numvar());
  e.m.type[j] = e.below(2);
  return ZLV_putvartype(e.box.task, j, e.m.type[j]);
}

int32_t edit_name(editor& e) {
  const int32_t kind = e.below(3);
  std::vector<std::string>& names = e.m.names[kind];
  if (names.empty()) return 0;
  const int32_t i = e.below(int32_t(names.size()));
  std::string name(size_t(e.below(12)), 'x');
  name += std::to_string(e.below(20));
  const auto owner = std::find(names.begin(), names.end(), name);
  const bool isdup = owner != names.end() && owner - names.begin() != i;
  if (!isdup) names[i] = name;
  EXPECT_EQ(ZLV_putname(e.box.task, kind, i, name.c_str()), isdup ? ZLV_RES_ERR_DUP_NAME : 0);
  return 0;
}

int32_t edit_capacity(editor& e) {
  int32_t numanz = 0;
  EXPECT_EQ(ZLV_getnumanz(e.box.task, &numanz), 0);
  const int32_t more = e.below(4);
  switch (e.below(5)) {
    case 0:
      return ZLV_putmaxnumvar(e.box.task, e.numvar() + more);
    case 1:
      return ZLV_putmaxnumcon(e.box.task, e.numcon() + more);
    case 2:
      return ZLV_putmaxnumcone(e.box.task, int32_t(e.m.cones.size()) + more);
    case 3:
      return ZLV_putmaxnumanz(e.box.task, numanz + more);
    default: {
      size_t used = e.m.qobj.size();
      for (const auto& q : e.m.qcon) used += q.size();
      return ZLV_putmaxnumqnz(e.box.task, int32_t(used) + more);
    }
  }
}

struct edit {
  const char* name;
  int32_t (*make)(editor&);
};
constexpr edit edits[] = {{"append", edit_append},     {"appenddata", edit_appenddata},
                          {"remove", edit_remove},     {"bound", edit_bound},
                          {"cost", edit_cost},         {"element", edit_element},
                          {"elements", edit_elements}, {"vectors", edit_vectors},
                          {"qobj", edit_qobj},         {"qobjij", edit_qobjij},
                          {"qcon", edit_qcon},         {"cone", edit_cone},
                          {"type", edit_type},         {"name", edit_name},
                          {"capacity", edit_capacity}};

class DataEdits : public testing::TestWithParam<uint32_t> {};

TEST_P(DataEdits, AgreeWithAPlainModel) {
  editor e(GetParam());
  ASSERT_EQ(e.box.made, 0);
  const int32_t every = GetParam() % 3 == 0 ? 7 : 1;  // getters make the other orientation of A
  for (int32_t step = 0; step < 400; ++step) {
    const edit& todo = edits[size_t(e.below(int32_t(std::size(edits))))];
    ASSERT_EQ(todo.make(e), 0) << todo.name << " " << step << " " << e.box.err();
    if (step % every == 0) same_problem(e.box.task, e.m);
    ASSERT_FALSE(HasFailure()) << todo.name << " in step " << step;
  }
  same_problem(e.box.task, e.m);
  EXPECT_EQ(e.box.close(), 0);
}

// A task and its clone, edited apart: neither sees what happens to the other.
TEST_P(DataEdits, OfACloneLeaveTheOriginal) {
  editor one(GetParam() + 100), two(GetParam() + 200);
  const auto step = [](editor& e) {
    const edit& todo = edits[size_t(e.below(int32_t(std::size(edits))))];
    ASSERT_EQ(todo.make(e), 0) << todo.name << " " << e.box.err();
  };
  for (int32_t k = 0; k < 80; ++k) step(one);
  const std::vector<double> point(size_t(maxitems), 1.5);
  ASSERT_EQ(ZLV_putsolution(one.box.task, ZLV_SOL_BAS, nullptr, nullptr, nullptr, nullptr,
                            point.data(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  ASSERT_EQ(ZLV_putintparam(one.box.task, ZLV_IPAR_INTPNT_MAX_ITERATIONS, 7), 0);
  ASSERT_EQ(ZLV_putstrparam(one.box.task, ZLV_SPAR_DATA_FILE_NAME, "one"), 0);
  // The clone takes the place of the second editor's own task, with a copy of the model.
  ASSERT_EQ(ZLV_deletetask(&two.box.task), 0);
  ASSERT_EQ(ZLV_clonetask(one.box.task, &two.box.task), 0);
  two.m = one.m;
  same_problem(two.box.task, two.m);
  const auto first_value = [](ZLV_task_t task) {
    double x = -1;
    EXPECT_EQ(
        ZLV_getsolutioni(task, ZLV_ACC_VAR, 0, ZLV_SOL_BAS, nullptr, &x, nullptr, nullptr, nullptr),
        0);
    return x;
  };
  const bool hasvar = one.numvar() > 0;
  if (hasvar) {
    EXPECT_EQ(first_value(two.box.task), 1.5);
    ASSERT_EQ(ZLV_putsolutioni(two.box.task, ZLV_ACC_VAR, 0, ZLV_SOL_BAS, ZLV_SK_BAS, 4, 0, 0, 0),
              0);
    EXPECT_EQ(first_value(one.box.task), 1.5);
    EXPECT_EQ(first_value(two.box.task), 4);
  }
  int32_t most = -1;
  char text[16];
  EXPECT_EQ(ZLV_getintparam(two.box.task, ZLV_IPAR_INTPNT_MAX_ITERATIONS, &most), 0);
  EXPECT_EQ(most, 7);
  ASSERT_EQ(ZLV_putintparam(two.box.task, ZLV_IPAR_INTPNT_MAX_ITERATIONS, 3), 0);
  ASSERT_EQ(ZLV_putstrparam(two.box.task, ZLV_SPAR_DATA_FILE_NAME, "two"), 0);
  for (int32_t k = 0; k < 150; ++k) {
    step(k % 2 == 0 ? one : two);
    same_problem(one.box.task, one.m);
    same_problem(two.box.task, two.m);
    ASSERT_FALSE(HasFailure()) << k;
  }
  EXPECT_EQ(ZLV_getintparam(one.box.task, ZLV_IPAR_INTPNT_MAX_ITERATIONS, &most), 0);
  EXPECT_EQ(most, 7);
  EXPECT_EQ(ZLV_getstrparam(one.box.task, ZLV_SPAR_DATA_FILE_NAME, 16, nullptr, text), 0);
  EXPECT_STREQ(text, "one");
  EXPECT_EQ(ZLV_deletetask(&one.box.task), 0);
  same_problem(two.box.task, two.m);
  EXPECT_EQ(two.box.close(), 0);
  EXPECT_EQ(one.box.close(), 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, DataEdits, testing::Range(1U, 13U));

}  // namespace
