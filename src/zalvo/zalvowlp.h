// Writer of LP files. Everything that could be refused is looked for before anything is written.
//
// Names: items without one, or all of them when ZLV_IPAR_WRITE_GENERIC_NAMES is on, get "x%06d" and
// "con%06d", with the index counted from 0, or from ZLV_IPAR_WRITE_GENERIC_NAMES_IO when all names
// are generic. A generated name that another item of its kind has is refused. Names that would be
// taken for something else (zalvorlplex.h) stand in double quotes when ZLV_IPAR_WRITE_LP_QUOTED_NAMES
// is on and ZLV_IPAR_WRITE_LP_STRICT_FORMAT is off, and are refused otherwise.
//
// Numbers have ZLV_IPAR_WRITE_PRECISION digits behind the point, as with "%.*e". A line ends before
// a term that would make it longer than ZLV_IPAR_WRITE_LP_LINE_WIDTH, and behind
// ZLV_IPAR_WRITE_LP_TERMS_PER_LINE terms (0: any number); the next one begins with the term's sign.
//
// A reader numbers variables in the order in which they occur. So the objective mentions, with the
// coefficient 0, as many of the first variables as it takes to have them in their order. A row
// without terms mentions the first variable. The constant of the objective stands behind its linear
// terms. A fixed row with two values that differ is written as a range. Variables with the bounds
// [0, +infinity) are left out of the bounds, which other readers also take for the default.
#pragma once

#include "cpub/ioutils.h"
#include "zalvo/frame.h"

// lp_write: the problem of a task. Failures were reported, but for those of out itself.
rescode lp_write(task_rec& t, io_out& out);
