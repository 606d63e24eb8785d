#pragma once

#include <pixmill/filters/detail/domain_lanes.h>
#include <pixmill/rows/exponential.h>
#include <pixmill/rows/samples.h>

#include <algorithm>
#include <cstddef>

/// The recursion along lines of pixels in lane form.
namespace pixmill::filters {

using namespace rows;

/// Rows of a strip of columns that are fetched, weighed and walked while in the first cache.
constexpr int kStripRows = 32;

/// How many strips of columns are walked side by side: as many as stay in the second cache on the way back, and hide
/// each other's latency.
inline int stripsAside(int height, int channels)
{
    constexpr std::size_t kFloats = std::size_t(440) << 10, kMost = 4;
    return int(std::clamp<std::size_t>(kFloats / (std::size_t(height) * (channels + 1) * kLanes), 1, kMost));
}

/// The weights exp(step * k). Below 2^-126 they count as 0: such small factors move no sample, and processors take a
/// hundred times longer over them.
struct Feedback {
    float k;
    bool rise; ///< no step is below 0
};

/// Weights for `count` pixels, which may take the steps' place. Steps that come later are fetched meanwhile, and what
/// `fetch(i)` asks for with pixel i: many fetched at a time would wait for each other.
template <class Fetches>
inline void weigh(const float* steps, const Feedback& feedback, int count, float* weights, const Fetches& fetch)
{
    constexpr float kLeast = -87.33654f;
    constexpr int kAhead = 64 * kLanes;
    const float k = feedback.k;
    const bool below0 = feedback.rise && k <= 0.0f;
    for (int i = 0; i < count; ++i, steps += kLanes, weights += kLanes) {
        __builtin_prefetch(steps + kAhead);
        fetch(i);
        if (below0)
            mapRow(steps, weights, kLanes, [k](float step) {
                const float v = step * k, e = exponentialBelow0(v);
                return v < kLeast ? 0.0f : e;
            });
        else
            mapRow(steps, weights, kLanes, [k](float step) {
                const float v = step * k;
                return v < kLeast ? 0.0f : exponential(v);
            });
    }
}

/// Lines of pixels in lane form: where the first line's samples and weights stand, how far on the next pixel's and the
/// next line's are. Steps are negative for a walk back.
struct LaneWalk {
    float* samples;
    const float* weights;
    int pixels;
    std::ptrdiff_t step, weightStep, nextLine, nextWeights;
};

/// Sixteen samples, a struct because g++ keeps a few of them in registers, but not one long array.
struct Sixteen {
    float v[kLanes];
};

inline Sixteen pulled(const Sixteen& before, const float* __restrict samples, const float* __restrict weights)
{
    Sixteen now;
    for (int r = 0; r < kLanes; ++r)
        now.v[r] = samples[r] + (before.v[r] - samples[r]) * weights[r];
    return now;
}

/// Pulls every pixel of a line towards the one before it in the walk. Its C channels stand one behind the other, each
/// in sixteen lanes.
template <int C>
inline void walkPlanar(float* p, const float* w, int pixels, std::ptrdiff_t step, std::ptrdiff_t weightStep)
{
    Sixteen state[C];
    for (int c = 0; c < C; ++c)
        for (int r = 0; r < kLanes; ++r)
            state[c].v[r] = p[c * kLanes - step + r];
    for (; pixels > 0; --pixels, p += step, w += weightStep) {
#pragma GCC unroll 4
        for (int c = 0; c < C; ++c) {
            state[c] = pulled(state[c], p + c * kLanes, w);
            for (int r = 0; r < kLanes; ++r)
                p[c * kLanes + r] = state[c].v[r];
        }
    }
}

/// Pulls every pixel of T lines towards the one before it in the walk. Side by side, the lines hide each other's
/// latency. The channels of a pixel are interleaved.
template <int C, int T>
inline void walkMixed(const LaneWalk& way)
{
    float state[T][C * kLanes];
    float* samples = way.samples;
    const float* weights = way.weights;
    const std::ptrdiff_t nextLine = way.nextLine, nextWeights = way.nextWeights;
    const std::ptrdiff_t step = way.step, weightStep = way.weightStep;
    for (int t = 0; t < T; ++t)
        for (int i = 0; i < C * kLanes; ++i)
            state[t][i] = samples[t * nextLine - step + i];
    for (int n = way.pixels; n > 0; --n, samples += step, weights += weightStep)
        for (int t = 0; t < T; ++t) {
            float* __restrict p = samples + t * nextLine;
            float wide[C * kLanes];
            for (int r = 0; r < kLanes; ++r)
                for (int c = 0; c < C; ++c)
                    wide[r * C + c] = weights[t * nextWeights + r];
            for (int i = 0; i < C * kLanes; ++i) {
                const float sample = p[i];
                state[t][i] = sample + (state[t][i] - sample) * wide[i];
                p[i] = state[t][i];
            }
        }
}

/// The same for any number of lines.
template <int C>
inline void walkLines(LaneWalk way, int lines)
{
    const auto next = [&](int n) {
        way.samples += n * way.nextLine;
        way.weights += n * way.nextWeights;
        return n;
    };
    if (C == 1)
        for (; lines >= 4; lines -= next(4))
            walkMixed<C, C == 1 ? 4 : 1>(way);
    if (C <= 3)
        for (; lines >= 2; lines -= next(2))
            walkMixed<C, C <= 3 ? 2 : 1>(way);
    for (; lines > 0; lines -= next(1))
        walkMixed<C, 1>(way);
}

} // namespace pixmill::filters
