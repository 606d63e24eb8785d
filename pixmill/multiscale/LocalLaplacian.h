#pragma once
// Plain form: `reference/local_laplacian.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// Edge-aware detail filter on a 16-bit plane.
///
/// The plane is remapped once for each of K reference intensities, each result becomes a Laplacian pyramid, and every
/// level of the output's pyramid is interpolated between the two whose references bracket the input's value there. K is
/// 24, 16 or 10: more is more exact and costs more.
///
/// Method: M. Aubry, S. Paris, S. W. Hasinoff, J. Kautz, F. Durand, "Fast Local Laplacian Filters: Theory and
/// Applications", 2014.
///
/// Tiles that equal the whole picture to the bit: with s = 2^(numLevels - 1), rows and columns from a multiple of s to
/// the next or to the picture's end, widened by 4 s on every side that is not the picture's, filtered, the margins cut
/// off again.
///
/// One thread at a time per object; not copyable.
class PIXMILL_API LocalLaplacian {
public:
    float m_sigma = 0.15f;     ///< Half-width of the remap curve, of 32768. Negative enhances detail.
    float m_lutSmooth = 0.3f;  ///< Gaussian smoothing of the curve, of its half-width.
    int m_numLevels = 2;       ///< Depth of the pyramid; below 1 counts as 1. Levels past one pixel cost nothing.
    unsigned short* m_remap_p; ///< 65,536 entries: remapped half differences, centred on 32768; owned.

    ///@{
    /// @throws const char*  "ERROR - LocalLaplacian::LocalLaplacian - !m_remap_p", without memory.
    LocalLaplacian();
    ~LocalLaplacian();
    LocalLaplacian(const LocalLaplacian&) = delete;
    LocalLaplacian& operator=(const LocalLaplacian&) = delete;
    ///@}

    ///@{
    /// Filters with 24, 16 or 10 references, `step` = 2730, 4095 or 6553 apart. The members take the arguments' values.
    ///
    /// @param in         CV_16UC1.
    /// @param out        CV_16UC1; created unless it fits; may be `in`.
    /// @param sigma      above 0 flattens detail, below 0 enhances it: -0.15..0.15 as a rule.
    /// @param lutSmooth  0..1, see `m_lutSmooth`; 0.3 is a good start.
    /// @param numLevels  see `levelJ`.
    /// @throws cv::Exception  `in` of another type.
    void proc24K(const cv::Mat& in, cv::Mat& out, float sigma, float lutSmooth, int numLevels);
    void proc16K(const cv::Mat& in, cv::Mat& out, float sigma, float lutSmooth, int numLevels);
    void proc10K(const cv::Mat& in, cv::Mat& out, float sigma, float lutSmooth, int numLevels);
    ///@}

    /// Fills `m_remap_p` from `m_sigma` and `m_lutSmooth`: a sawtooth around 32768 of half-width D = 32768 |m_sigma|,
    /// that leans against the difference for `m_sigma` >= 0 and with it below, smoothed where D * m_lutSmooth > 1.
    void calRemapLut();

    /// A depth for pictures of this size: log2(min(width, height) * scale) rounded, at least 1, plus 1.
    static int levelJ(int width, int height, float scale);

    /// `value` limited to low..high.
    static int clamp(int value, int low, int high);

private:
    template <int K>
    void filter(const char* call, const cv::Mat& in, cv::Mat& out, int step, float invStep);
};
