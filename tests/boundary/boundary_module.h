#pragma once

#include <CFAdapters/CFAdapters.h>

#include <boost/system/error_code.hpp>

#include <string>
#include <system_error>
#include <typeinfo>

#if !defined(_WIN32)
#define BOUNDARY_EXPORT __attribute__((visibility("default")))
#elif defined(boundary_module_EXPORTS)
#define BOUNDARY_EXPORT __declspec(dllexport)
#else
#define BOUNDARY_EXPORT __declspec(dllimport)
#endif

/// A third module beside the library and the program: what each of them makes must be known to the others.
namespace boundary_module {

BOUNDARY_EXPORT boost::system::error_code asio_end_of_file();
BOUNDARY_EXPORT boost::system::error_code operation_aborted();
BOUNDARY_EXPORT boost::system::error_code failed_to_parse();
BOUNDARY_EXPORT std::error_code standard_code();
BOUNDARY_EXPORT bool knows_end_of_file(const boost::system::error_code& code);
BOUNDARY_EXPORT const boost::system::error_category* library_category();

[[noreturn]] BOUNDARY_EXPORT void throw_cf_error();
[[noreturn]] BOUNDARY_EXPORT void throw_system_error();
[[noreturn]] BOUNDARY_EXPORT void throw_from_the_library();
BOUNDARY_EXPORT const std::type_info& type_of_cf_error();

BOUNDARY_EXPORT CF::String make_string(const std::string& text);
BOUNDARY_EXPORT CFStringRef raw_error_domain();

} // namespace boundary_module
