// The progress callback. Picked like the error handler's receiver: the callback that the program installed,
// else the program's own vex_progress, vex_progress_, VEX_PROGRESS or VEX_PROGRESS_, else nobody.
#pragma once

#include "service/types.h"
#include "vex.h"

extern "C" {

// thread and step by reference, stage name (name_length characters, not necessarily terminated); non-zero
// asks the routine to stop. Called by whichever thread does the work, so possibly by several at a time.
using vex_progress_callback = int (*)(const int* thread, const int* step, const char* stage,
                                      vex_int name_length);

// 0 when no callback is installed, else its answer.
int vex_serv_progress(const int* thread, const int* step, const char* stage, vex_int name_length);

// Answers 0.
int vex_serv_default_progress(const int* thread, const int* step, const char* stage, vex_int name_length);

// Installs a callback (null restores the default) and returns the previous one, the default if there was
// none.
vex_progress_callback vex_serv_set_progress(vex_progress_callback callback);
// Installs only when none is installed yet. Begins a standard routine: a callback that was left by a long
// jump out of an earlier call is no longer taken to be at work in this thread.
void vex_serv_set_progress_interface(vex_progress_callback callback);

// Other spellings of vex_serv_progress: the library's own,
int cdecl_progress(const int* thread, const int* step, const char* stage, vex_int name_length);

// and, public and weak, those that a program may define itself.
typedef int vex_progress_routine(const int* thread, const int* step, const char* stage, vex_int name_length);
__attribute__((visibility("default"))) vex_progress_routine vex_progress, vex_progress_, VEX_PROGRESS,
    VEX_PROGRESS_;
}
