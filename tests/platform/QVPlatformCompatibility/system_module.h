#pragma once

/// A module that every process of the system has loaded; one source for each side.
namespace test {

extern const char* const system_module;
extern const char* const system_function;
/// The functions that the errors name.
extern const char* const missing_module_call;
extern const char* const missing_function_call;

} // namespace test
