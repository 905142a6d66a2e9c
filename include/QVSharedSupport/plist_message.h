#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/CFAdapters.h>

#include <boost/system/error_code.hpp>

#include <optional>
#include <string>

namespace qvamdrecoverytool {

/// What a recovery helper says: one property list of its output.
struct message_type {
    std::string type;      ///< the entry "Type"
    CF::AutoPointer value; ///< the entry "Value", of any type; empty if there is none
};

} // namespace qvamdrecoverytool

namespace QV {

/// Turns a property list into a message.
///
/// Empty if `dictionary` is empty or has no string for "Type"; that is logged at level 5. Any thread may call
/// it.
QV_EXPORT std::optional<qvamdrecoverytool::message_type>
make_message(const CF::Dictionary& dictionary) noexcept;

/// Whether `code` is how a pipe or file says that nothing more will come: Asio's `eof`, or anything
/// equivalent to the generic condition "broken pipe", which is what Windows reports when the writing end has
/// closed.
QV_EXPORT bool is_end_of_stream(const boost::system::error_code& code) noexcept;

/// Whether `data` holds anything but white space: bytes that a stream ended with and that were no message.
QV_EXPORT bool has_text(const CF::Data& data) noexcept;

namespace detail {

/// Logs the bytes of a message at level 0 and parses them; empty if they are not a property list or its root
/// is not a dictionary. `signature` names the operation in the log.
QV_EXPORT CF::Dictionary parse_message(const CF::Data& message, const char* signature) noexcept;

/// Logs at level 4 that `data` was not the dictionary that the operation `signature` wants. Of long data only
/// the beginning appears.
QV_EXPORT void log_unexpected_data(const char* signature, const boost::system::error_code& code,
                                   const CF::Data& data) noexcept;

} // namespace detail
} // namespace QV
