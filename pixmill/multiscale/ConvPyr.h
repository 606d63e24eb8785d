#pragma once
// Plain form: `reference/convolution_pyramid.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// Convolution pyramid: a large, smooth linear operator as three small separable kernels.
///
/// Analysis goes down, a_(i+1) = (h1 * a_i) at even rows and columns; synthesis comes back up,
/// b_i = h2 * (b_(i+1) with zeros in between) + g * a_i, from b = g * a at the coarsest level. Each kernel is used
/// along rows and along columns, and the signal is 0 outside the image, also where the image is a view into a larger
/// one.
///
/// Z. Farbman, R. Fattal and D. Lischinski, "Convolution pyramids", ACM Transactions on Graphics 30, 2011.
///
/// One channel of 8 or 16 bits or floats, summed in single precision; kernels are rows or columns of numbers. Others,
/// and planes that do not fit, throw `cv::Exception`. One thread at a time per object.
class PIXMILL_API ConvPyr {
public:
    cv::Mat m_h1;    ///< Kernel of the step down.
    cv::Mat m_h2;    ///< Kernel of the step up.
    cv::Mat m_g;     ///< Kernel across each level, and of the coarsest.
    int m_level = 0; ///< Steps down less steps up, for the host.

    /// Shares the kernels' pixels, which must stay valid.
    ConvPyr(const cv::Mat& h1, const cv::Mat& h2, const cv::Mat& g);

    /// floor(log2(longer side)) steps down, to a level of one pixel or two along that side, and back up.
    ///
    /// @param in   H x W, one channel.
    /// @param out  CV_32FC1, H x W; created unless it fits. May be `in`.
    /// @return true.
    bool proc(const cv::Mat& in, cv::Mat& out);

    /// One level down.
    ///
    /// @param in   H x W, one channel.
    /// @param out  CV_32FC1, half the size of `in` rounded up; created unless it fits.
    /// @return true.
    bool pyrDown(const cv::Mat& in, cv::Mat& out);

    /// One level up.
    ///
    /// @param coarse  CV_32FC1, at most half the size of `fine`, rounded up.
    /// @param fine    H x W, one channel: the signal of the level itself.
    /// @param out     CV_32FC1, H x W; created unless it fits.
    /// @return true.
    bool pyrUp(const cv::Mat& coarse, const cv::Mat& fine, cv::Mat& out);
};
