#include <pixmill/adjust/TColorAdjQ3.h>

#include <pixmill/adjust/color_nodes.h>
#include <pixmill/adjust/detail/color_grid_avx512.h>
#include <pixmill/core/console.h>
#include <pixmill/rows/aliasing.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <ctime>
#include <ostream>

using namespace pixmill::rows;
using namespace pixmill::core;
using namespace pixmill::adjust;

namespace {

constexpr int kNodes = ColorNodes::kNodes, kCurve = ColorNodes::kCurve;
constexpr long kTableCells = long(kNodes) * kNodes * kNodes;

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

/// Makes the outputs. @return whether rows can go straight from the inputs to them; else they hold copies.
bool makeOutputs(const cv::Mat& oldY, const cv::Mat& newY, const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr,
                 cv::Mat& outDb)
{
    if (!inDr.empty() && inDb.size() == inDr.size()) {
        outDr.create(inDr.size(), CV_16UC1);
        outDb.create(inDb.size(), CV_16UC1);
        const auto apart = [&](const cv::Mat& in) { return !overlap(in, outDr) && !overlap(in, outDb); };
        if (apart(oldY) && apart(newY) && !overlap(outDr, outDb) && !overlap(inDr, outDb) && !overlap(inDb, outDr) &&
            isDisjointOrSame(inDr, outDr) && isDisjointOrSame(inDb, outDb))
            return true;
    }
    copyPlane(inDr, outDr);
    copyPlane(inDb, outDb);
    return false;
}

inline void storeRow(const float* __restrict v, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = toPixel16(v[x]);
}

/// Both tables' nodes by index; from the last one on the last.
struct Nodes {
    const ushort *dr, *db;

    ushort drOf(long i) const { return dr[std::min(i, kTableCells - 1)]; }
    ushort dbOf(long i) const { return db[std::min(i, kTableCells - 1)]; }
};

/// Rows by plain loops. Both tables become one: a node with the next along Db, so that two reads find four values.
template <class RowOf>
void mapByPairs(const Nodes& nodes, int shift, cv::Size size, const RowOf& rowOf)
{
    AlignedArray<NodePair> table(kTableCells);
    for (long i = 0; i < kTableCells; ++i)
        table[i] = {float(nodes.drOf(i)), float(nodes.dbOf(i)), float(nodes.drOf(i + 1)), float(nodes.dbOf(i + 1))};
    const int width = size.width;
    TeamScratch<int> cells(width);
    TeamScratch<float> lines(std::size_t(width) * 5);
    forEachRow(size, [&](int y) {
        float* line = lines.mine();
        const RowPlan plan{cells.mine(), line, line + width, line + 2 * width, line + 3 * width, line + 4 * width};
        const ColorRow row = rowOf(y);
        planRow(row.oldY, row.newY, row.inDr, row.inDb, shift, plan, width);
        interpolateRow(table.data(), plan, width);
        storeRow(plan.dr, row.outDr, width);
        storeRow(plan.db, row.outDb, width);
    });
}

/// The same by hand kernels.
template <class RowOf>
void mapByFaces(const Nodes& nodes, int shift, cv::Size size, const RowOf& rowOf)
{
    AlignedArray<CellFace> faces(kTableCells);
    for (long i = 0; i < kTableCells; ++i)
        for (int k = 0; k < 4; ++k) {
            const long corner = i + k % 2 + k / 2 * kNodes;
            faces[i].corners[2 * k] = nodes.drOf(corner);
            faces[i].corners[2 * k + 1] = nodes.dbOf(corner);
        }
    const ColorGrid grid{faces.data(), kNodes, shift};
    forEachRow(size, [&](int y) { mapColors512(grid, rowOf(y), size.width); });
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
        const ColorNodes nodes({m_warmth, m_tint, m_saturation, m_chromaFloor},
                               {m_warmUp, m_warmDown, m_tintUp, m_tintDown, m_satUp, m_floorScale, m_floorSlope},
                               m_curves_p);
        forEachIndex(kNodes, kTableCells, [&](int i) {
            for (int a = 0; a < kNodes; ++a)
                for (int b = 0; b < kNodes; ++b) {
                    const NodeChroma c = nodes.at(i, int(m_gridStep * i), int(m_gridStep * a), int(m_gridStep * b));
                    m_gridDr[i][a][b] = c.dr;
                    m_gridDb[i][a][b] = c.db;
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
    const bool straight = makeOutputs(oldY, newY, inDr, inDb, outDr, outDb);
    computeLUT16U();
    if (inDr.empty())
        return 1;

    const cv::Mat &fromDr = straight ? inDr : outDr, &fromDb = straight ? inDb : outDb;
    const auto rowOf = [&](int y) {
        return ColorRow{oldY.ptr<ushort>(y),   newY.ptr<ushort>(y),  fromDr.ptr<ushort>(y),
                        fromDb.ptr<ushort>(y), outDr.ptr<ushort>(y), outDb.ptr<ushort>(y)};
    };
    const Nodes nodes{&m_gridDr[0][0][0], &m_gridDb[0][0][0]};
    if (takesAvx512())
        mapByFaces(nodes, m_shift, outDr.size(), rowOf);
    else
        mapByPairs(nodes, m_shift, outDr.size(), rowOf);
    return 1;
}
