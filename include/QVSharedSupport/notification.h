/// Notifications: a name and a dictionary, exchanged between processes as bytes.
///
///     std::vector<unsigned char> bytes = QV::serialise({"DeviceAttached", contents});
///     QV::notification received = QV::parse(bytes);
///
/// The bytes are one XML property list, a dictionary of "name" and "contents", with nothing before, after or
/// around it: where a message ends is the transport's business.
///
/// Thread safety: any thread at any time. Nothing here blocks.
#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/Dictionary.h>

#include <string>
#include <vector>

namespace QV {

/// A named message.
struct notification {
    std::string name;        ///< In UTF-8.
    CF::Dictionary contents; ///< May be empty.
};

/// The bytes of a notification.
///
/// Its contents are made fit for XML by `sanitize_for_xml`, with errors in them turned into dictionaries; one
/// value that cannot be spoils the whole. Empty contents are not written. A name that begins with a byte
/// order mark loses it, as every `CF::String` made of UTF-8 does.
/// @throws boost::system::system_error `ErrorCode::FailedToCreatePropertyList`, "QV::serialise notification",
///     when the contents hold what XML cannot, or the name is not UTF-8
/// @throws std::bad_alloc
QV_EXPORT std::vector<unsigned char> serialise(const notification& message);

/// The notification that `bytes` hold, as a property list of any format.
///
/// Contents that are missing or no dictionary are empty.
/// @throws boost::system::system_error `ErrorCode::FailedToParse`, "QV::parse notification ", the number of
///     bytes, a blank and the bytes as they are, when they are no dictionary with a string "name"
/// @throws std::bad_alloc
QV_EXPORT notification parse(const std::vector<unsigned char>& bytes);

} // namespace QV
