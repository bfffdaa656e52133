// Forming A D A' row by row straight into the panels of the symbolic factor.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "kfac/symface.h"

// A in the order of the factor. Columns with one entry only touch the diagonal and stand apart.
struct adaform {
  mm_vector<int32_t> col;          // column of A of each block of val: numcol
  mm_vector<ptrdiff_t> colptr;     // numcol + 1
  mm_vector<int32_t> colsub;       // permuted rows, increasing within a column
  mm_vector<double> val;           // entries of A
  mm_vector<double> scaled;        // entries of A D
  mm_vector<ptrdiff_t> rowptr;     // n + 1, into entpos and entlen
  mm_vector<ptrdiff_t> entpos;     // position of each entry of the row in val
  mm_vector<int32_t> entlen;       // entries from there to the end of its column
  mm_vector<ptrdiff_t> mapptr;     // n + 1, into map; empty without a map
  mm_vector<int32_t> map;          // for each product the row in its panel
  mm_vector<ptrdiff_t> singleptr;  // n + 1
  mm_vector<int32_t> singlecol;
  mm_vector<double> singlesq;  // squared entry
  // Where each entry stands in the caller's values, when these are read again each time.
  mm_vector<ptrdiff_t> valfrom, singlefrom;
  mm_vector<int32_t> cut;  // columns of the factor where tasks of like work begin, and n
  double flops = 0;
  explicit adaform(mm_place at)
      : col(at),
        colptr(at),
        colsub(at),
        val(at),
        scaled(at),
        rowptr(at),
        entpos(at),
        entlen(at),
        mapptr(at),
        map(at),
        singleptr(at),
        singlecol(at),
        singlesq(at),
        valfrom(at),
        singlefrom(at),
        cut(at) {}
};

// adaform_make: A by columns, columns with a flag in isoff left out.
//   rowbase  row i of A is row rowbase + i of the matrix that sym factorizes
//   rereads  adaform_reread will be called
void adaform_make(const spmat_view& a, std::span<const uint8_t> isoff, const symface& sym,
                  int32_t rowbase, bool rereads, adaform& form);
// adaform_reread: takes new values of the same A.
void adaform_reread(adaform& form, std::span<const double> val);
// adaform_scale: takes the diagonal D of this iteration; before par_arow_adanumfac.
//   diag  n, in the order of the factor: the columns with one entry are added
void adaform_scale(adaform& form, std::span<const double> d, std::span<double> diag);
// par_arow_adanumfac: A D A' of columns c0 .. c1-1 of the factor, into its panels (overwritten there).
//   panels  where sym.panelpos counts from
//   diag    n, added to the diagonal; out, the whole diagonal at these columns
//   place   n, scratch that may hold anything; may be empty with a map
void par_arow_adanumfac(const adaform& form, const symface& sym, int32_t c0, int32_t c1,
                        double* panels, std::span<double> diag, std::span<int32_t> place);
