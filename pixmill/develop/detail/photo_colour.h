#pragma once

#include <opencv2/core/mat.hpp>

#include <memory>
#include <string>
#include <vector>

namespace pixmill::develop {

using Profile = std::shared_ptr<void>;

/// A profile from its bytes, null where they are none.
Profile openProfile(const std::vector<unsigned char>& bytes);

/// "RGB", "grey", "CMYK", "Lab", or "other"; and the profile's own name.
std::string coloursOf(const Profile& profile);
std::string nameOf(const Profile& profile);

/// Whether `toSrgb` can convert pixels of this many colour channels with this profile.
bool fits(const Profile& profile, int colours);

/// Converts rows of 1, 3 or 4 colour channels (8 or 16 bits) to R, G, B of sRGB at the same depth; perceptual intent.
///
/// @param hasAlpha  the last of 2 or 4 channels is alpha, which goes through.
/// @return false where the profile does not fit; `out` is then untouched.
bool toSrgb(const Profile& profile, const cv::Mat& in, bool hasAlpha, cv::Mat& out);

/// CMYK without a profile, inks as a printer holds them (full is the highest value): R = (1 - C) (1 - K).
void cmykToRgb(const cv::Mat& in, cv::Mat& out);

/// CV_32F to CV_16U, clamped to 0..1: linear light through the sRGB curve, what has a profile of its own, and alpha
/// (`hasAlpha`: the last channel), as it is.
void encodeFloats(const cv::Mat& in, bool hasAlpha, bool isLinear, cv::Mat& out);

} // namespace pixmill::develop
