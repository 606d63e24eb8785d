#pragma once

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

/// Expects `statement` to throw a `cv::Exception` with exactly this text.
#define EXPECT_REFUSED(statement, text)                                                                                \
    do {                                                                                                               \
        try {                                                                                                          \
            statement;                                                                                                 \
            ADD_FAILURE() << "expected \"" << (text) << "\", nothing was thrown";                                      \
        } catch (const cv::Exception& thrown) {                                                                        \
            EXPECT_STREQ(thrown.what(), text);                                                                         \
        }                                                                                                              \
    } while (false)

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
