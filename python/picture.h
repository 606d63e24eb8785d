#pragma once

#include "arrays.h"
#include "turn.h"

#include <pixmill/planar/TPImage.h>

namespace pixmill::python {

/// A planar picture that any thread may use in its turn.
struct Picture {
    Picture() : picture(0, 0) {}

    TPImage picture;
    Turn turn;
};

} // namespace pixmill::python
