#pragma once

#include <opencv2/core/mat.hpp>

namespace pixmill::develop {

/// Where couplings stand while a plane is smoothed: those along rows by tiles of rows in lane form (rows/lanes.h),
/// those along columns by strips.
struct SmoothingRoom {
    static constexpr int kLanes = 16, kStrip = 64, kSquare = 8;

    float *along, *down;

    /// A size that has room for the one or the other of a plane: whole tiles and strips, and a column beyond whole
    /// squares.
    static cv::Size roomFor(cv::Size plane)
    {
        return {(plane.width + kSquare + kStrip - 1) / kStrip * kStrip, (plane.height + kLanes - 1) / kLanes * kLanes};
    }
};

/// Edge-preserving smoothing of a plane, CV_16UC1 or CV_32FC1, to CV_32FC1: everything smaller than `sigma` pixels and
/// weaker than `contrast` goes. Neighbours are coupled by
/// exp(-sqrt(2) / sigma * (1 + sigma / contrast * |their difference|)), along rows and columns by turns, three times
/// with sigmas of 4, 2, 1 parts whose squares sum to sigma squared.
///
/// Unlike DomainTransform, a step couples exactly the two pixels whose difference it holds: in a reduced plane the
/// other form's pixel more would be several pixels of halo.
///
/// Method: Eduardo S. L. Gastal, Manuel M. Oliveira, "Domain Transform for Edge-Aware Image and Video Processing",
/// 2011.
cv::Mat smoothedEdgeAware(const cv::Mat& source, float sigma, float contrast, const SmoothingRoom& room);

} // namespace pixmill::develop
