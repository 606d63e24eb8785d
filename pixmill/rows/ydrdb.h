#pragma once

#include <pixmill/rows/pixel.h>

#include <cstdint>
#include <cstring>

/// The one home of the Y/Dr/Db arithmetic. R, G, B, Y are 16-bit values unless told otherwise; differences are halved
/// and centred on 32768, "no colour".
///
///     Y  = 0.299 R + 0.587 G + 0.114 B
///     Dr = (R - Y) / 2 + 32768             Db = (B - Y) / 2 + 32768
///     R  = Y + 2 Dr - 65536                B  = Y + 2 Db - 65536          G = (Y - 0.299 R - 0.114 B) * 1.7036
///
/// Floats are single precision in exactly the order written here, on every processor. The gain of green is 1 / 0.587
/// in three roundings that differ on purpose, as pixels on either side of a tie depend on them: a double for the 16-bit
/// forms, a float for the YCM forms, a float divided by 256 for the display.
namespace pixmill::rows {

inline constexpr float kRedShare = 0.299f, kGreenShare = 0.587f, kBlueShare = 0.114f;

inline constexpr double kGreenGain = 1.7036;
inline constexpr float kGreenGainYcm = 1.7035775f;
inline constexpr float kGreenGainDisplay = 0.0066546877f;

inline constexpr int kNoColour = 32768;  ///< The centre of a 16-bit difference.
inline constexpr int kNoColourYcm = 128; ///< The centre of an 8-bit difference, whose step is 512 16-bit values.

// To luma and differences

/// The weighted sum, unrounded.
inline float lumaOf(float r, float g, float b)
{
    return kRedShare * r + kGreenShare * g + kBlueShare * b;
}

/// Rounded. 16-bit colours never reach 65535.5, so nothing is clamped.
inline ushort luma16(int r, int g, int b)
{
    return ushort(roundToInt(lumaOf(float(r), float(g), float(b))));
}

/// Luma, 16-bit, of colours whose full scale is 32768: the doubling comes before the rounding.
inline ushort luma15U(int r, int g, int b)
{
    return nearPixel16(2.0f * lumaOf(float(r), float(g), float(b)));
}

/// (v - y) / 2 + 32768, the division truncating toward zero. For 16-bit v and y within 1..65535, so never clamped.
inline ushort halfDifference(int v, int y)
{
    return ushort((v - y) / 2 + kNoColour);
}

/// The difference of a colour v whose full scale is 32768 from a 16-bit luma. Never negative.
inline ushort halfDifference15U(int v, int y)
{
    const int d = v - (y >> 1) + kNoColour;
    return ushort(d < 65535 ? d : 65535);
}

// Back to colours

/// Red from Dr, or blue from Db: (d - 32768) * 2 + y, unclamped. Exact for 16-bit y and d.
inline float colourOf(float y, float d)
{
    return (d - float(kNoColour)) * 2.0f + y;
}

inline ushort colour16(int y, int d)
{
    return clamp16(y + 2 * d - 2 * kNoColour);
}

/// Full scale 32768, but strong colours go past it, up to 65534.
inline ushort colour15U(int y, int d)
{
    return clamp16(d + (y >> 1) - kNoColour);
}

/// y - 0.299 r - 0.114 b: what green adds to luma.
inline float greenShareOf(float y, float r, float b)
{
    return y - kRedShare * r - kBlueShare * b;
}

/// Green, unrounded and unclamped: the share in single precision, its gain in double.
inline double greenOf(float y, float r, float b)
{
    return double(greenShareOf(y, r, b)) * kGreenGain;
}

/// From the clamped r and b. At full scale 32768, y is half the 16-bit luma: green16(y >> 1, r, b).
inline ushort green16(int y, int r, int b)
{
    return clamp16(roundToInt(greenOf(float(y), float(r), float(b))));
}

// The 8-bit form. Its colours are the low bytes of doubled 15U values, not the high bytes, and they end up as 0 in the
// output; green is taken from those low bytes, so it carries about 1.7 times luma. Hosts know this plane and rely on
// it.

inline uchar lowByte8U(int y, int d)
{
    return uchar(2 * ((y >> 1) + d - kNoColour));
}

inline uchar green8U(int y, int dr, int db)
{
    return uchar(green16(y, lowByte8U(y, dr), lowByte8U(y, db)) >> 8);
}

// 8-bit display pixels, from unclamped colours: v / 256, and green with a gain of its own

/// The bits of v + sum, limited to those of sum itself and the 255 that follow.
///
/// The addition rounds v, to nearest even, to the unit of the sum's last bit, and a negative v leaves it below `sum`.
/// So the low byte is v in that unit, limited to 0..255, for no more than an addition and two comparisons; the display
/// is bound by such steps.
inline std::uint32_t limitedBits(float v, float sum)
{
    int bits, zero;
    v += sum;
    std::memcpy(&bits, &v, sizeof bits);
    std::memcpy(&zero, &sum, sizeof zero);
    return std::uint32_t(limit(bits, zero, zero + 255));
}

/// B, G, R and 255 in memory order:
///
///     byte 0  B / 256     byte 1  (Y - 0.299 R - 0.114 B) * 0.0066546877     byte 2  R / 256
///
/// each rounded and clamped alone, from doubled differences: R = Y + twiceDr - 65536 unclamped, and so is B.
inline std::uint32_t displayPixel(int y, int twiceDr, int twiceDb)
{
    constexpr float kHighByte = 2147483648.0f; // bits 4f000000, in units of 256
    constexpr float kAlpha = 33423360.0f;      // bits 4bff0000, in units of 2: alpha lies above green
    const int offset = y - 2 * kNoColour;
    const float r = float(offset + twiceDr), b = float(offset + twiceDb);
    const float twiceGreen = greenShareOf(float(y), r, b) * (2.0f * kGreenGainDisplay);
    return limitedBits(r, kHighByte) << 16 | limitedBits(twiceGreen, kAlpha) << 8 | limitedBits(b, kHighByte);
}

// The YCM form: 8-bit differences c centred on 128

/// Red or blue, unclamped: (c - 128) * 512 + y.
inline float colourYcm(float y, float c)
{
    return (c - float(kNoColourYcm)) * 512.0f + y;
}

/// Green, 16-bit, from the unclamped r and b.
inline ushort greenYcm16(float y, float r, float b)
{
    return nearPixel16(greenShareOf(y, r, b) * kGreenGainYcm);
}

} // namespace pixmill::rows
