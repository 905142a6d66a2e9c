// All modules share the operator new of the C++ runtime's DLL, and that takes its memory from an imported
// malloc: here its import table is made to lead to a function of this program's.
#include "memory_watch.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace test {
namespace {

using allocation_function = void* (*)(std::size_t);

std::atomic<memory_watch*> current = nullptr;
std::atomic<DWORD> watched_thread = 0;
allocation_function original = nullptr;

void* watched_malloc(std::size_t size) {
    if (GetCurrentThreadId() == watched_thread && !current.load()->asks(size)) return nullptr;
    return original(size);
}

/// The place in the import table of a module where the address of `name` stands.
allocation_function* import_of(HMODULE module, const char* name) {
    auto* const base = reinterpret_cast<std::byte*>(module);
    const auto at = [base](std::uint64_t offset) { return static_cast<void*>(base + offset); };
    const auto* const dos = static_cast<const IMAGE_DOS_HEADER*>(at(0));
    const auto* const headers =
        static_cast<const IMAGE_NT_HEADERS*>(at(static_cast<std::uint64_t>(dos->e_lfanew)));
    const DWORD table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* dll = static_cast<const IMAGE_IMPORT_DESCRIPTOR*>(at(table)); dll->Name != 0; ++dll) {
        const auto* wanted = static_cast<const IMAGE_THUNK_DATA*>(at(dll->OriginalFirstThunk));
        auto* address = static_cast<IMAGE_THUNK_DATA*>(at(dll->FirstThunk));
        for (; wanted->u1.AddressOfData != 0; ++wanted, ++address) {
            if (IMAGE_SNAP_BY_ORDINAL(wanted->u1.Ordinal)) continue;
            const auto* const entry = static_cast<const IMAGE_IMPORT_BY_NAME*>(at(wanted->u1.AddressOfData));
            if (std::strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0)
                return reinterpret_cast<allocation_function*>(&address->u1.Function);
        }
    }
    return nullptr;
}

void redirect_malloc() {
    const HMODULE runtime = GetModuleHandleW(L"libstdc++-6.dll");
    allocation_function* const place = runtime == nullptr ? nullptr : import_of(runtime, "malloc");
    if (place == nullptr) throw std::logic_error("the C++ runtime takes its memory from elsewhere");
    DWORD before = 0;
    if (!VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &before))
        throw std::logic_error("the import table cannot be changed");
    original = *place;
    *place = watched_malloc;
    VirtualProtect(place, sizeof(*place), before, &before);
}

} // namespace

memory_watch::memory_watch(std::function<bool(std::size_t)> grant) : grant_(std::move(grant)) {
    if (original == nullptr) redirect_malloc();
    current = this;
    watched_thread = GetCurrentThreadId();
}

memory_watch::~memory_watch() {
    watched_thread = 0;
    current = nullptr;
}

} // namespace test
