#pragma once

#include <QVSharedSupport/software_version.h>

#include <cstddef>
#include <span>
#include <string_view>

namespace QV {

/// The file version in the version resource of a module, mapped or loaded. `module` is its `HMODULE`, `name`
/// what the log calls it. A failure is logged and gives the unknown version. @throws std::bad_alloc
software_version read_module_version(void* module, std::string_view name);

/// The file version in the bytes of a version resource. A failure is logged as one of "VerQueryValueA" and
/// gives the unknown version. @throws std::bad_alloc
software_version read_version_resource(std::span<const std::byte> resource, std::string_view name);

} // namespace QV
