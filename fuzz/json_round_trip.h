#pragma once

#include <QVSharedSupport/JSON.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace fuzz {

/// Equal but for the last digits of numbers: the reader is not exact about those of more than 15.
inline bool nearly_equal(const QV::JsonValue& one, const QV::JsonValue& other) {
    if (one.which() != other.which()) return false;
    if (const auto* const number = boost::get<double>(&one)) {
        const auto a = std::bit_cast<std::int64_t>(std::fabs(*number));
        const auto b = std::bit_cast<std::int64_t>(std::fabs(boost::get<double>(other)));
        return std::llabs(a - b) <= 3;
    }
    if (const auto* const elements = boost::get<QV::JsonArray>(&one)) {
        const auto& others = boost::get<QV::JsonArray>(other);
        return std::equal(elements->begin(), elements->end(), others.begin(), others.end(), nearly_equal);
    }
    if (const auto* const members = boost::get<QV::JsonObject>(&one)) {
        const auto& others = boost::get<QV::JsonObject>(other);
        return members->size() == others.size() &&
               std::all_of(members->begin(), members->end(), [&](const auto& member) {
                   const auto found = others.find(member.first);
                   return found != others.end() && nearly_equal(member.second, found->second);
               });
    }
    return one == other;
}

} // namespace fuzz
