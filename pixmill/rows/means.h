#pragma once

#include <cstring>

namespace pixmill::rows {

/// float(sum / count) without the division.
///
/// Two products, with a number just below and one just above the reciprocal, hold the quotient between them; where both
/// narrow to one float, that is the quotient's.
struct ProductMeans {
    explicit ProductMeans(double count) : below(1.0 / count * (1.0 - 0x1p-50)), above(1.0 / count * (1.0 + 0x1p-50)) {}

    /// Adds to `doubt` the bits in which the two differ. Where any is set, divide.
    float operator()(double sum, unsigned& doubt) const
    {
        const float a = float(sum * below), b = float(sum * above);
        unsigned aBits, bBits;
        std::memcpy(&aBits, &a, sizeof a);
        std::memcpy(&bBits, &b, sizeof b);
        doubt |= aBits ^ bBits;
        return a;
    }

    double below, above;
};

} // namespace pixmill::rows
