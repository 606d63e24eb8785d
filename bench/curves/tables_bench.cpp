#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/curves/TLut1D.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/TLutYDrDb.h>
#include <support/bench.h>

#include <omp.h>

#include <vector>

using namespace pixmill::bench;
using ushort = unsigned short;

namespace {

cv::Mat lumaOf(const benchmark::State& state)
{
    return scene(int(state.range(0)), int(state.range(1)), CV_16UC1, 0, 65536);
}

void apply(benchmark::State& state)
{
    TLut16U lut(0, 6, 8191, 0.35f);
    lut.setupLinearThreshold(0.5f, 0.3f, 0, 0);
    const cv::Mat in = lumaOf(state), out = in.clone();
    for (auto _ : state)
        lut.apply(in, out);
    report(state, double(in.total()), double(in.total()) * 4);
}

/// One loop a row, as plain as it can be written.
void applyPlain(benchmark::State& state)
{
    TLut16U lut(0, 6, 8191, 0.35f);
    lut.setupLinearThreshold(0.5f, 0.3f, 0, 0);
    const cv::Mat in = lumaOf(state);
    cv::Mat out = in.clone();
    const ushort* table = static_cast<const ushort*>(lut.m_lut_p);
    for (auto _ : state) {
#pragma omp parallel for
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x)
                out.ptr<ushort>(y)[x] = table[in.ptr<ushort>(y)[x]];
        benchmark::ClobberMemory();
    }
    report(state, double(in.total()), double(in.total()) * 4);
}

/// A table of a typical slider position: the sweeps along its 65536 entries are one chain of sums.
void threshold(benchmark::State& state)
{
    TLut16U lut(0, 5, 9830, 0.35f);
    for (auto _ : state)
        lut.setupLinearThreshold(0.5f, 0.4f, 0.1f, 0.2f);
    report(state, 65536, 0);
}

void lightAdjust(benchmark::State& state)
{
    TLut16U lut(0, 5, 9830, 0.35f);
    for (auto _ : state)
        lut.setupLightAdjust(0.1f, 0.2f, 0.3f, 0.4f);
    report(state, 65536, 0);
}

/// The engine's luma stage but for the look-up: 4096 mappings, stretched to a table.
void lightTable(benchmark::State& state)
{
    TLightAdjLUTq3 lut;
    lut.setupParams(0.2f, 0.3f, -0.4f, 0.5f, 0.1f, -0.1f);
    for (auto _ : state)
        lut.computeLUT16U(true);
    report(state, 65536, 0);
}

class Colour : public TLutYDrDb {
public:
    using TLutYDrDb::TLutYDrDb;
    void mapYDrDb(ushort& y, unsigned char& dr, unsigned char& db) override
    {
        y = ushort(y - y / 8);
        dr = (unsigned char)(128 + (dr - 128) / 2);
        db = (unsigned char)(128 + (db - 128) * y / 65536);
    }
};

void colourTables(benchmark::State& state)
{
    Colour lut(5);
    for (auto _ : state)
        lut.computeLUT();
    report(state, 65536 * 33, 0);
}

void applyChroma(benchmark::State& state)
{
    Colour lut(int(state.range(2)));
    lut.computeLUT();
    const cv::Mat y = lumaOf(state), dr = scene(y.cols, y.rows, CV_8UC1, 0, 256, 2),
                  db = scene(y.cols, y.rows, CV_8UC1, 0, 256, 3);
    cv::Mat outDr = dr.clone(), outDb = db.clone();
    for (auto _ : state)
        lut.applyCLUT(y, dr, db, outDr, outDb);
    report(state, double(y.total()), double(y.total()) * (state.range(2) ? 6 : 4));
}

void lookup3D(benchmark::State& state)
{
    std::vector<ushort> cells(33 * 33 * 33 * 3);
    TLut3D lut;
    lut.m_table_p = cells.data();
    lut.m_size[0] = lut.m_size[1] = lut.m_size[2] = 33;
    lut.initialize(33, 3, TLut3D::LAST_FASTEST);
    cv::Mat in, out;
    cv::merge(std::vector<cv::Mat>(3, lumaOf(state)), in);
    out = in.clone();
    for (auto _ : state)
        lut.LookupLinear(in, out);
    report(state, double(in.total()), double(in.total()) * 12);
}

void chromaSizes(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h", "log2"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int log2NC : {0, 3})
        b->Args({1024, 1024, log2NC})->Args({4896, 3264, log2NC});
}

void once(benchmark::internal::Benchmark* b)
{
    b->Unit(benchmark::kMillisecond)->UseRealTime();
}

} // namespace

BENCHMARK(apply)->Name("TLut1D_apply_16u")->Apply(sizes);
BENCHMARK(applyPlain)->Name("TLut1D_apply_16u:plain loop")->Apply(sizes);
BENCHMARK(threshold)->Name("TLut16U_setupLinearThreshold")->Apply(once);
BENCHMARK(lightAdjust)->Name("TLut16U_setupLightAdjust")->Apply(once);
BENCHMARK(lightTable)->Name("TLightAdjLUTq3_computeLUT16U")->Apply(once);
BENCHMARK(colourTables)->Name("TLutYDrDb_computeLUT_32")->Apply(once);
BENCHMARK(applyChroma)->Name("TLutYDrDb_applyCLUT")->Apply(chromaSizes);
BENCHMARK(lookup3D)->Name("TLut3D_LookupLinear")->Apply(sizes);
