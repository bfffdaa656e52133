// Making and clearing of the records.
#include "lu/lu.h"

lu_kernel::lu_kernel(mm_place at)
    : csub(at),
      cval(at),
      cat(at),
      cmax(at),
      loaded(at),
      czero(at),
      rsub(at),
      rat(at),
      clist(at),
      rlist(at),
      urrow(at),
      urbeg(at),
      ursub(at),
      urval(at),
      mult(at),
      mark(at),
      dense(at),
      denserow(at),
      densepos(at),
      ccount(at),
      rcount(at),
      cxor(at),
      rxor(at),
      queue(at),
      rank(at),
      pivpos(at),
      state(at) {}

lu_rec::lu_rec(mm_place at)
    : singpos(at),
      singrow(at),
      singvar(at),
      rowofpos(at),
      posofrow(at),
      lcol(at),
      lrow(at),
      lcolat(at),
      lrowat(at),
      lseq(at),
      lrseq(at),
      ucol(at),
      urow(at),
      ucolat(at),
      urowat(at),
      udiag(at),
      lcolof(at),
      lrowof(at),
      ucolof(at),
      useq(at),
      useqat(at),
      reta(at),
      retabeg(at),
      retarow(at),
      rcol(at),
      rcolat(at),
      spikeind(at),
      ueinvind(at),
      spikeval(at),
      ueinvval(at),
      topo(at),
      stack(at),
      stackpos(at),
      outind(at),
      outval(at),
      dense(at),
      mark(at),
      rsum(at),
      rwaiting(at),
      ker(at) {}

void lu_vecsize(lu_vector& x, int32_t m) {
  x.val.assign(size_t(m), 0.0);
  x.ind.resize(size_t(m));
  x.num = 0;
}

void lu_vecclear(lu_vector& x) {
  // A store per entry anywhere costs as much as about four in a row.
  if (x.num < 0 || x.num > int32_t(x.val.size() / 4))
    std::fill(x.val.begin(), x.val.end(), 0.0);
  else
    for (int32_t k = 0; k < x.num; ++k) x.val[x.ind[k]] = 0;
  x.num = 0;
}
