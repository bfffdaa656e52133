#include "prslv/prsstack.h"

void prslv_push(prslv_stack& stack, prslv_opcode code, std::span<const int32_t> ints,
                std::span<const double> dbls) {
  stack.op.push_back({code, ptrdiff_t(stack.ival.size()), ptrdiff_t(stack.dval.size())});
  stack.ival.insert(stack.ival.end(), ints.begin(), ints.end());
  stack.dval.insert(stack.dval.end(), dbls.begin(), dbls.end());
}

void prslv_pushint(prslv_stack& stack, int32_t value) {
  stack.ival.push_back(value);
}

void prslv_pushlist(prslv_stack& stack, std::span<const int32_t> sub, std::span<const double> val) {
  stack.ival.push_back(int32_t(sub.size()));
  stack.ival.insert(stack.ival.end(), sub.begin(), sub.end());
  stack.dval.insert(stack.dval.end(), val.begin(), val.end());
}

prslv_list prslv_reader::nextlist() {
  const auto len = size_t(nextint());
  const prslv_list list = {{stack.ival.data() + iat, len}, {stack.dval.data() + dat, len}};
  iat += ptrdiff_t(len);
  dat += ptrdiff_t(len);
  return list;
}
