// Convexity of a task's problem: each quadratic matrix has the sign that its place asks for.
#pragma once

#include "zalvo/frame.h"

// convexity_check: ok or err_nonconvex, then with a text that names the first matrix with a wrong
// sign and the message of the code. Constraints without bounds are not examined.
rescode convexity_check(task_rec& task);
// convexity_find: the same without the message of the code.
rescode convexity_find(task_rec& task);
