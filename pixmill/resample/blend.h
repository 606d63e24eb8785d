#pragma once
// Plain form: `reference/blend.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// @file
/// Blends and sharpening of planes. Rows run in parallel. An output may be one of the inputs, or share pixels with one
/// in any other way: the result is that of separate planes.

/// out = in1 * a + in0 * (1 - a) with a = alpha * (opacity / 255), in single precision.
///
/// @param in0      CV_8UC1, CV_16UC1 or CV_32FC1, H x W.
/// @param in1      As `in0`.
/// @param alpha    H rows, of which the first W bytes are read, whatever the type: an 8-bit plane.
/// @param out      As `in1`; created unless it fits. Integer pixels are cut toward zero and limited to their range, so
///                 that full alpha may give one less than `in1`. Floats are stored as they are.
/// @param opacity  Share of `in1` at full alpha, 0..1.
/// @throws const char*  "ERROR - blendAlpha - in0.type()!=in1.type()", "ERROR - blendAlpha - in0.size() !=in1.size()",
///                      "ERROR - blendAlpha - in0 type".
/// @throws cv::Exception  `alpha` is too small to be read.
PIXMILL_API void blendAlpha(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float opacity);

/// dst = src * factor, rounded to nearest even, limited to 0..255. Steps in bytes. The old content of `dst` plays no
/// part; `dst` may be `src`. Nothing is checked but null pointers (`cv::Exception`).
PIXMILL_API void blendC(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, int width, int height,
                        float factor);

/// Moves every pixel to the maximum or the minimum of its 3 x 3 window, whichever is nearer; a tie goes to the minimum.
/// The frame of one pixel, which is the whole of a picture two pixels wide or high, stays as it is.
///
/// H. P. Kramer, J. B. Bruckner, "Iterations of a non-linear transformation for enhancement of digital images", 1975.
///
/// @param in   CV_16UC1, H x W.
/// @param out  CV_16UC1, H x W; created unless it fits.
/// @throws const char*  "ERROR - extremeSharpen - in.type()!=CV_16UC1"; `out` is then untouched.
PIXMILL_API void extremeSharpen(const cv::Mat& in, cv::Mat& out);
