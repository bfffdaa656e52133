// The mixed-integer library: loaded by file name when an environment is initialised, its entry
// points looked up by name. An environment without it works for everything else.
#pragma once

#include <array>
#include <cstddef>

#include "cpub/rescode.h"

constexpr const char* miolib_filename = "libzalvomio.so";
constexpr std::array<const char*, 2> miolib_entries = {"zlvmio_getversion", "zlvmio_optimize"};

struct mio_lib {
  void* library = nullptr;  // owned; null: not there
  std::array<void*, miolib_entries.size()> entry{};
};

// miolib_attach: does nothing when it is attached already. A missing library is ok; err_open_dl for one
// that lacks an entry point, which is not kept.
rescode miolib_attach(mio_lib& mio) noexcept;
void miolib_detach(mio_lib& mio) noexcept;
