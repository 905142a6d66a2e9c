#pragma once

#include <windows.h>

namespace QV {

/// The calls into the system that reading a module's version takes. A test puts failing ones in their places.
struct module_calls {
    decltype(&LoadLibraryExW) load_library = &LoadLibraryExW;
    decltype(&FindResourceA) find_resource = &FindResourceA;
    decltype(&LoadResource) load_resource = &LoadResource;
    decltype(&LockResource) lock_resource = &LockResource;
    decltype(&SizeofResource) sizeof_resource = &SizeofResource;
    decltype(&VerQueryValueA) query_value = &VerQueryValueA;
    decltype(&FreeLibrary) free_library = &FreeLibrary;
};

} // namespace QV
