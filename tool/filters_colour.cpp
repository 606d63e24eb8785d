// The toolbox's filters of colour.
#include "filters.h"
#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/core/TImage.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/primitives/vector.h>
#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>

namespace {

constexpr int kCubic = 4;

/// The colour differences at the luma's size, for pictures of odd sizes too.
void enlargeColour(Planes& planes, bool byLuma)
{
    TPImage& picture = planes.picture;
    const cv::Size half = picture.m_Dr.size(), doubled(half.width * 2, half.height * 2);
    cv::Mat guide(doubled, CV_16UC1);
    cv::copyMakeBorder(picture.m_Y, guide, 0, doubled.height - picture.m_Y.rows, 0, doubled.width - picture.m_Y.cols,
                       cv::BORDER_REPLICATE);
    const cv::Rect whole({}, picture.m_Y.size());
    for (cv::Mat* plane : {&planes.dr, &planes.db}) {
        cv::Mat large;
        upSize2XGuidedByY(guide, plane == &planes.dr ? picture.m_Dr : picture.m_Db, large, byLuma, kCubic);
        *plane = large(whole).clone();
    }
}

void colour(Planes& planes, const Values& values)
{
    enlargeColour(planes, false);
    TColorAdjQ3 adjust(1, 1, 1, 1, 2, 1);
    adjust.m_warmth = float(values.at("warmth"));
    adjust.m_tint = float(values.at("tint"));
    adjust.m_saturation = float(values.at("saturation"));
    adjust.m_chromaFloor = float(values.at("floor"));
    adjust.m_dirty = 1;
    adjust.proc(planes.picture.m_Y, planes.picture.m_Y, planes.dr, planes.db, planes.dr, planes.db);
}

/// A grid of 17 colours a side: a power for each channel, and a share of the colour that goes.
void table(Planes& planes, const Values& values)
{
    constexpr int kGrid = 17;
    const float power[] = {float(values.at("red")), float(values.at("green")), float(values.at("blue"))};
    const double grey = values.at("grey");
    std::vector<ushort> entries(kGrid * kGrid * kGrid * 3);
    TLut3D lut;
    for (int& size : lut.m_size)
        size = kGrid;
    lut.m_table_p = entries.data();
    lut.initialize(kGrid, 3, TLut3D::LAST_FASTEST);
    for (size_t i = 0; i < entries.size(); i += 3) {
        const double luma = 0.299 * entries[i] + 0.587 * entries[i + 1] + 0.114 * entries[i + 2];
        for (size_t c = 0; c < 3; ++c) {
            float share = float((entries[i + c] + grey * (luma - entries[i + c])) / 65535.0);
            vsPowx(1, &share, power[c], &share);
            entries[i + c] = cv::saturate_cast<ushort>(65535.0 * share);
        }
    }
    lut.applyLutOn16UC3Mat(planes.rgb, planes.rgb, TLut3D::LUT3D_LINEAR);
    planes.isRgb = true;
}

void chroma(Planes& planes, const Values& values)
{
    enlargeColour(planes, values.at("guided") > 0.5);
}

/// The compact picture of 16-bit luma and half-size 8-bit colour; colour follows a luma that changes.
void compact(Planes& planes, const Values& values)
{
    cv::Mat bgra(planes.rgb.rows / 2 * 2, planes.rgb.cols / 2 * 2, CV_16UC4, cv::Scalar::all(65535)), bytes;
    const cv::Size size = bgra.size();
    if (size.area() == 0)
        return;
    const cv::Mat even = planes.rgb(cv::Rect({}, size));
    const int fromTo[] = {0, 2, 1, 1, 2, 0};
    cv::mixChannels(&even, 1, &bgra, 1, fromTo, 3);
    bgra.convertTo(bytes, CV_8U, 1 / 257.0);
    TImage Y(TImage::IM_Y, {}), C(TImage::IM_C, {}), M(TImage::IM_M, {});
    TImage::bgra8uToTImage(bytes.data, size.width, size.height, int(bytes.step), Y, C, M);
    cv::Mat luma;
    Y.toMat(0).convertTo(luma, CV_32F, 1 / 65535.0);
    for (int y = 0; y < luma.rows; ++y)
        vsPowx(luma.cols, luma.ptr<float>(y), float(values.at("power")), luma.ptr<float>(y));
    luma.convertTo(luma, CV_16U, 65535.0);
    TImage newY(TImage::IM_Y, {size.width, size.height}), newC(C);
    newY.fromMat(luma, 0);
    TImage::updateCfromYChange(Y, C, newY, newC, 0.1f);
    TImage::timageToBgra8u(newY, newC, M, bytes.data, int(bytes.step));
    bytes.convertTo(bgra, CV_16U, 257.0);
    cv::Mat out(size, CV_16UC3);
    cv::mixChannels(&bgra, 1, &out, 1, std::vector<int>{2, 0, 1, 1, 0, 2}.data(), 3);
    cv::copyMakeBorder(out, planes.rgb, 0, planes.rgb.rows - size.height, 0, planes.rgb.cols - size.width,
                       cv::BORDER_REPLICATE);
    planes.isRgb = true;
}

} // namespace

const std::vector<FilterRun>& colourFilters()
{
    static const std::vector<FilterRun> runs = {
        {"colour", colour},
        {"table", table},
        {"chroma", chroma},
        {"compact", compact},
    };
    return runs;
}
