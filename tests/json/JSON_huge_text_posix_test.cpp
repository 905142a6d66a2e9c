// A number so long that the sum of its parts does not fit into an int.
#include "expect_throw_with.h"

#include <QVSharedSupport/JSON.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using QV::SharedSupport::JSON::parse;

TEST(JSON_huge_text, an_exponent_that_hundreds_of_millions_of_zeros_allow_is_too_large) {
    std::string text = "0." + std::string(214'748'057, '0');
    text += "1e2147483649";
    qv_test::expect_throw_with<std::invalid_argument>("Invalid JSON", [&] { (void)parse(text); });
}

} // namespace
