#pragma once

#include <cmath>

/// Sine and cosine of an angle in degrees, the same bits on every processor.
namespace pixmill::develop {

struct Direction {
    float cosine, sine;
};

/// Quarter turns are exact; in between, series for at most half a quarter in double, narrowed once.
inline Direction directionOf(float degrees)
{
    const double angle = std::fmod(double(degrees), 360.0);
    const double quarters = std::floor(angle / 90.0 + 0.5);
    const double r = (angle - quarters * 90.0) * (3.14159265358979323846 / 180.0), z = r * r;
    double s = 1.0, c = 1.0;
    for (int i = 16; i >= 2; i -= 2) { // r^18 / 18! is below 10^-17
        s = 1.0 - s * z / (i * (i + 1.0));
        c = 1.0 - c * z / (i * (i - 1.0));
    }
    s *= r;
    const int turn = int(quarters) & 3;
    const double cosine = turn % 2 ? s : c, sine = turn % 2 ? c : s;
    return {float(turn == 1 || turn == 2 ? -cosine : cosine), float(turn >= 2 ? -sine : sine)};
}

} // namespace pixmill::develop
