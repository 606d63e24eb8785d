#pragma once

#include <pixmill/rows/rows.h>

#include <opencv2/core/mat.hpp>

#include <array>

/// What the families of Y/Dr/Db tables share: their memory, the sampling of luma, and their application to luma.
namespace pixmill::curves {

using namespace rows;

constexpr int kTableEntries = 65536, kLumaSamples = 4096;

/// What one call of a host's mapping is taken to cost, in pixels of a plain loop.
constexpr long kMappingPixels = 16;

/// An undefined table of 65536 entries from the primitives' allocator.
ushort* allocateTable();

/// Stretches the samples of lumas 0, 16, 32 ... to a whole table, linearly on pixel squares.
void stretchLuma(const std::array<ushort, kLumaSamples>& samples, ushort* table);

/// Fills a luma table from `map(y)`, which changes a luma in place, at 4096 lumas.
template <class Map>
void sampleLuma(ushort* table, const Map& map)
{
    std::array<ushort, kLumaSamples> samples;
    forEachIndex(kLumaSamples, kLumaSamples * kMappingPixels, [&](int i) {
        ushort y = i * 16;
        map(y);
        samples[i] = y;
    });
    stretchLuma(samples, table);
}

/// Throws unless the picture is CV_16UC1.
void checkLumaInOut(const cv::Mat& inOutY16U, const char* call);

/// Writes table[inY]; throws without a table or when `inY` is not CV_16UC1.
void applyLumaTable(const ushort* table, const cv::Mat& inY, cv::Mat& outY, const char* call);

} // namespace pixmill::curves
