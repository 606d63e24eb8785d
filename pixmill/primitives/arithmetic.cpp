#include <pixmill/primitives/arithmetic.h>

#include <pixmill/primitives/region.h>

#include <atomic>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

struct Plus {
    float operator()(float a, float b) const { return a + b; }
};

struct Minus {
    float operator()(float a, float b) const { return a - b; }
};

struct Times {
    float operator()(float a, float b) const { return a * b; }
};

/// dst = op(a, b)
template <class Op>
IppStatus combine(const float* a, int aStep, const float* b, int bStep, float* dst, int dstStep, IppiSize roi, Op op)
{
    if (const IppStatus fault = checkRegion({a, b, dst}, roi, {aStep, bStep, dstStep}))
        return fault;
    zipRegion(a, aStep, b, bStep, dst, dstStep, roi, op);
    return ippStsNoErr;
}

/// srcDst = op(srcDst)
template <class Op>
IppStatus change(float* srcDst, int step, IppiSize roi, Op op)
{
    if (const IppStatus fault = checkRegion({srcDst}, roi, {step}))
        return fault;
    mapRegion(srcDst, step, srcDst, step, roi, op);
    return ippStsNoErr;
}

/// Quotients of `n` samples; whether a divisor was 0.
inline bool divideSamples(const float* dividend, const float* divisor, float* dst, int n)
{
    int zeros = 0;
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x) {
        const float by = divisor[x];
        zeros |= by == 0.0f;
        dst[x] = dividend[x] / by;
    }
    return zeros != 0;
}

/// dst = dividend / divisor
IppStatus divide(const float* dividend, int dividendStep, const float* divisor, int divisorStep, float* dst,
                 int dstStep, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({dividend, divisor, dst}, roi, {dividendStep, divisorStep, dstStep}))
        return fault;
    std::atomic<bool> zeros{false};
    forEachRow(sizeOf(roi), [&](int y) {
        if (divideSamples(rowAt(dividend, dividendStep, y), rowAt(divisor, divisorStep, y), rowAt(dst, dstStep, y),
                          roi.width))
            zeros.store(true, std::memory_order_relaxed);
    });
    return zeros ? ippStsDivByZero : ippStsNoErr;
}

} // namespace

IppStatus ippiAdd_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi)
{
    return combine(srcDst, step, src, srcStep, srcDst, step, roi, Plus());
}

IppStatus ippiSub_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi)
{
    return combine(srcDst, step, src, srcStep, srcDst, step, roi, Minus());
}

IppStatus ippiMul_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi)
{
    return combine(srcDst, step, src, srcStep, srcDst, step, roi, Times());
}

IppStatus ippiDiv_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi)
{
    return divide(srcDst, step, src, srcStep, srcDst, step, roi);
}

IppStatus ippiSub_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize roi)
{
    return combine(src2, step2, src1, step1, dst, dstStep, roi, Minus());
}

IppStatus ippiMul_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize roi)
{
    return combine(src1, step1, src2, step2, dst, dstStep, roi, Times());
}

IppStatus ippiDiv_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst, int dstStep,
                          IppiSize roi)
{
    return divide(src2, step2, src1, step1, dst, dstStep, roi);
}

IppStatus ippiAddC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi)
{
    return change(srcDst, step, roi, [value](float v) { return v + value; });
}

IppStatus ippiSubC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi)
{
    return change(srcDst, step, roi, [value](float v) { return v - value; });
}

IppStatus ippiDivC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({srcDst}, roi, {step}))
        return fault;
    if (value == 0.0f)
        return ippStsDivByZeroErr;
    return change(srcDst, step, roi, [value](float v) { return v / value; });
}

IppStatus ippiMulC_32f_C1R(const float* src, int srcStep, float value, float* dst, int dstStep, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    mapRegion(src, srcStep, dst, dstStep, roi, [value](float v) { return v * value; });
    return ippStsNoErr;
}

IppStatus ippiSqr_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    mapRegion(src, srcStep, dst, dstStep, roi, [](float v) { return v * v; });
    return ippStsNoErr;
}

IppStatus ippiSqr_32f_C1IR(float* srcDst, int step, IppiSize roi)
{
    return change(srcDst, step, roi, [](float v) { return v * v; });
}

IppStatus ippiThreshold_GTVal_32f_C1IR(float* srcDst, int step, IppiSize roi, float threshold, float value)
{
    return change(srcDst, step, roi, [=](float v) { return v > threshold ? value : v; });
}

IppStatus ippiThreshold_LTVal_32f_C1IR(float* srcDst, int step, IppiSize roi, float threshold, float value)
{
    return change(srcDst, step, roi, [=](float v) { return v < threshold ? value : v; });
}

IppStatus ippsDiv_32f_I(const float* src, float* srcDst, int len)
{
    if (const IppStatus fault = checkRegion({src, srcDst}, {len, 1}, {}))
        return fault;
    std::atomic<bool> zeros{false};
    const auto divide = [&](int first, int end) {
        if (divideSamples(srcDst + first, src + first, srcDst + first, end - first))
            zeros.store(true, std::memory_order_relaxed);
    };
    forEachSpan(len, len, divide, kFinePieces);
    return zeros ? ippStsDivByZero : ippStsNoErr;
}
