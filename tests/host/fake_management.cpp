#include "fake_management.h"

#include <gtest/gtest.h>

#include <wbemcli.h>

#include <utility>

namespace fake_management {
namespace {

script playing;
counts out;

HRESULT answer(step what) {
    return playing.failing == what ? E_FAIL : S_OK;
}

/// A COM object that counts its references with all others.
template <class Interface>
class counted_object : public Interface {
public:
    counted_object() { ++out.objects; }
    virtual ~counted_object() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override {
        ++out.objects;
        return ++references_;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        --out.objects;
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

private:
    ULONG references_ = 1;
};

/// Hands `Object` out as the answer of a step.
template <class Object, class Interface, class... Arguments>
HRESULT hand_out(step what, Interface** result, Arguments&&... arguments) {
    const HRESULT how = answer(what);
    *result = nullptr;
    if (SUCCEEDED(how) || playing.hands_out_despite_failure)
        *result = new Object(std::forward<Arguments>(arguments)...);
    return how;
}

class fake_row final : public counted_object<IWbemClassObject> {
public:
    explicit fake_row(row what) : row_(std::move(what)) {}

    HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG, VARIANT* value, CIMTYPE*, LONG*) override {
        const bool is_model = std::wstring(name) == L"Model";
        EXPECT_TRUE(is_model || std::wstring(name) == L"Manufacturer");
        const HRESULT how = answer(is_model ? step::read_model : step::read_manufacturer);
        if (FAILED(how) && !playing.hands_out_despite_failure) return how;
        fill(*value, is_model ? row_.model : row_.manufacturer);
        return how;
    }

    HRESULT STDMETHODCALLTYPE GetQualifierSet(IWbemQualifierSet**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Put(LPCWSTR, LONG, VARIANT*, CIMTYPE) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EndEnumeration() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR, IWbemQualifierSet**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetObjectText(LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG, IWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SpawnInstance(LONG, IWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CompareTo(LONG, IWbemClassObject*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR, LONG, IWbemClassObject**, IWbemClassObject**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE NextMethod(LONG, BSTR*, IWbemClassObject**, IWbemClassObject**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE EndMethodEnumeration() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }

private:
    static void fill(VARIANT& value, const property& what) {
        if (!what.text && what.type == VT_EMPTY) return;
        ++out.variants;
        if (what.text) {
            value.vt = VT_BSTR;
            value.bstrVal = SysAllocStringLen(what.text->data(), static_cast<UINT>(what.text->size()));
            return;
        }
        value.vt = what.type;
        // A value that holds a reference shows whether it is cleared.
        if (what.type == VT_UNKNOWN) value.punkVal = new counted_object<IUnknown>();
        if (what.type == VT_I4) value.lVal = 7;
        if (what.type == VT_BSTR) value.bstrVal = nullptr;
    }

    row row_;
};

class fake_rows final : public counted_object<IEnumWbemClassObject> {
public:
    HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** object,
                                   ULONG* returned) override {
        EXPECT_EQ(timeout, static_cast<LONG>(WBEM_INFINITE));
        EXPECT_EQ(count, 1U);
        *object = nullptr;
        *returned = 0;
        const auto index = static_cast<std::size_t>(out.rows_read);
        if (index < playing.rows.size()) {
            *object = new fake_row(playing.rows[index]);
            *returned = 1;
            ++out.rows_read;
            return WBEM_S_NO_ERROR;
        }
        if (playing.failing != step::next_row) return WBEM_S_FALSE;
        if (playing.hands_out_despite_failure) *object = new fake_row({{L"Wrong"}, {L"Wrong"}});
        return E_FAIL;
    }

    HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE NextAsync(ULONG, IWbemObjectSink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IEnumWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG) override { return E_NOTIMPL; }
};

// The parameters of what is never called.
using context = IWbemContext*;
using sink = IWbemObjectSink*;
using call_result = IWbemCallResult**;

class fake_services final : public counted_object<IWbemServices> {
public:
    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG, context,
                                        IEnumWbemClassObject** rows) override {
        EXPECT_STREQ(language, L"WQL");
        EXPECT_STREQ(query, L"select Manufacturer,Model from Win32_ComputerSystem");
        return hand_out<fake_rows>(step::query, rows);
    }

    HRESULT STDMETHODCALLTYPE OpenNamespace(const BSTR, LONG, context, IWbemServices**,
                                            call_result) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CancelAsyncCall(sink) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryObjectSink(LONG, sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetObject(const BSTR, LONG, context, IWbemClassObject**, call_result) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR, LONG, context, sink) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutClass(IWbemClassObject*, LONG, context, call_result) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutClassAsync(IWbemClassObject*, LONG, context, sink) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteClass(const BSTR, LONG, context, call_result) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteClassAsync(const BSTR, LONG, context, sink) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateClassEnum(const BSTR, LONG, context, IEnumWbemClassObject**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateClassEnumAsync(const BSTR, LONG, context, sink) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject*, LONG, context, call_result) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject*, LONG, context, sink) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR, LONG, context, call_result) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR, LONG, context, sink) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceEnum(const BSTR, LONG, context, IEnumWbemClassObject**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR, LONG, context, sink) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecQueryAsync(const BSTR, const BSTR, LONG, context, sink) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecNotificationQuery(const BSTR, const BSTR, LONG, context,
                                                    IEnumWbemClassObject**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, context,
                                                         sink) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR, const BSTR, LONG, context, IWbemClassObject*,
                                         IWbemClassObject**, call_result) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR, const BSTR, LONG, context, IWbemClassObject*,
                                              sink) override {
        return E_NOTIMPL;
    }
};

class fake_locator final : public counted_object<IWbemLocator> {
public:
    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR name, const BSTR, const BSTR, const BSTR, LONG,
                                            const BSTR, context, IWbemServices** services) override {
        EXPECT_STREQ(name, L"root\\cimv2");
        return hand_out<fake_services>(step::connect, services);
    }
};

HRESULT WINAPI initialize(void* reserved) {
    EXPECT_EQ(reserved, nullptr);
    ++out.initializations;
    if (playing.failing == step::initialize) return RPC_E_CHANGED_MODE;
    ++out.initialized;
    return playing.initialized;
}

void WINAPI uninitialize() {
    --out.initialized;
    out.objects_at_the_end = out.objects;
}

HRESULT WINAPI create_instance(REFCLSID identifier, IUnknown* outer, DWORD where, REFIID interface_identifier,
                               void** object) {
    EXPECT_TRUE(IsEqualGUID(identifier, CLSID_WbemLocator));
    EXPECT_TRUE(IsEqualGUID(interface_identifier, IID_IWbemLocator));
    EXPECT_EQ(outer, nullptr);
    EXPECT_EQ(where, static_cast<DWORD>(CLSCTX_ALL));
    IWbemLocator* locator = nullptr;
    const HRESULT how = hand_out<fake_locator>(step::create_locator, &locator);
    *object = locator;
    return how;
}

HRESULT WINAPI set_proxy_blanket(IUnknown*, DWORD authentication, DWORD authorization, OLECHAR* principal,
                                 DWORD level, DWORD impersonation, void* identity, DWORD capabilities) {
    EXPECT_EQ(authentication, RPC_C_AUTHN_DEFAULT);
    EXPECT_EQ(authorization, static_cast<DWORD>(RPC_C_AUTHZ_DEFAULT));
    EXPECT_EQ(reinterpret_cast<LONG_PTR>(principal), -1); // the default one
    EXPECT_EQ(level, static_cast<DWORD>(RPC_C_AUTHN_LEVEL_DEFAULT));
    EXPECT_EQ(impersonation, static_cast<DWORD>(RPC_C_IMP_LEVEL_IMPERSONATE));
    EXPECT_EQ(identity, nullptr);
    EXPECT_EQ(capabilities, static_cast<DWORD>(EOAC_NONE));
    return answer(step::set_proxy_blanket);
}

int strings_made = 0;

BSTR WINAPI make_string(const OLECHAR* text) {
    constexpr step steps[] = {step::first_string, step::second_string, step::third_string};
    if (playing.failing == steps[strings_made++]) return nullptr;
    ++out.strings;
    return SysAllocString(text);
}

void WINAPI free_string(BSTR text) {
    --out.strings;
    SysFreeString(text);
}

HRESULT WINAPI clear_variant(VARIANTARG* value) {
    if (value->vt != VT_EMPTY) --out.variants;
    return VariantClear(value);
}

} // namespace

void play(script what) {
    playing = std::move(what);
    out = {};
    strings_made = 0;
}

const counts& counted() {
    return out;
}

const QV::com_calls calls = {&initialize,  &uninitialize, &create_instance, &set_proxy_blanket,
                             &make_string, &free_string,  &clear_variant};

} // namespace fake_management
