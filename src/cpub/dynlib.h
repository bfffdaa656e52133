// Libraries loaded at run time by file name.
#pragma once

// dynlib_open: looks beside the file that this code was loaded from, then where the loader looks.
// Null when there is none, or none that can be loaded. It is closed with dynlib_close.
void* dynlib_open(const char* filename) noexcept;
void dynlib_close(void* library) noexcept;
// dynlib_find: the address of an entry point; null when the library has none of that name.
void* dynlib_find(void* library, const char* name) noexcept;
