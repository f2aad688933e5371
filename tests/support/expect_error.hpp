#pragma once

#include <gtest/gtest.h>
#include <typeinfo>

namespace Velmora::Tests {

/// Expects `operation` to throw exactly an `Error` (no type derived from it) with exactly this
/// text.
template <typename Error, typename Operation>
void expectError(Operation&& operation, const char* text) {
    try {
        operation();
        ADD_FAILURE() << "nothing was thrown; expected: " << text;
    } catch (const Error& error) {
        EXPECT_EQ(typeid(error), typeid(Error));
        EXPECT_STREQ(error.what(), text);
    }
}

} // namespace Velmora::Tests
