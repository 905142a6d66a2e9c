#pragma once

#include <CFAdapters/Array.h>
#include <CFAdapters/Dictionary.h>
#include <CFAdapters/String.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Where the classes that containers are archived as keep their members.
namespace QV::archived_members {

/// Under which an object has the reference to its class.
inline const CF::String class_key(CFSTR("$class"));

/// The string of a text or key; empty if that is not UTF-8. @throws std::bad_alloc
CF::String string_of(std::string_view text);

/// Whether a class of this name is read as an array: arrays, and sets of both kinds.
bool is_array_class(const std::string& class_name);

/// The references to the elements of an archived object of such a class; nothing if they are not there.
std::optional<CF::Array> elements(const CF::Dictionary& object, const std::string& class_name);

/// The references to the keys and the values of an archived dictionary; nothing unless both are there and
/// equally many.
std::optional<std::pair<CF::Array, CF::Array>> entries(const CF::Dictionary& object);

} // namespace QV::archived_members
