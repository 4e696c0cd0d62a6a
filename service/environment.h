// The one reader of environment variables.
#pragma once

extern "C" {

// Copies the value of `name` into buffer[capacity]. Returns its length when it fits (length < capacity);
// minus its length, with an empty buffer, when it does not; 0 with an empty buffer when it is unset or empty.
// A value is measured up to 4096 characters: of a longer one only these are seen. Without a buffer (null, or
// no capacity) nothing is written and a value that is not empty does not fit.
int vex_serv_getenv(const char* name, char* buffer, int capacity);

// While the mode is positive only QOR_BLAS_COMPUTE_MODE, HCX_LD_LIBRARY_PATH, LD_LIBRARY_PATH, VEXROOT and
// LANG are answered, and every other variable is reported unset. 0 from the start.
int vex_serv_get_envmode_variable();
void vex_serv_set_envmode_variable(int mode);
}
