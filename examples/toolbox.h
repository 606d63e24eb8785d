#pragma once

#include <pixmill/planar/TPImage.h>

#include <opencv2/core/mat.hpp>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Interpolation codes of the resamplers, as resample.h has them.
constexpr int kNearest = 1, kCubic = 4, kPyramid = 257;

/// A part of a photograph that the filters work on, in the forms that they take.
struct Scene {
    /// @param photo  CV_16UC4, B, G, R, x.
    /// @param words  What is seen, for the page.
    Scene(const cv::Mat& photo, std::string words);

    /// A luma with the scene's colours, as a picture to show: CV_8UC3. Luma is CV_16UC1 or CV_32FC1 in 0..1.
    cv::Mat show(const cv::Mat& luma) const;
    cv::Mat show(const cv::Mat& luma, const cv::Mat& dr, const cv::Mat& db) const;

    TPImage picture;
    cv::Mat packed; ///< CV_16UC4, B, G, R, x.
    cv::Mat luma;   ///< CV_32FC1, 0..1.
    cv::Mat dr, db; ///< The colour differences at full size.
    std::string words;
};

/// The scenes by name, each read when it is first asked for.
class Scenes {
public:
    /// @param photo     The person's photograph.
    /// @param chosen    Whether scenes come from the photographs beside it; else all are its part with the most detail.
    /// @param portrait  Where the scene of this name comes from; without it, fur stands in.
    Scenes(std::string photo, bool chosen, std::string portrait)
        : m_photo(std::move(photo)), m_chosen(chosen), m_portrait(std::move(portrait))
    {
    }

    const Scene& of(const std::string& name);

private:
    std::string m_photo;
    bool m_chosen;
    std::string m_portrait;
    std::map<std::string, std::unique_ptr<Scene>> m_scenes;
};

/// What one call made of the scene.
struct Shot {
    cv::Mat picture; ///< CV_8UC3
    std::string call, setting;
    std::string form; ///< Which of several forms of the filter; empty: it has one.
};

/// One filter: what went in, what came out.
struct Entry {
    std::string name, purpose, scene;
    cv::Mat before;
    std::string beforeIs = "before";
    std::vector<Shot> after;
    cv::Point2d focus{0.5, 0.5}; ///< Where the view at 1:1 begins: its middle, as shares of the picture.
    bool formsBeside = false;    ///< The views at 1:1 are the forms beside each other, not before and after.
    bool enlarged = false;       ///< Its pixels are large already: no view at 1:1, and no loss in its files.
};

/// Runs the filters, and tells their times on standard output.
std::vector<Entry> runFilters(Scenes& scenes);

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
void writePage(const std::string& out, const std::vector<Entry>& entries, const std::vector<Plot>& plots);

/// The page's look and its script.
extern const char* const kPageStyle;
extern const char* const kPageScript;

/// A plot as SVG.
std::string svgOf(const Plot& plot);

/// Text for HTML.
std::string escaped(const std::string& text);

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
