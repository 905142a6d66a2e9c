#include "system_module.h"

const char* const test::system_module = "kernel32.dll";
const char* const test::system_function = "GetTickCount64";
const char* const test::missing_module_call = "LoadLibraryExW";
const char* const test::missing_function_call = "GetProcAddress";
