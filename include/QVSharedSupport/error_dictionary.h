/// Errors as plain dictionaries, in which form they cross into other processes and into logs.
///
/// An error becomes a dictionary of "Domain", "Code", "Description", "FailureReason" and "IsFriendly", and of
/// "UnderlyingError" when there is one, a dictionary of the same kind.
///
/// Thread safety: any thread at any time. Nothing here blocks, and no chain of errors is too long: the stack
/// used does not depend on its length.
#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/Dictionary.h>
#include <CFAdapters/Error.h>

namespace QV {

/// The error dictionary of `error`; empty when `error` is.
///
/// Domain, description and failure reason are "" when the error has none. A description that CoreFoundation
/// makes up, of domain and code, counts as one; it is "" as well when there is no memory to make it up. The
/// whole chain of underlying errors is taken along. @throws std::bad_alloc
QV_EXPORT CF::Dictionary DictionaryFromError(const CF::Error& error);

/// The error that `dictionary` describes; empty when it is.
///
/// What is missing or of another type is missing in the error too: no description, no reason, code 0, and ""
/// for the domain, which no error is without. An underlying dictionary without entries counts as missing, and
/// so does one that the chain has already come through. "IsFriendly" is not put back: whether a text from
/// elsewhere is fit for the user is for the receiver to say. @throws std::bad_alloc
QV_EXPORT CF::Error ErrorFromDictionary(const CF::Dictionary& dictionary);

} // namespace QV
