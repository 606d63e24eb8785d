#pragma once

#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>

/// Which pixels of the mask a dot reaches.
namespace pixmill::mask {

using namespace rows;

constexpr int kLightPixels = 4; ///< pixels of a cheap loop that weigh as much as one elsewhere, see forEachSpan

/// A stroke's layers are planes of the mask's size.
inline void checkLayer(const cv::Mat& layer, const cv::Mat& mask, const char* call, const char* name)
{
    checkPlane(mask, call, "m_mask");
    PIXMILL_CHECK(fits(layer, mask.size(), CV_8UC1), call, name, describe(layer), "CV_8UC1 of the mask's size");
}

/// The mask pixels under a dot; x1 may lie one past the mask, see checkBoundary.
struct Area {
    long x0, x1, y0, y1;

    Area(cv::Point center, long radius, cv::Size mask)
    {
        const long left = center.x - radius, right = center.x + radius;
        const long top = center.y - radius, bottom = center.y + radius;
        x0 = std::max(left, 0L);
        x1 = right <= mask.width ? right + 1 : mask.width;
        y0 = std::max(top, 0L);
        y1 = bottom < mask.height ? bottom + 1 : mask.height;
    }

    bool isEmpty() const { return x0 >= x1 || y0 >= y1; }
};

/// The part of a dot that lies within the mask, row by row around the centre.
struct Walk {
    cv::Point center;
    Area area;
    int cols;
    bool spills; ///< the dot reaches column `cols`, which is the next row's first pixel

    Walk(cv::Point c, int radius, const cv::Mat& cover) : center(c), area(c, radius, cover.size()), cols(cover.cols)
    {
        spills = !area.isEmpty() && area.x1 > cover.cols && cover.isContinuous();
        area.x1 = std::min(area.x1, long(cover.cols));
    }

    bool hasRow(long y) const { return y >= area.y0 && y < area.y1; }

    /// Least and greatest distance of low..high-1 from c.
    static int nearest(long c, long low, long high) { return int(std::max({0L, low - c, c - (high - 1)})); }
    static int farthest(long c, long low, long high) { return int(std::max(c - low, high - 1 - c)); }

    /// Calls body(dy) for every distance of a row from the centre. `pixels` of its work weigh as much as one elsewhere.
    template <class Body>
    void forEachDistance(int pixels, const Body& body) const
    {
        if (area.isEmpty())
            return;
        const int first = nearest(center.y, area.y0, area.y1), last = farthest(center.y, area.y0, area.y1);
        forEachIndex(last - first + 1, (area.x1 - area.x0) * (area.y1 - area.y0) / pixels,
                     [&](int i) { body(first + i); });
    }

    /// Calls body(y) for the one or two rows at this distance.
    template <class Body>
    void rowsAt(int dy, const Body& body) const
    {
        if (hasRow(long(center.y) - dy))
            body(center.y - dy);
        if (dy > 0 && hasRow(long(center.y) + dy))
            body(center.y + dy);
    }
};

} // namespace pixmill::mask
