#pragma once

#include <opencv2/core/mat.hpp>

#include <cstddef>

/// Whole planes at the positions that resampling meets most. Each gives the same pixels as the resize primitive and
/// works on the calling thread.
namespace pixmill::resample {

/// Bytes of scratch that the two operations below need, aligned for doubles.
std::size_t planeScratch(const cv::Mat& in);

/// Doubles a plane by linear or cubic interpolation with factor 2 and shift -0.5.
/// Returns false, with nothing done, for a type or code that it does not know.
bool doublePlane(const cv::Mat& in, cv::Mat& out, int interpolation, void* scratch);

/// Reduces a plane by the factor, with shift 0.5 / factor. Result as above.
bool reducePlane(const cv::Mat& in, cv::Mat& out, int factor, int interpolation, void* scratch);

/// The Gaussian pyramid's step among the interpolation codes.
constexpr int kPyramidStep = 257;

/// The Gaussian pyramid's steps: the values of cv::pyrUp and cv::pyrDown at border type 4, and their exceptions.
void pyramidUp(const cv::Mat& in, cv::Mat& out);
void pyramidDown(const cv::Mat& in, cv::Mat& out);

} // namespace pixmill::resample
