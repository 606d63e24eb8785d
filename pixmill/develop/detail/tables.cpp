#include <pixmill/develop/detail/tables.h>

#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/adjust/color_nodes.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/threshold_tables.h>
#include <pixmill/develop/detail/core.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace pixmill::develop {

namespace {

float sum(float a, float b)
{
    return limit(a + b, -1.0f, 1.0f);
}

Light sum(const Light& a, const Light& b)
{
    return {sum(a.brightness, b.brightness), sum(a.contrast, b.contrast), sum(a.highlights, b.highlights),
            sum(a.shadows, b.shadows),       sum(a.whites, b.whites),     sum(a.blacks, b.blacks)};
}

DetailZone sum(const DetailZone& a, const DetailZone& b)
{
    return {sum(a.slope, b.slope), sum(a.threshold, b.threshold)};
}

DetailLevel sum(const DetailLevel& a, const DetailLevel& b)
{
    return {sum(a.base, b.base), sum(a.shadows, b.shadows), sum(a.midtones, b.midtones)};
}

Detail sum(const Detail& a, const Detail& b)
{
    return {sum(a.fine, b.fine), sum(a.medium, b.medium), sum(a.coarse, b.coarse)};
}

Color sum(const Color& a, const Color& b)
{
    return {sum(a.warmth, b.warmth), sum(a.tint, b.tint), sum(a.saturation, b.saturation),
            sum(a.chromaFloor, b.chromaFloor)};
}

ushort lit(TLightAdjLUTq3& light, int luma)
{
    ushort y = ushort(luma), dr = kCentre, db = kCentre;
    light.mapYDrDb(y, dr, db);
    return y;
}

/// How far the controls of a level reach, as in TQuillet3.
struct Reach {
    float slope;
    int threshold;
};

constexpr Reach kReach[3] = {{5.0f, 9830}, {4.0f, 8191}, {3.5f, 7372}};
constexpr int kEntries = 65536;

const ushort* entriesOf(const TLut16U& lut)
{
    return static_cast<const ushort*>(lut.m_lut_p);
}

constexpr int kFarthest = 8192; ///< Detail beyond is rare.

/// How near to the centre a sample must be for a line to give its entry, which stands `shift` bits high.
int straightReach(const std::uint32_t* pairs, int shift, float slope)
{
    const auto entry = [&](int v) { return int(pairs[kCentre + v] >> shift & 0xffff) - kCentre; };
    int v = 0;
    for (; v < kFarthest; ++v) {
        const int line = roundToInt(slope * float(v));
        if (entry(v) != line || entry(-v) != -line)
            break;
    }
    return v;
}

/// A slope whose products in single precision reach farthest. Those of a round slope, as 1.3, are next to halves, which
/// the table's double precision keeps apart: so its neighbours are tried as well.
float farthestSlope(const std::uint32_t* pairs, int shift, float slope, int& reach)
{
    const float ulp = std::nextafter(slope, 8.0f) - slope;
    float best = slope;
    reach = 0;
    for (const float away : {0.0f, 1.0f, -1.0f, 2.0f, -2.0f}) {
        const float tried = slope + away * ulp;
        const int found = straightReach(pairs, shift, tried);
        if (found > reach) {
            reach = found;
            best = tried;
        }
        if (reach == kFarthest)
            break;
    }
    return best;
}

/// The colour of a node of the table, not limited: so neutral controls change nothing, and no saturation leaves none,
/// also in cells that reach out of the gamut.
adjust::UnitColour colourAt(int y, int dr, int db)
{
    const float luma = float(y * 2048), red = float(dr * 4096 - 2 * kCentre), blue = float(db * 4096 - 2 * kCentre);
    const float green = -(0.299f * red + 0.114f * blue) / 0.587f;
    return {(luma + red) / kFull, (luma + green) / kFull, (luma + blue) / kFull};
}

constexpr int kMagnitudes = adjust::ColorNodes::kMostChroma + 2;

/// The means of a curve under a Gaussian; past its ends it goes on as it ends.
void smoothCurve(float* curve, float sigma)
{
    const int reach = int(3 * sigma) + 1;
    std::vector<float> weights(std::size_t(reach) + 1), in(curve, curve + kMagnitudes);
    for (int i = 0; i <= reach; ++i)
        weights[i] = exponential(-0.5f * float(i * i) / (sigma * sigma));
    for (int m = 0; m < kMagnitudes; ++m) {
        float sum = 0, whole = 0;
        for (int i = -reach; i <= reach; ++i) {
            sum += weights[std::abs(i)] * in[limit(m + i, 0, kMagnitudes - 1)];
            whole += weights[std::abs(i)];
        }
        curve[m] = sum / whole;
    }
}

/// How much a chroma grows by its magnitude, under TColorAdjQ3's curve for a luma node: a line with a floor cut into
/// it. In floats, where that class has bytes, whose steps show as patches in a clear sky.
void chromaGains(const Color& color, int node, float* gains)
{
    const float slope = 1 + color.saturation, floor = color.chromaFloor * float(node * 4 + 64);
    const float length = std::min(std::abs(floor) / std::max(slope, 1.0f), float(kMagnitudes - 1));
    for (int m = 0; m < kMagnitudes; ++m) {
        const float inside = floor < 0 ? 0.0f : length;
        gains[m] = std::min(slope * (float(m) < length ? inside : float(m)), 255.0f);
    }
    if (0.3f * length > 1)
        smoothCurve(gains, 0.3f * length);
    for (int m = 0; m < kMagnitudes; ++m) {
        const float wanted = gains[m];
        // At full slope a magnitude keeps its 4; below 1 that goes with it, so that nothing leaves nothing.
        gains[m] = std::min((wanted + 4 * std::min(wanted, 1.0f)) / float(4 + m), 4.0f);
    }
}

} // namespace

Controls Controls::of(const Recipe& recipe)
{
    return {recipe.light, recipe.weights, recipe.detail, recipe.color};
}

Controls Controls::of(const Recipe& recipe, const LocalAdjustment& local)
{
    return {sum(recipe.light, local.light), recipe.weights, sum(recipe.detail, local.detail),
            sum(recipe.color, local.color)};
}

std::vector<unsigned short> lightTable(const Light& controls)
{
    TLightAdjLUTq3 light;
    light.setupParams(controls.brightness, controls.contrast, controls.highlights, controls.shadows, controls.whites,
                      controls.blacks);
    constexpr int kStep = 16;
    std::vector<unsigned short> table(kEntries);
    int from = lit(light, 0);
    for (int y = 0; y < kEntries; y += kStep) {
        const int to = lit(light, std::min(y + kStep, kEntries - 1)), width = std::min(kStep, kEntries - 1 - y);
        for (int i = 0; i < width; ++i)
            table[y + i] = ushort(from + ((to - from) * 2 * i + width) / (2 * width));
        from = to;
    }
    table[kEntries - 1] = ushort(from);
    return table;
}

void DetailTable::update(int level, const DetailLevel& c)
{
    const bool fresh = m_pairs.empty(), base = fresh || c.base != m_controls.base;
    m_pairs.resize(2 * kEntries);
    std::uint32_t *dark = m_pairs.data(), *bright = dark + kEntries;
    TLut16U lut(0.0f, kReach[level].slope, kReach[level].threshold, 0.35f);
    const auto setHigh = [&](std::uint32_t* pairs) {
        for (int v = 0; v < kEntries; ++v)
            pairs[v] = (pairs[v] & 0xffffu) | std::uint32_t(entriesOf(lut)[v]) << 16;
    };
    if (base || c.shadows != m_controls.shadows) {
        lut.setupLinearThreshold(c.shadows.slope, c.shadows.threshold, c.base.slope, c.base.threshold);
        setHigh(dark);
    }
    if (base) {
        lut.setupLinearThreshold(c.base.slope, c.base.threshold, 0, 0);
        setHigh(bright);
    }
    if (base || c.midtones != m_controls.midtones) {
        lut.setupLinearThreshold(c.midtones.slope, c.midtones.threshold, c.base.slope, c.base.threshold);
        for (int v = 0; v < kEntries; ++v) {
            dark[v] = (dark[v] & 0xffff0000u) | entriesOf(lut)[v];
            bright[v] = (bright[v] & 0xffff0000u) | entriesOf(lut)[v];
        }
    }
    findLines(level, c);
    m_controls = c;
}

void DetailTable::findLines(int level, const DetailLevel& c)
{
    const std::uint32_t *dark = m_pairs.data(), *bright = dark + kEntries;
    const auto slopeOf = [&](const DetailZone& zone, const DetailZone& base) {
        return curves::lineSlope(0.0f, kReach[level].slope, curves::shifted16(base.slope, zone.slope));
    };
    int shadows = 0, midtones = 0, highlights = 0;
    m_lines.shadows = farthestSlope(dark, 16, slopeOf(c.shadows, c.base), shadows);
    m_lines.midtones = farthestSlope(dark, 0, slopeOf(c.midtones, c.base), midtones);
    m_lines.highlights = farthestSlope(bright, 16, slopeOf(c.base, DetailZone()), highlights);
    m_lines.reach = std::min(midtones, highlights);
    m_lines.darkReach = std::min(m_lines.reach, shadows);
}

std::vector<std::uint32_t> colorTable(const Color& color)
{
    constexpr adjust::ColorScales kScales = {1, 1, 1, 1, 2, 1};
    const adjust::ColorNodes nodes({color.warmth, color.tint, 0, 0}, kScales);
    std::vector<std::uint32_t> table(std::size_t(kColorNodes) * kColorNodes * kColorNodes);
    forEachIndex(kColorNodes, long(table.size()), [&](int y) {
        std::uint32_t* out = table.data() + std::size_t(y) * kColorNodes * kColorNodes;
        float gains[kMagnitudes];
        chromaGains(color, y, gains);
        for (int a = 0; a < kColorNodes; ++a)
            for (int b = 0; b < kColorNodes; ++b) {
                const adjust::NodeChroma c = nodes.of(colourAt(y, a, b), [&](int m) { return gains[m]; });
                *out++ = (c.dr | std::uint32_t(c.db) << 16) ^ 0x80008000u;
            }
    });
    return table;
}

} // namespace pixmill::develop
