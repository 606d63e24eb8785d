#pragma once

#include <pixmill/develop/filter_table.h>
#include <pixmill/planar/TPImage.h>

#include <opencv2/core/mat.hpp>

#include <map>
#include <string>
#include <vector>

using Values = std::map<std::string, double>;

/// A picture between the filters: luma, half-size colour differences, and full-size ones where a filter made them.
struct Planes {
    explicit Planes(const cv::Mat& packed);

    cv::Mat lumaAsFloat() const; ///< CV_32FC1, 0..1.
    void setLuma(const cv::Mat& luma);
    cv::Mat packed() const; ///< CV_16UC3, R, G, B.

    TPImage picture;
    cv::Mat dr, db; ///< At full size; empty: `picture`'s, enlarged.
    cv::Mat rgb;    ///< CV_16UC3: what came in, or what a filter on colours made; then it is the result.
    bool isRgb = false;
};

/// What a filter of pixmill::filterTable does.
struct FilterRun {
    const char* name;
    void (*run)(Planes& planes, const Values& values);
};

const std::vector<FilterRun>& lumaFilters();
const std::vector<FilterRun>& colourFilters();

/// The filter with its parameters of that name. @throws pixmill::Error  an unknown name.
struct Filter {
    explicit Filter(const std::string& name);

    const pixmill::FilterEntry& entry;
    void (*run)(Planes& planes, const Values& values) = nullptr;
};

/// Every filter with its parameters, as text.
std::string filterList();

/// "name=value" pairs over the usual values. @throws pixmill::Error  an unknown name, a value out of its range.
Values valuesOf(const pixmill::FilterEntry& filter, const std::vector<std::string>& assignments);
