#pragma once

#include <pixmill/planar/TPImage.h>

#include <opencv2/core/mat.hpp>

#include <string>
#include <vector>

/// Interpolation codes of the resamplers, as resample.h has them.
constexpr int kNearest = 1, kCubic = 4, kPyramid = 257;

/// The piece of the photograph that the filters work on, in the forms that they take.
struct Scene {
    explicit Scene(const cv::Mat& photo);

    /// A luma with the scene's colours, as a picture to show: CV_8UC3. Luma is CV_16UC1 or CV_32FC1 in 0..1.
    cv::Mat show(const cv::Mat& luma) const;
    cv::Mat show(const cv::Mat& luma, const cv::Mat& dr, const cv::Mat& db) const;

    TPImage picture;
    cv::Mat packed; ///< CV_16UC4, B, G, R, x.
    cv::Mat luma;   ///< CV_32FC1, 0..1.
    cv::Mat dr, db; ///< The colour differences at full size.
};

/// What one call made of the scene.
struct Shot {
    cv::Mat picture; ///< CV_8UC3
    std::string call, parameters;
};

/// One filter: what went in, what came out.
struct Entry {
    std::string name, purpose;
    cv::Mat before;
    std::string beforeIs;
    std::vector<Shot> after;
};

/// Runs the filters, and tells their times on standard output.
std::vector<Entry> runFilters(const Scene& scene);

struct Curve {
    std::string name;
    std::vector<cv::Point2d> points;
};

struct Plot {
    std::string title, caption, xName, yName;
    cv::Rect2d range;
    std::vector<Curve> curves;
};

/// The curves behind the filters, out of their own tables.
std::vector<Plot> plotCurves();

/// Writes out/toolbox.html and its pictures in out/toolbox/.
void writePage(const std::string& out, const std::string& photo, const cv::Rect& crop,
               const std::vector<Entry>& entries, const std::vector<Plot>& plots);

/// Tables for TPImage's edge planes, for as long as this lives.
class EdgeTables {
public:
    EdgeTables();
    ~EdgeTables();
    EdgeTables(const EdgeTables&) = delete;
    EdgeTables& operator=(const EdgeTables&) = delete;

private:
    std::vector<unsigned char> m_toEdge;
    std::vector<unsigned short> m_toFull;
    unsigned char* m_toEdgeBefore;
    unsigned short* m_toFullBefore;
};
