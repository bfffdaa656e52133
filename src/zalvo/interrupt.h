// What can stop an optimizer from outside: the caller's progress callback and a break, by the
// caller's break function or from the console.
#pragma once

#include <cstdint>

#include "cpub/rescode.h"
#include "zalvo/frame.h"

// task_callback: announces a ZLV_CALLBACK_* place to the caller's progress callback; a negative place
// announces nothing. trm_user_callback when the callback wants an end. Intermediate places are
// announced every ZLV_DPAR_CALLBACK_FREQ seconds at most, and each ZLV_IPAR_FLUSH_STREAM_FREQ calls
// flush the streams' files.
rescode task_callback(task_rec& task, int32_t where) noexcept;

// task_pollbreak: trm_user_break once a break was requested, and from then on until it is reset; ok;
// err_thread_mutex_lock.
rescode task_pollbreak(task_rec& task) noexcept;
// task_resetbreaks: before a run: forgets the breaks so far and the times of the callback.
void task_resetbreaks(task_rec& task) noexcept;
// task_leavebreaks: after a run: stops listening to the console, if polling had begun it.
void task_leavebreaks(task_rec& task) noexcept;
