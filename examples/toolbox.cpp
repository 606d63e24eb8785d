// The toolbox: every filter of the library on one piece of the photograph, as a page and as a contact sheet.
#include "toolbox.h"
#include "options.h"
#include "photo.h"
#include "report.h"
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdio>

namespace {

/// The rectangle of this size with the most detail: the greatest mean of the variances in small windows.
cv::Rect mostDetailed(const cv::Mat& photo, cv::Size size)
{
    const int reduction = std::clamp(std::min(photo.cols, photo.rows) / 64, 1, 4);
    const cv::Size small(photo.cols / reduction, photo.rows / reduction);
    cv::Mat gray, mean, meanOfSquares;
    cv::cvtColor(photo, gray, cv::COLOR_BGRA2GRAY);
    gray.convertTo(gray, CV_32F, 1.0 / 65535.0);
    cv::resize(gray, gray, small, 0, 0, cv::INTER_AREA);
    cv::blur(gray, mean, {9, 9});
    cv::blur(gray.mul(gray), meanOfSquares, {9, 9});
    const cv::Mat variance = cv::max(meanOfSquares - mean.mul(mean), 0.0);

    cv::Mat sums;
    cv::integral(variance, sums, CV_64F);
    const int w = std::min(size.width / reduction, small.width), h = std::min(size.height / reduction, small.height);
    cv::Point best;
    double most = -1;
    for (int y = 0; y + h <= small.height; ++y)
        for (int x = 0; x + w <= small.width; ++x) {
            const double sum = sums.at<double>(y + h, x + w) - sums.at<double>(y, x + w) - sums.at<double>(y + h, x) +
                               sums.at<double>(y, x);
            if (sum > most) {
                most = sum;
                best = {x, y};
            }
        }
    return {std::min(best.x * reduction, photo.cols - size.width),
            std::min(best.y * reduction, photo.rows - size.height), size.width, size.height};
}

/// About 720 x 480 pixels; even, where the picture is large enough, as the half-size planes have it.
cv::Rect chooseCrop(const cv::Mat& photo)
{
    const auto side = [](int wanted, int there) { return there > 1 ? std::min(wanted, there) / 2 * 2 : there; };
    return mostDetailed(photo, {side(720, photo.cols), side(480, photo.rows)});
}

/// A picture fitted into a cell of the sheet, with its label.
cv::Mat cell(const cv::Mat& picture, const std::string& text)
{
    const cv::Size size(396, 264);
    const double scale = std::min(double(size.width) / picture.cols, double(size.height) / picture.rows);
    const cv::Size fitted(std::clamp(cvRound(picture.cols * scale), 1, size.width),
                          std::clamp(cvRound(picture.rows * scale), 1, size.height));
    cv::Mat out(size, CV_8UC3, cv::Scalar::all(255));
    cv::resize(picture, out(cv::Rect({0, 0}, fitted)), fitted, 0, 0, scale < 1 ? cv::INTER_AREA : cv::INTER_NEAREST);
    label(out, text);
    return out;
}

/// A row a filter: before, and after at each setting; two filters a line.
cv::Mat contactSheet(const std::vector<Entry>& entries)
{
    std::vector<cv::Mat> rows, lines;
    for (const Entry& entry : entries) {
        std::vector<cv::Mat> row{cell(entry.before, entry.name)};
        for (const Shot& shot : entry.after)
            row.push_back(cell(shot.picture, shot.parameters));
        const cv::Mat joined = sideBySide(row);
        rows.emplace_back();
        cv::copyMakeBorder(joined, rows.back(), 6, 6, 10, 10, cv::BORDER_CONSTANT, cv::Scalar::all(255));
    }
    if (rows.size() % 2)
        rows.emplace_back(rows.front().size(), rows.front().type(), cv::Scalar::all(255));
    for (size_t i = 0; i < rows.size(); i += 2)
        lines.push_back(sideBySide({rows[i], rows[i + 1]}));
    cv::Mat sheet;
    cv::vconcat(lines, sheet);
    return sheet;
}

} // namespace

Scene::Scene(const cv::Mat& photo) : picture(photo.cols, photo.rows), packed(photo)
{
    picture.convertFrom(photo.ptr<unsigned short>(), photo.cols, photo.rows, int(photo.step / 2));
    picture.m_Y.convertTo(luma, CV_32F, 1.0 / 65535.0);
    dr.create(photo.size(), CV_16UC1);
    db.create(photo.size(), CV_16UC1);
    upSize2X(picture.m_Dr, dr, kCubic);
    upSize2X(picture.m_Db, db, kCubic);
}

cv::Mat Scene::show(const cv::Mat& luma) const
{
    return show(luma, dr, db);
}

cv::Mat Scene::show(const cv::Mat& luma, const cv::Mat& red, const cv::Mat& blue) const
{
    cv::Mat Y = luma, rgb[3], out;
    if (luma.depth() == CV_32F)
        luma.convertTo(Y, CV_16U, 65535.0);
    for (cv::Mat& plane : rgb)
        plane.create(Y.size(), CV_16UC1);
    TPImage::YDRDB2RGB(Y, red, blue, rgb[0], rgb[1], rgb[2]);
    toFile16(rgb).convertTo(out, CV_8U, 1.0 / 257.0);
    return out;
}

EdgeTables::EdgeTables()
    : m_toEdge(65536), m_toFull(256), m_toEdgeBefore(TPImage::m_lutFullToEdge_p),
      m_toFullBefore(TPImage::m_lutEdgeToFull_p)
{
    TPImage::m_lutFullToEdge_p = m_toEdge.data();
    TPImage::m_lutEdgeToFull_p = m_toFull.data();
    TPImage::computeLUT();
}

EdgeTables::~EdgeTables()
{
    TPImage::m_lutFullToEdge_p = m_toEdgeBefore;
    TPImage::m_lutEdgeToFull_p = m_toFullBefore;
}

int runToolbox(const Options& options)
{
    heading("The toolbox");
    const cv::Mat photo = as16Bit(loadPhoto(options.photo));
    const cv::Rect crop = chooseCrop(photo);
    std::printf("  on %d x %d pixels from (%d, %d), where the photograph has the most detail\n", crop.width,
                crop.height, crop.x, crop.y);
    const Scene scene(photo(crop).clone());
    const std::vector<Entry> entries = runFilters(scene);
    save(options.out, "toolbox.jpg", contactSheet(entries));
    writePage(options.out, options.photo, crop, entries, plotCurves());
    return 0;
}
