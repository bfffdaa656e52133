#include "compare.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

constexpr int64_t mosttold = 20;

std::string number(double value) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

// Control characters of a name become question marks.
std::string shown(std::string name) {
  for (char& c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) c = '?';
  }
  name.insert(name.begin(), '\'');
  name += '\'';
  return name;
}

struct cmp_report {
  std::ostream* out;
  int64_t num = 0;
  void tell(const std::string& what) {
    if (++num <= mosttold && out != nullptr) *out << what << '\n';
  }
  void tell(const std::string& what, const std::string& a, const std::string& b) {
    if (a != b) tell(what + ": " + a + " and " + b);
  }
};

using cmp_terms = std::map<std::pair<int32_t, int32_t>, double>;

// Items of one kind: the names of both tasks, and for each item of a the one of b, or -1.
struct cmp_pairs {
  std::vector<std::string> namea, nameb;
  std::vector<int32_t> tob, toa;
};

struct cmp_state {
  ZLV_task_t a, b;
  cmp_report report;
  cmp_pairs var{}, con{};
  bool isreordered = false;
};

std::vector<std::string> names_of(ZLV_task_t task, int32_t item, int32_t num) {
  std::vector<std::string> names(static_cast<size_t>(num));
  for (int32_t i = 0; i < num; ++i) {
    int32_t len = 0;
    ZLV_getname(task, item, i, 0, &len, nullptr);
    std::vector<char> text(size_t(len) + 1);
    ZLV_getname(task, item, i, len + 1, &len, text.data());
    names[size_t(i)] = text.data();
  }
  return names;
}

cmp_pairs pair_items(cmp_state& s, int32_t item, int32_t numa, int32_t numb, const char* word) {
  cmp_pairs p;
  p.namea = names_of(s.a, item, numa);
  p.nameb = names_of(s.b, item, numb);
  p.tob.assign(size_t(numa), -1);
  p.toa.assign(size_t(numb), -1);
  std::unordered_map<std::string, int32_t> where;
  for (int32_t j = 0; j < numb; ++j) {
    if (!p.nameb[size_t(j)].empty()) where[p.nameb[size_t(j)]] = j;
  }
  for (int32_t i = 0; i < numa; ++i) {
    const std::string& name = p.namea[size_t(i)];
    const auto found = where.find(name);
    int32_t j = found == where.end() ? -1 : found->second;
    if (name.empty() && i < numb && p.nameb[size_t(i)].empty()) j = i;
    if (j >= 0) {
      p.tob[size_t(i)] = j;
      p.toa[size_t(j)] = i;
      s.isreordered = s.isreordered || i != j;
    } else {
      s.report.tell(std::string("only the first has the ") + word + " " + shown(name));
    }
  }
  for (int32_t j = 0; j < numb; ++j) {
    if (p.toa[size_t(j)] >= 0) continue;
    s.report.tell(std::string("only the second has the ") + word + " " + shown(p.nameb[size_t(j)]));
  }
  return p;
}

std::string bound_text(ZLV_task_t task, int32_t acc, int32_t i) {
  int32_t key = 0;
  double lower = 0, upper = 0;
  ZLV_getbound(task, acc, i, &key, &lower, &upper);
  const bool haslower = key != ZLV_BK_UP && key != ZLV_BK_FR;
  const bool hasupper = key != ZLV_BK_LO && key != ZLV_BK_FR;
  std::string text(1, '[');
  text += haslower ? number(lower) : "-inf";
  text += ", ";
  text += hasupper ? number(upper) : "inf";
  text += ']';
  return text;
}

// Two sets of terms, with what of names each stands for. Terms that only one has are 0 in the other.
void compare_terms(cmp_state& s, const std::string& where, const cmp_terms& a, const cmp_terms& b) {
  const auto value = [](const cmp_terms& terms, const std::pair<int32_t, int32_t>& key) {
    const auto found = terms.find(key);
    return found == terms.end() ? 0.0 : found->second;
  };
  const auto tell = [&](const std::pair<int32_t, int32_t>& key) {
    std::string what = where + ", coefficient of " + shown(s.var.namea[size_t(key.first)]);
    if (key.second >= 0) what += " * " + shown(s.var.namea[size_t(key.second)]);
    s.report.tell(what, number(value(a, key)), number(value(b, key)));
  };
  for (const auto& [key, unused] : a) {
    if (value(a, key) != value(b, key)) tell(key);
  }
  for (const auto& [key, unused] : b) {
    if (a.find(key) == a.end() && value(b, key) != 0) tell(key);
  }
}

// The terms of a row in variables of the first task; number -1 for a single variable. Variables that
// only the second has are told elsewhere.
cmp_terms row_terms(ZLV_task_t task, int32_t i, const std::vector<int32_t>* toa) {
  int32_t num = 0;
  ZLV_getavecnumnz(task, ZLV_ACC_CON, i, &num);
  std::vector<int32_t> sub(size_t(num) + 1);
  std::vector<double> val(size_t(num) + 1);
  ZLV_getavec(task, ZLV_ACC_CON, i, &num, sub.data(), val.data());
  cmp_terms terms;
  for (int32_t k = 0; k < num; ++k) {
    const int32_t j = toa == nullptr ? sub[size_t(k)] : (*toa)[size_t(sub[size_t(k)])];
    if (j >= 0) terms[{j, -1}] = val[size_t(k)];
  }
  return terms;
}

// The quadratic terms of a row, or of the objective when i is negative.
cmp_terms quad_terms(ZLV_task_t task, int32_t i, const std::vector<int32_t>* toa) {
  int32_t num = 0;
  if (i < 0) {
    ZLV_getnumqobjnz(task, &num);
  } else {
    ZLV_getnumqconknz(task, i, &num);
  }
  cmp_terms terms;
  if (num == 0) return terms;
  std::vector<int32_t> subi(size_t(num), 0), subj(size_t(num), 0);
  std::vector<double> val(size_t(num), 0);
  if (i < 0) {
    ZLV_getqobj(task, &num, subi.data(), subj.data(), val.data());
  } else {
    ZLV_getqconk(task, i, &num, subi.data(), subj.data(), val.data());
  }
  for (size_t k = 0; k < size_t(num); ++k) {
    const int32_t p = toa == nullptr ? subi[k] : (*toa)[size_t(subi[k])];
    const int32_t q = toa == nullptr ? subj[k] : (*toa)[size_t(subj[k])];
    if (p >= 0 && q >= 0) terms[std::minmax(p, q)] += val[k];
  }
  return terms;
}

void compare_variables(cmp_state& s) {
  for (size_t i = 0; i < s.var.tob.size(); ++i) {
    const int32_t j = s.var.tob[i];
    if (j < 0) continue;
    const std::string where = "variable " + shown(s.var.namea[i]);
    double ca = 0, cb = 0;
    int32_t typea = 0, typeb = 0;
    ZLV_getcslice(s.a, int32_t(i), int32_t(i) + 1, &ca);
    ZLV_getcslice(s.b, j, j + 1, &cb);
    ZLV_getvartype(s.a, int32_t(i), &typea);
    ZLV_getvartype(s.b, j, &typeb);
    if (ca != cb) s.report.tell(where + ", cost: " + number(ca) + " and " + number(cb));
    s.report.tell(where + ", bounds", bound_text(s.a, ZLV_ACC_VAR, int32_t(i)),
                  bound_text(s.b, ZLV_ACC_VAR, j));
    s.report.tell(where, typea == ZLV_VAR_TYPE_INT ? "integer" : "continuous",
                  typeb == ZLV_VAR_TYPE_INT ? "integer" : "continuous");
  }
  compare_terms(s, "objective", quad_terms(s.a, -1, nullptr), quad_terms(s.b, -1, &s.var.toa));
}

void compare_constraints(cmp_state& s) {
  for (size_t i = 0; i < s.con.tob.size(); ++i) {
    const int32_t j = s.con.tob[i];
    if (j < 0) continue;
    const std::string where = "constraint " + shown(s.con.namea[i]);
    s.report.tell(where + ", bounds", bound_text(s.a, ZLV_ACC_CON, int32_t(i)),
                  bound_text(s.b, ZLV_ACC_CON, j));
    compare_terms(s, where, row_terms(s.a, int32_t(i), nullptr), row_terms(s.b, j, &s.var.toa));
    compare_terms(s, where, quad_terms(s.a, int32_t(i), nullptr), quad_terms(s.b, j, &s.var.toa));
  }
}

// A cone as text, its members in names.
std::string cone_text(ZLV_task_t task, int32_t k, const std::vector<std::string>& names) {
  int32_t type = 0, num = 0;
  double par = 0;
  ZLV_getnumconemem(task, k, &num);
  std::vector<int32_t> members(size_t(num) + 1);
  ZLV_getcone(task, k, &type, &par, &num, members.data());
  std::string text = type == ZLV_CT_QUAD ? "quad" : "rquad";
  if (par != 0) text.append(" ").append(number(par));
  for (size_t m = 0; m < size_t(num); ++m) {
    text.append(" ").append(shown(names[size_t(members[m])]));
  }
  return text;
}

void compare_cones(cmp_state& s) {
  int32_t numa = 0, numb = 0;
  ZLV_getnumcone(s.a, &numa);
  ZLV_getnumcone(s.b, &numb);
  const cmp_pairs pairs = pair_items(s, ZLV_PI_CONE, numa, numb, "cone");
  for (int32_t k = 0; k < numa; ++k) {
    if (pairs.tob[size_t(k)] < 0) continue;
    s.report.tell("cone " + shown(pairs.namea[size_t(k)]), cone_text(s.a, k, s.var.namea),
                  cone_text(s.b, pairs.tob[size_t(k)], s.var.nameb));
  }
}

void compare_heads(cmp_state& s) {
  int32_t sensea = 0, senseb = 0;
  double cfixa = 0, cfixb = 0;
  ZLV_getintparam(s.a, ZLV_IPAR_OBJECTIVE_SENSE, &sensea);
  ZLV_getintparam(s.b, ZLV_IPAR_OBJECTIVE_SENSE, &senseb);
  ZLV_getcfix(s.a, &cfixa);
  ZLV_getcfix(s.b, &cfixb);
  const auto text = [](int32_t sense) {
    return sense == ZLV_OBJECTIVE_SENSE_MAX ? "maximize" : "minimize";
  };
  s.report.tell("objective sense", text(sensea), text(senseb));
  if (cfixa != cfixb) s.report.tell("objective constant", number(cfixa), number(cfixb));
}

}  // namespace

int64_t app_compare(ZLV_task_t a, ZLV_task_t b, std::ostream* out) {
  cmp_state s{a, b, {out}};
  int32_t numvara = 0, numvarb = 0, numcona = 0, numconb = 0;
  ZLV_getnumvar(a, &numvara);
  ZLV_getnumvar(b, &numvarb);
  ZLV_getnumcon(a, &numcona);
  ZLV_getnumcon(b, &numconb);
  compare_heads(s);
  s.var = pair_items(s, ZLV_PI_VAR, numvara, numvarb, "variable");
  s.con = pair_items(s, ZLV_PI_CON, numcona, numconb, "constraint");
  compare_variables(s);
  compare_constraints(s);
  compare_cones(s);
  if (out == nullptr) return s.report.num;
  if (s.report.num > mosttold) *out << "... and " << s.report.num - mosttold << " more\n";
  if (s.report.num > 0) {
    *out << "The problems differ in " << s.report.num
         << (s.report.num == 1 ? " place.\n" : " places.\n");
  } else {
    *out << "The problems are the same"
         << (s.isreordered ? ", but for the order of their items.\n" : ".\n");
  }
  return s.report.num;
}
