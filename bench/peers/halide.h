#pragma once

#include <support/bench.h>

#include <Halide.h>
#include <omp.h>

#include <cstdlib>
#include <string>

/// What rows of Halide share: kernels are compiled as a row starts, outside its time, with schedules of our own.
namespace pixmill::bench {

/// This processor's kernels. The compiler takes those of one kind for another's, which have instructions that these
/// lack.
inline Halide::Target halideTarget()
{
    return Halide::get_host_target().without_feature(Halide::Target::AVX512_SapphireRapids);
}

/// Samples of a type that fill a vector of floats.
inline int halideLanes()
{
    return halideTarget().natural_vector_size<float>();
}

template <class T>
Halide::Buffer<T> halideBuffer(cv::Mat& plane)
{
    return Halide::Buffer<T>(plane.ptr<T>(), plane.cols, plane.rows);
}

/// Rows of a stage by strips, which go to as many threads as ours have.
inline void strips(Halide::Func stage, const Halide::Var& y, const Halide::Var& strip, const Halide::Var& row, int rows)
{
    stage.split(y, strip, row, rows);
    if (omp_get_max_threads() > 1)
        stage.parallel(strip);
}

/// Compiles `pipeline` and runs it into `out`, time after time.
template <class T>
void runHalide(benchmark::State& state, Halide::Pipeline pipeline, cv::Mat& out)
{
    setenv("HL_NUM_THREADS", std::to_string(omp_get_max_threads()).c_str(), 1);
    pipeline.compile_jit(halideTarget());
    Halide::Buffer<T> result = halideBuffer<T>(out);
    for (auto _ : state) {
        pipeline.realize(result, halideTarget());
        benchmark::ClobberMemory();
    }
}

} // namespace pixmill::bench
