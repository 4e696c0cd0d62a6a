// The progress callback.
#pragma once

#include "service/types.h"

extern "C" {

// thread and step by reference, stage name (name_length characters); non-zero asks the routine to stop.
using vex_progress_callback = int (*)(const int* thread, const int* step, const char* stage, vex_int name_length);

// 0 when no callback is installed, else its answer.
int vex_serv_progress(const int* thread, const int* step, const char* stage, vex_int name_length);

vex_progress_callback vex_serv_set_progress(vex_progress_callback callback);
void vex_serv_set_progress_interface(vex_progress_callback callback);

int cdecl_progress(const int* thread, const int* step, const char* stage, vex_int name_length);

}
