#pragma once

#include <pixmill/planar/TPImage.h>

#include <opencv2/core/mat.hpp>

#include <map>
#include <string>
#include <vector>

/// One number that a filter takes.
struct Parameter {
    const char* name;
    double least, most, usual;
    const char* text; ///< With its unit.
};

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

/// One filter of the toolbox.
struct Filter {
    const char* name;
    const char* purpose;
    std::vector<Parameter> parameters;
    void (*run)(Planes& planes, const Values& values);
};

const std::vector<Filter>& lumaFilters();
const std::vector<Filter>& colourFilters();

/// @throws pixmill::Error  an unknown name.
const Filter& filterOf(const std::string& name);

/// Every filter with its parameters, as text.
std::string filterList();

/// "name=value" pairs over the usual values. @throws pixmill::Error  an unknown name, a value out of its range.
Values valuesOf(const Filter& filter, const std::vector<std::string>& assignments);
