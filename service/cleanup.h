// Clean-up registries and the exit handler through which fatal conditions end the process.
#pragma once

#include "vex.h"

extern "C" {

using vex_cleanup_function = void (*)(void* argument);
using vex_exit_handler = void (*)(int code);

// At most 32 entries; a 33rd ends the process through the exit handler with code 3 (and is dropped if the
// handler returns). A null function is ignored.
void vex_serv_core_register_cleanup(vex_cleanup_function function, void* argument);
// Runs the entries in reverse order of registration, removing each before calling it. An entry may register
// others, which then run next, or clean up itself. Runs at the end of the process too, after the per-thread
// list.
void vex_serv_core_cleanup();
// The same for per-thread data.
void vex_serv_thr_register_cleanup(vex_cleanup_function function, void* argument);
void vex_serv_thr_cleanup();

// Null restores the end of the process through exit().
void vex_serv_set_exit_handler(vex_exit_handler handler);
// Returns only when an installed handler does.
void vex_serv_exit(int code);

// Device destructors, at most 2: returns 0, or 1 when the list is full or the function null.
int vex_serv_core_register_sycl_destructor(void (*function)());
// Calls them in the order of registration; they stay listed until the list is emptied.
void vex_serv_call_sycl_destructors();
void vex_serv_core_reset_sycl_destructors();
}

namespace vex::service {

// For a program's start: prints message 1 and ends the process through the exit handler with code 2 when the
// working directory cannot be determined (it was removed, or a directory above it cannot be read).
void require_working_directory();

}  // namespace vex::service
