#include <QVPlatformCompatibility/win32_error.h>

#include "error_text.h"

namespace QV {

namespace {

/// The error code is kept as the 32 bits that the system gave; std::error_code holds them in an int.
int as_int(unsigned long code) noexcept {
    return static_cast<int>(static_cast<unsigned int>(code));
}

} // namespace

std::string get_error_string(unsigned long code) {
    std::string text = error_text::system_text(code);
    const auto trim_blanks = [&text] { text.erase(text.find_last_not_of(" \t\r\n") + 1); };
    trim_blanks();
    if (text.ends_with('.')) text.pop_back();
    trim_blanks();
    if (text.empty()) text = "Unknown error " + std::to_string(code);
    return text;
}

std::string get_last_error_string() {
    const unsigned long code = error_text::last_code();
    std::string text = get_error_string(code);
    error_text::set_last_code(code);
    return text;
}

struct win32_error::description {
    std::string function_name;
    std::string what;
};

// The last error is read before anything else is called: an allocation may change it.
win32_error::win32_error(std::string_view function_name)
    : win32_error(function_name, error_text::last_code()) {}

win32_error::win32_error(std::string_view function_name, unsigned long code)
    : std::system_error(as_int(code), std::system_category()) {
    description value{std::string(function_name), std::string(function_name)};
    value.what += ": " + get_error_string(code) + " (" + std::to_string(code) + ")";
    description_ = std::make_shared<const description>(std::move(value));
}

win32_error::win32_error(const win32_error&) noexcept = default;
win32_error& win32_error::operator=(const win32_error&) noexcept = default;
win32_error::~win32_error() = default;

const std::string& win32_error::function_name() const noexcept {
    return description_->function_name;
}

const char* win32_error::what() const noexcept {
    return description_->what.c_str();
}

std::error_code win::make_error_code(long code) noexcept {
    return {static_cast<int>(code), std::system_category()};
}

} // namespace QV
