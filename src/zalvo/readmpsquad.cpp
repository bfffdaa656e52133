// Quadratic and cone sections of an MPS file.
//
// A problem has 1/2 x'Qx in its objective and constraints and stores the lower triangle of Q.
//   QUADOBJ, QSECTION   one triangle of Q, either one: each off-diagonal pair once
//   QMATRIX             both triangles of the Q of the objective
//   QCMATRIX            both triangles of a matrix M of a constraint that has x'Mx: Q = 2M
// ZLV_IPAR_READ_Q_MODE tells what becomes of a section of the first kind that has both triangles:
// all terms are added up, or those of one triangle are dropped.
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "zalvo/readmps.h"

namespace {

using enum rescode;

// Adds up equal terms; tells when a pair was given in both orders. order: scratch.
void merge_terms(mps_reader& rd) {
  mps_qterms& q = rd.q;
  const size_t num = q.val.size();
  const auto fold = [&](size_t t) {
    return std::array<int32_t, 3>{q.subk[t], std::max(q.subi[t], q.subj[t]),
                                  std::min(q.subi[t], q.subj[t])};
  };
  mm_vector<size_t> order(num, 0, prob_place(rd.p));
  for (size_t t = 0; t < num; ++t) order[t] = t;
  if (!std::is_sorted(order.begin(), order.end(),
                      [&](size_t a, size_t b) { return fold(a) < fold(b); })) {
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
      const auto fa = fold(a), fb = fold(b);
      return fa != fb ? fa < fb : a < b;
    });
  }
  mps_qterms merged(prob_place(rd.p));
  merged.subk.reserve(num);
  merged.subi.reserve(num);
  merged.subj.reserve(num);
  merged.val.reserve(num);
  for (size_t t = 0; t < num; ++t) {
    const auto [k, i, j] = fold(order[t]);
    if (t > 0 && fold(order[t - 1]) == std::array<int32_t, 3>{k, i, j}) {
      merged.val.back() += q.val[order[t]];
      if (q.isfull[order[t]] == 0) {
        mps_notetaken(rd, mps_note::mirrored_q, prob_name(rd.p, ZLV_PI_VAR, i));
      }
      continue;
    }
    merged.subk.push_back(k);
    merged.subi.push_back(i);
    merged.subj.push_back(j);
    merged.val.push_back(q.val[order[t]]);
  }
  rd.q = std::move(merged);
}

rescode quad_entry(mps_reader& rd, int32_t i, const mps_pair& pair, int32_t pos) {
  double value = 0;
  if (!mps_number(pair.value, value)) {
    return mps_badfield(rd, 4 + 2 * pos, pair.value, "A finite number is expected.");
  }
  const int32_t j = mps_findcol(rd, pair.name);
  if (j < 0) return mps_badcolumn(rd, pair.name);
  if (rd.qrow == mps_ignoredrow) return ok;
  if (rd.isfull) {
    value *= i == j ? rd.qfactor : rd.qfactor / 2;  // the other half comes with (j, i)
  } else if ((rd.set.qmode == ZLV_Q_READ_DROP_LOWER && i > j) ||
             (rd.set.qmode == ZLV_Q_READ_DROP_UPPER && i < j)) {
    return ok;
  }
  rd.q.subk.push_back(rd.qrow);
  rd.q.subi.push_back(i);
  rd.q.subj.push_back(j);
  rd.q.val.push_back(value);
  rd.q.isfull.push_back(uint8_t(rd.isfull));
  return ok;
}

rescode close_objective(mps_reader& rd, std::string_view token) {
  rd.qrow = prob_obj;
  if (rd.hasqobj) return mps_fail(rd, token, "It was given before.", err_mps_mul_qobj);
  rd.hasqobj = true;
  return ok;
}

}  // namespace

rescode mps_quadhead(mps_reader& rd, std::string_view rest) {
  rd.isfull = rd.sec == mps_sec::qmatrix || rd.sec == mps_sec::qcmatrix;
  rd.qfactor = rd.sec == mps_sec::qcmatrix ? 2 : 1;
  if (rd.sec == mps_sec::quadobj || rd.sec == mps_sec::qmatrix) return close_objective(rd, rest);
  if (rest.size() > 1 && rd.set.isquoted && rest.front() == '"' && rest.back() == '"') {
    rest = rest.substr(1, rest.size() - 2);
  }
  if (rest.empty()) {
    return mps_fail(rd, rest, "The name of a constraint or of the objective is expected.",
                    err_mps_null_con_name);
  }
  const int32_t i = mps_findrow(rd, rest);
  if (i == mps_norow) return mps_badrow(rd, rest);
  if (i == mps_objrow) {
    if (rd.isfull) {
      return mps_fail(rd, rest, "The name of a constraint is expected.", err_mps_undef_con_name,
                      io_printable(rest).text);
    }
    return close_objective(rd, rest);
  }
  rd.qrow = i;
  if (i == mps_ignoredrow) return ok;
  if (rd.hasq[i] != 0) {
    return mps_fail(rd, rest, "It was given before.", err_mps_mul_qsec, io_printable(rest).text);
  }
  rd.hasq[i] = 1;
  return ok;
}

rescode mps_quadline(mps_reader& rd) {
  mps_fields f;
  if (const rescode r = mps_split(rd, mps_shape::name_pairs, f); r != ok) return r;
  const int32_t i = mps_findcol(rd, f.name);
  if (i < 0) return mps_badcolumn(rd, f.name);
  for (int32_t k = 0; k < f.numpair; ++k) {
    if (const rescode r = quad_entry(rd, i, f.pair[k], k); r != ok) return r;
  }
  return ok;
}

void mps_storequad(mps_reader& rd) {
  if (rd.q.val.empty()) return;
  merge_terms(rd);
  const mps_qterms& q = rd.q;
  size_t first = 0;  // of the constraints' terms; those of the objective sort before them
  while (first < q.val.size() && q.subk[first] == prob_obj) ++first;
  const size_t rest = q.val.size() - first;
  prob_qreserve(rd.p, int32_t(q.val.size()));
  if (first > 0) {
    prob_qwriter w = prob_qopen(rd.p, prob_obj, int32_t(first));
    for (size_t t = 0; t < first; ++t) {
      if (std::abs(q.val[t]) > rd.set.tol.qij) prob_qpush(rd.p, w, q.subi[t], q.subj[t], q.val[t]);
    }
    prob_qclose(rd.p, w);
  }
  if (rest == 0) return;
  prob_qloadcons(
      rd.p, rd.set.tol, {q.subk.data() + first, rest},
      {{q.subi.data() + first, rest}, {q.subj.data() + first, rest}, {q.val.data() + first, rest}});
}

// CSECTION name parameter type; the parameter may be missing.
rescode mps_conehead(mps_reader& rd, std::string_view rest) {
  mps_tokens tokens;
  std::string_view name, par, type;
  if (rd.form == mps_form::fixed) {
    const std::string_view line = rd.line;
    name = mps_trim(line.substr(std::min<size_t>(line.size(), 14), 8));
    par = mps_trim(line.substr(std::min<size_t>(line.size(), 24), 12));
    type = mps_trim(line.substr(std::min<size_t>(line.size(), 37)));
  } else {
    mps_tokenize(rest, rd.set.isquoted, tokens);
    if (tokens.num > 3 || tokens.isopen) {
      return mps_badfield(rd, 6, tokens.tok[tokens.num - 1],
                          "A name, a number and a type are expected.");
    }
    if (tokens.num > 0) name = tokens.tok[0];
    if (tokens.num == 3) par = tokens.tok[1];
    if (tokens.num > 1) type = tokens.tok[tokens.num - 1];
  }
  if (name.empty()) return mps_badfield(rd, 3, rest, "The name of a cone is expected.");
  rd.conepar = 0;
  if (!par.empty() && !mps_number(par, rd.conepar)) {
    return mps_badfield(rd, 4, par, "A finite number is expected.");
  }
  rd.conetype = mps_isword(type, "QUAD")    ? ZLV_CT_QUAD
                : mps_isword(type, "RQUAD") ? ZLV_CT_RQUAD
                                            : -1;
  if (rd.conetype < 0) {
    return mps_fail(rd, type, "QUAD or RQUAD is expected.", err_mps_cone_type,
                    io_printable(type).text);
  }
  if (prob_findname(rd.p, ZLV_PI_CONE, name) >= 0) {
    return mps_fail(rd, name, "Another cone has this name.", err_mps_mul_csec,
                    io_printable(name).text);
  }
  rd.conename = name;
  rd.conesub.clear();
  return ok;
}

rescode mps_coneline(mps_reader& rd) {
  mps_fields f;
  if (const rescode r = mps_split(rd, mps_shape::name, f); r != ok) return r;
  const int32_t j = mps_findcol(rd, f.name);
  if (j < 0) return mps_badcolumn(rd, f.name);
  if (rd.p.conevar[j] == rd.p.numcone) {
    return mps_fail(rd, f.name, "It is a member already.", err_mps_cone_repeat,
                    io_printable(f.name).text, io_printable(rd.conename).text);
  }
  if (rd.p.conevar[j] >= 0) {
    return mps_fail(rd, f.name, "It is a member of another cone.", err_mps_cone_overlap,
                    io_printable(f.name).text, io_printable(rd.conename).text);
  }
  rd.conesub.push_back(j);
  rd.p.conevar[j] = rd.p.numcone;
  return ok;
}

rescode mps_coneend(mps_reader& rd) {
  const int32_t type = rd.conetype;
  if (type < 0) return ok;
  rd.conetype = -1;
  const int32_t least = type == ZLV_CT_QUAD ? 1 : 2;
  if (int32_t(rd.conesub.size()) < least) {
    return mps_fail(rd, {}, "The cone before has too few members.", err_cone_size, least,
                    type == ZLV_CT_QUAD ? "QUAD" : "RQUAD");
  }
  prob_appendcone(rd.p, type, rd.conepar, rd.conesub);
  names_put(rd.p.names, ZLV_PI_CONE, rd.p.numcone - 1, rd.conename);
  return ok;
}
