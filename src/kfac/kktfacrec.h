// The factorization object, as its drivers see it.
#pragma once

#include "kfac/kktfac.h"
#include "kfac/pcholfac.h"
#include "kfac/pchsolve.h"
#include "kfac/pkktfac1.h"
#include "kfac/psched.h"
#include "kfac/psschur.h"
#include "kfac/sqdform.h"
#include "kfac/symface.h"

struct kktfac {
  kktfac_kind kind;
  int32_t numrow, numcol;
  memman* mman;
  spmat_view a;
  spmat_view h;  // of the quasi-definite kind: the lower triangle
  mm_vector<kktfac_border> border;
  bool hasa = false, hash = false;
  int32_t bigform = 0;  // 1 or 2 once it is chosen
  bool isset = false, isfactored = false;
  kktfac_stats stats;
  symface sym;
  psched sched;
  adaform form;
  sqdform big;
  pcholfac chol;
  pchsolve solve;
  psschur schur;
  mm_vector<int32_t> place;  // numrow per thread without a map, scratch of the forming
  mm_vector<double> diag;    // of the matrix that is factorized (no dense columns), permuted
  mm_vector<double> rhs;     // dimension x 4
  mm_vector<double> refine;  // (numcol + numrow) x 2 of the quasi-definite kind
  mm_vector<double> d;       // numcol when there are dense columns: D of the last factorization
  mm_vector<double> cg;      // numrow x 6 when there are dense columns
  mm_vector<double> cgcol;   // numcol then
  double shift = 0;
  monitor chklog;         // sink of the checks of solves
  mm_vector<double> chk;  // D and E of the last factorization when solves are checked, and scratch
  double regcol = 0, regrow = 0;
  kktfac(kktfac_kind k, int32_t m, int32_t n, memman& mm)
      : kind(k),
        numrow(m),
        numcol(n),
        mman(&mm),
        border(mm_at(mm)),
        sym(mm_at(mm)),
        sched(mm_at(mm)),
        form(mm_at(mm)),
        big(mm_at(mm)),
        chol(mm_at(mm)),
        solve(mm_at(mm)),
        schur(mm_at(mm)),
        place(mm_at(mm)),
        diag(mm_at(mm)),
        rhs(mm_at(mm)),
        refine(mm_at(mm)),
        d(mm_at(mm)),
        cg(mm_at(mm)),
        cgcol(mm_at(mm)),
        chk(mm_at(mm)) {}
};
