/// Making values fit for XML property lists.
///
///     CF::AutoPointer clean = QV::sanitize_for_xml(details, QV::on_error::leave_out);
///
/// Thread safety: any thread at any time, as long as nobody changes the value meanwhile. Nothing here blocks,
/// and the stack used does not depend on how deep the value is nested.
#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/Type.h>

namespace QV {

/// What `sanitize_for_xml` does about a value that no property list can hold.
enum class on_error : int {
    leave_out = 0,   ///< Leaves it out, and goes on.
    throw_error = 1, ///< Gives up the container it is in, and so everything; throws.
    give_nothing = 2 ///< The same, with an empty result. Any other number is taken for this one.
};

/// A copy of `value` that is made only of what an XML property list can hold.
///
/// Strings, numbers, booleans, dates and data are taken as they are, retained. Arrays and dictionaries become
/// new mutable ones. A CFError becomes its error dictionary (`DictionaryFromError`). Everything else cannot
/// be converted: null objects, URLs, sets, archive references and so on, entries whose key is no string, and
/// a container met within itself. A null `value` gives an empty result. `value` is not changed.
/// @throws std::runtime_error "Could not convert to xml plist" with `on_error::throw_error` when there is no
///     result, for a null `value` too
/// @throws std::bad_alloc
QV_EXPORT CF::AutoPointer sanitize_for_xml(const void* value, on_error error);
/// The same for what a wrapper holds.
QV_EXPORT CF::AutoPointer sanitize_for_xml(const CF::Type& value, on_error error);

} // namespace QV
