#include <support/bench.h>

#include <Halide.h>
#include <omp.h>

#include <cstdlib>
#include <string>

using namespace pixmill::bench;

/// Rows of Halide, compiled as the benchmark starts, with a schedule of our own.
namespace {

/// This processor's kernels. The compiler takes those of one kind for another's, which have instructions that these
/// lack.
Halide::Target target()
{
    return Halide::get_host_target().without_feature(Halide::Target::AVX512_SapphireRapids);
}

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

    const int lanes = 2 * target().natural_vector_size<std::uint16_t>();
    out.align_bounds(x, 2).vectorize(x, lanes).split(y, strip, row, 32);
    if (omp_get_max_threads() > 1)
        out.parallel(strip);
    return Pipeline(out);
}

void upSize(benchmark::State& state)
{
    setenv("HL_NUM_THREADS", std::to_string(omp_get_max_threads()).c_str(), 1);
    cv::Mat out(int(state.range(1)), int(state.range(0)), CV_16UC1, cv::Scalar(0));
    cv::Mat in = scene(out.cols / 2, out.rows / 2, CV_16UC1, 0, 65536);
    Halide::ImageParam source(Halide::UInt(16), 2);
    Halide::Pipeline pipeline = doubling(source);
    pipeline.compile_jit(target());
    source.set(Halide::Buffer<std::uint16_t>(in.ptr<ushort>(), in.cols, in.rows));
    Halide::Buffer<std::uint16_t> doubled(out.ptr<ushort>(), out.cols, out.rows);
    for (auto _ : state) {
        pipeline.realize(doubled, target());
        benchmark::ClobberMemory();
    }
    report(state, double(out.total()), double(in.total() + out.total()) * 2);
}

BENCHMARK(upSize)->Name("upSize2X_linear_16u:Halide")->Apply(sizesUpTo64);

} // namespace
