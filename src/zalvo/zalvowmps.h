// Writer of MPS files. Names are checked before anything is written; items without a name, or all of
// them when ZLV_IPAR_WRITE_GENERIC_NAMES is on, get generated ones: "x%06d", "con%06d", "cone%06d"
// and "obj", with the index counted from 0, or from ZLV_IPAR_WRITE_GENERIC_NAMES_IO when all names
// are generic; underscores are put behind a generated name that another item has.
//
// What the layout leaves open: a zero objective coefficient is written only for a column that has
// nothing else; a free integer variable has an LI line with -1e30; a variable with the bounds
// [0, u], u < 0, has an LO line with 0, since UP alone would free its lower bound. At a precision of
// 17 or more the range of a row is the number that added to the lower bound gives the upper one.
#pragma once

#include "cpub/ioutils.h"
#include "zalvo/frame.h"

// mps_write: the problem of a task. Failures were reported, but for those of out itself.
rescode mps_write(task_rec& t, io_out& out);
