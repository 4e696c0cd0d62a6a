// Bounded string and formatting functions.
#pragma once

#include <cstddef>
#include <cstdio>

extern "C" {

std::size_t vex_serv_strnlen_s(const char* text, std::size_t bound);
// As strtok_r, over at most *remaining characters of the text; the context is kept in *context.
char* vex_serv_strtok_s(char* text, std::size_t* remaining, const char* delimiters, char** context);
int vex_serv_snprintf_s(char* buffer, std::size_t capacity, std::size_t count, const char* format, ...);
int vex_serv_sscanf_s(const char* text, const char* format, ...);
std::FILE* vex_serv_fopen(const char* name, const char* mode);
int vex_serv_fclose(std::FILE* file);
int vex_serv_lsame(const char* a, const char* b);  // 1 when the letters agree, whatever their case

}
