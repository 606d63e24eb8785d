#pragma once

#include <pixmill/mask/TDrawMask.h>
#include <reference/brush.h>
#include <support/planes.h>

/// Painters for tests of the mask.
namespace pixmill::test {

using reference::Brush;

inline constexpr const char* kInnerLarger =
    "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.";

// A painter over a picture of half size `size`, and its twin; the colour varies enough for edges to bite.
struct Pair {
    TDrawMask painter;
    Brush twin;

    explicit Pair(cv::Size size, unsigned seed = 1)
    {
        twin.y8 = scenePlane(size, CV_8UC1, 0, 256, seed).clone();
        twin.dr = scenePlane(size, CV_16UC1, 30000, 36000, seed + 1).clone();
        twin.db = scenePlane(size, CV_16UC1, 31000, 34000, seed + 2).clone();
        twin.mask = cv::Mat(size, CV_8UC1, cv::Scalar(255));
        // views with padded rows for the painter
        painter.setInImage(paddedCopy(twin.y8), paddedCopy(twin.dr), paddedCopy(twin.db));
    }

    // Random coverage and base on both sides, so that every pixel a dot touches or must not touch shows.
    void startStroke(unsigned seed)
    {
        twin.mask = randomPlane(twin.mask.size(), CV_8UC1, 0, 256, seed).clone();
        twin.cover = randomPlane(twin.mask.size(), CV_8UC1, 0, 256, seed + 1).clone();
        twin.base = randomPlane(twin.mask.size(), CV_8UC1, 0, 256, seed + 2).clone();
        for (int i = 0; i < int(twin.cover.total()); i += 3)
            twin.cover.data[i] = i % 2 ? 255 : 0; // the values that real strokes are full of
        painter.m_mask = twin.mask.clone();
        painter.m_strokeCover = twin.cover.clone();
        painter.m_strokeBase = twin.base.clone();
    }

    testing::AssertionResult agree() const
    {
        if (const auto same = samePixels<uchar>(twin.cover, painter.m_strokeCover); !same)
            return testing::AssertionFailure() << "coverage " << same.message();
        return samePixels<uchar>(twin.mask, painter.m_mask);
    }
};

inline TMaskParam dot(cv::Point center, int outer, int inner, float edge, uchar value = 40, float opacity = 0.8f)
{
    TMaskParam p;
    p.m_value = value;
    p.m_outerRadius = outer;
    p.m_innerRadius = inner;
    p.m_opacity = opacity;
    p.m_edge = edge;
    p.m_center = center;
    return p;
}

inline void setFlatPicture(TDrawMask& m, int side)
{
    const cv::Mat colour = cv::Mat::zeros(side, side, CV_16UC1);
    m.setInImage(cv::Mat::zeros(side, side, CV_8UC1), colour, colour);
}

// Whether all of a plane is `value`.
inline bool isAll(const cv::Mat& m, int value)
{
    return cv::countNonZero(m != value) == 0;
}

} // namespace pixmill::test
