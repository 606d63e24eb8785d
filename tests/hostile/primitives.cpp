#include "hostile.h"
#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/convert.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/primitives/vector.h>

namespace pixmill::hostile {

namespace {

/// Arguments of a primitive by type and place: an int after a pointer is its step. The second rectangle is the
/// result's, which memory bounds.
class Places {
public:
    explicit Places(Rng& r) : m_r(r) {}

    template <class T>
    T next()
    {
        const bool afterPointer = m_pointer;
        m_pointer = std::is_pointer_v<T>;
        if constexpr (std::is_same_v<T, IppiSize>)
            return {m_r.side(), m_r.side()};
        else if constexpr (std::is_same_v<T, IppiPoint>)
            return {m_r.below(50) - 1, m_r.below(50) - 1};
        else if constexpr (std::is_same_v<T, IppiRect>)
            return m_rects++ == 0 ? IppiRect{m_r.number(), m_r.number(), m_r.number(), m_r.number()}
                                  : IppiRect{m_r.below(8), m_r.below(8), m_r.side(), m_r.side()};
        else if constexpr (std::is_same_v<T, int>)
            return afterPointer ? (m_r.oneIn(8) ? m_r.below(3) - 2 : 1280) : m_r.number();
        else
            return Make<T>::from(m_r);
    }

private:
    Rng& m_r;
    bool m_pointer = false;
    int m_rects = 0;
};

template <auto function>
struct Primitive;

template <class Result, class... Args, Result (*function)(Args...)>
struct Primitive<function> {
    static void run(Rng& r)
    {
        Places places(r);
        const std::tuple<Args...> made{places.next<Args>()...};
        std::apply(function, made);
    }
};

#define P(function)                                                                                                    \
    {                                                                                                                  \
#function, Primitive < function> ::run                                                                         \
    }

} // namespace

std::vector<Row> primitiveRows()
{
    // clang-format off
    return {
        P(ippiAdd_32f_C1IR), P(ippiSub_32f_C1IR), P(ippiMul_32f_C1IR), P(ippiDiv_32f_C1IR), P(ippiSub_32f_C1R),
        P(ippiMul_32f_C1R), P(ippiDiv_32f_C1R), P(ippiAddC_32f_C1IR), P(ippiSubC_32f_C1IR), P(ippiDivC_32f_C1IR),
        P(ippiMulC_32f_C1R), P(ippiSqr_32f_C1R), P(ippiSqr_32f_C1IR), P(ippiThreshold_GTVal_32f_C1IR),
        P(ippiThreshold_LTVal_32f_C1IR), P(ippiConvert_8u32f_C1R), P(ippiConvert_16u32f_C1R), P(ippiConvert_32f8u_C1R),
        P(ippiConvert_32f16u_C1R), P(ippiScale_8u16u_C4R), P(ippiScale_16u8u_C4R), P(ippiCopy_8u_C1R), P(ippiCopy_8u_C4R),
        P(ippiCopy_16u_C1R), P(ippiCopy_16u_C3R), P(ippiCopy_16u_C4R), P(ippiCopy_32f_C1R), P(ippiSet_8u_C1R),
        P(ippiSet_16u_C1R), P(ippiSet_32f_C1R), P(ippiSet_8u_C1MR), P(ippiXorC_8u_C1IR), P(ippiCopyReplicateBorder_8u_C1R),
        P(ippiCopyReplicateBorder_16u_C1R), P(ippiCopyReplicateBorder_32f_C1R), P(ippiCopyReplicateBorder_32f_C1IR),
        P(ippiImageRamp_8u_C1R), P(ippiImageRamp_16u_C1R), P(ippiFilterBox_8u_C1R), P(ippiFilterBox_16u_C1R),
        P(ippiFilterBox_32f_C1R), P(ippiFilterBox_8u_C1IR), P(ippiFilterBox_16u_C1IR), P(ippiFilterBox_32f_C1IR),
        P(ippiFilterGauss_8u_C1R), P(ippiFilterGauss_32f_C1R), P(ippiDilate_8u_C1R), P(ippiDilate_16u_C1R),
        P(ippiErode_8u_C1R), P(ippiErode_16u_C1R), P(ippiDilate3x3_16u_C1IR), P(ippiErode3x3_16u_C1IR),
        P(ippiLUTPalette_8u_C1R), P(ippiLUTPalette_16u_C1R), P(ippiLUTPalette_16u8u_C1R), P(ippiResizeGetBufSize),
        P(ippiResizeSqrPixel_8u_C1R), P(ippiResizeSqrPixel_16u_C1R), P(ippiResizeSqrPixel_32f_C1R), P(MKL_GET_MAX_THREADS),
        // clang-format on
        HOSTILE(
            "ippiLUT_Linear_16u_C1IR",
            (unsigned short* v, int* values, int* levels, Side w, Side h, Side n) {
                ippiLUT_Linear_16u_C1IR(v, 1280, {w, h}, values, levels, n);
            }),
        HOSTILE(
            "ippsDiv_32f_I", (float* a, float* b, Side n) { ippsDiv_32f_I(a, b, n); }),
        HOSTILE(
            "ippsSet_32f", (float v, float* a, Side n) { ippsSet_32f(v, a, n); }),
        HOSTILE(
            "vsLn", (Buffer<float> a, Buffer<float> y, Side n) { vsLn(n, a, y); }),
        HOSTILE(
            "vsAbs", (Buffer<float> a, Buffer<float> y, Side n) { vsAbs(n, a, y); }),
        HOSTILE(
            "vsSub", (Buffer<float> a, Buffer<float> b, Buffer<float> y, Side n) { vsSub(n, a, b, y); }),
        HOSTILE(
            "vsDiv", (Buffer<float> a, Buffer<float> b, Buffer<float> y, Side n) { vsDiv(n, a, b, y); }),
        HOSTILE(
            "vsPowx", (Buffer<float> a, float p, Buffer<float> y, Side n) { vsPowx(n, a, p, y); }),
        HOSTILE(
            "ippmInvert_m_32f",
            (float* a, float* b, float* c, Side n) { ippmInvert_m_32f(a, 192, 4, b, c, 192, 4, n); }),
        HOSTILE(
            "ippiMalloc",
            (int w, int h) {
                int step;
                ippiFree(ippiMalloc_8u_C1(w, h, &step));
                ippiFree(ippiMalloc_16u_C1(w, h, &step));
                ippiFree(ippiMalloc_8u_C4(w, h, &step));
                ippiFree(ippiMalloc_16u_C4(w, h, &step));
            }),
        HOSTILE(
            "ippsMalloc", (int n) { ippsFree(ippsMalloc_8u(n)); }),
        HOSTILE(
            "MKL_malloc", (int n, int align) { MKL_free(MKL_malloc(std::size_t(n), align)); }),
    };
}

} // namespace pixmill::hostile
