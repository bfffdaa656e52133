// The driver's view of a linear or convex quadratic problem and its way into the interior-point optimizer's form and
// back: shifted to lower bounds of zero, inequality rows closed with slack columns, fixed and empty
// columns and free rows taken out.
#pragma once

#include <cstdint>
#include <span>

#include "cpub/memman.h"
#include "cpub/spmat.h"
#include "homo/homprob.h"
#include "homo/homslv.h"
#include "misc/linprob.h"

// minimize (or maximize) cfix + c'x + x'Qx/2  subject to  blc <= A x <= buc,  blx <= x <= bux, by
// bound keys ZLV_BK_*; the keys say which bounds are finite.
struct opt_problem {
  int32_t numcon = 0, numvar = 0;
  spmat_view a;  // by columns, rows increasing
  std::span<const int32_t> bkc, bkx;
  std::span<const double> blc, buc, blx, bux, c;
  double cfix = 0;
  bool maximize = false;
  spmat_view q;  // numvar x numvar, both triangles, rows increasing, no zeros; no columns: linear
  std::span<const uint8_t> incone =
      {};  // numvar or empty: a member of a cone or in a term of a constraint; it stays even
           // without entries and is not as free as its key says
  std::span<const uint8_t> curved = {};  // numcon or empty: a row with a quadratic term, which
                                         // stays even without entries
};

// A solution of an opt_problem; spans of numcon or numvar entries, all filled.
struct opt_solution {
  std::span<int32_t> skc, skx;  // ZLV_SK_*
  std::span<double> xc, xx, y, slc, suc, slx, sux;
  int32_t prosta = 0, solsta = 0;  // ZLV_PRO_STA_*, ZLV_SOL_STA_*
  bool isdefined = false;          // the run came far enough to say something of it
};

bool opt_haslower(int32_t key);  // of a bound key
bool opt_hasupper(int32_t key);

// What became of a problem in the optimizer's form.
struct opt_internal {
  spmat a;
  mm_vector<double> b, c, u;
  mm_vector<uint8_t> isfree;
  spmat q;  // lower triangle; no columns: linear
  double cfix = 0;
  mm_vector<int32_t> colof;    // numvar: internal column, or -1 for one that was taken out
  mm_vector<uint8_t> flipped;  // numvar: internal x is bux - x
  mm_vector<int32_t> rowof;    // numcon: internal row, or -1
  explicit opt_internal(mm_place place)
      : a(place),
        b(place),
        c(place),
        u(place),
        isfree(place),
        q(place),
        colof(place),
        flipped(place),
        rowof(place) {}
};

// opt_trivial: verdicts that need no optimizer: crossed bounds, rows without a movable entry that
// cannot hold, columns without entries whose cost runs off to infinity. Fills sol with the certificate.
// Returns whether there was one.
bool opt_trivial(const opt_problem& prob, opt_solution& sol);

// opt_prepare: the internal form. Every internal row has an entry, and every internal column has one
// in A or Q.
void opt_prepare(const opt_problem& prob, opt_internal& in);
hs_lp opt_internalview(const opt_internal& in, const opt_problem& prob);

// What a status pair says of the vectors that come with it.
enum class opt_kind { point, dualray, primalray };
struct opt_status {
  int32_t prosta = 0, solsta = 0;  // ZLV_PRO_STA_*, ZLV_SOL_STA_*
};
opt_status opt_statusof(hs_status status);
opt_status opt_statusof(lp_verdict verdict);
opt_kind opt_kindof(opt_status status);

// opt_reverse: a point or ray of the internal form as one of the problem, of its minimization.
void opt_reverse(const opt_problem& prob, const opt_internal& in, const hs_solution& from,
                 lp_point& point);

// opt_fill: sol from the x and y of the minimization of prob. Dual values get the sign convention of
// the problem's sense; bound duals are the parts of y and of the reduced costs that a finite bound can
// carry; a ray is scaled to an objective of 1. Status keys are those of an interior point.
void opt_fill(const opt_problem& prob, const lp_point& point, opt_status status, opt_solution& sol);
// opt_fillbasic: the same for a basic solution, whose keys come from the basis.
void opt_fillbasic(const opt_problem& prob, const lp_point& point, const lp_basis& basis,
                   opt_status status, opt_solution& sol);

// A problem as the record that the rooms below share: minimized, infinite bounds by value.
struct opt_lp {
  mm_vector<double> blc, buc, blx, bux, c;
  double cfix = 0;
  spmat_view a;
  explicit opt_lp(mm_place place) : blc(place), buc(place), blx(place), bux(place), c(place) {}
};
void opt_makelp(const opt_problem& prob, opt_lp& lp);
lp_view opt_lpview(const opt_lp& lp);

// The way back: a linear problem with bound keys.
struct opt_keyed {
  mm_vector<int32_t> bkc, bkx;
  explicit opt_keyed(mm_place place) : bkc(place), bkx(place) {}
};
opt_problem opt_addkeys(const lp_view& lp, opt_keyed& keyed);
