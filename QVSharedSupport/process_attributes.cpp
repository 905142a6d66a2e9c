#include "process_attributes.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <windows.h>

namespace QV {
namespace {

LPPROC_THREAD_ATTRIBUTE_LIST as_list(void* memory) noexcept {
    return static_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory);
}

} // namespace

process_attributes::process_attributes(std::span<void*> handles) {
    constexpr DWORD attributes = 1;
    SIZE_T bytes = 0;
    // Always fails: it only tells the size.
    InitializeProcThreadAttributeList(nullptr, attributes, 0, &bytes);
    auto list = std::make_unique<std::byte[]>(bytes);
    if (!InitializeProcThreadAttributeList(as_list(list.get()), attributes, 0, &bytes))
        throw win32_error("InitializeProcThreadAttributeList");
    list_ = std::move(list);
    if (!UpdateProcThreadAttribute(as_list(get()), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                   handles.size_bytes(), nullptr, nullptr)) {
        const win32_error failure("UpdateProcThreadAttribute");
        DeleteProcThreadAttributeList(as_list(get()));
        throw failure;
    }
}

process_attributes::~process_attributes() {
    DeleteProcThreadAttributeList(as_list(get()));
}

} // namespace QV
