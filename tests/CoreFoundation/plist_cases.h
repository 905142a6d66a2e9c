// Property-list cases among the behaviour vectors in tests/data/vectors: JSON files of cases, each with an
// input and what is expected, values in the notation that the files describe themselves.
#ifndef TESTS_COREFOUNDATION_PLIST_CASES_H
#define TESTS_COREFOUNDATION_PLIST_CASES_H

#include "objects.h"

#include <rapidjson/document.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace plist_cases {

using objects::own;
using objects::owned;
using object = owned<CFTypeRef>;

/// tests/data, wherever the tests are run from.
std::filesystem::path data_folder();
/// The bytes of a file; fails the running test if there is none.
std::string read_file(const std::filesystem::path& path);

/// The bytes that pairs of hexadecimal digits stand for, and back.
std::string from_hex(std::string_view hex);
std::string to_hex(std::string_view bytes);

/// A string of UTF-8 text.
owned<CFStringRef> make_string(std::string_view utf8);
/// The text of a string in UTF-8, unpaired surrogates as \uXXXX.
std::string text_of(CFStringRef string);
/// A data object of these bytes.
owned<CFDataRef> make_data(std::string_view bytes);
std::string_view bytes_of(CFDataRef data);

/// Makes the object that a value of the notation describes.
object make_object(const rapidjson::Value& notation);

/// One text for one value, whether it comes from an object or from the notation: for comparing and for
/// messages.
std::string canonical(CFTypeRef object);
std::string canonical(const rapidjson::Value& notation);

/// The bytes of a case's input: its "text" or "hex".
std::string input_bytes(const rapidjson::Value& input);

/// Runs every case of a file.
///
/// `run` returns what is wrong, or nothing. A case may fail if tests/data/vector_exceptions.tsv names it; it
/// then must fail: an exception that is no longer needed fails the test, and so does one whose case does not
/// exist. `selected`, if given, says which cases are meant.
void run_cases(std::string_view file, const std::function<std::string(const rapidjson::Value&)>& run,
               const std::function<bool(std::string_view name)>& selected = {});

} // namespace plist_cases

#endif
