// The standard error handler and its replaceable hook.
//
// Every error goes to vex_serv_xerbla, which picks one receiver:
//   1. the handler that the program installed, if it installed one;
//   2. the program's own xerbla_, xerbla, XERBLA or XERBLA_, if it defines one of these standard names;
//   3. vex_serv_default_xerbla, which prints.
// The library's own entries count as no handler, so that installing one of them (the standard entry points
// install cdecl_xerbla) leads neither round in a circle nor to a second report. A receiver that reports on,
// to the library or to another spelling, gets the default handler.
#pragma once

#include "service/types.h"
#include "vex.h"

extern "C" {

// routine name (name_length characters, not necessarily terminated), pointer to the error code, length of the
// name. Only the low 32 bits of the length are looked at, so that callers with either width of hidden length
// are served.
using vex_xerbla_handler = void (*)(const char* name, const vex_int* code, vex_int name_length);

// Nothing happens when the name or the code is null.
void vex_serv_xerbla(const char* name, const vex_int* code, vex_int name_length);

// Prints an empty line and a message on standard output. Code 1000: no workspace; 1001: incompatible optional
// parameters; 1102: no work memory; 1225: no coprocessor; another positive code: the number of a wrong
// parameter; zero or negative: minus the number of an internal condition. At most 20 characters of the name
// are shown. Nothing is printed for a null name or code or a negative length.
void vex_serv_default_xerbla(const char* name, const vex_int* code, vex_int name_length);

// Installs a handler (null restores the default) and returns the previous one, the default if there was none.
vex_xerbla_handler vex_serv_set_xerbla(vex_xerbla_handler handler);
// Installs only when none is installed yet.
void vex_serv_set_xerbla_interface(vex_xerbla_handler handler);
// The same, for the beginning of a standard routine: a handler that was left by a long jump out of an earlier
// call is no longer taken to be at work in this thread.
void vex_set_xerbla_interface(vex_xerbla_handler handler);

// Other spellings of the same entry, for the library itself.
void vex_serv_iface_xerbla(const char* name, const vex_int* code, vex_int name_length);
void cdecl_xerbla(const char* name, const vex_int* code, vex_int name_length);

// And for the world outside, public and weak: a program that defines one of them replaces it. These read only
// the low 32 bits of the code, so that callers with either width of integer are served.
typedef void vex_xerbla_routine(const char* name, const vex_int* code, vex_int name_length);
__attribute__((visibility("default"))) vex_xerbla_routine xerbla, xerbla_, XERBLA, XERBLA_;
}
