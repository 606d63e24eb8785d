#pragma once

#include <pixmill/filters/detail/guided_apply.h>
#include <pixmill/filters/detail/guided_together_avx512.h>
#include <pixmill/rows/samples.h>

#include <cstddef>

/// What becomes of a row of means. Each is called with whole rows of them, or at its put512 with eight of each in
/// registers: of the columns from x on, the first `count`. Where kWaits, it reckons so long with them that it had
/// better be given those of eight columns while the next ones are summed.
namespace pixmill::filters {

using namespace rows;

/// A model of one guide from its window's means: a = cov / (var + eps), b = mean of the source - a * mean of the guide.
struct OneGuideModel {
    float slope, offset;

    OneGuideModel(float g, float s, float product, float square, float eps)
    {
        const float cov = product - g * s, var = square - g * g;
        slope = cov / (var + eps);
        offset = s - g * slope;
    }
};

#if PIXMILL_X86
/// Eight of them.
struct OneGuideModel512 {
    __m256 slope, offset;

    PIXMILL_AVX512_STEP OneGuideModel512(const __m256 (&m)[4], float eps)
    {
        const __m256 cov = _mm256_sub_ps(m[2], _mm256_mul_ps(m[0], m[1]));
        const __m256 var = _mm256_sub_ps(m[3], _mm256_mul_ps(m[0], m[0]));
        slope = _mm256_div_ps(cov, _mm256_add_ps(var, _mm256_set1_ps(eps)));
        offset = _mm256_sub_ps(m[1], _mm256_mul_ps(m[0], slope));
    }
};

/// Models applied to the first `count` of eight pixels.
PIXMILL_AVX512_STEP __m256 applied512(__m256 slope, __m256 offset, const float* guide, int count)
{
    const __mmask8 mask = __mmask8((1 << count) - 1);
    return _mm256_add_ps(offset, _mm256_mul_ps(slope, _mm256_maskz_loadu_ps(mask, guide)));
}
#endif

/// Models of one guide, kept.
struct OneGuideModels {
    static constexpr bool kTakesRegisters = true, kWaits = true;

    float eps, *a, *b;
    std::ptrdiff_t next; ///< How far after a and b lies what is fetched.

    template <class Means>
    void operator()(const Means& m, int n) const
    {
        const float *g = m[0], *s = m[1], *product = m[2], *square = m[3];
        fetchingRow(
            n,
            [=, e = eps, slopes = a, offsets = b](int x) {
                const OneGuideModel model(g[x], s[x], product[x], square[x], e);
                slopes[x] = model.slope;
                offsets[x] = model.offset;
            },
            Fetch{a + next}, Fetch{b + next});
    }

#if PIXMILL_X86
    PIXMILL_AVX512_STEP void put512(const __m256 (&m)[4], int x, int count) const
    {
        const OneGuideModel512 model(m, eps);
        store512(a + x, model.slope, count);
        store512(b + x, model.offset, count);
    }
#endif
};

/// Models of one guide, applied to it: out = offset + slope * guide.
struct AppliedModels {
    static constexpr bool kTakesRegisters = true, kWaits = true;

    float eps;
    const float* guide;
    float* out;
    std::ptrdiff_t next; ///< How far after out lies what is fetched.

    template <class Means>
    void operator()(const Means& m, int n) const
    {
        const float *g = m[0], *s = m[1], *product = m[2], *square = m[3];
        fetchingRow(
            n,
            [=, e = eps, pixels = guide, to = out](int x) {
                const OneGuideModel model(g[x], s[x], product[x], square[x], e);
                to[x] = model.offset + model.slope * pixels[x];
            },
            Fetch{out + next});
    }

#if PIXMILL_X86
    PIXMILL_AVX512_STEP void put512(const __m256 (&m)[4], int x, int count) const
    {
        const OneGuideModel512 model(m, eps);
        store512(out + x, applied512(model.slope, model.offset, guide + x, count), count);
    }
#endif
};

/// Averaged models of one guide, applied: out = offset + slope * guide.
struct AppliedAverages {
    static constexpr bool kTakesRegisters = true, kWaits = true;

    const float* guide;
    float* out;
    std::ptrdiff_t next; ///< How far after out lies what is fetched.

    template <class Means>
    void operator()(const Means& m, int n) const
    {
        applyRow(m[0], guide, m[1], out, n, next);
    }

#if PIXMILL_X86
    PIXMILL_AVX512_STEP void put512(const __m256 (&m)[2], int x, int count) const
    {
        store512(out + x, applied512(m[0], m[1], guide + x, count), count);
    }
#endif
};

/// Rows of means, kept.
template <int kRows>
struct StoredMeans {
    static constexpr bool kTakesRegisters = true, kWaits = false;

    float* to[kRows];
    std::ptrdiff_t next;

    template <class Means>
    void operator()(const Means& m, int n) const
    {
        for (int i = 0; i < kRows; ++i)
            fetchingRow(
                n, [from = m[i], out = to[i]](int x) { out[x] = from[x]; }, Fetch{to[i] + next});
    }

#if PIXMILL_X86
    PIXMILL_AVX512_STEP void put512(const __m256 (&m)[kRows], int x, int count) const
    {
        for (int i = 0; i < kRows; ++i)
            store512(to[i] + x, m[i], count);
    }
#endif
};

} // namespace pixmill::filters
