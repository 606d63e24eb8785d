#pragma once

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// A `cv::Mat` with a region of interest attached, and a version that moves on whenever the region changes.
class PIXMILL_API TMat : public cv::Mat {
public:
    int m_roiX;     ///< Left of the region.
    int m_roiY;     ///< Top of the region.
    int m_roiScale; ///< Reduction of the region, 1 is full size.
    int m_version;  ///< Moves on with every new region; never 0, so a host may take 0 for no region at all.

    /// Shares the pixels of `m`; region 0, 0, 1 and version 1000.
    TMat(cv::Mat& m);

    /// Stores the region; the version moves on unless all three values are those stored.
    void setRoi(int x, int y, int scale);
};
