#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace QV {

/// The attribute list of one spawn: names the only handles that the child inherits.
class process_attributes {
public:
    /// @param handles must stay where they are until the spawn is done: the system keeps the address.
    /// @throws QV::win32_error "InitializeProcThreadAttributeList" or "UpdateProcThreadAttribute"
    explicit process_attributes(std::span<void*> handles);
    process_attributes(const process_attributes&) = delete;
    process_attributes& operator=(const process_attributes&) = delete;
    ~process_attributes();

    /// For `STARTUPINFOEXW::lpAttributeList`.
    [[nodiscard]] void* get() const noexcept { return list_.get(); }

private:
    std::unique_ptr<std::byte[]> list_;
};

} // namespace QV
