#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/threshold_tables.h>
#include <reference/threshold_table.h>
#include <support/bench.h>

using namespace pixmill::bench;
using pixmill::curves::ThresholdControls;

namespace {

/// The three tables of one detail level. Detail is lowered: where it is raised, tables begin in zeros, and the plain
/// form takes two to three times as long over numbers near the smallest.
struct Level {
    TLut16U a{0, 5, 9830, 0.35f}, b{0, 5, 9830, 0.35f}, c{0, 5, 9830, 0.35f};
    TLut16U* luts[3] = {&a, &b, &c};
    ThresholdControls controls[3] = {{-0.5f, 0.4f, -0.1f, 0.2f}, {-0.3f, -0.4f, -0.1f, 0.2f}, {-0.1f, 0.2f, 0, 0}};
};

void together(benchmark::State& state)
{
    Level level;
    for (auto _ : state)
        pixmill::curves::setupLinearThresholds(level.luts, level.controls, 3);
    report(state, 3 * 65536, 0);
}

void plain(benchmark::State& state)
{
    const Level level;
    const TLut16U& a = level.a;
    const pixmill::reference::ThresholdRanges ranges = {a.m_kLow, a.m_kHigh, a.m_thresholdRange, a.m_thresholdSmooth};
    for (auto _ : state)
        for (const ThresholdControls& c : level.controls)
            benchmark::DoNotOptimize(
                pixmill::reference::thresholdTable(65535, ranges, {c.kShift, c.tShift, c.kBase, c.tBase}).data());
    report(state, 3 * 65536, 0);
}

void oneByOne(benchmark::State& state)
{
    Level level;
    for (auto _ : state)
        for (int i = 0; i < 3; ++i) {
            const ThresholdControls& c = level.controls[i];
            level.luts[i]->setupLinearThreshold(c.kShift, c.tShift, c.kBase, c.tBase);
        }
    report(state, 3 * 65536, 0);
}

} // namespace

BENCHMARK(together)->Name("TLut16U_threeTables")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(plain)->Name("TLut16U_threeTables:plain")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(oneByOne)->Name("TLut16U_threeTables:one by one")->Unit(benchmark::kMillisecond)->UseRealTime();
