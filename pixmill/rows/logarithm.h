#pragma once

#include <pixmill/rows/exponential.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

/// The library's own logarithm and powers of floats, computed in double and rounded once: the nearest float but where
/// the true value lies within some 2^-20 units of a tie, and the same bits on every processor.
namespace pixmill::rows {

/// v = 2^whole * m with m of sqrt(1/2)..sqrt(2), and the logarithm of m.
struct SplitLogarithm {
    double whole, rest;
};

/// Of a normal number above 0; of others something finite.
///
/// ln(m) = 2 artanh(s) = 2 s + s^3 R(s^2) with s = (m - 1) / (m + 1).
inline SplitLogarithm splitLogarithm(double v)
{
    constexpr std::uint64_t kRootOfHalf = 0x3fe6a09e667f3bcd, kOne = 0x3ff0000000000000, kCount = 0x4330000000000000;
    std::uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    const std::uint64_t exponent = (bits - kRootOfHalf + kOne) >> 52; // biased by 1023
    bits -= (exponent << 52) - kOne;
    double m;
    std::memcpy(&m, &bits, sizeof m);
    const std::uint64_t count = exponent | kCount; // as a double 2^52 + exponent
    double whole;
    std::memcpy(&whole, &count, sizeof whole);

    const double s = (m - 1.0) / (m + 1.0), z = s * s;
    double p = 0.147959512586693323;
    p = p * z + 0.153140504048692905;
    p = p * z + 0.181835643315285881;
    p = p * z + 0.222221985730874555;
    p = p * z + 0.285714287423884963;
    p = p * z + 0.399999999994146748;
    p = p * z + 0.666666666666673441;
    return {whole - 4503599627371519.0, p * z * s + 2.0 * s}; // 2^52 + 1023
}

/// ln v of a normal number above 0, to within some units of the last place; of others something finite.
inline double wideLogarithm(double v)
{
    const SplitLogarithm log = splitLogarithm(v);
    return log.whole * 0.6931471805599453094 + log.rest;
}

/// ln v; of 0 minus infinity, below 0 and of a NaN not a number.
inline float logarithm(float v)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity(),
                    kNone = -std::numeric_limits<float>::quiet_NaN();
    const float result = float(wideLogarithm(double(v)));
    const float special = v == 0.0f ? -kInfinity : v < 0.0f ? kNone : v;
    return v > 0.0f && v < kInfinity ? result : special;
}

/// Raises floats to one power, with the special values of the C library's pow.
class Power {
public:
    explicit Power(float exponent)
        : m_exponent(exponent), m_whole(std::trunc(exponent) == exponent),
          m_odd(std::fabs(std::fmod(exponent, 2.0f)) == 1.0f)
    {
    }

    float operator()(float base) const
    {
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        const float size = std::fabs(base);
        const SplitLogarithm log = splitLogarithm(double(size));
        double log2 = log.rest * 1.442695040888963407 + log.whole;
        log2 = size == 0.0f ? -double(kInfinity) : size < kInfinity ? log2 : double(size);
        double power = m_exponent * log2; // of two
        power = m_exponent == 0.0 || size == 1.0f ? 0.0 : power;
        power = power < -200.0 ? -200.0 : power > 200.0 ? 200.0 : power;
        const int n = roundToInt(power);
        const double near = exponentialNear0((power - double(n)) * 0.6931471805599453094);
        const float result = m_exponent == 2.0 ? base * base : float(near * widePowerOfTwo(n)); // squares may be ties
        return std::signbit(base) ? ofNegative(base, result) : result;
    }

private:
    float ofNegative(float base, float result) const
    {
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        const bool real = m_whole || base == 0.0f || base == -kInfinity;
        const float found = real ? result : -std::numeric_limits<float>::quiet_NaN();
        return m_odd ? -found : found;
    }

    double m_exponent;
    bool m_whole, m_odd;
};

} // namespace pixmill::rows
