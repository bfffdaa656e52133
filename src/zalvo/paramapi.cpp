// Exported access to parameters, by number and by name.
#include <algorithm>
#include <cstring>

#include "zalvo/paramput.h"

namespace {

// bounded_copy: a string parameter into a buffer of maxlen bytes; both outputs may be left out, but
// not both at once.
rescode bounded_copy(task_rec& task, int32_t number, int32_t maxlen, int32_t* len, char* value) {
  if (number < 0 || number >= spar::count) return rescode::err_param_index;
  if (len == nullptr && value == nullptr) return chk_pointer(task, value, "value");
  const mm_string& text = task.par.s[size_t(number)];
  const auto length = int32_t(text.size());
  if (len != nullptr) *len = length;
  if (value == nullptr) return rescode::ok;
  if (maxlen > 0) {
    const int32_t fitting = std::min(length, maxlen - 1);
    std::memcpy(value, text.data(), size_t(fitting));
    value[fitting] = '\0';
  }
  if (maxlen > length) return rescode::ok;
  return task_fail(task, rescode::wrn_spar_max_len, length, param_strrows()[size_t(number)].name,
                   maxlen);
}

rescode allocated_copy(task_rec& task, int32_t number, int32_t numaddchr, char** value) {
  if (number < 0 || number >= spar::count) return rescode::err_param_index;
  if (const rescode r = chk_pointer(task, value, "value"); r != rescode::ok) return r;
  *value = nullptr;
  if (numaddchr < 0) return task_fail(task, rescode::err_in_argument, "numaddchr");
  const mm_string& text = task.par.s[size_t(number)];
  const size_t size = text.size() + 1 + size_t(numaddchr);
  char* copy = static_cast<char*>(memman_alloc(task.mman, size, 1, __FILE__, __LINE__));
  if (copy == nullptr) return task_fail(task, rescode::err_space);
  std::memset(copy, 0, size);
  std::memcpy(copy, text.c_str(), text.size() + 1);
  *value = copy;
  return rescode::ok;
}

// What the three types have in common in the by-name functions.
struct name_kind {
  int32_t type;
  int32_t (*find)(std::string_view name) noexcept;
  rescode fault;  // for an unknown name
};
constexpr name_kind int_kind = {ZLV_PAR_INT_TYPE, param_findint, rescode::err_param_name_int};
constexpr name_kind dou_kind = {ZLV_PAR_DOU_TYPE, param_finddou, rescode::err_param_name_dou};
constexpr name_kind str_kind = {ZLV_PAR_STR_TYPE, param_findstr, rescode::err_param_name_str};

// by_name: work(task, number) for a known name; reports an unknown one.
template <class F>
int32_t by_name(ZLV_task_t task, const name_kind& kind, const char* name, F&& work) noexcept {
  return task_call(task, [&](task_rec& t) {
    if (const rescode r = chk_pointer(t, name, "paramname"); r != rescode::ok) return r;
    const int32_t number = kind.find(name);
    return number >= 0 ? work(t, number) : param_unknown(t, kind.fault, name, kind.type);
  });
}

int32_t is_name(ZLV_task_t task, const name_kind& kind, const char* name, int32_t* param) noexcept {
  return task_call(task, [&](task_rec& t) {
    if (const rescode r = chk_pointer(t, name, "paramname"); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, param, "param"); r != rescode::ok) return r;
    *param = kind.find(name);
    return *param >= 0 ? rescode::ok : kind.fault;
  });
}

rescode get_int(task_rec& task, int32_t number, int32_t* value) {
  if (number < 0 || number >= ipar::count) return rescode::err_param_index;
  if (const rescode r = chk_pointer(task, value, "value"); r != rescode::ok) return r;
  *value = task.par.i[size_t(number)];
  return rescode::ok;
}

rescode get_dou(task_rec& task, int32_t number, double* value) {
  if (number < 0 || number >= dpar::count) return rescode::err_param_index;
  if (const rescode r = chk_pointer(task, value, "value"); r != rescode::ok) return r;
  *value = task.par.d[size_t(number)];
  return rescode::ok;
}

rescode put_str(task_rec& task, int32_t number, const char* value) {
  if (const rescode r = chk_pointer(task, value, "value"); r != rescode::ok) return r;
  return param_putstr(task, number, value);
}

}  // namespace

int32_t ZLV_putintparam(ZLV_task_t task, int32_t param, int32_t value) {
  return task_call(task, [=](task_rec& t) { return param_putint(t, param, value); });
}

int32_t ZLV_putdouparam(ZLV_task_t task, int32_t param, double value) {
  return task_call(task, [=](task_rec& t) { return param_putdou(t, param, value); });
}

int32_t ZLV_putstrparam(ZLV_task_t task, int32_t param, const char* value) {
  return task_call(task, [=](task_rec& t) { return put_str(t, param, value); });
}

int32_t ZLV_getintparam(ZLV_task_t task, int32_t param, int32_t* value) {
  return task_call(task, [=](task_rec& t) { return get_int(t, param, value); });
}

int32_t ZLV_getdouparam(ZLV_task_t task, int32_t param, double* value) {
  return task_call(task, [=](task_rec& t) { return get_dou(t, param, value); });
}

int32_t ZLV_getstrparam(ZLV_task_t task, int32_t param, int32_t maxlen, int32_t* len, char* value) {
  return task_call(task, [=](task_rec& t) { return bounded_copy(t, param, maxlen, len, value); });
}

int32_t ZLV_getstrparamal(ZLV_task_t task, int32_t param, int32_t numaddchr, char** value) {
  return task_call(task, [=](task_rec& t) { return allocated_copy(t, param, numaddchr, value); });
}

int32_t ZLV_putnaintparam(ZLV_task_t task, const char* paramname, int32_t value) {
  return by_name(task, int_kind, paramname,
                 [=](task_rec& t, int32_t number) { return param_putint(t, number, value); });
}

int32_t ZLV_putnadouparam(ZLV_task_t task, const char* paramname, double value) {
  return by_name(task, dou_kind, paramname,
                 [=](task_rec& t, int32_t number) { return param_putdou(t, number, value); });
}

int32_t ZLV_putnastrparam(ZLV_task_t task, const char* paramname, const char* value) {
  return by_name(task, str_kind, paramname,
                 [=](task_rec& t, int32_t number) { return put_str(t, number, value); });
}

int32_t ZLV_getnaintparam(ZLV_task_t task, const char* paramname, int32_t* value) {
  return by_name(task, int_kind, paramname,
                 [=](task_rec& t, int32_t number) { return get_int(t, number, value); });
}

int32_t ZLV_getnadouparam(ZLV_task_t task, const char* paramname, double* value) {
  return by_name(task, dou_kind, paramname,
                 [=](task_rec& t, int32_t number) { return get_dou(t, number, value); });
}

int32_t ZLV_getnastrparam(ZLV_task_t task, const char* paramname, int32_t maxlen, int32_t* len,
                          char* value) {
  return by_name(task, str_kind, paramname, [=](task_rec& t, int32_t number) {
    return bounded_copy(t, number, maxlen, len, value);
  });
}

int32_t ZLV_getnastrparamal(ZLV_task_t task, const char* paramname, int32_t numaddchr,
                            char** value) {
  return by_name(task, str_kind, paramname, [=](task_rec& t, int32_t number) {
    return allocated_copy(t, number, numaddchr, value);
  });
}

int32_t ZLV_isintparname(ZLV_task_t task, const char* paramname, int32_t* param) {
  return is_name(task, int_kind, paramname, param);
}

int32_t ZLV_isdouparname(ZLV_task_t task, const char* paramname, int32_t* param) {
  return is_name(task, dou_kind, paramname, param);
}

int32_t ZLV_isstrparname(ZLV_task_t task, const char* paramname, int32_t* param) {
  return is_name(task, str_kind, paramname, param);
}

int32_t ZLV_whichparam(ZLV_task_t task, const char* parname, int32_t* partype, int32_t* param) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, parname, "parname"); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, partype, "partype"); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, param, "param"); r != rescode::ok) return r;
    const param_id id = param_find(parname);
    *partype = id.type;
    *param = id.number;
    return id.type != ZLV_PAR_INVALID_TYPE ? rescode::ok : rescode::err_param_name;
  });
}

int32_t ZLV_putparam(ZLV_task_t task, const char* parname, const char* parvalue) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, parname, "parname"); r != rescode::ok) return r;
    if (const rescode r = chk_pointer(t, parvalue, "parvalue"); r != rescode::ok) return r;
    const param_id id = param_find(parname);
    if (id.type != ZLV_PAR_INVALID_TYPE) return param_puttext(t, id, parvalue);
    return param_unknown(t, rescode::err_param_name, parname, ZLV_PAR_INVALID_TYPE);
  });
}

int32_t ZLV_getparamname(ZLV_task_t task, int32_t partype, int32_t param, char* parname) {
  return task_call(task, [=](task_rec& t) {
    if (param_count(partype) < 0) return task_fail(t, rescode::err_param_type, partype);
    const char* name = param_name({partype, param});
    if (name == nullptr) return rescode::err_param_index;
    if (const rescode r = chk_pointer(t, parname, "parname"); r != rescode::ok) return r;
    std::memcpy(parname, name, std::strlen(name) + 1);
    return rescode::ok;
  });
}

int32_t ZLV_getnumparam(ZLV_task_t task, int32_t partype, int32_t* numparam) {
  return task_call(task, [=](task_rec& t) {
    if (param_count(partype) < 0) return task_fail(t, rescode::err_param_type, partype);
    if (const rescode r = chk_pointer(t, numparam, "numparam"); r != rescode::ok) return r;
    *numparam = param_count(partype);
    return rescode::ok;
  });
}

int32_t ZLV_getparammax(ZLV_task_t task, int32_t partype, int32_t* parammax) {
  return task_call(task, [=](task_rec& t) {
    if (param_count(partype) < 0) return task_fail(t, rescode::err_param_type, partype);
    if (const rescode r = chk_pointer(t, parammax, "parammax"); r != rescode::ok) return r;
    *parammax = param_count(partype) - 1;
    return rescode::ok;
  });
}

int32_t ZLV_iparvaltosymnam(ZLV_env_t env, int32_t whichparam, int32_t whichvalue,
                            char* symbolicname) {
  return env_call(env, [=](env_rec& e) {
    if (symbolicname == nullptr) return env_fail(e, rescode::err_null_pointer, "symbolicname");
    *symbolicname = '\0';
    if (whichparam < 0 || whichparam >= ipar::count) {
      return env_fail(e, rescode::err_param_index, whichparam, "int");
    }
    const symgroup family = param_introws()[size_t(whichparam)].family;
    const char* name = family < symgroup::none ? symbcon_name(family, whichvalue) : nullptr;
    if (name == nullptr) return rescode::err_in_argument;
    std::memcpy(symbolicname, name, std::strlen(name) + 1);
    return rescode::ok;
  });
}

int32_t ZLV_setdefaults(ZLV_task_t task) {
  return task_call(task, [](task_rec& t) {
    param_copy(t.par, t.env->par);
    return rescode::ok;
  });
}

int32_t ZLV_putcpudefaults(ZLV_env_t env, int32_t cputype, int32_t sizel1, int32_t sizel2) {
  // Also before the environment is initialised, whose detection of the processor reads these.
  if (env == nullptr) return ZLV_RES_ERR_NULL_ENV;
  const param_introw& row = param_introws()[ipar::cpu_type];
  if (const rescode r = param_range(row, cputype); r != rescode::ok) {
    return int32_t(env_fail(*env, r, param_text(cputype).c_str(), row.name));
  }
  env->par.i[ipar::cpu_type] = cputype;
  env->par.i[ipar::cache_size_l1] = sizel1;
  env->par.i[ipar::cache_size_l2] = sizel2;
  return ZLV_RES_OK;
}
