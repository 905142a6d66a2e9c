#include "installed_mds_path.h"

#include <system_error>

namespace QV::RuntimeLocator {

std::filesystem::path installed_mds_path() {
    throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory), "get_mds_path");
}

} // namespace QV::RuntimeLocator
