// Exported access to information items, by number and by name.
#include <cstring>

#include "zalvo/frame.h"
#include "zalvo/paramtab.h"

namespace {

bool is_type(int32_t inftype) noexcept {
  return inftype == ZLV_INF_INT_TYPE || inftype == ZLV_INF_DOU_TYPE;
}

std::span<const inf_row> rows_of(int32_t inftype) noexcept {
  return inftype == ZLV_INF_INT_TYPE ? inf_introws() : inf_dourows();
}

rescode get_int(task_rec& task, int32_t number, int32_t* value) {
  if (number < 0 || number >= iinf::count) {
    return task_fail(task, rescode::err_inf_int_index, number);
  }
  if (const rescode r = chk_pointer(task, value, "ivalue"); r != rescode::ok) return r;
  *value = task.inf.i[size_t(number)];
  return rescode::ok;
}

rescode get_dou(task_rec& task, int32_t number, double* value) {
  if (number < 0 || number >= dinf::count) {
    return task_fail(task, rescode::err_inf_dou_index, number);
  }
  if (const rescode r = chk_pointer(task, value, "dvalue"); r != rescode::ok) return r;
  *value = task.inf.d[size_t(number)];
  return rescode::ok;
}

// find_item: the number of a name; reports an unknown one with the nearest there is.
rescode find_item(task_rec& task, int32_t inftype, const char* name, int32_t& number) {
  if (const rescode r = chk_pointer(task, name, "infname"); r != rescode::ok) return r;
  const bool isint = inftype == ZLV_INF_INT_TYPE;
  number = isint ? inf_findint(name) : inf_finddou(name);
  if (number >= 0) return rescode::ok;
  const rescode r =
      task_fail(task, isint ? rescode::err_inf_int_name : rescode::err_inf_dou_name, name);
  if (const char* nearest = inf_nearest(name, inftype); nearest != nullptr) {
    task_echo(task, msg_kind::msg, "The nearest information item is '%s'.\n", nearest);
  }
  return r;
}

}  // namespace

int32_t ZLV_getintinf(ZLV_task_t task, int32_t whichiinf, int32_t* ivalue) {
  return task_call(task, [=](task_rec& t) { return get_int(t, whichiinf, ivalue); });
}

int32_t ZLV_getdouinf(ZLV_task_t task, int32_t whichdinf, double* dvalue) {
  return task_call(task, [=](task_rec& t) { return get_dou(t, whichdinf, dvalue); });
}

int32_t ZLV_getnaintinf(ZLV_task_t task, const char* infname, int32_t* ivalue) {
  return task_call(task, [=](task_rec& t) {
    int32_t number = -1;
    const rescode r = find_item(t, ZLV_INF_INT_TYPE, infname, number);
    return r == rescode::ok ? get_int(t, number, ivalue) : r;
  });
}

int32_t ZLV_getnadouinf(ZLV_task_t task, const char* infname, double* dvalue) {
  return task_call(task, [=](task_rec& t) {
    int32_t number = -1;
    const rescode r = find_item(t, ZLV_INF_DOU_TYPE, infname, number);
    return r == rescode::ok ? get_dou(t, number, dvalue) : r;
  });
}

int32_t ZLV_getinfindex(ZLV_task_t task, int32_t inftype, const char* infname, int32_t* infindex) {
  return task_call(task, [=](task_rec& t) {
    if (!is_type(inftype)) return task_fail(t, rescode::err_inf_type, inftype);
    if (const rescode r = chk_pointer(t, infindex, "infindex"); r != rescode::ok) return r;
    int32_t number = -1;
    const rescode r = find_item(t, inftype, infname, number);
    if (r == rescode::ok) *infindex = number;
    return r;
  });
}

int32_t ZLV_getinfname(ZLV_task_t task, int32_t inftype, int32_t whichinf, char* infname) {
  return task_call(task, [=](task_rec& t) {
    if (!is_type(inftype)) return task_fail(t, rescode::err_inf_type, inftype);
    const auto rows = rows_of(inftype);
    if (whichinf < 0 || size_t(whichinf) >= rows.size()) {
      const bool isint = inftype == ZLV_INF_INT_TYPE;
      return task_fail(t, isint ? rescode::err_inf_int_index : rescode::err_inf_dou_index,
                       whichinf);
    }
    if (const rescode r = chk_pointer(t, infname, "infname"); r != rescode::ok) return r;
    const char* name = rows[size_t(whichinf)].name;
    std::memcpy(infname, name, std::strlen(name) + 1);
    return rescode::ok;
  });
}

int32_t ZLV_getinfmax(ZLV_task_t task, int32_t inftype, int32_t* infmax) {
  return task_call(task, [=](task_rec& t) {
    if (!is_type(inftype)) return task_fail(t, rescode::err_inf_type, inftype);
    if (const rescode r = chk_pointer(t, infmax, "infmax"); r != rescode::ok) return r;
    *infmax = int32_t(rows_of(inftype).size()) - 1;
    return rescode::ok;
  });
}
