/// Taking passwords out of values that are about to be logged.
#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/Type.h>

namespace QV {

/// Gives copies of a value in which "<redacted>" stands for every password.
///
///     logger.log_fmt_impl(..., QV::redact_passwords(settings).get_redacted());
///
/// A password is whatever a dictionary holds under a key that contains "password" in any case, except for
/// booleans, null objects and URLs, which say at most that there is one.
///
/// Lifetime: it borrows the value, which must live as long as this is used. Thread safety: any number of
/// threads may ask at once, as long as nobody changes the value. Nothing here blocks, and the stack used does
/// not depend on how deep the value is nested.
class redact_passwords {
public:
    /// Borrows what `value` holds now.
    QV_EXPORT redact_passwords(const CF::Type& value) noexcept; // NOLINT(google-explicit-constructor)
    /// Borrows `value`, which may be null.
    QV_EXPORT redact_passwords(const void* value) noexcept; // NOLINT(google-explicit-constructor)
    redact_passwords(const redact_passwords&) noexcept = default;
    redact_passwords& operator=(const redact_passwords&) noexcept = default;

    /// The value without passwords, made anew by every call; empty for a null value.
    ///
    /// Arrays and dictionaries are new ones, everything else is shared with the value. Where a container
    /// holds itself, the copy has "<cycle>". @throws std::bad_alloc
    [[nodiscard]] QV_EXPORT CF::AutoPointer get_redacted() const;

private:
    const void* value_;
};

} // namespace QV
