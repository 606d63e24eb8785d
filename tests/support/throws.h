#pragma once

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <string>

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

/// Expects `statement` to throw a `cv::Exception` whose text begins so: the call and the argument.
#define EXPECT_REFUSES(statement, text)                                                                                \
    do {                                                                                                               \
        try {                                                                                                          \
            statement;                                                                                                 \
            ADD_FAILURE() << "expected \"" << (text) << "\", nothing was thrown";                                      \
        } catch (const cv::Exception& thrown) {                                                                        \
            EXPECT_EQ(std::string(thrown.what()).rfind(text, 0), 0u) << thrown.what();                                 \
        }                                                                                                              \
    } while (false)
