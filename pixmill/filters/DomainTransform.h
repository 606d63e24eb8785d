#pragma once
// Plain forms: `reference/domain_transform.h`, `reference/domain_convolution.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

#include <vector>

/// Edge-preserving smoothing in the domain transform: distances along a row or column grow by the guide's gradient, and
/// a one-dimensional filter runs over them, rows and columns by turns.
///
/// Method: Eduardo S. L. Gastal, Manuel M. Oliveira, "Domain Transform for Edge-Aware Image and Video Processing",
/// 2011.
///
/// Pictures are of 32-bit floats, H x W, with any number of interleaved channels; another depth throws `cv::Exception`.
/// Outputs are created unless they fit. An output may be its input, but for channelSum, which starts it from 0. Every
/// operation returns 1. An object keeps nothing but its two sigmas between calls; one thread at a time per object.
class PIXMILL_API DomainTransform {
public:
    float m_sigmaS = 0.0f; ///< Spatial standard deviation, in pixels.
    float m_sigmaR = 0.0f; ///< Range standard deviation, in sample values.

    /// Stores the sigmas and sets the OpenMP runtime up on the calling thread: a team of one thread a processor,
    /// nesting on, dynamic team sizes off. The library's loops follow unless `pixmill::setThreads` or a `ThreadScope`
    /// has said otherwise. Tells "system has N cores" on standard output unless `TPixmill::setConsole` or a trace sink
    /// says otherwise.
    int setup(float sigmaS, float sigmaR);

    /// Filters one picture with the object's sigmas, itself being the guide: mode 0 by RecursiveFilter, mode 1
    /// by NormalizedConvolutionFilter. Any other mode leaves `out` alone.
    int proc(const cv::Mat& in, cv::Mat& out, int mode);

    /// Filters planes with the object's sigmas, guided by `joint`: mode 0 by RecursiveFilter. Any other mode leaves
    /// `out` alone.
    int proc(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out, int mode, const std::vector<cv::Mat>& joint);

    ///@{
    /// out[y][x] = in[y][x + 1] - in[y][x] for the columns 0..W-3 (column 0 alone when W is 2); the others are not
    /// written. The limit is part of the filter, which takes the gaps it leaves out as flat.
    int diffx(const cv::Mat& in, cv::Mat& out);
    int diffx(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out);
    ///@}

    ///@{
    /// out[y][x] = in[y + 1][x] - in[y][x] for the rows 0..H-2 and the columns of diffx; the others are not written.
    int diffy(const cv::Mat& in, cv::Mat& out);
    int diffy(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out);
    ///@}

    /// Sum of absolute values over interleaved channels, one channel; rows 0..H-2 and the columns of diffx only, 0
    /// elsewhere. The last argument is not read.
    int channelSum(const cv::Mat& in, cv::Mat& out, int channels);

    /// Sum of absolute values over planes of one channel: every row and column.
    int channelSum(const std::vector<cv::Mat>& in, cv::Mat& out, int channels);

    ///@{
    /// One recursive pass along the rows of `img`, in place: with V = exp(D * -sqrt(2) / sigma), forward
    /// img[x] += (img[x - 1] - img[x]) * V[x], then backward img[x] += (img[x + 1] - img[x]) * V[x + 1].
    ///
    /// @param D  Domain steps, CV_32FC1, H x W.
    int RFcompute(cv::Mat& img, cv::Mat& D, float sigma);
    int RFcompute(std::vector<cv::Mat>& img, cv::Mat& D, float sigma);
    ///@}

    /// The recursive filter, `in` being its own guide: domain steps of 1 + (sigmaS / sigmaR) * |gradient|, then three
    /// times RFcompute along the rows and along the columns. Each iteration's sigma is the one before times
    /// 2^e * sqrt(3) / sqrt(63), e = 2, 1, 0, the first from sigmaS.
    int RecursiveFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR);

    /// The recursive filter on planes, guided by the planes `joint` (CV_32FC1, of the same size). `out` receives planes
    /// of its own. Gradients across reach into the last row, which the form above takes as flat.
    int RecursiveFilter(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out, float sigmaS, float sigmaR,
                        const std::vector<cv::Mat>& joint);

    ///@{
    /// One pass along the rows of `img`, in place: every pixel becomes the mean of those of its row whose coordinate is
    /// above its own less `radius` and not above its own plus `radius`. A radius of 0 gives 0 / 0.
    ///
    /// @param ct  Coordinates, CV_32FC1, H x W, rising along each row.
    int NCcompute(cv::Mat& img, cv::Mat& ct, float radius);
    int ICcompute(cv::Mat& img, cv::Mat& ct, float radius);
    ///@}

    /// The box filter over domain coordinates (running sums of 1 + (sigmaS / sigmaR) * |gradient|), `in` being its own
    /// guide: three times rows and columns, with radii of 2^e * sqrt(3) / sqrt(63) * sqrt(3) * sigmaS, e = 2, 1, 0.
    /// Unlike RecursiveFilter's, each comes from `sigmaS` itself.
    int NormalizedConvolutionFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR);

    /// The same by ICcompute. It works in the pixels of `in`, which hold the result too in the end.
    int InterpolatedConvolutionFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR);
};
