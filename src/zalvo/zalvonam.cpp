// Names of items, of the objective and of the task: put, get, look up.
#include <algorithm>
#include <cstring>

#include "zalvo/zalvodat.h"

namespace {

using enum rescode;

constexpr const char* kindname[] = {"variable", "constraint", "cone"};  // by ZLV_PI_*

bool is_blank(std::string_view name) {
  return name.find_first_not_of(" \t\r\n\v\f") == std::string_view::npos;
}

rescode check_name(task_rec& t, const char* name, const char* argument) {
  if (const rescode r = chk_pointer(t, name, argument); r != ok) return r;
  return is_blank(name) ? task_fail(t, err_null_name) : ok;
}

// Copies a name, as much as fits in maxlen characters with the terminator.
rescode give_name(task_rec& t, std::string_view name, int32_t maxlen, int32_t* len, char* out) {
  if (len != nullptr) *len = int32_t(name.size());
  if (out == nullptr) return ok;
  if (maxlen > 0) {
    const size_t num = std::min(name.size(), size_t(maxlen) - 1);
    std::memcpy(out, name.data(), num);
    out[num] = '\0';
  }
  if (int64_t(name.size()) < maxlen) return ok;
  return task_fail(t, err_name_max_len, int32_t(name.size()), maxlen);
}

}  // namespace

int32_t ZLV_putname(ZLV_task_t task, int32_t whichitem, int32_t i, const char* name) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_item(t, whichitem); r != ok) return r;
    if (const rescode r = chk_index(t, i, dat_itemcount(t, whichitem), "i"); r != ok) return r;
    if (const rescode r = check_name(t, name, "name"); r != ok) return r;
    const int32_t owner = names_put(t.prob.names, whichitem, i, name);
    return owner < 0 ? ok : task_fail(t, err_dup_name, name, kindname[whichitem]);
  });
}

int32_t ZLV_getname(ZLV_task_t task, int32_t whichitem, int32_t i, int32_t maxlen, int32_t* len,
                    char* name) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_item(t, whichitem); r != ok) return r;
    if (const rescode r = chk_index(t, i, dat_itemcount(t, whichitem), "i"); r != ok) return r;
    return give_name(t, prob_name(t.prob, whichitem, i), maxlen, len, name);
  });
}

int32_t ZLV_getnameindex(ZLV_task_t task, int32_t whichitem, const char* name, int32_t* asgn,
                         int32_t* index) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = dat_item(t, whichitem); r != ok) return r;
    if (const rescode r = chk_pointer(t, name, "name"); r != ok) return r;
    const int32_t found = prob_findname(t.prob, whichitem, name);
    if (asgn != nullptr) *asgn = found >= 0 ? 1 : 0;
    if (index != nullptr) *index = found;
    return ok;
  });
}

int32_t ZLV_getmaxnamelen(ZLV_task_t task, int32_t* maxlen) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = chk_pointer(t, maxlen, "maxlen"); r != ok) return r;
    *maxlen = names_maxlen(t.prob.names);
    return ok;
  });
}

int32_t ZLV_putobjname(ZLV_task_t task, const char* objname) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_name(t, objname, "objname"); r != ok) return r;
    names_putobj(t.prob.names, objname);
    return ok;
  });
}

int32_t ZLV_getobjname(ZLV_task_t task, int32_t maxlen, int32_t* len, char* objname) {
  return task_call(
      task, [=](task_rec& t) { return give_name(t, prob_objname(t.prob), maxlen, len, objname); });
}

int32_t ZLV_puttaskname(ZLV_task_t task, const char* taskname) {
  return task_call(task, [=](task_rec& t) {
    if (const rescode r = check_name(t, taskname, "taskname"); r != ok) return r;
    names_puttask(t.prob.names, taskname);
    return ok;
  });
}

int32_t ZLV_gettaskname(ZLV_task_t task, int32_t maxlen, int32_t* len, char* taskname) {
  return task_call(task, [=](task_rec& t) {
    return give_name(t, prob_taskname(t.prob), maxlen, len, taskname);
  });
}
