#pragma once

#include <pixmill/develop/detail/core.h>

#include <algorithm>

namespace pixmill::develop {

/// e to the t of -80..0, to 2e-7 of the value: two to the whole part, times a polynomial of the rest.
inline float expOf(float t)
{
    const float scaled = std::max(t, -80.0f) * 1.44269504f;
    const int whole = roundToInt(scaled);
    const float f = (scaled - float(whole)) * 0.69314718f;
    const float p =
        1 + f * (1 + f * (0.5f + f * (0.16666667f + f * (0.041666667f + f * (0.0083333333f + f * 0.0013888889f)))));
    const std::int32_t bits = (whole + 127) << 23;
    float power;
    std::memcpy(&power, &bits, sizeof power);
    return p * power;
}

} // namespace pixmill::develop
