#pragma once

#include <gtest/gtest.h>

/// Expects `statement` to throw a `const char*` with exactly this text.
#define EXPECT_THROWS_TEXT(statement, text)                                                                            \
    do {                                                                                                               \
        try {                                                                                                          \
            statement;                                                                                                 \
            ADD_FAILURE() << "expected \"" << (text) << "\", nothing was thrown";                                      \
        } catch (const char* thrown) {                                                                                 \
            EXPECT_STREQ(thrown, text);                                                                                \
        }                                                                                                              \
    } while (false)
