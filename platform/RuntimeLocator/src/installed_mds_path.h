#pragma once

#include <filesystem>

namespace QV::RuntimeLocator {

/// Where the runtime is, or would be, installed; one source for each system. @throws std::system_error
std::filesystem::path installed_mds_path();

} // namespace QV::RuntimeLocator
