// Progress callback codes: where in a run the user's callback is called. The table is callback.def.
#pragma once

#include <cstdint>

namespace callback_code {
enum : int32_t {
#define ZLV_CALLBACK(name, value) name = value,
#include "cpub/callback.def"
#undef ZLV_CALLBACK
};
}  // namespace callback_code
