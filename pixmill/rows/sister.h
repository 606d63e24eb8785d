#pragma once

#include <pixmill/core/Export.h>

/// Marks what the core lends its sister libraries and no host: the state of loops, of which a process has one. The
/// shared library exports it under a version of its own; cmake/private.txt lists it.
#define PIXMILL_SISTER_API PIXMILL_API
