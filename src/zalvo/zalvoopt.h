// What the parts of the optimizer driver share.
#pragma once

#include <cstdint>

struct ZLV_task_rec;

// opt_prove: lowers the statuses of a solution until the stored point or ray keeps what they promise
// on the task's own data, and says what can be said of a point without a verdict. Logs each step.
//   whichsol        ZLV_SOL_*, allocated and filled
//   prosta, solsta  in and out, ZLV_PRO_STA_* and ZLV_SOL_STA_*
void opt_prove(ZLV_task_rec& t, int32_t whichsol, int32_t& prosta, int32_t& solsta);
