// The standard error handler and its replaceable hook.
#pragma once

#include "service/types.h"

extern "C" {

// routine name (name_length characters), pointer to the error code, length of the name. Only the low 32 bits of
// the length are looked at, so that callers with either width of hidden length are served.
using vex_xerbla_handler = void (*)(const char* name, const vex_int* code, vex_int name_length);

void vex_serv_xerbla(const char* name, const vex_int* code, vex_int name_length);
void vex_serv_default_xerbla(const char* name, const vex_int* code, vex_int name_length);

// Installs a handler (null restores the default) and returns the previous one, the default if there was none.
vex_xerbla_handler vex_serv_set_xerbla(vex_xerbla_handler handler);
// Installs only when none is installed yet.
void vex_serv_set_xerbla_interface(vex_xerbla_handler handler);
void vex_set_xerbla_interface(vex_xerbla_handler handler);

// Other spellings of the same entry.
void vex_serv_iface_xerbla(const char* name, const vex_int* code, vex_int name_length);
void cdecl_xerbla(const char* name, const vex_int* code, vex_int name_length);

}
