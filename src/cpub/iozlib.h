// The compression library takes its space from a memory manager.
#pragma once

#include <zlib.h>

#include "cpub/memman.h"

inline void* iozlib_alloc(void* mman, unsigned number, unsigned size) noexcept {
  return memman_alloc(static_cast<memman*>(mman), number, size, __FILE__, __LINE__);
}
inline void iozlib_free(void* mman, void* block) noexcept {
  memman_free(static_cast<memman*>(mman), block, __FILE__, __LINE__);
}
inline void iozlib_setalloc(z_stream& z, memman& mman) noexcept {
  z.zalloc = &iozlib_alloc;
  z.zfree = &iozlib_free;
  z.opaque = &mman;
}
