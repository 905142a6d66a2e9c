#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

namespace QV::SharedSupport::PowerEvents {

/// A callback that may be replaced while it runs, even by itself. Thread safety: any thread.
class callback_slot {
public:
    /// Replaces the callback; the one before is destroyed, if it does not run, before this returns.
    /// @throws std::bad_alloc
    void set(std::function<void()> callback);
    /// Calls it, if there is one. What it throws is logged as "{name} callback failed: {}".
    void call(const char* name) const noexcept;

private:
    using pointer = std::shared_ptr<const std::function<void()>>;

    mutable std::mutex mutex_; // held to copy or swap the pointer, and for nothing else
    pointer callback_;
};

/// What is told of the computer's going to sleep and waking up. Thread safety: any thread.
class power_transitions {
public:
    using clock = std::chrono::steady_clock;

    /// `now` gives the time of a transition.
    explicit power_transitions(clock::time_point (*now)() noexcept) noexcept : now_(now) {}

    callback_slot sleep;
    callback_slot wakeup;

    /// Notes the time and calls the callback: the computer is about to sleep.
    void tell_sleep() noexcept;
    /// The same: the computer has woken up.
    void tell_wakeup() noexcept;
    /// The time of the last transition of either kind.
    clock::time_point last() const noexcept { return last_.load(); }

private:
    clock::time_point (*now_)() noexcept;
    std::atomic<clock::time_point> last_ = clock::time_point();
};

} // namespace QV::SharedSupport::PowerEvents
