#pragma once

#include "JSON_rapidjson.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace QV::SharedSupport::JSON {

/// The events of RapidJSON's reader that stand for a whole value, for `Derived::add`. Every number becomes a
/// double.
template <class Derived>
class value_events {
public:
    bool Null() { return self().add(nullptr); }
    bool Bool(bool truth) { return self().add(truth); }
    bool Int(int number) { return self().add(static_cast<double>(number)); }
    bool Uint(unsigned number) { return self().add(static_cast<double>(number)); }
    bool Int64(std::int64_t number) { return self().add(static_cast<double>(number)); }
    bool Uint64(std::uint64_t number) { return self().add(static_cast<double>(number)); }
    // Refused here if it is too large: the reader looks at the exponent alone, and hands "10e308" on.
    bool Double(double number) { return std::isfinite(number) && self().add(number); }
    // Numbers as text: never asked for.
    bool RawNumber(const char*, std::size_t, bool) { return false; }

private:
    friend Derived;
    value_events() = default;

    Derived& self() { return static_cast<Derived&>(*this); }
};

} // namespace QV::SharedSupport::JSON
