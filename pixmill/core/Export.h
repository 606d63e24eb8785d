#pragma once

/// Marks what hosts may link against; everything else stays hidden inside the shared library.
#if defined(PIXMILL_STATIC)
#define PIXMILL_API
#elif defined(_WIN32) && defined(PIXMILL_BUILDING)
#define PIXMILL_API __declspec(dllexport)
#elif defined(_WIN32)
#define PIXMILL_API __declspec(dllimport)
#else
#define PIXMILL_API __attribute__((visibility("default")))
#endif
