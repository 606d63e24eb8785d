#include <pixmill/adjust/TColorAdjQ3.h>

#include <pixmill/core/console.h>
#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>
#include <pixmill/rows/ydrdb.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <ostream>

using namespace pixmill::rows;
using namespace pixmill::core;

namespace {

constexpr int kNodes = 33, kCurve = 256;
constexpr long kTableCells = long(kNodes) * kNodes * kNodes;

struct Colour {
    float r, g, b;
};

/// A pull of each channel towards scale * channel + offset.
struct Pull {
    float share;
    Colour scale, offset;

    Colour operator()(Colour c) const
    {
        const float keep = 1 - share;
        return {keep * c.r + share * (c.r * scale.r + offset.r), keep * c.g + share * (c.g * scale.g + offset.g),
                keep * c.b + share * (c.b * scale.b + offset.b)};
    }
};

Pull warmthPull(float amount)
{
    if (amount >= 0)
        return {std::abs(amount), {1.5f, 1.35f, 1}, {0.4f, 0.28f, 0}};
    return {std::abs(amount), {1, 1.15f, 1.6f}, {0, 0.12f, 0.48f}};
}

Pull tintPull(float amount)
{
    if (amount >= 0)
        return {std::abs(amount), {1.25f, 1, 1.5f}, {0.2f, 0, 0.4f}};
    return {std::abs(amount), {1, 1.5f, 1}, {0, 0.4f, 0}};
}

/// A node's colour, 0..1, from its codes: green before red and blue are clamped.
Colour nodeColour(int y, int dr, int db)
{
    const float luma = float(y), red = colourOf(luma, float(dr)), blue = colourOf(luma, float(db));
    const ushort green = toPixel16(greenOf(luma, red, blue));
    return {toPixel16(red) * kPerWord, green * kPerWord, toPixel16(blue) * kPerWord};
}

/// The chroma magnitude curve of a luma node: a line, a floor cut into it, smoothed.
void buildCurve(uchar* row, float saturation, float floorLength)
{
    ippiImageRamp_8u_C1R(row, kCurve, {kCurve, 1}, 0, saturation, ippAxsHorizontal);
    int length = int(limit(floorLength, -2147483000.0f, 2147483000.0f));
    if (saturation > 1)
        length = int(float(length) * (1 / saturation));
    length = limit(length, -(kCurve - 1), kCurve - 1); // a longer floor would leave the row
    if (length >= 1) {
        std::fill_n(row, length, uchar(row[length]));
    } else if (length < 0) {
        length = -length;
        std::fill_n(row, length, uchar(0));
    }
    const float sigma = 0.3f * float(length);
    if (sigma > 1)
        gaussianiir1d(row, kCurve, sigma, 2);
}

/// How much a chroma of magnitude m grows under its curve; m itself is not limited.
float chromaGain(const uchar* row, int m)
{
    const int wanted = row[std::min(m, kCurve - 1)];
    return wanted == 0 ? 0.0f : std::min(float(4 + wanted) / float(4 + m), 4.0f);
}

/// Four neighbouring values in one register: the compiler's own vector, the same arithmetic at every level.
typedef float Four __attribute__((vector_size(16)));

/// Dr and Db of a node and of the next along Db.
struct NodePair {
    float dr, db, nextDr, nextDb;
};

inline Four load(const NodePair& p)
{
    Four v;
    std::memcpy(&v, &p, sizeof v);
    return v;
}

/// Adds the upper halves of a and b to their lower halves: {a0 + a2, a1 + a3, b0 + b2, b1 + b3}.
inline Four fold(const Four& a, const Four& b)
{
    const Four lower = __builtin_shufflevector(a, b, 0, 1, 4, 5), upper = __builtin_shufflevector(a, b, 2, 3, 6, 7);
    return lower + upper;
}

inline Four weights(float fraction)
{
    const float rest = 1 - fraction;
    return Four{rest, rest, fraction, fraction};
}

/// One row's way through the tables, in buffers of its length.
struct RowPlan {
    int* node; ///< The lower corner.
    float *fractionY, *fractionDr, *fractionDb;
    float *dr, *db; ///< Results, unrounded.
};

inline ushort grown(ushort d, float ratio)
{
    return toPixel16(float(d - kNoColour) * ratio + float(kNoColour));
}

inline void planRow(const ushort* __restrict oldY, const ushort* __restrict newY, const ushort* __restrict inDr,
                    const ushort* __restrict inDb, int shift, const RowPlan& plan, int n)
{
    const float width = 1 / float(1 << shift);
    const int within = (1 << shift) - 1;
    int* __restrict node = plan.node;
    float* __restrict fY = plan.fractionY, * __restrict fDr = plan.fractionDr, * __restrict fDb = plan.fractionDb;
    for (int x = 0; x < n; ++x) {
        const float y = newY[x], quotient = (y + 655.3f) / (float(oldY[x]) + 655.3f);
        const float ratio = quotient > 1 ? quotient : 1.0f; // chroma never shrinks when luma was lowered
        const int dr = grown(inDr[x], ratio), db = grown(inDb[x], ratio);
        node[x] = ((newY[x] >> shift) * kNodes + (dr >> shift)) * kNodes + (db >> shift);
        fY[x] = float(newY[x] & within) * width;
        fDr[x] = float(dr & within) * width;
        fDb[x] = float(db & within) * width;
    }
}

/// Trilinear: along Db, then along Dr, then along Y, each as a * (1 - f) + b * f.
inline void interpolateRow(const NodePair* table, const RowPlan& plan, int n)
{
    for (int x = 0; x < n; ++x) {
        const NodePair* p = table + plan.node[x];
        const Four wDb = weights(plan.fractionDb[x]), wDr = weights(plan.fractionDr[x]),
                   wY = weights(plan.fractionY[x]);
        const Four below = fold(load(p[0]) * wDb, load(p[kNodes]) * wDb);
        const Four above = fold(load(p[kNodes * kNodes]) * wDb, load(p[kNodes * kNodes + kNodes]) * wDb);
        const Four byY = fold(below * wDr, above * wDr) * wY;
        plan.dr[x] = byY[0] + byY[2];
        plan.db[x] = byY[1] + byY[3];
    }
}

void checkInputs(const cv::Mat& oldY, const cv::Mat& newY, const cv::Mat& inDr, const cv::Mat& inDb)
{
    const struct {
        const char* name;
        const cv::Mat& plane;
    } inputs[] = {{"oldY", oldY}, {"newY", newY}, {"inDr", inDr}, {"inDb", inDb}};
    for (const auto& input : inputs) {
        checkPlane(input.plane, CV_16UC1, "TColorAdjQ3::proc", input.name);
        checkCovers(input.plane, inDr.size(), CV_16UC1, "TColorAdjQ3::proc", input.name);
    }
}

/// Views of one picture may overlap.
void copyPlane(const cv::Mat& in, cv::Mat& out)
{
    const bool apart = in.data == out.data || !overlap(in, out);
    (apart ? in : in.clone()).copyTo(out);
}

inline void storeRow(const float* __restrict v, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = toPixel16(v[x]);
}

} // namespace

TColorAdjQ3::TColorAdjQ3(float warmUp, float warmDown, float tintUp, float tintDown, float satUp, float floorScale)
    : m_curves_p(new unsigned char[kNodes * kCurve]()), m_warmUp(warmUp), m_warmDown(warmDown), m_tintUp(tintUp),
      m_tintDown(tintDown), m_satUp(satUp), m_floorScale(floorScale)
{
    forEachIndex(kNodes, kTableCells, [this](int i) {
        for (int a = 0; a < kNodes; ++a)
            for (int b = 0; b < kNodes; ++b) {
                m_gridDr[i][a][b] = ushort(a * m_gridStep);
                m_gridDb[i][a][b] = ushort(b * m_gridStep);
            }
    });
}

TColorAdjQ3::~TColorAdjQ3()
{
    delete[] m_curves_p;
    m_curves_p = nullptr;
}

void TColorAdjQ3::computeLUT16U()
{
    const std::clock_t start = std::clock();
    if (m_dirty) {
        checkPointer(m_curves_p, "TColorAdjQ3::computeLUT16U", "m_curves_p");
        const float saturation = m_saturation >= 0 ? 1 + (m_satUp - 1) * m_saturation : 1 + m_saturation;
        // The two sides of the tint have different factors on purpose.
        const float tint = m_tint > 0 ? 0.5f * m_tintUp * m_tint : 0.4f * m_tintDown * m_tint;
        const float warmth = m_warmth > 0 ? 0.5f * m_warmUp * m_warmth : 0.5f * m_warmDown * m_warmth;
        const Pull toWarmth = warmthPull(warmth), toTint = tintPull(tint);

        for (int i = 0; i < kNodes; ++i)
            buildCurve(m_curves_p + i * kCurve, saturation,
                       m_chromaFloor * m_floorScale * (float(i) * m_floorSlope + 64));
        forEachIndex(kNodes, kTableCells, [&](int i) {
            const uchar* row = m_curves_p + i * kCurve;
            for (int a = 0; a < kNodes; ++a)
                for (int b = 0; b < kNodes; ++b) {
                    const Colour c =
                        toTint(toWarmth(nodeColour(int(m_gridStep * i), int(m_gridStep * a), int(m_gridStep * b))));
                    const float red = 65535 * c.r, blue = 65535 * c.b;
                    const float luma = c.g * (kGreenShare * 65535) + kRedShare * red + kBlueShare * blue;
                    const int x = toPixel16((red - luma) * 0.5f + kNoColour) - kNoColour;
                    const int y = toPixel16((blue - luma) * 0.5f + kNoColour) - kNoColour;
                    const float square = (float(x) * float(x) + float(y) * float(y)) * 2;
                    const float gain = chromaGain(row, int(std::sqrt(square) / 256));
                    m_gridDr[i][a][b] = toPixel16(x * gain + kNoColour);
                    m_gridDb[i][a][b] = toPixel16(y * gain + kNoColour);
                }
        });
        m_dirty = 0;
    }
    const float seconds = float(std::clock() - start) * 1e-6f;
    tell([=](std::ostream& out) { out << "time to compute LUT for color adj: " << seconds; });
}

int TColorAdjQ3::proc(const cv::Mat& oldY, const cv::Mat& newY, const cv::Mat& inDr, const cv::Mat& inDb,
                      cv::Mat& outDr, cv::Mat& outDb)
{
    checkInputs(oldY, newY, inDr, inDb);
    PIXMILL_CHECK(m_shift >= 11 && m_shift <= 16, "TColorAdjQ3::proc", "m_shift", m_shift, "11..16");
    copyPlane(inDr, outDr);
    copyPlane(inDb, outDb);
    computeLUT16U();
    if (inDr.empty())
        return 1;

    // Both tables as one: a node with the next along Db, so that two reads find four values.
    AlignedArray<NodePair> table(kTableCells);
    const ushort *Dr = &m_gridDr[0][0][0], *Db = &m_gridDb[0][0][0];
    for (long i = 0; i < kTableCells; ++i) {
        const long next = std::min(i + 1, kTableCells - 1);
        table[i] = {float(Dr[i]), float(Db[i]), float(Dr[next]), float(Db[next])};
    }
    const int width = outDr.cols;
    TeamScratch<int> nodes(width);
    TeamScratch<float> lines(std::size_t(width) * 5);
    forEachRow(outDr.size(), [&](int y) {
        float* line = lines.mine();
        const RowPlan plan{nodes.mine(), line, line + width, line + 2 * width, line + 3 * width, line + 4 * width};
        ushort *dr = outDr.ptr<ushort>(y), *db = outDb.ptr<ushort>(y);
        planRow(oldY.ptr<ushort>(y), newY.ptr<ushort>(y), dr, db, m_shift, plan, width);
        interpolateRow(table.data(), plan, width);
        storeRow(plan.dr, dr, width);
        storeRow(plan.db, db, width);
    });
    return 1;
}
