#pragma once

#include <pixmill/rows/pixel.h>

#include <cstdint>
#include <cstring>

/// The library's own exponential, plain enough for loops of it to vectorise: the same bits on every processor.
///
/// v = n ln 2 + r with |r| <= ln(2) / 2, where ln 2 is taken in two parts, of which n times the first is exact. Then
/// e^v = 2^n (1 + r + r^2 Q(r)) with the polynomial Q whose largest relative error in e^r is least. 2^n comes in two
/// factors, as it may lie beyond the type's range where the result does not.
namespace pixmill::rows {

/// 2^n for n of -126..127.
inline float powerOfTwo(int n)
{
    const std::uint32_t bits = std::uint32_t(n + 127) << 23;
    float power;
    std::memcpy(&power, &bits, sizeof power);
    return power;
}

/// 2^n for n of -1022..1023.
inline double widePowerOfTwo(int n)
{
    const std::uint64_t bits = std::uint64_t(n + 1023) << 52;
    double power;
    std::memcpy(&power, &bits, sizeof power);
    return power;
}

/// e^(v - n ln 2) where n is the whole number nearest to v / ln 2.
inline float exponentialRest(float v, float n)
{
    const float r = v - n * 0.693359375f - n * -2.12194440e-4f;
    float q = 1.38145402e-3f;
    q = q * r + 8.36874511e-3f;
    q = q * r + 4.16683908e-2f;
    q = q * r + 1.66665204e-1f;
    q = q * r + 4.99999934e-1f;
    return q * (r * r) + r + 1.0f;
}

/// e^v, less than one unit in the last place from it, also where that is below 2^-126; 0 and infinite past the ends of
/// the range, and a NaN is itself.
inline float exponential(float v)
{
    constexpr float kLeast = -104.0f, kMost = 89.0f; // e^v is 0 and infinite there
    v = kLeast > v ? kLeast : v;
    v = kMost < v ? kMost : v;
    const int whole = roundToInt(v * 1.44269504f), half = whole >> 1;
    return exponentialRest(v, float(whole)) * powerOfTwo(half) * powerOfTwo(whole - half);
}

/// The same bits in fewer steps, for v of ln 2^-126 to 0 or a NaN. For lesser ones it is some number, or none.
inline float exponentialBelow0(float v)
{
    const int whole = roundToInt(v * 1.44269504f);
    return exponentialRest(v, float(whole)) * powerOfTwo(whole);
}

/// e^r for |r| <= ln(2) / 2.
inline double exponentialNear0(double r)
{
    double q = 2.50000722814625467e-8;
    q = q * r + 2.76302339294221852e-7;
    q = q * r + 2.75575862665159029e-6;
    q = q * r + 2.48014931361599679e-5;
    q = q * r + 1.98412695067794621e-4;
    q = q * r + 1.3888888943597722e-3;
    q = q * r + 8.33333333349433312e-3;
    q = q * r + 4.16666666665302659e-2;
    q = q * r + 1.66666666666664128e-1;
    q = q * r + 5.00000000000001062e-1;
    return q * (r * r) + r + 1.0;
}

/// The same in double; narrowed to float it is the float nearest to e^v, but for one in some hundred million.
inline double exponential(double v)
{
    constexpr double kLeast = -746.0, kMost = 710.0;
    v = kLeast > v ? kLeast : v;
    v = kMost < v ? kMost : v;
    const int whole = roundToInt(v * 1.442695040888963407), half = whole >> 1;
    const double n = double(whole), r = v - n * 0.6931471805592082 - n * 7.371002565167798901e-13;
    return exponentialNear0(r) * widePowerOfTwo(half) * widePowerOfTwo(whole - half);
}

} // namespace pixmill::rows
