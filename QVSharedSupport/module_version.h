#pragma once

#include <QVSharedSupport/software_version.h>

#include "module_calls.h"

#include <filesystem>
#include <string_view>

namespace QV {

/// The file version in the version resource of a module, mapped or loaded. `name` is what the log calls it. A
/// failure is logged and gives the unknown version. @throws std::bad_alloc
software_version read_module_version(HMODULE module, std::string_view name, const module_calls& calls = {});

/// The file version of a module that is not loaded, which is mapped for the while: none of its code runs, and
/// it may be one for another processor. A failure is logged and gives the unknown version.
/// @throws std::bad_alloc
software_version read_file_version(const std::filesystem::path& file, const module_calls& calls = {});

/// Logs that reading a version failed, in the words that all these failures have.
/// @throws std::bad_alloc
void log_version_failure(std::string_view call, std::string_view module);
/// The same, with a reason. @throws std::bad_alloc
void log_version_failure(std::string_view call, std::string_view module, std::string_view reason);

} // namespace QV
