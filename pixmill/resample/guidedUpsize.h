#pragma once
// Plain form: `reference/guided_filter.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// Enlarges `in` to the size of `guideY`, twice its size.
///
/// Without `useGuide` by upSize2X with this `interpolation`; `out` is created with the guide's size and the input's
/// type unless it fits.
///
/// With it the guide's edges go into the result: a guided filter (TGuidedFilter, radius 1, eps 0.0001) is estimated
/// between the guide, reduced by downSize2X at code 4 to the size of `in`, and `in`, both taken to 0..1 by the range of
/// their type, CV_8UC1 or CV_16UC1; planes of other types count as black. TGuidedFilter::proc applies it to `guideY`,
/// so `out` has the guide's size and type, and a guide of another type is copied. `interpolation` is not read. `out`
/// may be `guideY` or `in`.
///
/// What the resamplers throw passes through.
PIXMILL_API void upSize2XGuidedByY(cv::Mat guideY, const cv::Mat& in, cv::Mat& out, bool useGuide, int interpolation);

/// The same from a plane `factor` times smaller than `guideY`, through upSizeNX and downSizeNX.
PIXMILL_API void upSizeNXGuidedByY(cv::Mat guideY, const cv::Mat& in, cv::Mat& out, int factor, bool useGuide,
                                   int interpolation);
