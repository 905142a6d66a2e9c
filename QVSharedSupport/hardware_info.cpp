#include "hardware_info.h"

#include "com_owners.h"
#include "utf.h"

#include <wbemcli.h>

#include <memory>
#include <string>
#include <vector>

namespace QV {
namespace {

/// Owns a BSTR, or is empty.
using com_string = std::unique_ptr<OLECHAR, decltype(com_calls::free_string)>;

com_string make_string(const com_calls& calls, const OLECHAR* text) {
    return com_string(calls.make_string(text), calls.free_string);
}

/// A VARIANT that is cleared when it goes.
class variant {
public:
    explicit variant(const com_calls& calls) noexcept : calls_(calls) { VariantInit(&value_); }
    variant(const variant&) = delete;
    variant& operator=(const variant&) = delete;
    ~variant() { calls_.clear_variant(&value_); }

    VARIANT* address() noexcept { return &value_; }
    [[nodiscard]] bool is_string() const noexcept { return value_.vt == VT_BSTR; }
    /// The string in UTF-8. @throws std::bad_alloc
    [[nodiscard]] std::string text() const {
        const std::u16string units(value_.bstrVal, value_.bstrVal + SysStringLen(value_.bstrVal));
        return utf::to_utf8(units, utf::mode::lenient);
    }

private:
    const com_calls& calls_;
    VARIANT value_;
};

/// COM on the calling thread, as long as it lives.
class com_scope {
public:
    explicit com_scope(const com_calls& calls) noexcept
        : calls_(calls), ready_(SUCCEEDED(calls.initialize(nullptr))) {}
    com_scope(const com_scope&) = delete;
    com_scope& operator=(const com_scope&) = delete;
    ~com_scope() {
        if (ready_) calls_.uninitialize();
    }

    explicit operator bool() const noexcept { return ready_; }

private:
    const com_calls& calls_;
    bool ready_;
};

com_pointer<IWbemServices> connect(const com_calls& calls) {
    const auto locator = com_result<IWbemLocator>([&](IWbemLocator** object) {
        void* created = nullptr;
        const HRESULT result =
            calls.create_instance(CLSID_WbemLocator, nullptr, CLSCTX_ALL, IID_IWbemLocator, &created);
        *object = static_cast<IWbemLocator*>(created);
        return result;
    });
    const com_string name = make_string(calls, L"root\\cimv2");
    if (!locator || !name) return nullptr;
    auto services = com_result<IWbemServices>([&](IWbemServices** object) {
        return locator->ConnectServer(name.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, object);
    });
    if (!services) return nullptr;
    if (FAILED(calls.set_proxy_blanket(services.get(), RPC_C_AUTHN_DEFAULT, RPC_C_AUTHZ_DEFAULT,
                                       COLE_DEFAULT_PRINCIPAL, RPC_C_AUTHN_LEVEL_DEFAULT,
                                       RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE)))
        return nullptr;
    return services;
}

com_pointer<IEnumWbemClassObject> run_query(const com_calls& calls, IWbemServices& services) {
    const com_string language = make_string(calls, L"WQL");
    const com_string query = make_string(calls, L"select Manufacturer,Model from Win32_ComputerSystem");
    if (!language || !query) return nullptr;
    return com_result<IEnumWbemClassObject>([&](IEnumWbemClassObject** object) {
        return services.ExecQuery(language.get(), query.get(),
                                  WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, object);
    });
}

com_pointer<IWbemClassObject> next_row(IEnumWbemClassObject& rows) {
    return com_result<IWbemClassObject>([&](IWbemClassObject** object) {
        ULONG count = 0;
        return rows.Next(static_cast<LONG>(WBEM_INFINITE), 1, object, &count);
    });
}

void read_property(const com_calls& calls, IWbemClassObject& row, const wchar_t* name,
                   std::vector<std::string>& texts) {
    variant value(calls);
    if (SUCCEEDED(row.Get(name, 0, value.address(), nullptr, nullptr)) && value.is_string())
        texts.push_back(value.text());
}

std::string first_of(const std::vector<std::string>& texts) {
    return texts.empty() ? std::string() : texts.front();
}

hardware_info query(const com_calls& calls) {
    const auto services = connect(calls);
    if (!services) return {};
    const auto rows = run_query(calls, *services);
    if (!rows) return {};
    std::vector<std::string> manufacturers;
    std::vector<std::string> models;
    while (const auto row = next_row(*rows)) {
        read_property(calls, *row, L"Manufacturer", manufacturers);
        read_property(calls, *row, L"Model", models);
    }
    return {first_of(manufacturers), first_of(models)};
}

} // namespace

const com_calls system_com_calls = {&CoInitialize,   &CoUninitialize, &CoCreateInstance, &CoSetProxyBlanket,
                                    &SysAllocString, &SysFreeString,  &VariantClear};

hardware_info query_hardware(const com_calls& calls) noexcept {
    const com_scope com(calls);
    if (!com) return {};
    try {
        return query(calls);
    } catch (...) {
        // Only want of memory can bring it here; who asks counts on an answer, if an empty one.
        return {};
    }
}

} // namespace QV
