#include "filters.h"
#include <pixmill/develop/Error.h>

#include <opencv2/core.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>

using pixmill::FilterEntry;
using pixmill::FilterParameter;

namespace {

std::string inWords(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

std::string rangeOf(const FilterParameter& parameter)
{
    return (parameter.whole ? "a whole number of " : "") + inWords(parameter.least) + ".." + inWords(parameter.most);
}

std::string namesOf(const FilterEntry& filter)
{
    std::string names;
    for (const FilterParameter& parameter : filter.parameters)
        names += (names.empty() ? "" : ", ") + std::string(parameter.name);
    return names.empty() ? "no parameter" : "one of " + names;
}

const FilterParameter& parameterOf(const FilterEntry& filter, const std::string& name)
{
    for (const FilterParameter& parameter : filter.parameters)
        if (parameter.name == name)
            return parameter;
    throw pixmill::Error("pixmill filter", std::string(filter.name) + "." + name, namesOf(filter), "unknown");
}

} // namespace

Planes::Planes(const cv::Mat& packed) : picture(packed.cols, packed.rows)
{
    packed.convertTo(rgb, CV_16U, packed.depth() == CV_8U ? 257.0 : 1.0);
    cv::Mat bgrx(packed.size(), CV_16UC4, cv::Scalar::all(0));
    const int fromTo[] = {0, 2, 1, 1, 2, 0};
    cv::mixChannels(&rgb, 1, &bgrx, 1, fromTo, 3);
    if (rgb.channels() == 4) {
        cv::Mat colours(rgb.size(), CV_16UC3);
        const int first[] = {0, 0, 1, 1, 2, 2};
        cv::mixChannels(&rgb, 1, &colours, 1, first, 3);
        rgb = colours;
    }
    picture.convertFrom(bgrx.ptr<ushort>(), bgrx.cols, bgrx.rows, int(bgrx.step / 2));
}

cv::Mat Planes::lumaAsFloat() const
{
    cv::Mat luma;
    picture.m_Y.convertTo(luma, CV_32F, 1.0 / 65535.0);
    return luma;
}

void Planes::setLuma(const cv::Mat& luma)
{
    luma.convertTo(picture.m_Y, CV_16U, luma.depth() == CV_32F ? 65535.0 : 1.0);
}

cv::Mat Planes::packed() const
{
    if (isRgb)
        return rgb;
    const cv::Size size = picture.m_Y.size();
    std::vector<cv::Mat> planes(3);
    for (cv::Mat& plane : planes)
        plane.create(size, CV_16UC1);
    if (!dr.empty()) {
        TPImage::YDRDB2RGB(picture.m_Y, dr, db, planes[0], planes[1], planes[2]);
    } else {
        ushort* rows[] = {planes[0].ptr<ushort>(), planes[1].ptr<ushort>(), planes[2].ptr<ushort>()};
        picture.convertTopRGB(rows, 0);
    }
    cv::Mat out;
    cv::merge(planes, out);
    return out;
}

Filter::Filter(const std::string& name) : entry(pixmill::filterEntry(name))
{
    for (const auto* table : {&lumaFilters(), &colourFilters()})
        for (const FilterRun& known : *table)
            if (known.name == name)
                run = known.run;
}

std::string filterList()
{
    std::string text;
    for (const FilterEntry& filter : pixmill::filterTable()) {
        text += std::string(filter.name) + "\n    " + filter.purpose + "\n";
        for (const FilterParameter& p : filter.parameters)
            text += std::string("      ") + p.name + "=" + inWords(p.usual) + "  " + p.text + " (" + rangeOf(p) + ")\n";
    }
    return text;
}

Values valuesOf(const FilterEntry& filter, const std::vector<std::string>& assignments)
{
    Values values;
    for (const FilterParameter& parameter : filter.parameters)
        values[parameter.name] = parameter.usual;
    for (const std::string& assignment : assignments) {
        const size_t at = assignment.find('=');
        const FilterParameter& parameter = parameterOf(filter, assignment.substr(0, at));
        const std::string text = at == std::string::npos ? "" : assignment.substr(at + 1);
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        const bool inRange = value >= parameter.least && value <= parameter.most; // false for a NaN
        if (text.empty() || *end || !inRange || (parameter.whole && value != std::floor(value)))
            throw pixmill::Error("pixmill filter", std::string(filter.name) + "." + parameter.name, rangeOf(parameter),
                                 "\"" + text + "\"");
        values[parameter.name] = value;
    }
    return values;
}
