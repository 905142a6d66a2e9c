#include <QVSharedSupport/error_dictionary.h>

#include <CFAdapters/Boolean.h>
#include <CFAdapters/Number.h>
#include <CFAdapters/String.h>

#include <new>
#include <ranges>
#include <unordered_set>
#include <vector>

namespace {

const CF::String domain_key(CFSTR("Domain"));
const CF::String code_key(CFSTR("Code"));
const CF::String description_key(CFSTR("Description"));
const CF::String failure_reason_key(CFSTR("FailureReason"));
const CF::String is_friendly_key(CFSTR("IsFriendly"));
const CF::String underlying_error_key(CFSTR("UnderlyingError"));

CF::String or_no_text(const CF::String& text) {
    return text ? text : CF::String(CFSTR(""));
}

/// The dictionary of one error above that of the error behind it, which may be empty.
CF::Dictionary dictionary_of(const CF::Error& error, const CF::Dictionary& underlying) {
    CF::MutableDictionary dictionary = CF::MutableDictionary::create();
    const bool complete = dictionary.set(domain_key, or_no_text(error.domain())) &&
                          dictionary.set(code_key, CF::Number(error.code())) &&
                          dictionary.set(description_key, or_no_text(error.localized_description())) &&
                          dictionary.set(failure_reason_key, or_no_text(error.failure_reason())) &&
                          dictionary.set(is_friendly_key, CF::Boolean(error.is_friendly())) &&
                          (!underlying || dictionary.set(underlying_error_key, underlying));
    if (!complete) throw std::bad_alloc();
    return dictionary;
}

CF::Error error_of(const CF::Dictionary& dictionary, const CF::Error& underlying) {
    CF::Error error(or_no_text(dictionary.get<CF::String>(domain_key)),
                    dictionary.get<CF::Number>(code_key).value<CFIndex>(),
                    dictionary.get<CF::String>(description_key), underlying,
                    dictionary.get<CF::String>(failure_reason_key));
    if (!error) throw std::bad_alloc();
    return error;
}

} // namespace

namespace QV {

CF::Dictionary DictionaryFromError(const CF::Error& error) {
    std::vector<CF::Error> chain;
    for (CF::Error next = error; next; next = next.underlying())
        chain.push_back(next);
    CF::Dictionary dictionary;
    for (const CF::Error& next : chain | std::views::reverse)
        dictionary = dictionary_of(next, dictionary);
    return dictionary;
}

CF::Error ErrorFromDictionary(const CF::Dictionary& dictionary) {
    std::vector<CF::Dictionary> chain;
    // A mutable dictionary can hold itself.
    std::unordered_set<CFTypeRef> seen;
    for (CF::Dictionary next = dictionary; next && seen.insert(next.get()).second;) {
        chain.push_back(next);
        next = next.get<CF::Dictionary>(underlying_error_key);
        if (next.empty()) break;
    }
    CF::Error error;
    for (const CF::Dictionary& next : chain | std::views::reverse)
        error = error_of(next, error);
    return error;
}

} // namespace QV
