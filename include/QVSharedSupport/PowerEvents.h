/// Keeping the computer awake, and learning that it goes to sleep and wakes up.
#pragma once

#include <QVSharedSupport/export.h>

#include <chrono>
#include <functional>
#include <utility>

namespace QV::SharedSupport::PowerEvents {

/// Keeps the computer awake while long device work runs.
///
///     const auto awake = QV::SharedSupport::PowerEvents::sleep_enabler::disable_sleep();
///     restore(device);
///     // leaving the scope lets the computer sleep again
///
/// Tokens are not counted: the process has one power request, which every new token sets and the end of every
/// token clears. So the first token to go lets the computer sleep, even if others are still there; hosts rely
/// on that to end the waking state from wherever the work ends. Keep one token for work that overlaps.
///
/// Nothing here throws. Each step is logged ("System", level 0), and what the system refuses is logged at
/// level 4 and otherwise ignored: the work goes on in a computer that may fall asleep.
///
/// Thread safety: tokens may be made, moved and destroyed on any threads, one thread at a time for each; the
/// process's request is set and cleared under one lock, under which the log is written too: a log sink must
/// not make or destroy tokens. Blocking: for as long as that takes.
class sleep_enabler {
public:
    /// Switches sleep off and returns the token that switches it on again. The token is active whether or not
    /// the system has agreed.
    [[nodiscard]] static sleep_enabler disable_sleep() noexcept { return disable_sleep_impl(); }

    /// Takes over; the end of `other` will do nothing.
    QV_EXPORT sleep_enabler(sleep_enabler&& other) noexcept;
    /// A token is not assigned to: what it held would end in the middle of the new one's work.
    sleep_enabler& operator=(sleep_enabler&&) = delete;
    sleep_enabler(const sleep_enabler&) = delete;
    sleep_enabler& operator=(const sleep_enabler&) = delete;
    /// Switches sleep on, unless this token was moved from.
    QV_EXPORT ~sleep_enabler();

private:
    explicit sleep_enabler(bool is_active) noexcept : active(is_active) {}

    QV_EXPORT static sleep_enabler disable_sleep_impl() noexcept;

    bool active;
};

/// Lets `callback` be called each time the computer is about to sleep, in place of the one before; an empty
/// one for none.
///
/// The first call of this or `set_wakeup_callback` starts a thread named "wakeup_checker" with a hidden
/// window, to which the system tells such things. It runs for the life of the process and keeps this library
/// loaded. Callbacks run on that thread, one at a time, with no lock held: one may set another, or itself
/// anew. What a callback throws is logged at level 4 and goes no further. Be brief: the system waits about
/// two seconds.
///
/// A callback that is replaced while it runs lives until it returns; one that is replaced otherwise is
/// destroyed before this returns. Without a desktop there can be no window: that is logged at level 4, and
/// callbacks are never called. Where the system has no notice of Modern Standby, classic sleep is still
/// reported, and level 2 says so.
///
/// Thread safety: any thread. Does not block, does not throw; if there is no memory or no thread to be had,
/// that is logged at level 4.
QV_EXPORT void set_sleep_callback(std::function<void()> callback) noexcept;

/// Lets `callback` be called each time the computer has woken up; as `set_sleep_callback`.
QV_EXPORT void set_wakeup_callback(std::function<void()> callback) noexcept;

/// When the computer last went to sleep or woke up, whichever was later; the epoch of the clock if it has
/// not since a callback was first set.
///
/// Going to sleep counts on purpose: whoever compares it with the beginning of some work sees a sleep that
/// has not ended yet. It stands on `std::chrono::steady_clock` and compares with its `now()`. Any thread;
/// does not block.
[[nodiscard]] QV_EXPORT std::chrono::steady_clock::time_point last_wake_time() noexcept;

} // namespace QV::SharedSupport::PowerEvents
