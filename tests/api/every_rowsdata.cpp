// Bad arguments of the functions for problem data, names, solutions, files and optimizing.
#include "api/every_table.h"

namespace every {

namespace {

const int32_t starts[] = {0, 1, 1, 1}, ends[] = {1, 1, 1, 1};
const int32_t before[] = {-1, -1, -1, -1};
const int32_t freevar[] = {0, 1, 2};

using ints = argument<const int32_t*>;
using doubles = argument<const double*>;

argument<int32_t*> outnumber() {
  return needs(outint);
}
argument<int32_t*> maynumber() {
  return may(outint);
}
argument<double*> outvalue() {
  return needs(outdou);
}
argument<double*> mayvalue() {
  return may(outdou);
}
argument<int32_t> item(int32_t good = ZLV_PI_VAR) {
  return choice(good, ZLV_RES_ERR_PRO_ITEM);
}
argument<const char*> newname() {
  return text("new", " ", ZLV_RES_ERR_NULL_NAME);
}
// Elements of appended or replaced vectors: a null list of starts stands for no elements.
ints firsts() {
  return {starts, {{nullptr, ZLV_RES_OK}, {largests, ZLV_RES_ERR_INV_APTRE}}};
}
ints lasts() {
  return {ends, {{nullptr, ZLV_RES_ERR_NULL_POINTER}, {before, ZLV_RES_ERR_INV_APTRE}}};
}
// Put one by one, each with the check of a single index.
ints indices() {
  return list(ZLV_RES_ERR_INDEX_IS_TOO_SMALL, ZLV_RES_ERR_INDEX_IS_TOO_LARGE);
}
argument<int32_t> beyond(int32_t good) {
  return {good, {{num_var + 1, ZLV_RES_ERR_INDEX_IS_TOO_LARGE}}};
}
ints qcsubi() {
  return list(ZLV_RES_ERR_QCON_SUBI_TOO_SMALL, ZLV_RES_ERR_QCON_SUBI_TOO_LARGE);
}
ints qcsubj() {
  return list(ZLV_RES_ERR_INV_QCON_SUBJ, ZLV_RES_ERR_INV_QCON_SUBJ);
}
ints members() {
  ints a = list();
  a.good = freevar;
  return a;
}

}  // namespace

std::vector<row_rec> data_rows() {
  const auto append = [](int32_t n) { return count(n, ZLV_RES_ERR_NEGATIVE_APPEND); };
  const auto room = [](int32_t code) { return capacity(9, code); };
  const auto key = [] { return choice(ZLV_BK_RA, ZLV_RES_ERR_INV_BKX); };
  const auto bkx = [] { return or_none(keys(ZLV_RES_ERR_INV_BKX, ranges)); };
  const auto bkc = [] { return or_none(keys(ZLV_RES_ERR_INV_BKC, ranges)); };
  const auto oneterm = [](auto func, const char* name) {
    return partial(row(name, func, task(), count(2), list(), list(), values()));
  };
  return {
      row("ZLV_getnumvar", ZLV_getnumvar, task(), outnumber()),
      row("ZLV_getnumcon", ZLV_getnumcon, task(), outnumber()),
      row("ZLV_getnumcone", ZLV_getnumcone, task(), outnumber()),
      row("ZLV_getnumanz", ZLV_getnumanz, task(), outnumber()),
      row("ZLV_getnumintvar", ZLV_getnumintvar, task(), outnumber()),
      row("ZLV_putmaxnumvar", ZLV_putmaxnumvar, task(), room(ZLV_RES_ERR_MAXNUMVAR)),
      row("ZLV_putmaxnumcon", ZLV_putmaxnumcon, task(), room(ZLV_RES_ERR_MAXNUMCON)),
      row("ZLV_putmaxnumcone", ZLV_putmaxnumcone, task(), room(ZLV_RES_ERR_MAXNUMCONE)),
      row("ZLV_putmaxnumanz", ZLV_putmaxnumanz, task(), room(ZLV_RES_ERR_MAXNUMANZ)),
      row("ZLV_putmaxnumqnz", ZLV_putmaxnumqnz, task(), room(ZLV_RES_ERR_MAXNUMQNZ)),
      row("ZLV_getmaxnumvar", ZLV_getmaxnumvar, task(), outnumber()),
      row("ZLV_getmaxnumcon", ZLV_getmaxnumcon, task(), outnumber()),
      row("ZLV_getmaxnumcone", ZLV_getmaxnumcone, task(), outnumber()),
      row("ZLV_getmaxnumanz", ZLV_getmaxnumanz, task(), outnumber()),
      row("ZLV_getmaxnumqnz", ZLV_getmaxnumqnz, task(), outnumber()),
      row("ZLV_append", ZLV_append, task(), accmode(), append(2)),
      row("ZLV_appendvars", ZLV_appendvars, task(), append(2),
          or_none(doubles{ones, {{nullptr, 0}, {nans, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA}}}), firsts(),
          lasts(), list(), values(), bkx(), bounds(), bounds()),
      row("ZLV_appendcons", ZLV_appendcons, task(), append(2), firsts(), lasts(), list(), values(),
          bkc(), bounds(), bounds()),
      row("ZLV_inputdata", ZLV_inputdata, task(), count(5, ZLV_RES_ERR_MAXNUMCON),
          count(6, ZLV_RES_ERR_MAXNUMVAR), any(3), any(3),
          doubles{ones, {{nullptr, 0}, {nans, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA}}}, finite(1),
          firsts(), lasts(), list(), values(), bkc(), bounds(), bounds(), bkx(), bounds(),
          bounds()),
      row("ZLV_putbound", ZLV_putbound, task(), accmode(), var(), key(), number(1), number(2)),
      row("ZLV_putboundlist", ZLV_putboundlist, task(), accmode(), length(2), indices(),
          keys(ZLV_RES_ERR_INV_BKX, ranges), bounds(), bounds()),
      partial(row("ZLV_putboundslice", ZLV_putboundslice, task(), accmode(),
                  from(0, ZLV_RES_ERR_INDEX_IS_TOO_SMALL), beyond(2),
                  keys(ZLV_RES_ERR_INV_BKX, ranges), bounds(), bounds())),
      row("ZLV_chgbound", ZLV_chgbound, task(), accmode(), var(), any(1), any(1), number(-9)),
      row("ZLV_getbound", ZLV_getbound, task(), accmode(), var(), maynumber(), mayvalue(),
          mayvalue()),
      row("ZLV_getboundslice", ZLV_getboundslice, task(), accmode(), from(0), to(2), maynumber(),
          mayvalue(), mayvalue()),
      row("ZLV_putcj", ZLV_putcj, task(), var(),
          {1,
           {{not_a_number, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA},
            {infinity, ZLV_RES_ERR_HUGE_C},
            {-infinity, ZLV_RES_ERR_HUGE_C}}}),
      row("ZLV_putclist", ZLV_putclist, task(), length(2), list(),
          {ones,
           {{nullptr, ZLV_RES_ERR_NULL_POINTER},
            {nans, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA},
            {infinities, ZLV_RES_ERR_HUGE_C}}}),
      row("ZLV_getc", ZLV_getc, task(), outvalue()),
      row("ZLV_getcslice", ZLV_getcslice, task(), from(0), to(2), outvalue()),
      row("ZLV_putcfix", ZLV_putcfix, task(), finite(3)),
      row("ZLV_getcfix", ZLV_getcfix, task(), outvalue()),
      row("ZLV_putaij", ZLV_putaij, task(), con(), var(), finite(1)),
      row("ZLV_putaijlist", ZLV_putaijlist, task(), length(2), list(), list(), values()),
      row("ZLV_putavec", ZLV_putavec, task(), accmode(), var(), count(2), list(), values()),
      row("ZLV_putaveclist", ZLV_putaveclist, task(), accmode(), length(2), list(),
          ints{starts, {{nullptr, ZLV_RES_ERR_NULL_POINTER}, {largests, ZLV_RES_ERR_INV_APTRE}}},
          lasts(), list(), values()),
      row("ZLV_getaij", ZLV_getaij, task(), con(), var(), outvalue()),
      row("ZLV_getavec", ZLV_getavec, task(), accmode(), var(), maynumber(), maynumber(),
          mayvalue()),
      row("ZLV_getavecnumnz", ZLV_getavecnumnz, task(), accmode(), var(), outnumber()),
      row("ZLV_getaslice", ZLV_getaslice, task(), accmode(), from(0), to(4),
          capacity(9, ZLV_RES_ERR_TOO_SMALL_MAXNUMANZ), maynumber(), maynumber(), maynumber(),
          mayvalue()),
      row("ZLV_getaslicetrip", ZLV_getaslicetrip, task(), accmode(), from(0), to(4),
          capacity(9, ZLV_RES_ERR_TOO_SMALL_MAXNUMANZ), maynumber(), maynumber(), mayvalue()),
      row("ZLV_getaslicenumnz", ZLV_getaslicenumnz, task(), accmode(), from(0), to(3), outnumber()),
      row("ZLV_getapiecenumnz", ZLV_getapiecenumnz, task(), from(0, ZLV_RES_ERR_FIRSTI),
          to(2, ZLV_RES_ERR_LASTI), from(0, ZLV_RES_ERR_FIRSTJ), to(2, ZLV_RES_ERR_LASTJ),
          outnumber()),
      row("ZLV_remove", ZLV_remove, task(), accmode(), length(2), list()),
      oneterm(ZLV_putqobj, "ZLV_putqobj"),
      row("ZLV_putqobjij", ZLV_putqobjij, task(), var(), var(), finite(1)),
      row("ZLV_getqobj", ZLV_getqobj, task(), maynumber(), maynumber(), maynumber(), mayvalue()),
      row("ZLV_getnumqobjnz", ZLV_getnumqobjnz, task(), outnumber()),
      row("ZLV_getqobjij", ZLV_getqobjij, task(), var(), var(), outvalue()),
      row("ZLV_putqcon", ZLV_putqcon, task(), count(2),
          list(ZLV_RES_ERR_INV_QCON_SUBK, ZLV_RES_ERR_INV_QCON_SUBK), qcsubi(), qcsubj(), values()),
      partial(
          row("ZLV_putqconk", ZLV_putqconk, task(), con(), count(2), qcsubi(), qcsubj(), values())),
      row("ZLV_getqconk", ZLV_getqconk, task(), con(), maynumber(), maynumber(), maynumber(),
          mayvalue()),
      row("ZLV_getnumqconknz", ZLV_getnumqconknz, task(), con(), outnumber()),
      row("ZLV_appendcone", ZLV_appendcone, task(), choice(ZLV_CT_RQUAD, ZLV_RES_ERR_CONE_TYPE),
          finite(0), capacity(3, ZLV_RES_ERR_CONE_SIZE), members()),
      row("ZLV_putcone", ZLV_putcone, task(), cone(), choice(ZLV_CT_RQUAD, ZLV_RES_ERR_CONE_TYPE),
          finite(0), capacity(3, ZLV_RES_ERR_CONE_SIZE), members()),
      row("ZLV_removecone", ZLV_removecone, task(), cone()),
      row("ZLV_getcone", ZLV_getcone, task(), cone(), maynumber(), mayvalue(), maynumber(),
          maynumber()),
      row("ZLV_getconeinfo", ZLV_getconeinfo, task(), cone(), maynumber(), mayvalue(), maynumber()),
      row("ZLV_getnumconemem", ZLV_getnumconemem, task(), cone(), outnumber()),
      partial(row("ZLV_putvartype", ZLV_putvartype, task(), var(),
                  choice(ZLV_VAR_TYPE_INT, ZLV_RES_ERR_INV_VAR_TYPE))),
      partial(row("ZLV_putvartypelist", ZLV_putvartypelist, task(), length(2), list(),
                  keys(ZLV_RES_ERR_INV_VAR_TYPE, integers))),
      row("ZLV_getvartype", ZLV_getvartype, task(), var(), outnumber()),
      row("ZLV_getvartypelist", ZLV_getvartypelist, task(), length(2), list(), outnumber()),
      row("ZLV_putname", ZLV_putname, task(), item(), var(), newname()),
      row("ZLV_getname", ZLV_getname, task(), item(), var(), any(4096), maynumber(), may(outstr)),
      row("ZLV_getnameindex", ZLV_getnameindex, task(), item(),
          {"x0", {{nullptr, ZLV_RES_ERR_NULL_POINTER}}}, maynumber(), maynumber()),
      row("ZLV_getmaxnamelen", ZLV_getmaxnamelen, task(), outnumber()),
      row("ZLV_putobjname", ZLV_putobjname, task(), newname()),
      row("ZLV_getobjname", ZLV_getobjname, task(),
          {4096, {{-1, ZLV_RES_ERR_NAME_MAX_LEN}, {0, ZLV_RES_ERR_NAME_MAX_LEN}}}, maynumber(),
          may(outstr)),
      row("ZLV_puttaskname", ZLV_puttaskname, task(), newname()),
      row("ZLV_gettaskname", ZLV_gettaskname, task(),
          {4096, {{-1, ZLV_RES_ERR_NAME_MAX_LEN}, {0, ZLV_RES_ERR_NAME_MAX_LEN}}}, maynumber(),
          may(outstr)),
      row("ZLV_getprobtype", ZLV_getprobtype, task(), outnumber()),
      row("ZLV_checkconvexity", ZLV_checkconvexity, task()),
  };
}

std::vector<row_rec> solution_rows() {
  const auto which = [] { return choice(ZLV_SOL_ITR, ZLV_RES_ERR_WHICHSOL); };
  const auto points = [] { return or_none(values()); };
  const auto keylist = [](int32_t code) { return or_none(keys(code, basics)); };
  const auto nofolder = [] {
    return argument<const char*>{"/dev/null", {{"/no/such/folder/f.mps", ZLV_RES_ERR_FILE_OPEN}}};
  };
  const auto entry = [] { return index(num_var); };
  return {
      row("ZLV_solutiondef", ZLV_solutiondef, task(), which(), outnumber()),
      row("ZLV_undefsolution", ZLV_undefsolution, task(), which()),
      row("ZLV_deletesolution", ZLV_deletesolution, task(), which()),
      row("ZLV_makesolutionstatusunknown", ZLV_makesolutionstatusunknown, task(), which()),
      row("ZLV_getsolutionstatus", ZLV_getsolutionstatus, task(), which(), maynumber(),
          maynumber()),
      row("ZLV_getsolution", ZLV_getsolution, task(), which(), maynumber(), maynumber(),
          maynumber(), maynumber(), maynumber(), mayvalue(), mayvalue(), mayvalue(), mayvalue(),
          mayvalue(), mayvalue(), mayvalue(), mayvalue()),
      row("ZLV_getsolutioni", ZLV_getsolutioni, task(), any(ZLV_ACC_VAR), entry(), which(),
          maynumber(), mayvalue(), mayvalue(), mayvalue(), mayvalue()),
      row("ZLV_getsolutionslice", ZLV_getsolutionslice, task(), which(),
          choice(ZLV_SOL_ITEM_XX, ZLV_RES_ERR_SOLITEM), from(0), to(2), outvalue()),
      row("ZLV_putsolution", ZLV_putsolution, task(), which(), keylist(ZLV_RES_ERR_INV_SKC),
          keylist(ZLV_RES_ERR_INV_SKX), keylist(ZLV_RES_ERR_INV_SKN), points(), points(), points(),
          points(), points(), points(), points(), points()),
      row("ZLV_putsolutioni", ZLV_putsolutioni, task(), any(ZLV_ACC_VAR), entry(), which(),
          choice(ZLV_SK_BAS, ZLV_RES_ERR_INV_SKX), finite(1), finite(1), finite(1), finite(1)),
      row("ZLV_getsolutioninf", ZLV_getsolutioninf, task(), which(), maynumber(), maynumber(),
          mayvalue(), mayvalue(), mayvalue(), mayvalue(), mayvalue(), mayvalue(), mayvalue(),
          mayvalue(), mayvalue()),
      row("ZLV_getprimalobj", ZLV_getprimalobj, task(), which(), outvalue()),
      row("ZLV_getdualobj", ZLV_getdualobj, task(), which(), outvalue()),
      row("ZLV_solutionsummary", ZLV_solutionsummary, task(),
          choice(ZLV_STREAM_LOG, ZLV_RES_OK)),  // it writes nothing then
      row("ZLV_readmps", ZLV_readmps, task(),
          {ZALVO_TEST_DATA "/small.mps",
           {{nullptr, ZLV_RES_ERR_NULL_POINTER},
            {"/no/such/folder/f.mps", ZLV_RES_ERR_FILE_OPEN}}}),
      row("ZLV_readmpsfile", ZLV_readmpsfile, task(),
          {ZALVO_TEST_DATA "/small.mps",
           {{nullptr, ZLV_RES_ERR_NULL_POINTER},
            {"/no/such/folder/f.mps", ZLV_RES_ERR_FILE_OPEN}}}),
      row("ZLV_readdata", ZLV_readdata, task(),
          {ZALVO_TEST_DATA "/small.mps",
           {{nullptr, ZLV_RES_ERR_NULL_POINTER},
            {"", ZLV_RES_ERR_INVALID_FILE_NAME},
            {"noextension", ZLV_RES_ERR_DATA_FILE_EXT},
            {"/no/such/folder/f.mps", ZLV_RES_ERR_FILE_OPEN}}}),
      row("ZLV_writemps", ZLV_writemps, task(),
          {"/dev/null",
           {{nullptr, ZLV_RES_ERR_NULL_POINTER},
            {"/no/such/folder/f.mps", ZLV_RES_ERR_FILE_OPEN}}}),
      row("ZLV_putfilecompression", ZLV_putfilecompression, task(),
          choice(ZLV_IOMODE_READ, ZLV_RES_ERR_INVALID_IOMODE),
          choice(ZLV_COMPRESS_FREE, ZLV_RES_ERR_INVALID_COMPRESSION)),
      row("ZLV_writesolution", ZLV_writesolution, task(), which(), nofolder()),
      row("ZLV_optimize", ZLV_optimize, task()),
  };
}

}  // namespace every
