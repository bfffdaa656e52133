// Bad arguments of the functions for environments, streams, texts, parameters and items.
#include "api/every_table.h"

namespace every {

namespace {

ZLV_env_t outenv;
ZLV_callbackfunc outfunc;
void* outptr;

void quiet(void*, const char*) {}

argument<int32_t> stream() {
  return choice(ZLV_STREAM_LOG, ZLV_RES_ERR_INVALID_STREAM);
}
argument<char*> outtext() {
  return needs(outstr);
}
argument<int32_t*> outnumber() {
  return needs(outint);
}
argument<double*> outvalue() {
  return needs(outdou);
}

}  // namespace

std::vector<row_rec> frame_rows() {
  return {
      row("ZLV_initenv", ZLV_initenv, env()),
      row("ZLV_resizetask", ZLV_resizetask, task(), capacity(9, ZLV_RES_ERR_MAXNUMCON),
          capacity(9, ZLV_RES_ERR_MAXNUMVAR), capacity(9, ZLV_RES_ERR_MAXNUMCONE),
          capacity(9, ZLV_RES_ERR_MAXNUMANZ), capacity(9, ZLV_RES_ERR_MAXNUMQNZ)),
      row("ZLV_getenv", ZLV_getenv, task(), needs(&outenv)),
      row("ZLV_putcallbackfunc", ZLV_putcallbackfunc, task(), any<ZLV_callbackfunc>(nullptr),
          any<void*>(nullptr)),
      row("ZLV_getcallbackfunc", ZLV_getcallbackfunc, task(), needs(&outfunc), needs(&outptr)),
      row("ZLV_checkmemenv", ZLV_checkmemenv, env(), any<const char*>("f"), any(1)),
      row("ZLV_checkmemtask", ZLV_checkmemtask, task(), any<const char*>("f"), any(1)),
      row("ZLV_getversion", ZLV_getversion, may(outint), may(outint), may(outint), may(outint)),
      row("ZLV_getbuildinfo", ZLV_getbuildinfo, may(outstr), may(outstr), may(outstr)),
      row("ZLV_linkfiletoenvstream", ZLV_linkfiletoenvstream, env(), stream(),
          {nullptr, {{"/no/such/folder/f", ZLV_RES_ERR_FILE_OPEN}}}, any(0)),
      row("ZLV_linkfiletotaskstream", ZLV_linkfiletotaskstream, task(), stream(),
          {nullptr, {{"/no/such/folder/f", ZLV_RES_ERR_FILE_OPEN}}}, any(0)),
      row("ZLV_linkfunctoenvstream", ZLV_linkfunctoenvstream, env(), stream(), any<void*>(nullptr),
          any<ZLV_streamfunc>(quiet)),
      row("ZLV_linkfunctotaskstream", ZLV_linkfunctotaskstream, task(), stream(),
          any<void*>(nullptr), any<ZLV_streamfunc>(quiet)),
      row("ZLV_unlinkfuncfromenvstream", ZLV_unlinkfuncfromenvstream, env(), stream()),
      row("ZLV_unlinkfuncfromtaskstream", ZLV_unlinkfuncfromtaskstream, task(), stream()),
      row("ZLV_echointro", ZLV_echointro, env(), any(1)),
      row("ZLV_getcodedisc", ZLV_getcodedisc,
          {0, {{-1, ZLV_RES_OK}, {largest, ZLV_RES_OK}, {smallest, ZLV_RES_OK}}}, may(outstr),
          may(outstr)),
      row("ZLV_getresponseclass", ZLV_getresponseclass, any(0), outnumber()),
      row("ZLV_getsymbcondim", ZLV_getsymbcondim, env(), outnumber(), outnumber()),
      row("ZLV_getsymbcon", ZLV_getsymbcon, task(),
          {0,
           {{-1, ZLV_RES_ERR_INDEX_IS_TOO_SMALL},
            {smallest, ZLV_RES_ERR_INDEX_IS_TOO_SMALL},
            {100000, ZLV_RES_ERR_INDEX_IS_TOO_LARGE},
            {largest, ZLV_RES_ERR_INDEX_IS_TOO_LARGE}}},
          any(100), outtext(), outnumber()),
      row("ZLV_symnamtovalue", ZLV_symnamtovalue, text("ZLV_ON", "ZLV_NO", ZLV_RES_ERR_IN_ARGUMENT),
          outnumber()),
      row("ZLV_bktostr", ZLV_bktostr, task(), choice(0, ZLV_RES_ERR_INV_BK), outtext()),
      row("ZLV_sktostr", ZLV_sktostr, task(), choice(0, ZLV_RES_ERR_INV_SK), outtext()),
      row("ZLV_strtosk", ZLV_strtosk, task(), text("BS", "BSX", ZLV_RES_ERR_INV_SK_STR),
          outnumber()),
      row("ZLV_conetypetostr", ZLV_conetypetostr, task(), choice(0, ZLV_RES_ERR_CONE_TYPE),
          outtext()),
      row("ZLV_strtoconetype", ZLV_strtoconetype, task(),
          text("ZLV_CT_QUAD", "cube", ZLV_RES_ERR_CONE_TYPE_STR), outnumber()),
      row("ZLV_probtypetostr", ZLV_probtypetostr, task(), choice(0, ZLV_RES_OK), outtext()),
      row("ZLV_prostatostr", ZLV_prostatostr, any<ZLV_task_t>(nullptr), choice(0, ZLV_RES_OK),
          outtext()),
      row("ZLV_solstatostr", ZLV_solstatostr, any<ZLV_task_t>(nullptr), choice(0, ZLV_RES_OK),
          may(outstr)),
  };
}

std::vector<row_rec> param_rows() {
  const auto param = [] { return choice(1, ZLV_RES_ERR_PARAM_INDEX); };
  const auto partype = [] { return choice(ZLV_PAR_INT_TYPE, ZLV_RES_ERR_PARAM_TYPE); };
  const auto inftype = [] { return choice(ZLV_INF_INT_TYPE, ZLV_RES_ERR_INF_TYPE); };
  const auto intname = [] { return text("ZLV_IPAR_LOG", "LOG", ZLV_RES_ERR_PARAM_NAME_INT); };
  const auto douname = [] { return text("ZLV_DPAR_DATA_TOL_X", "", ZLV_RES_ERR_PARAM_NAME_DOU); };
  const auto strname = [] {
    return text("ZLV_SPAR_DATA_FILE_NAME", "ZLV_IPAR_LOG", ZLV_RES_ERR_PARAM_NAME_STR);
  };
  const argument<int32_t> logvalue = {
      1, {{-1, ZLV_RES_ERR_PARAM_IS_TOO_SMALL}, {smallest, ZLV_RES_ERR_PARAM_IS_TOO_SMALL}}};
  const argument<double> tolerance = {1e-7,
                                      {{not_a_number, ZLV_RES_ERR_NAN_IN_DOUBLE_DATA},
                                       {-1, ZLV_RES_ERR_PARAM_IS_TOO_SMALL},
                                       {-infinity, ZLV_RES_ERR_PARAM_IS_TOO_SMALL}}};
  const argument<const char*> newtext = {"new", {{nullptr, ZLV_RES_ERR_NULL_POINTER}}};
  argument<int32_t> logparam = param(), tolparam = param();
  logparam.good = ZLV_IPAR_LOG;
  tolparam.good = ZLV_DPAR_DATA_TOL_X;
  return {
      row("ZLV_putintparam", ZLV_putintparam, task(), logparam, logvalue),
      row("ZLV_putdouparam", ZLV_putdouparam, task(), tolparam, tolerance),
      row("ZLV_putstrparam", ZLV_putstrparam, task(), param(), newtext),
      row("ZLV_getintparam", ZLV_getintparam, task(), param(), outnumber()),
      row("ZLV_getdouparam", ZLV_getdouparam, task(), param(), outvalue()),
      row("ZLV_getstrparam", ZLV_getstrparam, task(), param(), any(4096), may(outint), may(outstr)),
      row("ZLV_putnaintparam", ZLV_putnaintparam, task(), intname(), logvalue),
      row("ZLV_putnadouparam", ZLV_putnadouparam, task(), douname(), tolerance),
      row("ZLV_putnastrparam", ZLV_putnastrparam, task(), strname(), newtext),
      row("ZLV_getnaintparam", ZLV_getnaintparam, task(), intname(), outnumber()),
      row("ZLV_getnadouparam", ZLV_getnadouparam, task(), douname(), outvalue()),
      row("ZLV_getnastrparam", ZLV_getnastrparam, task(), strname(), any(4096), may(outint),
          may(outstr)),
      row("ZLV_isintparname", ZLV_isintparname, task(), intname(), outnumber()),
      row("ZLV_isdouparname", ZLV_isdouparname, task(), douname(), outnumber()),
      row("ZLV_isstrparname", ZLV_isstrparname, task(), strname(), outnumber()),
      row("ZLV_whichparam", ZLV_whichparam, task(),
          text("ZLV_IPAR_LOG", "LOGS", ZLV_RES_ERR_PARAM_NAME), outnumber(), outnumber()),
      row("ZLV_putparam", ZLV_putparam, task(),
          text("ZLV_IPAR_LOG", "LOGS", ZLV_RES_ERR_PARAM_NAME),
          text("1", "one", ZLV_RES_ERR_PARAM_VALUE_STR)),
      row("ZLV_getparamname", ZLV_getparamname, task(), partype(), param(), outtext()),
      row("ZLV_getnumparam", ZLV_getnumparam, task(), partype(), outnumber()),
      row("ZLV_getparammax", ZLV_getparammax, task(), partype(), outnumber()),
      row("ZLV_iparvaltosymnam", ZLV_iparvaltosymnam, env(),
          choice(ZLV_IPAR_OPTIMIZER, ZLV_RES_ERR_PARAM_INDEX), choice(0, ZLV_RES_ERR_IN_ARGUMENT),
          outtext()),
      row("ZLV_setdefaults", ZLV_setdefaults, task()),
      row("ZLV_putcpudefaults", ZLV_putcpudefaults, env(), any(0), any(1000), any(1000)),
      row("ZLV_writeparamfile", ZLV_writeparamfile, task(),
          {"/dev/null",
           {{nullptr, ZLV_RES_ERR_NULL_POINTER}, {"/no/such/folder/f", ZLV_RES_ERR_FILE_OPEN}}}),
      row("ZLV_printparam", ZLV_printparam, task()),
      row("ZLV_getintinf", ZLV_getintinf, task(), choice(1, ZLV_RES_ERR_INF_INT_INDEX),
          outnumber()),
      row("ZLV_getdouinf", ZLV_getdouinf, task(), choice(1, ZLV_RES_ERR_INF_DOU_INDEX), outvalue()),
      row("ZLV_getnaintinf", ZLV_getnaintinf, task(),
          text("ZLV_IINF_INTPNT_ITER", "ITER", ZLV_RES_ERR_INF_INT_NAME), outnumber()),
      row("ZLV_getnadouinf", ZLV_getnadouinf, task(),
          text("ZLV_DINF_BI_CPUTIME", "TIME", ZLV_RES_ERR_INF_DOU_NAME), outvalue()),
      row("ZLV_getinfindex", ZLV_getinfindex, task(), inftype(),
          text("ZLV_IINF_INTPNT_ITER", "ITER", ZLV_RES_ERR_INF_INT_NAME), outnumber()),
      row("ZLV_getinfname", ZLV_getinfname, task(), inftype(), choice(1, ZLV_RES_ERR_INF_INT_INDEX),
          outtext()),
      row("ZLV_getinfmax", ZLV_getinfmax, task(), inftype(), outnumber()),
  };
}

}  // namespace every
