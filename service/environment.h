// The one reader of environment variables.
#pragma once

extern "C" {

// Copies the value of `name` into buffer[capacity]. Returns its length when it fits (length < capacity); minus
// its length, with an empty buffer, when it does not; 0 with an empty buffer when it is unset.
int vex_serv_getenv(const char* name, char* buffer, int capacity);

// While the mode is positive only a handful of variables is answered and every other one is reported unset.
int vex_serv_get_envmode_variable();
void vex_serv_set_envmode_variable(int mode);

}
