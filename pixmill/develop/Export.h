#pragma once

/// Marks what hosts may link against in the develop library.
#if defined(PIXMILL_STATIC)
#define PIXMILL_DEVELOP_API
#elif defined(_WIN32) && defined(PIXMILL_DEVELOP_BUILDING)
#define PIXMILL_DEVELOP_API __declspec(dllexport)
#elif defined(_WIN32)
#define PIXMILL_DEVELOP_API __declspec(dllimport)
#else
#define PIXMILL_DEVELOP_API __attribute__((visibility("default")))
#endif
