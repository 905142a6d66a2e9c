#include "debug_engine.h"

#include "com_owners.h"
#include "utf.h"

#include <QVPlatformCompatibility/win32_error.h>
#include <QVPlatformCompatibility/win32_module.h>

// The interface identifiers are in no library: this makes them here.
#include <initguid.h>

#include <dbgeng.h>

#include <algorithm>
#include <array>

namespace QV {
namespace {

using create_function = decltype(DebugCreate);

/// The engine's first function; null where the engine is missing.
create_function* find_engine() noexcept {
    // Loaded when first asked for, because it is large, and never given back, because loading it is slow.
    static create_function* const create = []() noexcept -> create_function* {
        try {
            static const auto& engine = *new win32_module("dbgeng.dll");
            return engine.find_function<create_function>("DebugCreate");
        } catch (...) {
            return nullptr;
        }
    }();
    return create;
}

template <class Interface>
com_pointer<Interface> query(IUnknown& object, REFIID identifier) {
    return com_result<Interface>([&](Interface** found) {
        void* asked = nullptr;
        const HRESULT result = object.QueryInterface(identifier, &asked);
        *found = static_cast<Interface*>(asked);
        return result;
    });
}

/// Text in the system's code page as UTF-8.
std::string to_utf8(const char* text) {
    const int units = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (units <= 1) return {};
    std::wstring wide(static_cast<std::size_t>(units), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), units);
    wide.pop_back(); // the NUL
    return utf::to_utf8(std::u16string(wide.begin(), wide.end()), utf::mode::lenient);
}

} // namespace

struct debug_engine::session {
    com_pointer<IDebugClient> client;
    com_pointer<IDebugControl> control;
    com_pointer<IDebugSymbols> symbols;

    /// Whether the engine now looks at this process.
    [[nodiscard]] bool attach() const {
        // As an onlooker, without stopping any thread: the calling one would be among them.
        return SUCCEEDED(
                   client->AttachProcess(0, GetCurrentProcessId(),
                                         DEBUG_ATTACH_NONINVASIVE | DEBUG_ATTACH_NONINVASIVE_NO_SUSPEND)) &&
               SUCCEEDED(control->WaitForEvent(DEBUG_WAIT_DEFAULT, INFINITE));
    }
};

debug_engine::debug_engine() {
    create_function* const create = find_engine();
    if (create == nullptr) return;
    auto made = std::make_unique<session>();
    made->client = com_result<IDebugClient>([&](IDebugClient** object) {
        void* created = nullptr;
        const HRESULT result = create(IID_IDebugClient, &created);
        *object = static_cast<IDebugClient*>(created);
        return result;
    });
    if (!made->client) return;
    made->control = query<IDebugControl>(*made->client, IID_IDebugControl);
    made->symbols = query<IDebugSymbols>(*made->client, IID_IDebugSymbols);
    if (made->control && made->symbols && made->attach()) session_ = std::move(made);
}

debug_engine::~debug_engine() {
    if (session_) session_->client->DetachProcesses();
}

std::optional<symbol> debug_engine::find(std::uintptr_t address) const {
    if (!session_) return std::nullopt;
    // Longer names are cut by the engine.
    std::array<char, 2048> name = {};
    ULONG64 displacement = 0;
    const HRESULT result = session_->symbols->GetNameByOffset(
        address, name.data(), static_cast<ULONG>(name.size()), nullptr, &displacement);
    if (FAILED(result) || name.front() == '\0') return std::nullopt;
    name.back() = '\0';
    return symbol{to_utf8(name.data()), displacement};
}

} // namespace QV
