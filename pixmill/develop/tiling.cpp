// What each filter of the toolbox needs around a tile. docs/tiles.md tells why, and what was measured.
#include <pixmill/develop/Tiles.h>
#include <pixmill/develop/filter_table.h>
#include <pixmill/multiscale/LocalLaplacian.h>
#include <pixmill/rows/logarithm.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

namespace pixmill {

using rows::exponential;
using rows::wideLogarithm;

namespace {

const char* const kCall = "tilingOf";
constexpr int kPair = 2;   ///< Colour differences have half the size, so regions begin at even columns and rows.
constexpr int kColour = 4; ///< Pixels that enlarged colour differences reach over.
constexpr int kMostMargin = 1 << 28;

/// The parameters by their names.
struct Parameters {
    const std::map<std::string, double>& values;
    cv::Size picture;

    double operator()(const char* name) const { return values.at(name); }
    int whole(const char* name) const { return int((*this)(name) + 0.5); }
};

int marginOf(double reach, int step)
{
    return int(std::ceil(std::min(std::max(reach, 0.0), double(kMostMargin)) / step)) * step;
}

Tiling tiles(TileBits bits, double reach, cv::Size grid)
{
    return {bits, {marginOf(reach, grid.width), marginOf(reach, grid.height)}, grid, {}};
}

Tiling same(double reach, cv::Size grid = {kPair, kPair})
{
    return tiles(TileBits::Same, reach, grid);
}

Tiling nearly(double reach)
{
    return tiles(TileBits::Near, reach + kColour, {kPair, kPair});
}

Tiling whole()
{
    return {TileBits::Whole, {}, {1, 1}, {}};
}

/// How far away samples can be that still move a result, one of 0..1, by 2^-17, when lines go through recursions one
/// after the other, each forward and back, that keep the share `decays[i]` of a step before: Chernoff's bound of their
/// kernels' tail, a quarter for each end of each axis.
double recursionReach(const std::vector<double>& decays)
{
    const double share = 19 * wideLogarithm(2.0);
    const double rate = -wideLogarithm(*std::max_element(decays.begin(), decays.end()));
    double least = kMostMargin;
    for (int i = 1; i < 64; ++i) {
        const double t = rate * i / 64;
        double growth = 0;
        for (const double a : decays)
            growth += 2 * wideLogarithm(1 - a) - wideLogarithm(1 - a * exponential(t)) -
                      wideLogarithm(1 - a * exponential(-t));
        least = std::min(least, (share + growth) / t);
    }
    return std::ceil(least) + 1;
}

/// The domain transform's three recursions where the picture is flat; each sigma goes on from the one before.
double domainReach(double sigma)
{
    std::vector<double> decays;
    for (const int factor : {4, 2, 1}) {
        sigma *= factor * std::sqrt(3.0 / 63.0);
        decays.push_back(exponential(-std::sqrt(2.0) / sigma));
    }
    return recursionReach(decays);
}

double gaussianReach(double sigma, int steps)
{
    const double q = sigma * sigma / (2.0 * steps);
    const double nu = (1 + 2 * q - std::sqrt(1 + 4 * q)) / (2 * q);
    return recursionReach(std::vector<double>(std::size_t(steps), nu));
}

Tiling recursive(const Parameters& p)
{
    return nearly(domainReach(p("sigmaS")));
}

/// Sums go down in blocks as high as the window, counted from the region's first row.
cv::Size blocksOf(int radius)
{
    return {kPair, kPair * (2 * radius + 1)};
}

Tiling guided(const Parameters& p)
{
    const int radius = p.whole("radius");
    return same(radius + kColour, blocksOf(radius));
}

/// Where a matrix has no inverse the one to its left serves, however far: with a larger eps each has one.
Tiling guidedByColour(const Parameters& p)
{
    const int radius = p.whole("radius");
    const double leastEps = 0.001;
    return p("eps") < leastEps ? whole() : same(2 * radius + kColour, blocksOf(radius));
}

constexpr int kMostBox = 53; ///< Larger radii filter a picture that is reduced as its size tells.

Tiling box(const Parameters& p)
{
    return p.whole("radius") > kMostBox ? whole() : same(double(p.whole("radius")) * p.whole("passes") + kColour);
}

/// Two means, then a window; regions are never smaller than that unless the picture is.
Tiling gradientGuide(const Parameters& p)
{
    return same(2 * p.whole("blur") + 2 * p.whole("radius") + kColour);
}

Tiling localLaplacian(const Parameters& p)
{
    const int told = p.whole("levels");
    const int levels = told ? told : LocalLaplacian::levelJ(p.picture.width, p.picture.height, 1);
    const int step = std::max(kPair, 1 << (std::min(std::max(levels, 1), 27) - 1));
    Tiling tiling = same(4.0 * step, {step, step});
    tiling.values["levels"] = levels;
    return tiling;
}

Tiling gaussian(const Parameters& p)
{
    return nearly(gaussianReach(p("sigma"), p.whole("steps")));
}

Tiling sharpen(const Parameters& p)
{
    return same(p.whole("times") + kColour);
}

/// The recursive filter at half the size, between a pyramid's steps.
Tiling finestDetail(const Parameters& p)
{
    return nearly(2 * domainReach(p("sigmaS")) + 8);
}

/// A guided filter of radius 1 at half the size.
Tiling chroma(const Parameters&)
{
    return same(12, {kPair, kPair * 3});
}

Tiling ofColour(const Parameters&)
{
    return same(kColour);
}

Tiling ofPixels(const Parameters&)
{
    return same(0, {1, 1});
}

struct Row {
    const char* filter;
    Tiling (*tiling)(const Parameters& parameters);
};

// clang-format off
const Row kRows[] = { // those that are not told look at the whole picture
    {"recursive",        recursive},
    {"guided",           guided},
    {"guided-by-colour", guidedByColour},
    {"gradient-guide",   gradientGuide},
    {"local-laplacian",  localLaplacian},
    {"gaussian",         gaussian},
    {"box",              box},
    {"sharpen",          sharpen},
    {"finest-detail",    finestDetail},
    {"light",            ofColour},
    {"colour",           ofColour},
    {"table",            ofPixels},
    {"chroma",           chroma},
    {"compact",          ofColour},
};
// clang-format on

/// What was told over what is usual.
std::map<std::string, double> allValues(const FilterEntry& filter, const std::map<std::string, double>& told)
{
    std::map<std::string, double> values;
    for (const FilterParameter& parameter : filter.parameters) {
        const auto found = told.find(parameter.name);
        const double value = found == told.end() ? parameter.usual : found->second;
        if (!(value >= parameter.least && value <= parameter.most))
            throw Error(kCall, std::string(filter.name) + "." + parameter.name,
                        std::to_string(parameter.least) + " to " + std::to_string(parameter.most),
                        std::to_string(value));
        values[parameter.name] = value;
    }
    for (const auto& one : told)
        if (values.count(one.first) == 0)
            throw Error(kCall, std::string(filter.name) + "." + one.first, "one of the filter's parameters", "unknown");
    return values;
}

} // namespace

Tiling tilingOf(const std::string& filter, const std::map<std::string, double>& values, cv::Size picture)
{
    const std::map<std::string, double> all = allValues(filterEntry(filter), values);
    const auto row = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& r) { return filter == r.filter; });
    Tiling tiling = row == std::end(kRows) ? whole() : row->tiling({all, picture});
    tiling.values.insert(all.begin(), all.end()); // keeps what is there
    return tiling;
}

} // namespace pixmill
