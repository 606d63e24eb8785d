#pragma once

#include <opencv2/core/mat.hpp>

namespace pixmill::develop {

/// Edge-preserving smoothing of a CV_32FC1 plane in place: everything smaller than `sigma` pixels and weaker than
/// `contrast` goes. Neighbours are coupled by exp(-sqrt(2) / sigma * (1 + sigma / contrast * |their difference|)),
/// along rows and columns by turns, three times with sigmas of 4, 2, 1 parts whose squares sum to sigma squared.
///
/// Unlike DomainTransform, a step couples exactly the two pixels whose difference it holds: in a reduced plane the
/// other form's pixel more would be several pixels of halo.
///
/// @param left, up  Room for couplings: CV_32FC1 of the plane's size.
///
/// Method: Eduardo S. L. Gastal, Manuel M. Oliveira, "Domain Transform for Edge-Aware Image and Video Processing",
/// 2011.
void smoothEdgeAware(cv::Mat& plane, float sigma, float contrast, cv::Mat& left, cv::Mat& up);

} // namespace pixmill::develop
