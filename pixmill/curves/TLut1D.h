#pragma once
// Plain form: `reference/table_look_up.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// A lookup table from 8-bit or 16-bit pixels to 8-bit or 16-bit pixels.
///
/// The table has 256 or 65536 entries, by the input's depth. A table may be read by many threads, but must not be
/// rebuilt meanwhile. Not copyable: the object owns its table.
class PIXMILL_API TLut1D {
public:
    int m_inDepth;           ///< Input depth: 0 is CV_8U, 2 is CV_16U.
    int m_outDepth;          ///< Output depth, and so the output's one-channel type: 0 is CV_8U, 2 is CV_16U.
    void* m_lut_p = nullptr; ///< The table; undefined until something fills it.

    /// @throws const char*  "ERROR - TLut1D::TLut1D - type" for depths other than 0 and 2.
    TLut1D(int inDepth, int outDepth);
    ~TLut1D();
    TLut1D(const TLut1D&) = delete;
    TLut1D& operator=(const TLut1D&) = delete;

    /// Writes table[in] to `out`. From 16 bits to 8, the low eight bits of a pixel alone select its entry.
    ///
    /// `out` is a header of its own: unless it has the size of `in` and the one-channel type of the output depth, the
    /// result goes to fresh memory that the caller never sees. May share the pixels of `in`.
    /// @throws const char*  "ERROR - TLut1D::TLut1D - type" for depths other than 0 and 2.
    void apply(const cv::Mat& in, cv::Mat out);

    /// The same in place: the caller's pixels change where the depths are equal to the picture's.
    void apply(cv::Mat inOut);

    /// Does nothing.
    void curve(int*, int*, int, int);
};
