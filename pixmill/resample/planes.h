#pragma once

#include <opencv2/core/mat.hpp>

/// Whole planes at the positions that resampling meets most. Each gives the same pixels as the resize primitive, in
/// loops of rows.h, and has its scratch before it writes anything: std::bad_alloc leaves the output as it was.
namespace pixmill::resample {

/// The `pixels` of a loop that resamples one plane into the other. A pixel costs it an eighth of what is usual, so only
/// larger planes are worth a team.
long resampleWork(const cv::Mat& in, const cv::Mat& out);

/// Doubles a plane by linear or cubic interpolation with factor 2 and shift -0.5.
/// Returns false, with nothing done, for a type or code that it does not know.
bool doublePlane(const cv::Mat& in, cv::Mat& out, int interpolation);

/// Reduces a plane by the factor, with shift 0.5 / factor. Result as above.
bool reducePlane(const cv::Mat& in, cv::Mat& out, int factor, int interpolation);

/// The Gaussian pyramid's step among the interpolation codes.
constexpr int kPyramidStep = 257;

/// The Gaussian pyramid's steps: the values of cv::pyrUp and cv::pyrDown at border type 4, and their exceptions.
void pyramidUp(const cv::Mat& in, cv::Mat& out);
void pyramidDown(const cv::Mat& in, cv::Mat& out);

} // namespace pixmill::resample
