#pragma once

#include <QVSharedSupport/host_info.h>

#include <windows.h>

#include <objbase.h>
#include <oleauto.h>

namespace QV {

/// The calls into COM, so that a test can answer with objects of its own, let each call fail, and count what
/// is given back.
struct com_calls {
    decltype(&CoInitialize) initialize;
    decltype(&CoUninitialize) uninitialize;
    decltype(&CoCreateInstance) create_instance;
    decltype(&CoSetProxyBlanket) set_proxy_blanket;
    decltype(&SysAllocString) make_string;
    decltype(&SysFreeString) free_string;
    decltype(&VariantClear) clear_variant;
};

/// The calls of the system.
extern const com_calls system_com_calls;

/// `get_hardware_info` by these calls.
hardware_info query_hardware(const com_calls& calls) noexcept;

} // namespace QV
