#pragma once

#include <concepts>
#include <functional>
#include <type_traits>
#include <utility>

namespace QV {

template <class Signature>
class oneshot_function;

namespace detail {

// Function types that may hold nothing.
template <class>
inline constexpr bool can_be_empty = false;
template <class Result, class... Arguments>
inline constexpr bool can_be_empty<Result (*)(Arguments...)> = true;
template <class Signature>
inline constexpr bool can_be_empty<std::function<Signature>> = true;
template <class Signature>
inline constexpr bool can_be_empty<oneshot_function<Signature>> = true;

} // namespace detail

/// A move-only function that can be called once: the form in which completion handlers cross into the
/// library.
///
///     QV::oneshot_function<void(int)> handler = [p = std::make_unique<int>(1)](int n) { *p += n; };
///     handler(2); // `handler` is empty from here on, whatever the call did
///
/// It owns one heap object whose two virtual operations, destroy and invoke, were compiled where the function
/// was made, so the module that allocated it also frees it. A call empties the wrapper before the function
/// runs: a function may therefore destroy the object that stored it. Constructing from an empty
/// `std::function`, a null function pointer or an empty `oneshot_function` gives an empty one.
///
/// Thread safety: as for `std::unique_ptr`; a value may be made on one thread and called on another.
template <class Result, class... Arguments>
class oneshot_function<Result(Arguments...)> {
public:
    oneshot_function() noexcept = default;
    oneshot_function(std::nullptr_t) noexcept {}

    /// Takes the function over. @throws std::bad_alloc, and whatever moving the function throws
    template <class Function>
    requires(!std::same_as<std::remove_cvref_t<Function>, oneshot_function> &&
             std::is_invocable_r_v<Result, std::decay_t<Function>, Arguments...>)
        oneshot_function(Function&& function) {
        using stored = std::decay_t<Function>;
        if constexpr (detail::can_be_empty<std::remove_cvref_t<Function>>) {
            if (!static_cast<bool>(function)) return;
        }
        target_ = new target_of<stored>(std::in_place, std::forward<Function>(function));
    }

    oneshot_function(oneshot_function&& other) noexcept : target_(std::exchange(other.target_, nullptr)) {}
    oneshot_function& operator=(oneshot_function&& other) noexcept {
        oneshot_function(std::move(other)).swap(*this);
        return *this;
    }
    oneshot_function(const oneshot_function&) = delete;
    oneshot_function& operator=(const oneshot_function&) = delete;
    ~oneshot_function() {
        if (target_) target_->destroy();
    }

    /// Calls the function and destroys it, also when it throws. @throws std::bad_function_call when empty
    Result operator()(Arguments... arguments) {
        if (!target_) throw std::bad_function_call();
        const oneshot_function called(std::move(*this));
        return called.target_->invoke(std::forward<Arguments>(arguments)...);
    }

    /// Whether there is a function to call.
    [[nodiscard]] explicit operator bool() const noexcept { return target_ != nullptr; }

    /// The address of what it owns, null when empty: tells apart functions that exist at the same time.
    [[nodiscard]] const void* target_address() const noexcept { return target_; }

    void swap(oneshot_function& other) noexcept { std::swap(target_, other.target_); }
    friend void swap(oneshot_function& a, oneshot_function& b) noexcept { a.swap(b); }

private:
    // No virtual destructor: the table holds exactly destroy and invoke, whatever the compiler.
    class target {
    public:
        virtual void destroy() noexcept = 0;
        virtual Result invoke(Arguments... arguments) = 0;

    protected:
        ~target() = default;
    };

    template <class Function>
    class target_of final : public target {
    public:
        template <class Source>
        target_of(std::in_place_t, Source&& source) : function_(std::forward<Source>(source)) {}
        void destroy() noexcept override { delete this; }
        Result invoke(Arguments... arguments) override {
            if constexpr (std::is_void_v<Result>) // whatever it returns
                std::invoke(std::move(function_), std::forward<Arguments>(arguments)...);
            else
                return std::invoke(std::move(function_), std::forward<Arguments>(arguments)...);
        }

    private:
        Function function_;
    };

    target* target_ = nullptr;
};

} // namespace QV
