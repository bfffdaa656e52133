// MBT files: a task as it is in memory, with problem, names, parameters and solutions, for reading and
// writing at the speed of the disk. Numbers have the byte order of the machine that wrote the file.
//
//   head    8 bytes "\x89MBT\r\n\x1a\n", which a transfer as text would change; then mbt_head
//   blocks  in the order of mbt_tag: mbt_blockhead, the arrays one behind the other, and the CRC-32 of
//           these as uint64_t
// What stands in the blocks, m, n and k being the numbers of constraints, variables and cones:
//   sizes       mbt_sizes
//   bounds      int32_t bkc[m], double blc[m], buc[m], int32_t bkx[n], double blx[n], bux[n], c[n]
//   matrix      int32_t entries of each column [n], rows of all entries, double values of all
//   quadratic   int32_t subi, subj, double val of the objective; int32_t subk, subi, subj, double val
//               of the constraints
//   types       int32_t type of each variable [n]
//   cones       int32_t type [k], members of each [k], double parameter [k], int32_t members of all
//   names       int32_t lengths of the names of variables [n], constraints [m], cones [k], objective
//               and task; the characters of all
//   parameters  int32_t values, double values, int32_t lengths of the strings, the characters
//   interior, basic, integer   int32_t problem status, solution status, skc[m], skx[n], skn[k];
//               double xc[m], xx[n], y[m], slc[m], suc[m], slx[n], sux[n], snx[n], without what the
//               type of solution does not have
//   end         nothing
// types stands there when there is an integer variable, parameters always, and solutions when
// they are defined and ZLV_IPAR_WRITE_TASK_INC_SOL is on.
//
// Reading: a head or a block that is not of this form is ZLV_RES_ERR_INVALID_MBT_FILE, a file of another
// byte order, word size or a later version ZLV_RES_ERR_MBT_INCOMPATIBLE. No array is made before the
// file was seen to be long enough for it, and all that is read is checked as a caller's data are. The
// parameters replace the task's unless ZLV_IPAR_READ_TASK_IGNORE_PARAM is on.
#pragma once

#include <cstdint>
#include <string_view>

#include "cpub/ioutils.h"
#include "zalvo/frame.h"

struct file_problem;

// mbt_read: reads text into out, which must be empty. mbt_write: the whole task. Failures were
// reported, but for those of the output itself.
rescode mbt_read(task_rec& t, io_text& text, const char* filename, file_problem& out);
rescode mbt_write(task_rec& t, io_out& out);

// ---- The form of the file

constexpr std::string_view mbt_magic("\x89MBT\r\n\x1a\n", 8);
constexpr uint32_t mbt_order = 0x01020304;  // as the machine has it
constexpr uint32_t mbt_version = 1;
constexpr double mbt_probe = 0x1.23456789abcdep-300;  // tells how doubles are stored

struct mbt_head {
  uint32_t order = mbt_order, version = mbt_version;
  uint8_t intsize = sizeof(int32_t), doublesize = sizeof(double), spare[6] = {};
  double probe = mbt_probe;
};
static_assert(sizeof(mbt_head) == 24);

enum class mbt_tag : uint32_t {
  sizes = 1,
  bounds,
  matrix,
  quadratic,
  types,
  cones,
  names,
  parameters,
  interior,
  basic,
  integer,
  end
};
struct mbt_blockhead {
  mbt_tag tag = mbt_tag::end;
  uint32_t spare = 0;
  uint64_t length = 0;  // bytes of the arrays
};
static_assert(sizeof(mbt_blockhead) == 16);

struct mbt_sizes {
  int32_t numcon = 0, numvar = 0, numcone = 0, sense = 0;  // sense: ZLV_OBJECTIVE_SENSE_*
  int32_t numanz = 0, numqobj = 0, numqcon = 0, numconemem = 0;
  int32_t numint = 0, numsol = 0;  // integer variables; bit s: there is solution ZLV_SOL_* s
  int32_t numipar = 0, numdpar = 0, numspar = 0, spare = 0;
  double cfix = 0;
};
static_assert(sizeof(mbt_sizes) == 64);
