#pragma once

#include <windows.h>

#include <unknwn.h>

#include <memory>

namespace QV {

struct com_release {
    void operator()(IUnknown* object) const noexcept { object->Release(); }
};

/// Owns one reference of a COM object, or is empty.
template <class Interface>
using com_pointer = std::unique_ptr<Interface, com_release>;

/// What `get(address of a pointer)` hands out, for calls that return an object through their last argument;
/// empty if they fail, or hand out nothing.
template <class Interface, class Function>
com_pointer<Interface> com_result(Function get) {
    Interface* object = nullptr;
    const HRESULT result = get(&object);
    com_pointer<Interface> owner(object);
    if (FAILED(result)) owner.reset();
    return owner;
}

} // namespace QV
