#include <pixmill/resample/BlockProcessor.h>
#include <support/bench.h>

#include <vector>

namespace {

using Planes = std::vector<cv::Mat>;

Planes chroma(const benchmark::State& state)
{
    const int w = int(state.range(0)), h = int(state.range(1));
    return {pixmill::bench::plane(w, h, CV_16UC1, 0, 65536, 1), pixmill::bench::plane(w, h, CV_16UC1, 0, 65536, 2)};
}

// Cutting and stitching alone: the blocks go back unfiltered, as the detail engine tiles its two chroma planes.
void BlockProcessor_walk(benchmark::State& state)
{
    const Planes planes = chroma(state);
    Planes block;
    for (auto _ : state) {
        BlockProcessor processor;
        processor.initialize(planes, planes, 1024, 1024, true, 32, 0, BlockProcessor::EDGE_TAPER_LINEAR);
        while (processor.getBlockImage(nullptr, block))
            processor.writeBackBlock();
    }
    const double pixels = double(planes[0].total());
    pixmill::bench::report(state, pixels, pixels * 2 * 4);
}
BENCHMARK(BlockProcessor_walk)->Apply(pixmill::bench::sizes);

} // namespace
