#pragma once

#include <new>
#include <utility>

namespace QV {

/// A value that is never destroyed: threads that outlive `main` may still use it. As a static of a function
/// it is made on first use, without memory of the heap.
template <class Value>
class immortal {
public:
    template <class... Arguments>
    explicit immortal(Arguments&&... arguments) {
        ::new (static_cast<void*>(storage_)) Value(std::forward<Arguments>(arguments)...);
    }
    immortal(const immortal&) = delete;
    immortal& operator=(const immortal&) = delete;

    Value& get() noexcept { return *std::launder(reinterpret_cast<Value*>(storage_)); }

private:
    alignas(Value) unsigned char storage_[sizeof(Value)];
};

} // namespace QV
