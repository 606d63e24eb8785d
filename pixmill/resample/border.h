#pragma once
// Plain form: `reference/border.h`.

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

#include <opencv2/core/mat.hpp>

/// @file
/// Fills margins of an image from its own content. A margin lies inside the image, whose size includes it, and is
/// overwritten with the column or row next to it. A margin of zero or less, or one as large as the image, which leaves
/// nothing to copy from, is skipped. Nothing is checked but that `data` is not null where there are pixels
/// (`cv::Exception`).

/// Any element type. Left, right, then top; then, only when `top` is above 0, `top` rows from row `rows - bottom` on
/// take row `rows - bottom - 1`: the lower margin is filled to the height of the upper one.
///
/// @throws cv::Exception  when that runs past the last row: `bottom` above 0 and `top` above `bottom`. The margins
///                        before that row are filled.
PIXMILL_API void extendBorder(cv::Mat& image, int left, int top, int right, int bottom);

///@{
/// Top, bottom, left, then right; `size` in pixels, `step` in bytes. Note the other order of the margins.
PIXMILL_API void extendBorder(float* data, int step, IppiSize size, int top, int bottom, int left, int right);
PIXMILL_API void extendBorder(unsigned char* data, int step, IppiSize size, int top, int bottom, int left, int right);
///@}

/// Packed pixels of three bytes b0, b1, b2. Top and bottom as above. The sides are patterns of bytes: in every row,
/// pixel `left` is written as `left` times b0, then b1 and b2, from byte 0; and pixel `width - right - 1` as `right`
/// times b0, then b1 and b2, from the first byte of pixel `width - right`. So only margin + 2 bytes of each side
/// change.
PIXMILL_API void extendBorder3C(unsigned char* data, int step, IppiSize size, int top, int bottom, int left, int right);
