#include "halide.h"

using namespace pixmill::bench;

namespace {

/// The same doubled pixels as ours: the mean of four, of which two or four are the same at even columns and rows.
Halide::Pipeline doubling(Halide::ImageParam& in)
{
    using namespace Halide;
    Var x("x"), y("y"), strip("strip"), row("row");
    const Func edged = BoundaryConditions::repeat_edge(in);
    const auto at = [&](const Expr& column, const Expr& line) { return cast<std::uint32_t>(edged(column, line)); };
    const auto column = [&](const Expr& i) { return at(i, y / 2) + at(i, (y + 1) / 2); };
    Func even("even"), odd("odd"), out("doubled");
    even(x, y) = cast<std::uint16_t>((column(x) + 1) / 2);
    odd(x, y) = cast<std::uint16_t>((column(x) + column(x + 1) + 2) / 4);
    out(x, y) = select(x % 2 == 0, even(x / 2, y), odd(x / 2, y));

    out.align_bounds(x, 2).vectorize(x, 4 * halideLanes());
    strips(out, y, strip, row, 32);
    return Pipeline(out);
}

void upSize(benchmark::State& state)
{
    cv::Mat out(int(state.range(1)), int(state.range(0)), CV_16UC1, cv::Scalar(0));
    cv::Mat in = scene(out.cols / 2, out.rows / 2, CV_16UC1, 0, 65536);
    Halide::ImageParam source(Halide::UInt(16), 2);
    source.set(halideBuffer<std::uint16_t>(in));
    runHalide<std::uint16_t>(state, doubling(source), out);
    report(state, double(out.total()), double(in.total() + out.total()) * 2);
}

BENCHMARK(upSize)->Name("upSize2X_linear_16u:Halide")->Apply(sizesUpTo64);

} // namespace
