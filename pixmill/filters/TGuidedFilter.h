#pragma once
// Plain form: `reference/guided_filter.h`.

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

#include <opencv2/core/mat.hpp>

#include <vector>

/// Guided filter in two steps, for pictures of two sizes: an estimate fits, in the window around every pixel, a linear
/// model from a guide to a source,
///
///     source = m_a0 * guide + m_b                                             (one guide plane)
///     source = m_a0 * guide[0] + m_a1 * guide[1] + m_a2 * guide[2] + m_b      (three guide planes)
///
/// and an application evaluates it on a guide of any size. So coefficients of a small picture serve a large one.
///
/// Method: Kaiming He, Jian Sun, Xiaoou Tang, "Guided Image Filtering", 2010; at a reduced size: Kaiming He, Jian Sun,
/// "Fast Guided Filter", 2015.
///
/// Estimates work on planes of floats of one size, H x W, read as they are: of planes of another type with rows long
/// enough, the bytes. Ranges are the caller's, but the integer application expects coefficients of pictures in 0..1.
/// Means are of the (2r + 1) x (2r + 1) window: a sum in double, narrowed once. `eps` is added to variances as given,
/// without a guard: 0 on a flat area gives 0/0. All other arithmetic is in single precision.
///
/// An object holds one estimate, which any number of applications may use. An application without an estimate, planes
/// too small to be read, a negative radius, and one more than 32768 above the picture's sides or whose sums would take
/// more than 2^30 bytes a thread there throw `cv::Exception`. Every operation returns 1. One thread at a time
/// per object.
class PIXMILL_API TGuidedFilter {
public:
    cv::Mat m_a0; ///< CV_32FC1, H x W: slope for the first guide plane.
    cv::Mat m_a1; ///< CV_32FC1, H x W: slope for the second of three guide planes.
    cv::Mat m_a2; ///< CV_32FC1, H x W: slope for the third guide plane.
    cv::Mat m_b;  ///< CV_32FC1, H x W: offset.

    /// Estimates from one guide plane or three.
    ///
    /// @throws const char*  "ERROR - TGuidedFilter::setup - input vector size is not correct." for another number.
    int setup(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps);

    /// Applies the estimate: one guide plane by gFc1_applyLoop, three by gFc3_apply.
    ///
    /// @throws const char*  "ERROR - TGuidedFilter::proc - input vector size is not correct." for another number.
    int proc(const std::vector<cv::Mat>& guide, cv::Mat& out) const;

    /// a = cov(guide, src) / (var(guide) + eps), b = mean(src) - a * mean(guide), borders replicated. The coefficients
    /// are those of each window: they are not averaged a second time, and the applications rely on that.
    int gFc1_estimate(const cv::Mat& guide, const cv::Mat& src, int r, float eps);

    /// out = m_a0 * guide + m_b in floats, the coefficients enlarged by cubic interpolation.
    ///
    /// @param guide  CV_32FC1, any size.
    /// @param out    CV_32FC1, the guide's size; created unless it fits. May be `guide`.
    int gFc1_apply(const cv::Mat& guide, cv::Mat& out) const;

    /// out = m_a0 * guide + m_b * scale, rounded to nearest even, clamped to 0..scale: scale 65535 for CV_16UC1, 255
    /// for CV_8UC1. A guide of any other type is copied.
    ///
    /// Coefficients are taken from row y / fy and column x / fx, integers, where fy and fx are the ratios of the sizes
    /// rounded up: a guide of 100 rows over a grid of 40 has a factor of 3 and never reads the last rows. Past the last
    /// row or column of the grid that one is used.
    ///
    /// @param out  The guide's size and type; created unless it fits. May be `guide`.
    int gFc1_applyLoop(const cv::Mat& guide, cv::Mat& out) const;

    /// The covariance matrix of the three guide planes, plus eps on its diagonal, inverted and multiplied by their
    /// covariances with the source; then, unlike gFc1_estimate, slopes and offset are averaged over the same window,
    /// borders replicated. A singular matrix leaves the pixel with the row's last inverse to the left, or zeros.
    ///
    /// @param guide  At least three planes; the first three are read.
    int gFc3_estimate(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps);

    /// out = m_a0 * guide[0] + m_a1 * guide[1] + m_a2 * guide[2] + m_b in floats, unclamped, the coefficients enlarged
    /// to nearest neighbours.
    ///
    /// @param guide  CV_32FC1, at least three planes of one size.
    /// @param out    CV_32FC1, the size of guide[0]; created unless it fits. May be one of the guides.
    int gFc3_apply(const std::vector<cv::Mat>& guide, cv::Mat& out) const;

    /// gFc1_estimate, and gFc1_apply to the same guide, in one walk: the same bits, and no estimate is kept.
    ///
    /// @param out  CV_32FC1, the size of `src`; created unless it fits. May be `src` or `guide`.
    static int gFc1_oneMean(const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps);

    /// The whole filter, both means of He, Sun, Tang, in strips of 600 rows where the picture has 2,250,000 pixels or
    /// more and at least 600 rows, else in one. See gFc1_stripproc.
    static int stripProc(const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps);

    /// The whole filter in strips of `stripHeight` rows by gFc1_blkGuide. The result stands 2r pixels right of and
    /// below its source; margins of 4r on all sides are copies of `src`. The displacement is meant: hosts know the
    /// picture at that place. A picture without a pixel inside the margins gives a copy of `src`.
    ///
    /// @param out  CV_32FC1, the size of `src`; created unless it fits. May be `src` or `guide`.
    static int gFc1_stripproc(const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps,
                              int stripHeight);

    /// The whole filter on one block of H x W without replicated borders: sample (y, x) of `out` belongs to
    /// (y + 2r, x + 2r). A block without such a sample gives a copy of `src`.
    ///
    /// @param out  CV_32FC1, H - 4r rows and W - 4r columns; created unless it fits.
    static int gFc1_blkGuide(const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps);

    /// Strip height for `b` rows of `a` samples: `b` where that is less than 2,250,000 samples or `b` is below 600,
    /// else 600.
    static int checkBlkSz(int a, int b);

    /// cov = mean(x * y) - meanX * meanY, not clamped.
    ///
    /// @param cov           CV_32FC1; receives `roi` samples, from `anchor` on when `offsetDst`, else from its first.
    /// @param x,y           CV_32FC1, at least `fullSize`, with the margins that the mask reads.
    /// @param meanX,meanY   CV_32FC1, at least `roi`.
    /// @param tmp1,tmp2     Scratch: x * y over `fullSize`, meanX * meanY over `roi`. Created unless large enough.
    /// @param mask,anchor   The box filter's; it reads from the sample at `anchor` of the product.
    static void calcov2(cv::Mat& cov, const cv::Mat& x, const cv::Mat& y, const cv::Mat& meanX, const cv::Mat& meanY,
                        cv::Mat& tmp1, cv::Mat& tmp2, IppiSize fullSize, IppiSize roi, IppiSize mask, IppiPoint anchor,
                        bool offsetDst);

    /// var = mean(x * x) - meanX * meanX, not clamped: a variance that rounding made negative stays so. As calcov2.
    static void calvar2(cv::Mat& var, const cv::Mat& x, const cv::Mat& meanX, cv::Mat& tmp1, cv::Mat& tmp2,
                        IppiSize fullSize, IppiSize roi, IppiSize mask, IppiPoint anchor, bool offsetDst);

private:
    // The operations, with the name of the call that failures tell.
    int estimate1(const char* call, const cv::Mat& guide, const cv::Mat& src, int r, float eps);
    int estimate3(const char* call, const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps);
    int applyLoop1(const char* call, const cv::Mat& guide, cv::Mat& out) const;
    int apply3(const char* call, const std::vector<cv::Mat>& guide, cv::Mat& out) const;
};
