#include "win32_module_system.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <utility>

namespace QV {

win32_module::win32_module(std::string_view name) {
    // The system would read up to the NUL and load something else than was asked for.
    if (name.find('\0') != std::string_view::npos)
        throw win32_error(system::load_function, system::invalid_name);
    handle_ = system::load(std::string(name));
}

win32_module win32_module::find_loaded(std::string_view name) {
    if (name.empty() || name.find('\0') != std::string_view::npos) return {};
    return win32_module(system::find_loaded(std::string(name)));
}

win32_module::win32_module(win32_module&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

win32_module& win32_module::operator=(win32_module&& other) noexcept {
    if (this != &other) {
        if (handle_) system::unload(handle_);
        handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
}

win32_module::~win32_module() {
    if (handle_) system::unload(handle_);
}

// The functions of no module would be those of the program itself, for both systems.
win32_module::symbol win32_module::find_symbol(const char* name) const noexcept {
    return handle_ ? system::find(handle_, name) : nullptr;
}

win32_module::symbol win32_module::get_symbol(const char* name) const {
    if (const symbol found = find_symbol(name)) return found;
    throw win32_error(system::find_function, system::missing_function);
}

} // namespace QV
