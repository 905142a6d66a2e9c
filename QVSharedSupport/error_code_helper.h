#pragma once

#include <boost/system/error_category.hpp>
#include <boost/system/error_condition.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace QV {

/// One row of an error category's table.
template <class E>
struct error_code_info {
    std::string_view message;
    /// Makes the row's default condition; null for the same value in the same category.
    boost::system::error_condition (*condition)() noexcept;
    E value;
};

// Boost's base class has, on purpose, a destructor that is neither virtual nor public; GCC sees only its
// friends.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// An error category made of a constant table, whose rows stand in the order of their values: 0, 1, 2 and so
/// on.
///
/// Made with a fixed identifier, by which Boost recognises the category in every module. Constant-initialised
/// and trivially destroyed, so that codes work before and after main.
template <const auto& table>
class error_code_helper : public boost::system::error_category {
public:
    constexpr error_code_helper(const char* name, unsigned long long identifier) noexcept
        : error_category(identifier), name_(name) {
        static_assert(rows_in_order(), "the rows of an error table are found by their values");
    }

    const char* name() const noexcept override { return name_; }

    boost::system::error_condition default_error_condition(int value) const noexcept override {
        const auto* row = find(value);
        if (row != nullptr && row->condition != nullptr) return row->condition();
        return {value, *this};
    }

    // The short form of the base class writes what this one returns.
    using error_category::message;
    std::string message(int value) const override {
        const auto* row = find(value);
        return row != nullptr ? std::string(row->message) : "Unknown error " + std::to_string(value);
    }

    bool failed(int value) const noexcept override { return value != 0; }

protected:
    ~error_code_helper() = default;

private:
    static constexpr bool rows_in_order() {
        std::size_t index = 0;
        for (const auto& row : table) {
            if (static_cast<std::size_t>(row.value) != index++) return false;
        }
        return true;
    }
    static constexpr auto* find(int value) noexcept {
        const bool known = value >= 0 && static_cast<std::size_t>(value) < std::size(table);
        return known ? &table[static_cast<std::size_t>(value)] : nullptr;
    }

    const char* name_;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

} // namespace QV
