#include "system_module.h"

const char* const test::system_module = "libc.so.6";
const char* const test::system_function = "getpid";
const char* const test::missing_module_call = "dlopen";
const char* const test::missing_function_call = "dlsym";
