#pragma once

#include <CFAdapters/Type.h>

#include <chrono>
#include <compare>
#include <limits>
#include <optional>

namespace CF {

/// Owns a CFDate, a point in time in seconds since 1 January 2001, 00:00:00 UTC; or is empty.
class Date : public Typed<Date, CFDateRef> {
public:
    using Typed::Typed;

    /// Seconds since 1 January 2001, 00:00:00 UTC.
    explicit Date(CFAbsoluteTime seconds) noexcept
        : Typed(adopted(CFDateCreate(kCFAllocatorDefault, seconds))) {}
    /// The point in time `time`, to the precision of a `double`.
    explicit Date(std::chrono::system_clock::time_point time) noexcept
        : Date(std::chrono::duration<double>(time.time_since_epoch()).count() - seconds_1970_to_2001) {}

    /// The type identifier of dates.
    [[nodiscard]] static CFTypeID class_type_id() noexcept { return CFDateGetTypeID(); }

    /// Seconds since 1 January 2001, 00:00:00 UTC; 0 when empty.
    [[nodiscard]] CFAbsoluteTime absolute_time() const noexcept {
        return *this ? CFDateGetAbsoluteTime(get()) : 0.0;
    }
    /// The point in time; nothing when empty, and for a date that the clock cannot express.
    [[nodiscard]] std::optional<std::chrono::system_clock::time_point> to_time_point() const noexcept {
        using clock = std::chrono::system_clock;
        using ticks = std::chrono::duration<double, clock::period>;
        const std::chrono::duration<double> since_1970(absolute_time() + seconds_1970_to_2001);
        const double count = ticks(since_1970).count();
        // 2^63 as a double: the first value that the clock's 64 bits do not hold.
        constexpr double limit = -static_cast<double>(std::numeric_limits<clock::rep>::min());
        if (!*this || !(count >= -limit && count < limit)) return std::nullopt;
        return clock::time_point(clock::duration(static_cast<clock::rep>(count)));
    }

    /// Orders by time; an empty wrapper comes first, a date of NaN has no order.
    [[nodiscard]] friend std::partial_ordering operator<=>(const Date& left, const Date& right) noexcept {
        if (!left || !right) return static_cast<bool>(left) <=> static_cast<bool>(right);
        return left.absolute_time() <=> right.absolute_time();
    }

private:
    static constexpr double seconds_1970_to_2001 = 978307200.0;
};

} // namespace CF
