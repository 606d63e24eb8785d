#pragma once

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// A frame for families of tables of a luma and chroma mapping. It holds the tables; nothing fills or applies them.
///
/// Destroy it as the class it was made as: the destructor is not virtual. Not copyable: it owns its tables.
class PIXMILL_API TLut2D {
public:
    int m_N;                          ///< Number of tables.
    unsigned short* m_lut_p[16] = {}; ///< Slot i holds a table of 65536 entries for i < m_N, else null; owned.

    /// Allocates `n` tables, 16 at the most, and keeps their number.
    explicit TLut2D(int n);
    ~TLut2D();
    TLut2D(const TLut2D&) = delete;
    TLut2D& operator=(const TLut2D&) = delete;

    /// The mapping, as in `TLutY16U`; the library does not call it.
    virtual void mapYDrDb(unsigned short& y, unsigned short& c1, unsigned short& c2) = 0;

    /// Does nothing.
    void apply(const cv::Mat&, cv::Mat&, cv::Mat&);

    /// Does nothing.
    void computeLUT();
};
