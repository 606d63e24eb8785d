#pragma once
// Plain form: `reference/colour_cube.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// A three-dimensional colour table for 16-bit pictures of three channels: a regular grid of colour triples.
///
/// The host sets the sizes and owns the table. Entry (a, b, c) lies at element ((a * m_size[1] + b) * m_size[2] + c) *
/// 3; the third axis varies fastest. One thread may fill a table, many may look it up.
class PIXMILL_API TLut3D {
public:
    /// How `initialize` lays the grid out.
    enum COLOR_ORDER : int {
        FIRST_FASTEST = 0, ///< The first channel varies fastest in the table.
        LAST_FASTEST = 1   ///< The last channel does, as the look-up has it.
    };

    /// Interpolations that a look-up knows.
    enum LUT3D_INTERP : int {
        LUT3D_LINEAR = 1 ///< Trilinear.
    };

    float m_min[3] = {0, 0, 0};             ///< Lower end of each channel's range.
    float m_max[3] = {65535, 65535, 65535}; ///< Upper end of each channel's range.
    int m_size[3] = {0, 0, 0};              ///< Grid points along each axis, 2^24 at the most.
    unsigned short* m_table_p = nullptr;    ///< The grid, m_size[0] * m_size[1] * m_size[2] triples; the host's.

    /// Fills a grid of gridSize cubed entries with the identity: 0 to m_max in even steps, truncated.
    ///
    /// @param channels  Elements from entry to entry, 3 or more; those past the third are left alone.
    /// @throws const char*  "Cannot generate identity 3d lookup table with less than 3 channels",
    ///                      "Unknown pixels order"
    void initialize(int gridSize, int channels, TLut3D::COLOR_ORDER order);

    /// Makes `out` a header over the table, without a copy: CV_16UC3, m_size[0] rows, m_size[0] squared columns.
    void getLut3DAsMat16UC3(cv::Mat& out);

    /// `LookupLinear` for `interp` 1; nothing for another value.
    ///
    /// @param in, out  CV_16UC3; `out` is at least as large as `in`, and may be `in`.
    /// @throws const char*  "Currently, we only handle 16UC3 type matrix"
    void applyLutOn16UC3Mat(cv::Mat& in, cv::Mat& out, TLut3D::LUT3D_INTERP interp) const;

    /// Looks every pixel up with trilinear interpolation; values outside the range count as its ends.
    ///
    /// @param in, out  CV_16UC3; `out` is at least as large as `in`, and may be `in`.
    /// @throws const char*  as above
    void LookupLinear(cv::Mat& in, cv::Mat& out) const;

    /// Trilinear interpolation of one triple, channel by channel, truncated to 16 bits after each axis.
    ///
    /// @param c0  Corner (0, 0, 0), `c1` (0, 0, 1), `c2` (0, 1, 0), ... `c7` (1, 1, 1): the last axis is the fastest.
    /// @param f0  Fraction on axis 0 for each channel; `f1`, `f2` on axes 1, 2.
    static void linearInterpolateRGB(unsigned short* result, const unsigned short* c0, const unsigned short* c1,
                                     const unsigned short* c2, const unsigned short* c3, const unsigned short* c4,
                                     const unsigned short* c5, const unsigned short* c6, const unsigned short* c7,
                                     const float* f0, const float* f1, const float* f2);
};
