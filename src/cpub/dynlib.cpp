#include "cpub/dynlib.h"

#include <dlfcn.h>

#include <climits>
#include <cstdio>
#include <cstring>

namespace {
const char anchor = 0;  // its address tells which file this code was loaded from
}

void* dynlib_open(const char* filename) noexcept {
  Dl_info own{};
  if (dladdr(&anchor, &own) != 0 && own.dli_fname != nullptr) {
    const char* slash = std::strrchr(own.dli_fname, '/');
    if (slash != nullptr) {
      char path[PATH_MAX];
      const int folder = int(slash - own.dli_fname) + 1;
      const int size = std::snprintf(path, sizeof path, "%.*s%s", folder, own.dli_fname, filename);
      void* library = size < int(sizeof path) ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
      if (library != nullptr) return library;
    }
  }
  return dlopen(filename, RTLD_NOW | RTLD_LOCAL);
}

void dynlib_close(void* library) noexcept {
  if (library != nullptr) dlclose(library);
}

void* dynlib_find(void* library, const char* name) noexcept {
  return dlsym(library, name);
}
