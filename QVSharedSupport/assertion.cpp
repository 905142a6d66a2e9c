#include "assertion.h"

#include <fmt/format.h>

#include <stdexcept>

namespace QV {

void assertion_failed(std::string_view assertion, const std::source_location& where) {
    throw std::invalid_argument(fmt::format("{}:{}:  {} Assertion {} failed.", where.file_name(),
                                            where.line(), where.function_name(), assertion));
}

} // namespace QV
