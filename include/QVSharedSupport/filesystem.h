#pragma once

#include <boost/filesystem/path.hpp>

/// The library's file names.
namespace QV::filesystem {

/// A path in the system's own characters: UTF-16 in `wchar_t` on Windows.
using boost::filesystem::path;

} // namespace QV::filesystem
