#pragma once
// Plain forms: `reference/resize.h`, `reference/pyramid.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// @file
/// Change of a plane's size by two or by a whole factor, into an output that the caller has allocated.
///
/// All four place source and destination grids by factor and shift, as the resize primitive does (`resize.h`), on
/// CV_8UC1, CV_16UC1 and CV_32FC1:
///
///     upSize2X     factor 2           shift -0.5           source pixel i stands at 2i
///     upSizeNX     factor n           shift -1 / n         at n * i + (n - 1) / 2 - 1 / n, which is 2i for n = 2
///     downSize2X   factor 1 / 2       shift  0.25          the pixel at 2i
///     downSizeNX   factor 1 / n       shift  0.5 / n       n * i + n / 2 - 1, halfway between two pixels for an odd n
///
/// `interpolation` is 1 nearest, 2 linear or 4 cubic. There is no averaging when reducing. The code 257 is the Gaussian
/// pyramid's step, cv::pyrUp or cv::pyrDown with border type 4 and the output's size, on the types that these take,
/// floats with the order of sums that those have on x86-64; only `upSize2X` and `downSize2X` know it.
///
/// The size of the output is the caller's choice. Columns beyond the input's image at the output's scale (2, n times,
/// or by truncating division the input's width) then take the last column before them; rows beyond it keep what the
/// resize left, which is the repeated edge. Another code leaves the output as it is, but for those columns.
///
/// Input and output must not share pixels. Planes from a quarter of a megapixel on are worked on by the library's team
/// (`Threads.h`); enlarging by another factor than 2, by nearest neighbours, and reducing floats by an odd factor stay
/// on the calling thread.
///
/// @throws const char*  the output has no pixels or another type than the input (given with each function), then
///                      "ERROR - ... - type" for an input of another type, and
///                      "ERROR - ... - ippsMalloc_8u(pBufferSize)" without memory; ... is up2X, upNX, down2X,
///                      downSizeNX. The output is untouched.
/// @throws cv::Exception  sizes or types that the pyramid step rejects; a factor of 0 in `downSizeNX`.

/// "out2X is not allocated", composed by `TPixmill::traceMsg` with line 103.
PIXMILL_API void upSize2X(const cv::Mat& in, cv::Mat& out2X, int interpolation);

/// "ERROR - upSizeNX - outNX is not allocated".
PIXMILL_API void upSizeNX(const cv::Mat& in, cv::Mat& outNX, int factor, int interpolation);

/// "ERROR - downSize2X - outHalf must be allocated!".
PIXMILL_API void downSize2X(const cv::Mat& in, cv::Mat& outHalf, int interpolation);

/// "downSizeNX - out is not allocated".
PIXMILL_API void downSizeNX(const cv::Mat& in, cv::Mat& out, int factor, int interpolation);
