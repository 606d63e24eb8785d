#include <support/bench.h>

#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/detail/threshold_tables.h>
#include <pixmill/multiscale/detail/recursive_gaussian.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace pixmill::bench;
using pixmill::detail::ThresholdControls;

namespace {

/// The three tables of one detail level.
struct Level {
    TLut16U a{0, 5, 9830, 0.35f}, b{0, 5, 9830, 0.35f}, c{0, 5, 9830, 0.35f};
    TLut16U* luts[3] = {&a, &b, &c};
    ThresholdControls controls[3] = {{0.5f, 0.4f, 0.1f, 0.2f}, {0.3f, -0.4f, 0.1f, 0.2f}, {0.1f, 0.2f, 0, 0}};
};

void together(benchmark::State& state)
{
    Level level;
    for (auto _ : state)
        pixmill::detail::setupLinearThresholds(level.luts, level.controls, 3);
    report(state, 3 * 65536, 0);
}

/// A table's smoothing with one loop a sweep, after another table was drawn.
void plain(benchmark::State& state)
{
    Level level;
    std::vector<float> line(65536);
    const int halfWidth[3] = {1300, 2100, 900};
    for (auto _ : state)
        for (int t = 0; t < 3; ++t) {
            auto* table = static_cast<ushort*>(level.luts[t]->m_lut_p);
            const auto gauss = pixmill::detail::RecursiveGaussian::make<double>(float(halfWidth[t]) * 0.35f, 2);
            for (int i = 0; i < 65536; ++i)
                table[i] = ushort(std::abs(i - 32768) < halfWidth[t] ? 32768 : i);
            std::copy_n(table, 65536, line.begin());
            for (int pair = 0; pair < 2; ++pair) {
                line[0] *= gauss.boundary;
                for (int i = 1; i < 65536; ++i)
                    line[i] += gauss.nu * line[i - 1];
                line[65535] *= gauss.boundary;
                for (int i = 65534; i >= 0; --i)
                    line[i] += gauss.nu * line[i + 1];
            }
            for (int i = 0; i < 65536; ++i)
                table[i] = cv::saturate_cast<ushort>(line[i] * gauss.post);
        }
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
