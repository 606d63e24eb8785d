#pragma once
// Plain form: `reference/sampled_tables.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// A luma adjustment, written once as a mapping of a pixel in Y/Dr/Db, turned into a table and applied to planes.
///
/// The table is the mapping at 4096 lumas 16 apart, with neutral chroma, stretched to 65536 entries by the resize
/// primitive on pixel squares. So an identity mapping gives X - 7 inside, 0 and 65520 at the ends: this small deviation
/// belongs to the chosen sampling.
///
/// Destroy it as the class it was made as: the destructor is not virtual. Not copyable: it owns its table. A table must
/// not be recomputed while another thread applies it.
class PIXMILL_API TLutY16U {
public:
    unsigned short* m_lutY_p; ///< The luma table, 65536 entries, or null; owned.

    TLutY16U();
    ~TLutY16U();
    TLutY16U(const TLutY16U&) = delete;
    TLutY16U& operator=(const TLutY16U&) = delete;

    /// Changes a pixel in place: 16-bit luma, red and blue difference.
    ///
    /// Called on several threads at once, so it reads only what it does not change, and must not throw. Sampling passes
    /// 32767 as both differences and drops them afterwards.
    virtual void mapYDrDb(unsigned short& y, unsigned short& c1, unsigned short& c2) = 0;

    /// Allocates the table if there is none.
    void setupYLUT();

    /// Fills the table from the mapping; does nothing when `compute` is false or there is no table.
    void computeLUT16U(bool compute);

    /// Recomputes the table and applies it in place.
    ///
    /// @param inOutY16U  CV_16UC1.
    /// @return true.
    /// @throws const char*  "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1", and as `applyYLUT` without a table.
    bool proc(cv::Mat& inOutY16U);

    /// Writes table[inY].
    ///
    /// @param inY   CV_16UC1.
    /// @param outY  CV_16UC1, created unless it fits. May be `inY`.
    /// @throws const char*  "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p",
    ///     "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1"
    void applyYLUT(const cv::Mat& inY, cv::Mat& outY);
};
