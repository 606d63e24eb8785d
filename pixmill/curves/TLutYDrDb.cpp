#include <pixmill/curves/TLutYDrDb.h>

#include <pixmill/curves/detail/ydrdb_tables.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/look_up.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>

#include <algorithm>
#include <array>

using namespace pixmill::rows;
using namespace pixmill::curves;

namespace {

constexpr int kSlots = 32, kGrid = 128, kFull = 256;

int tableCount(const TLutYDrDb& lut, const char* call)
{
    PIXMILL_CHECK(lut.m_log2NC <= 5, call, "m_log2NC", lut.m_log2NC, "5 at the most");
    return lut.m_log2NC < 0 ? 0 : 1 << lut.m_log2NC;
}

void checkTables(const TLutYDrDb& lut, int count, const char* call)
{
    for (int i = 0; i < count; ++i)
        checkPointer(lut.m_lutC_p[i], call, "m_lutC_p");
}

/// A mapping's chroma at every second dr (rows) and db (columns), for one luma.
struct ChromaSamples {
    std::array<uchar, kGrid * kGrid> dr, db;
};

void sampleChroma(TLutYDrDb& lut, ushort luma, ChromaSamples& samples)
{
    forEachIndex(kGrid, kGrid * kGrid * kMappingPixels, [&](int r) {
        for (int c = 0; c < kGrid; ++c) {
            ushort y = luma;
            uchar dr = uchar(r << 1), db = uchar(c << 1);
            lut.mapYDrDb(y, dr, db);
            samples.dr[r * kGrid + c] = dr;
            samples.db[r * kGrid + c] = db;
        }
    });
}

/// Doubles a row: entry X lies at sample X / 2 - 1 / 4, so entries are a quarter from a sample, and the ends repeat
/// theirs. `sums` holds four times the samples; halves go up.
inline void doubleRow(const ushort* sums, ushort* out)
{
    out[0] = ushort((4 * sums[0] + 8) >> 4);
    for (int i = 0; i < kGrid - 1; ++i) {
        out[2 * i + 1] = ushort((3 * sums[i] + sums[i + 1] + 8) >> 4);
        out[2 * i + 2] = ushort((sums[i] + 3 * sums[i + 1] + 8) >> 4);
    }
    out[kFull - 1] = ushort((4 * sums[kGrid - 1] + 8) >> 4);
}

/// Row Y of a doubled grid.
inline void stretchRow(const uchar* grid, int Y, ushort* out)
{
    const int nearest = Y / 2, other = limit(Y % 2 ? nearest + 1 : nearest - 1, 0, kGrid - 1);
    const uchar *near = grid + nearest * kGrid, *far = grid + other * kGrid;
    ushort sums[kGrid];
    for (int x = 0; x < kGrid; ++x)
        sums[x] = ushort(3 * near[x] + far[x]);
    doubleRow(sums, out);
}

/// Stretches the samples to a whole table.
void stretchChroma(const ChromaSamples& samples, ushort* table)
{
    forEachIndex(kFull, kFull * kFull, [&](int Y) {
        ushort dr[kFull], db[kFull];
        stretchRow(samples.dr.data(), Y, dr);
        stretchRow(samples.db.data(), Y, db);
        for (int x = 0; x < kFull; ++x)
            table[Y * kFull + x] = ushort((dr[x] << 8) | db[x]);
    });
}

/// The chroma pair of a pixel whose luma is the lower edge of band j: the weights there are whole numbers outside 0..1.
ushort edgeOfBand(const ushort* const* tables, int j, int count, int pair)
{
    if (j == count - 1)
        return tables[j - 1][pair];
    const int low = tables[j][pair], high = tables[j + 1][pair];
    const uchar dr = uchar(2 * (low >> 8) - (high >> 8)), db = uchar(2 * (low & 255) - (high & 255));
    return ushort((dr << 8) | db);
}

// Rows are not inlined, so that every processor takes plain loads: see lookUpRow.

__attribute__((noinline)) void chromaRow(const ushort* table, const uchar* dr, const uchar* db, uchar* outDr,
                                         uchar* outDb, int n)
{
    for (int x = 0; x < n; ++x) {
        const ushort t = table[(dr[x] << 8) | db[x]];
        outDr[x] = uchar(t >> 8);
        outDb[x] = uchar(t);
    }
}

__attribute__((noinline)) void bandRow(const ushort* const* tables, int log2NC, const ushort* y, const uchar* dr,
                                       const uchar* db, uchar* outDr, uchar* outDb, int n)
{
    const int shift = 16 - log2NC, inside = (1 << shift) - 1;
    for (int x = 0; x < n; ++x) {
        const ushort luma = load(y + x);
        const int j = luma >> shift, pair = (dr[x] << 8) | db[x];
        const ushort t = luma & inside ? tables[j][pair] : edgeOfBand(tables, j, 1 << log2NC, pair);
        outDr[x] = uchar(t >> 8);
        outDb[x] = uchar(t);
    }
}

} // namespace

TLutYDrDb::TLutYDrDb(int log2NC) : m_lutY_p(allocateTable()), m_log2NC(-1)
{
    setupCLUT(log2NC);
}

TLutYDrDb::~TLutYDrDb()
{
    ippiFree(m_lutY_p);
    for (ushort* table : m_lutC_p)
        ippiFree(table);
}

void TLutYDrDb::setupYLUT()
{
    if (!m_lutY_p)
        m_lutY_p = allocateTable();
}

int TLutYDrDb::setupCLUT(int log2NC)
{
    m_log2NC = std::min(log2NC, 5);
    const int count = tableCount(*this, "TLutYDrDb::setupCLUT");
    for (int i = 0; i < kSlots; ++i) {
        ushort*& table = m_lutC_p[i];
        if (i < count && !table) {
            table = allocateTable();
        } else if (i >= count && table) {
            ippiFree(table);
            table = nullptr;
        }
    }
    return count;
}

void TLutYDrDb::computeLUT()
{
    if (m_lutY_p)
        sampleLuma(m_lutY_p, [this](ushort& y) {
            uchar dr = 128, db = 128;
            mapYDrDb(y, dr, db);
        });

    const char* call = "TLutYDrDb::computeLUT";
    const int count = tableCount(*this, call);
    if (count < 1 || (count > 1 && !m_lutY_p))
        return;
    checkTables(*this, count, call);

    const float inv = 1.0f / float(count);
    const int width = toPixel16(65535 * inv), middle = toPixel16(32767 * inv); // of a band; one band has luma 32767
    ChromaSamples samples;
    for (int j = 0; j < count; ++j) {
        sampleChroma(*this, ushort(j * width + middle), samples);
        stretchChroma(samples, m_lutC_p[j]);
    }
}

bool TLutYDrDb::proc(const cv::Mat& inY16U, const cv::Mat& inDr8U, const cv::Mat& inDb8U, cv::Mat& outY, cv::Mat& outDr,
                     cv::Mat& outDb)
{
    if (inY16U.type() != CV_16UC1 || inDr8U.type() != CV_8UC1 || inDb8U.type() != CV_8UC1)
        throw "ERROR - TLutYDrDb::proc - inY16U.type()!=CV_16UC1 || inDr8U.type!=CV_8UC1 || inDb8U.type()!=CV_8UC1";
    if (inY16U.size != inDr8U.size || inY16U.size != inDb8U.size)
        throw "ERROR - TLutYDrDb::proc inY16U.size != inDr8U.size || inY16U.size!= inDb8U.size";

    checkPlane(inY16U, "TLutYDrDb::proc", "inY16U");
    computeLUT();
    if (tableCount(*this, "TLutYDrDb::proc") > 0)
        applyCLUT(inY16U, inDr8U, inDb8U, outDr, outDb);
    applyYLUT(inY16U, outY);
    return true;
}

bool TLutYDrDb::proc(cv::Mat& inOutY16U)
{
    checkLumaInOut(inOutY16U, "TLutYDrDb::proc");
    computeLUT();
    cv::Mat out = inOutY16U;
    applyYLUT(inOutY16U, out);
    return true;
}

void TLutYDrDb::applyYLUT(const cv::Mat& inY, cv::Mat& outY)
{
    applyLumaTable(m_lutY_p, inY, outY, "TLutYDrDb::applyYLUT");
}

void TLutYDrDb::applyCLUT(const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb)
{
    const char* call = "TLutYDrDb::applyCLUT";
    if (tableCount(*this, call) < 1)
        throw "ERROR - TLutYDrDb::applyCLUT - m_NC<1 ";
    if (inDr.type() != inDb.type() || inDr.type() != CV_8UC1)
        throw "ERROR -TLutYDrDb::applyCLUT: inDr.type() !=inDb_p.type() || inDr.type() != CV_8UC1";
    checkPlane(inDr, call, "inDr");
    checkCovers(inDb, inDr.size(), CV_8UC1, call, "inDb");
    checkTables(*this, 1, call);

    const cv::Mat dr = inDr, db = inDb; // an output that is given new memory must not take the inputs with it
    ensure(outDr, dr.size(), CV_8UC1);
    ensure(outDb, dr.size(), CV_8UC1);
    forEachRow(dr.size(), [&](int row) {
        chromaRow(m_lutC_p[0], dr.ptr(row), db.ptr(row), outDr.ptr(row), outDb.ptr(row), dr.cols);
    });
}

void TLutYDrDb::applyCLUT(const cv::Mat& inY, const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb)
{
    const char* call = "TLutYDrDb::applyCLUT";
    const int count = tableCount(*this, call);
    if (count <= 1) {
        applyCLUT(inDr, inDb, outDr, outDb);
        return;
    }
    checkPlane(inDr, call, "inDr");
    PIXMILL_CHECK(covers(inDb, inDr.size()), call, "inDb", describe(inDb), "at least " + describe(inDr.size()));
    PIXMILL_CHECK(covers(inY, inDr.size()) && (inY.empty() || inY.elemSize() >= 2), call, "inY", describe(inY),
                  "pixels of 2 bytes or more, at least " + describe(inDr.size()));
    checkTables(*this, count, call);

    const cv::Mat luma = inY, dr = inDr, db = inDb; // as above
    ensure(outDr, dr.size(), CV_8UC1);
    ensure(outDb, dr.size(), CV_8UC1);
    forEachRow(dr.size(), [&](int row) {
        bandRow(m_lutC_p, m_log2NC, luma.ptr<ushort>(row), dr.ptr(row), db.ptr(row), outDr.ptr(row), outDb.ptr(row),
                dr.cols);
    });
}
