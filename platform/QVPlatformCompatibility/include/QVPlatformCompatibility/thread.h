#pragma once

#include <QVPlatformCompatibility/export.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

namespace QV {

/// A thread of the system, owned by this object until it is joined or detached.
///
/// It differs from `std::thread` in what the library builds on: `get_id()` is the system's own number (on
/// Windows `GetThreadId`), 0 for none, and it is known as soon as the thread was started.
///
///     QV::thread worker([state] { state->run(); });
///     ...
///     worker.join();
///
/// The function and its arguments are copied or moved into the thread, and destroyed there before it ends:
/// after `join()` nothing of them is left. An exception that leaves the function ends the process
/// (`std::terminate`).
///
/// Thread safety: one object is used from one thread at a time. Lifetime: destroying, or assigning to, an
/// object that is still `joinable()` ends the process, because neither waiting nor letting go is right for
/// every caller.
class thread {
public:
    /// The system's number of a thread; 0 is no thread. The system may give a number again once a thread has
    /// ended.
    using id = unsigned long;
    /// On Windows the `HANDLE`, elsewhere the `pthread_t`.
    using native_handle_type = std::uintptr_t;

    /// Without a thread.
    thread() noexcept = default;

    /// Starts a thread that calls `function(arguments...)`, see `start_thread`.
    template <class Function, class... Arguments>
    requires(!std::is_same_v<std::remove_cvref_t<Function>, thread>) explicit thread(
        Function&& function, Arguments&&... arguments) {
        start_thread(std::forward<Function>(function), std::forward<Arguments>(arguments)...);
    }

    thread(const thread&) = delete;
    thread& operator=(const thread&) = delete;
    /// Takes the thread over; `other` is left without one.
    QVPLATFORMCOMPATIBILITY_EXPORT thread(thread&& other) noexcept;
    /// Takes the thread over; ends the process if this object is still joinable.
    QVPLATFORMCOMPATIBILITY_EXPORT thread& operator=(thread&& other) noexcept;
    /// Ends the process (`abort_destroy`) if the thread was neither joined nor detached.
    QVPLATFORMCOMPATIBILITY_EXPORT ~thread();

    /// Starts a thread that calls `function(arguments...)` with decayed copies, as `std::thread` does.
    /// @throws std::system_error `std::errc::invalid_argument` if this object has a thread already;
    ///     `win32_error` if the system refuses a new one (then nothing has run and the copies are destroyed);
    ///     std::bad_alloc; and what copying the arguments throws.
    template <class Function, class... Arguments>
    void start_thread(Function&& function, Arguments&&... arguments) {
        static_assert(std::is_invocable_v<std::decay_t<Function>, std::decay_t<Arguments>...>,
                      "the function cannot be called with decayed copies of the arguments");
        using call_type = call<std::decay_t<Function>, std::decay_t<Arguments>...>;
        start(std::make_unique<call_type>(std::forward<Function>(function),
                                          std::forward<Arguments>(arguments)...));
    }

    /// Whether this object has a thread that is to be joined or detached.
    bool joinable() const noexcept { return id_ != 0; }
    /// The number of the thread; 0 if this object has none.
    id get_id() const noexcept { return id_; }
    /// The system's handle; it belongs to this object. 0 without a thread.
    native_handle_type native_handle() const noexcept { return handle_; }

    /// Blocks until the thread has ended; afterwards this object has none.
    /// @throws std::system_error `std::errc::invalid_argument` without a thread,
    ///         `std::errc::resource_deadlock_would_occur` on the thread itself; `win32_error` if waiting
    ///         fails.
    QVPLATFORMCOMPATIBILITY_EXPORT void join();
    /// Lets the thread run on by itself; afterwards this object has none.
    /// @throws std::system_error `std::errc::invalid_argument` without a thread.
    QVPLATFORMCOMPATIBILITY_EXPORT void detach();

    /// The number of the calling thread; never 0. Comparable with `get_id()`.
    QVPLATFORMCOMPATIBILITY_EXPORT static id current_id() noexcept;

    /// Says on the standard error stream that a joinable thread was destroyed, and ends the process.
    [[noreturn]] QVPLATFORMCOMPATIBILITY_EXPORT static void abort_destroy() noexcept;

private:
    /// What the thread is to do. Its destructor is virtual so that the module that made it also frees it.
    struct routine {
        virtual void run() = 0;
        virtual ~routine() = default;
    };

    template <class Function, class... Arguments>
    struct call final : routine {
        template <class... Values>
        explicit call(Values&&... values) : parts(std::forward<Values>(values)...) {}
        void run() override {
            std::apply([](auto&... part) { std::invoke(std::move(part)...); }, parts);
        }
        std::tuple<Function, Arguments...> parts;
    };

    struct system; // the two sides of it, in the sources

    QVPLATFORMCOMPATIBILITY_EXPORT void start(std::unique_ptr<routine> work);

    native_handle_type handle_ = 0;
    id id_ = 0;
};

} // namespace QV
