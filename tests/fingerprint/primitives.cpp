#include "fingerprint.h"
#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/convert.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/primitives/vector.h>

#include <list>
#include <tuple>

namespace pixmill::fingerprint {

namespace {

constexpr int kWidth = 61, kHeight = 47, kStep = 1024, kMargin = 8;

/// Arguments of a primitive by type and place: a pointer leads into a plane of its own, an int after one is its step.
class Places {
public:
    Places(Source& source, IppiSize second, int number) : m_source(source), m_second(second), m_number(number) {}

    template <class T>
    T next()
    {
        const bool afterPointer = m_pointer;
        m_pointer = std::is_pointer_v<T>;
        if constexpr (std::is_pointer_v<T>)
            return pointer<std::remove_const_t<std::remove_pointer_t<T>>>();
        else if constexpr (std::is_same_v<T, IppiSize>)
            return m_sizes++ == 0 ? IppiSize{kWidth, kHeight} : m_second;
        else if constexpr (std::is_same_v<T, IppiPoint>)
            return {m_second.width / 2, m_second.height / 2};
        else if constexpr (std::is_same_v<T, int>)
            return afterPointer ? kStep : m_number;
        else
            return T(100.25);
    }

    void addTo(Hash& hash) const
    {
        for (const cv::Mat& plane : m_planes)
            hash.add(plane);
    }

private:
    template <class T>
    T* pointer()
    {
        cv::Mat& plane = m_planes.emplace_back(64 + 2 * kMargin, kStep, CV_8UC1);
        const cv::Mat samples = m_source.plane({int(kStep / sizeof(T)), plane.rows}, cv::DataType<T>::type);
        std::memcpy(plane.data, samples.data, plane.total());
        return plane.ptr<T>(kMargin) + kMargin;
    }

    Source& m_source;
    IppiSize m_second;
    int m_number, m_sizes = 0;
    bool m_pointer = false;
    std::list<cv::Mat> m_planes;
};

template <class Result, class... Args>
Operation row(const char* name, Result (*function)(Args...), int number = 1, IppiSize second = {7, 5})
{
    return {name, [=](Source& source, Hash& hash) {
                Places places(source, second, number);
                const std::tuple<Args...> made{places.next<Args>()...};
                hash.add(int(std::apply(function, made)));
                places.addTo(hash);
            }};
}

#define P(function, ...) row(#function, function, ##__VA_ARGS__)

template <class T, class Function>
Operation palette(const char* name, Function function, int bits)
{
    return {name, [=](Source& source, Hash& hash) {
                cv::Mat in = source.plane({kWidth, kHeight}, cv::DataType<std::remove_const_t<T>>::type), out;
                in.convertTo(out, in.type());
                const cv::Mat table = source.plane({65536, 1}, CV_16UC1);
                function(in, out, table, bits);
                hash.add(out);
            }};
}

template <class T, class Function>
void addResizes(Operations& all, const std::string& name, Function function)
{
    for (const int interpolation : {1, 2, 4})
        for (const double factor : {0.4, 2.0, 3.3})
            all.push_back({name + ", interpolation " + std::to_string(interpolation) + ", factor " +
                               std::to_string(int(factor * 10)) + " tenths",
                           [=](Source& source, Hash& hash) {
                               const cv::Mat in = source.plane({kWidth, kHeight}, cv::DataType<T>::type);
                               cv::Mat out(int(kHeight * factor), int(kWidth * factor), in.type(), cv::Scalar(0));
                               std::vector<std::uint8_t> buffer(1 << 20);
                               const IppiRect to{0, 0, out.cols, out.rows};
                               hash.add(function(in.ptr<T>(), {in.cols, in.rows}, int(in.step),
                                                 {0, 0, in.cols, in.rows}, out.ptr<T>(), int(out.step), to, factor,
                                                 factor, 0.25, -0.5, interpolation, buffer.data()));
                               hash.add(out);
                           }});
}

void addVectors(Operations& all)
{
    const auto add = [&](const char* name, float reach, bool negative, auto function) {
        all.push_back({name, [=](Source& source, Hash& hash) {
                           const std::vector<float> a = source.floats(5003, reach, negative),
                                                    b = source.floats(5003, reach, negative);
                           std::vector<float> out(a.size());
                           function(int(a.size()), a.data(), b.data(), out.data());
                           hash.add(out);
                       }});
    };
    using In = const float*;
    add("vsLn", 9, false, [](int n, In a, In, float* y) { vsLn(n, a, y); });
    add("vsAbs", 9, true, [](int n, In a, In, float* y) { vsAbs(n, a, y); });
    add("vsSub", 9, true, vsSub);
    add("vsDiv", 9, true, vsDiv);
    add("vsPowx 1.2", 9, false, [](int n, In a, In, float* y) { vsPowx(n, a, 1.2f, y); });
    add("vsPowx -2.5", 9, false, [](int n, In a, In, float* y) { vsPowx(n, a, -2.5f, y); });
    add("vsPowx 3", 9, true, [](int n, In a, In, float* y) { vsPowx(n, a, 3, y); });
    add("ippsDiv_32f_I", 9, true, [](int n, In a, In b, float* y) {
        std::memcpy(y, b, n * sizeof(float));
        ippsDiv_32f_I(a, y, n);
    });
    for (const int n : {3, 6})
        all.push_back({"ippmInvert_m_32f of " + std::to_string(n), [n](Source& source, Hash& hash) {
                           std::vector<float> m = source.floats(n * n, 4, true), out(m.size());
                           ippmInvert_m_32f(m.data(), 4 * n, 4, nullptr, out.data(), 4 * n, 4, n);
                           hash.add(out);
                       }});
}

} // namespace

Operations primitives()
{
    // clang-format off
    Operations all = {
        P(ippiAdd_32f_C1IR), P(ippiSub_32f_C1IR), P(ippiMul_32f_C1IR), P(ippiDiv_32f_C1IR), P(ippiSub_32f_C1R),
        P(ippiMul_32f_C1R), P(ippiDiv_32f_C1R), P(ippiAddC_32f_C1IR), P(ippiSubC_32f_C1IR), P(ippiDivC_32f_C1IR),
        P(ippiMulC_32f_C1R), P(ippiSqr_32f_C1R), P(ippiSqr_32f_C1IR), P(ippiThreshold_GTVal_32f_C1IR),
        P(ippiThreshold_LTVal_32f_C1IR), P(ippiConvert_8u32f_C1R), P(ippiConvert_16u32f_C1R), P(ippiConvert_32f8u_C1R),
        P(ippiConvert_32f16u_C1R), P(ippiScale_8u16u_C4R), P(ippiScale_16u8u_C4R), P(ippiCopy_8u_C1R), P(ippiCopy_8u_C4R),
        P(ippiCopy_16u_C1R), P(ippiCopy_16u_C3R), P(ippiCopy_16u_C4R), P(ippiCopy_32f_C1R), P(ippiSet_8u_C1R),
        P(ippiSet_16u_C1R), P(ippiSet_32f_C1R), P(ippsSet_32f), P(ippiSet_8u_C1MR), P(ippiXorC_8u_C1IR),
        P(ippiCopyReplicateBorder_8u_C1R, 3, {69, 53}), P(ippiCopyReplicateBorder_16u_C1R, 3, {69, 53}),
        P(ippiCopyReplicateBorder_32f_C1R, 3, {69, 53}), P(ippiCopyReplicateBorder_32f_C1IR, 3, {69, 53}), P(ippiImageRamp_8u_C1R, ippAxsBoth),
        P(ippiImageRamp_16u_C1R, ippAxsVertical), P(ippiFilterBox_8u_C1R), P(ippiFilterBox_16u_C1R), P(ippiFilterBox_32f_C1R),
        P(ippiFilterBox_8u_C1IR), P(ippiFilterBox_16u_C1IR), P(ippiFilterBox_32f_C1IR),
        P(ippiFilterGauss_8u_C1R, ippMskSize3x3), P(ippiFilterGauss_32f_C1R, ippMskSize5x5), P(ippiDilate_8u_C1R),
        P(ippiDilate_16u_C1R), P(ippiErode_8u_C1R), P(ippiErode_16u_C1R), P(ippiDilate3x3_16u_C1IR), P(ippiErode3x3_16u_C1IR),
    };
    // clang-format on
    all.push_back(palette<const std::uint8_t>(
        "ippiLUTPalette_8u_C1R",
        [](cv::Mat& in, cv::Mat& out, const cv::Mat& table, int bits) {
            ippiLUTPalette_8u_C1R(in.data, int(in.step), out.data, int(out.step), {in.cols, in.rows}, table.data, bits);
        },
        8));
    all.push_back(palette<const std::uint16_t>(
        "ippiLUTPalette_16u_C1R",
        [](cv::Mat& in, cv::Mat& out, const cv::Mat& table, int bits) {
            ippiLUTPalette_16u_C1R(in.ptr<ushort>(), int(in.step), out.ptr<ushort>(), int(out.step), {in.cols, in.rows},
                                   table.ptr<ushort>(), bits);
        },
        16));
    all.push_back(palette<const std::uint16_t>(
        "ippiLUTPalette_16u8u_C1R",
        [](cv::Mat& in, cv::Mat& out, const cv::Mat& table, int bits) {
            ippiLUTPalette_16u8u_C1R(in.ptr<ushort>(), int(in.step), out.data, int(out.step), {in.cols, in.rows},
                                     table.data, bits);
        },
        16));
    all.push_back(palette<const std::uint16_t>(
        "ippiLUT_Linear_16u_C1IR",
        [](cv::Mat&, cv::Mat& out, const cv::Mat&, int) {
            const int values[] = {900, 60000, 33000, 100, 65535}, levels[] = {0, 9000, 20011, 50000, 65535};
            ippiLUT_Linear_16u_C1IR(out.ptr<ushort>(), int(out.step), {out.cols, out.rows}, values, levels, 5);
        },
        16));
    addResizes<std::uint8_t>(all, "ippiResizeSqrPixel_8u_C1R", ippiResizeSqrPixel_8u_C1R);
    addResizes<std::uint16_t>(all, "ippiResizeSqrPixel_16u_C1R", ippiResizeSqrPixel_16u_C1R);
    addResizes<float>(all, "ippiResizeSqrPixel_32f_C1R", ippiResizeSqrPixel_32f_C1R);
    addVectors(all);
    return all;
}

} // namespace pixmill::fingerprint
