#pragma once

#include <cstring>

/// The one home of rounding and clamping.
namespace pixmill::rows {

using uchar = unsigned char;
using ushort = unsigned short;

constexpr float kPerByte = 1.0f / 255;    ///< Full scale of 8 bits becomes 1.
constexpr float kPerWord = 1.0f / 65535;  ///< Full scale of 16 bits becomes 1.
constexpr float kToInteger = 12582912.0f; ///< 1.5 * 2^23: a sum with it is a rounded value, in its low bits.

/// Nearest integer, ties to even, for |v| < 2^22. Unlike lrint it vectorises.
inline int roundToInt(float v)
{
    v += kToInteger;
    int bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits - 0x4b400000; // the bits of kToInteger
}

/// Nearest integer, ties to even, for |v| < 2^31.
inline int roundToInt(double v)
{
    v += 6755399441055744.0; // 1.5 * 2^52
    long long bits;
    std::memcpy(&bits, &v, sizeof bits);
    return int(bits); // the low half of the sum's mantissa is the rounded value in two's complement
}

/// v limited to low..high; a NaN becomes low.
template <class T>
inline T limit(T v, T low, T high)
{
    v = v > low ? v : low;
    return v < high ? v : high;
}

inline ushort clamp16(int v)
{
    return ushort(limit(v, 0, 65535));
}

inline uchar clamp8(int v)
{
    return uchar(limit(v, 0, 255));
}

/// Rounded to nearest even, out of range clamped, NaN 0: any float or double. Clamping first changes no pixel.
inline ushort toPixel16(float v)
{
    return ushort(roundToInt(limit(v, 0.0f, 65535.0f)));
}

inline ushort toPixel16(double v)
{
    return ushort(roundToInt(limit(v, 0.0, 65535.0)));
}

inline uchar toPixel8(float v)
{
    return uchar(roundToInt(limit(v, 0.0f, 255.0f)));
}

inline uchar toPixel8(double v)
{
    return uchar(roundToInt(limit(v, 0.0, 255.0)));
}

/// The same for a float known to lie within 2^22: rounding first and clamping in int is the faster form.
inline ushort nearPixel16(float v)
{
    return clamp16(roundToInt(v));
}

inline uchar nearPixel8(float v)
{
    return clamp8(roundToInt(v));
}

} // namespace pixmill::rows
