// Clean-up registries and the exit handler through which fatal conditions end the process.
#pragma once

extern "C" {

using vex_cleanup_function = void (*)(void* argument);
using vex_exit_handler = void (*)(int code);

// At most 32 entries; a 33rd ends the process through the exit handler with code 3.
void vex_serv_core_register_cleanup(vex_cleanup_function function, void* argument);
// Runs the entries in reverse order of registration, removing each before calling it.
void vex_serv_core_cleanup();
// The same for per-thread data.
void vex_serv_thr_register_cleanup(vex_cleanup_function function, void* argument);
void vex_serv_thr_cleanup();

void vex_serv_set_exit_handler(vex_exit_handler handler);
// Returns only when an installed handler does.
void vex_serv_exit(int code);

// Device destructors, at most 2.
int vex_serv_core_register_sycl_destructor(void (*function)());
void vex_serv_call_sycl_destructors();
void vex_serv_core_reset_sycl_destructors();

}
