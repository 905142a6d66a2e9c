#include <RuntimeLocator/mds_path.h>

#include "installed_mds_path.h"

#include <mutex>

namespace QV::RuntimeLocator {

namespace {

struct replacement {
    std::mutex mutex;
    std::optional<std::filesystem::path> folder;
};

// Never destroyed: other static objects may still ask while they are.
replacement& the_replacement() {
    static replacement& one = *new replacement;
    return one;
}

} // namespace

std::filesystem::path get_mds_path() {
    {
        replacement& given = the_replacement();
        const std::lock_guard lock(given.mutex);
        if (given.folder) return *given.folder;
    }
    return installed_mds_path();
}

void set_mds_path(std::optional<std::filesystem::path> folder) {
    replacement& given = the_replacement();
    const std::lock_guard lock(given.mutex);
    given.folder.swap(folder); // what it held is freed after the lock
}

} // namespace QV::RuntimeLocator
