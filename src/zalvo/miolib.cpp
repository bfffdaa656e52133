#include "zalvo/miolib.h"

#include "cpub/dynlib.h"

rescode miolib_attach(mio_lib& mio) noexcept {
  if (mio.library != nullptr) return rescode::ok;
  mio.library = dynlib_open(miolib_filename);
  if (mio.library == nullptr) return rescode::ok;
  for (size_t k = 0; k < miolib_entries.size(); ++k) {
    mio.entry[k] = dynlib_find(mio.library, miolib_entries[k]);
    if (mio.entry[k] != nullptr) continue;
    miolib_detach(mio);
    return rescode::err_open_dl;
  }
  return rescode::ok;
}

void miolib_detach(mio_lib& mio) noexcept {
  dynlib_close(mio.library);
  mio = {};
}
