#pragma once

#include <gtest/gtest.h>

namespace test {

/// What ends a process here happens in one that begins anew. A fork would have none of the threads of this
/// one, but all that waits for them: it may stand still instead of ending.
class death_test : public testing::Test {
protected:
    death_test() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

} // namespace test
