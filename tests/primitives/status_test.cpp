#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/convert.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/vector.h>

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

namespace {

// What every argument that can be wrong is called, by its place.
struct Places {
    std::vector<int> sizes, steps;
};

template <class T>
void spoil(T& argument, bool isSize, bool isStep, IppiSize badSize)
{
    if constexpr (std::is_same_v<T, IppiSize>) {
        if (isSize)
            argument = badSize;
    } else if constexpr (std::is_same_v<T, int>) {
        if (isSize)
            argument = badSize.width;
        if (isStep)
            argument = -badSize.height;
    }
}

bool holds(const std::vector<int>& places, int place)
{
    return std::find(places.begin(), places.end(), place) != places.end();
}

/// Each fault is found before those that come later in the order: pointers, sizes, steps, then the rest. So all later
/// ones are present as well.
template <class... Args, std::size_t... I>
void expectFaultsInOrder(const char* name, IppStatus (*f)(Args...), const Places& places, std::tuple<Args...> good,
                         std::index_sequence<I...>)
{
    SCOPED_TRACE(name);
    const std::vector<unsigned char> untouched(256, 77);
    std::vector<unsigned char> memory = untouched;
    const auto fresh = [&] {
        std::tuple<Args...> args = good;
        const auto aim = [&](auto& argument) {
            if constexpr (std::is_pointer_v<std::decay_t<decltype(argument)>>)
                if (argument)
                    argument = reinterpret_cast<std::decay_t<decltype(argument)>>(memory.data() + 128);
        };
        (aim(std::get<I>(args)), ...);
        return args;
    };
    const auto expect = [&](IppStatus expected, const std::tuple<Args...>& args, int place) {
        EXPECT_EQ(std::apply(f, args), expected) << "argument " << place;
        EXPECT_EQ(memory, untouched) << "argument " << place;
    };

    const auto nullAt = [&](auto place) {
        std::tuple<Args...> args = fresh();
        auto& argument = std::get<place>(args);
        if constexpr (std::is_pointer_v<std::decay_t<decltype(argument)>>) {
            if (!argument)
                return;
            (spoil(std::get<I>(args), holds(places.sizes, I), holds(places.steps, I), {0, 0}), ...);
            argument = nullptr;
            expect(ippStsNullPtrErr, args, int(place));
        }
    };
    (nullAt(std::integral_constant<std::size_t, I>()), ...);

    for (const int place : places.sizes)
        for (const IppiSize bad : {IppiSize{0, 3}, IppiSize{-2, 3}}) {
            std::tuple<Args...> args = fresh();
            (spoil(std::get<I>(args), int(I) == place, holds(places.steps, I), bad), ...);
            expect(ippStsSizeErr, args, place);
            args = fresh();
            (spoil(std::get<I>(args), int(I) == place, holds(places.steps, I), {bad.width, bad.width}), ...);
            expect(ippStsSizeErr, args, place);
        }
    for (const int place : places.steps)
        for (const IppiSize bad : {IppiSize{1, 0}, IppiSize{1, 4}}) {
            std::tuple<Args...> args = fresh();
            (spoil(std::get<I>(args), false, int(I) == place, bad), ...);
            expect(ippStsStepErr, args, place);
        }
}

template <class... Args>
void faults(const char* name, IppStatus (*f)(Args...), const Places& places, std::tuple<Args...> good)
{
    expectFaultsInOrder(name, f, places, good, std::index_sequence_for<Args...>());
}

const IppiSize kRoi{2, 2};
template <class T>
T* const kAny = reinterpret_cast<T*>(16); // replaced by memory of the test; the arguments not named here are wrong

TEST(Status, FaultsAreFoundInOrderAndNothingIsWritten)
{
    float* const f = kAny<float>;
    unsigned char* const b = kAny<unsigned char>;
    unsigned short* const s = kAny<unsigned short>;
    int* const i = kAny<int>;
    for (const auto op : {ippiAdd_32f_C1IR, ippiSub_32f_C1IR, ippiMul_32f_C1IR, ippiDiv_32f_C1IR})
        faults("twoPlanes", op, {{4}, {1, 3}}, {f, 8, f, 8, kRoi});
    for (const auto op : {ippiSub_32f_C1R, ippiMul_32f_C1R, ippiDiv_32f_C1R})
        faults("threePlanes", op, {{6}, {1, 3, 5}}, {f, 8, f, 8, f, 8, kRoi});
    for (const auto op : {ippiAddC_32f_C1IR, ippiSubC_32f_C1IR, ippiDivC_32f_C1IR})
        faults("constant", op, {{3}, {2}}, {0.0f, f, 8, kRoi});
    faults("MulC", ippiMulC_32f_C1R, {{5}, {1, 4}}, {f, 8, 1.0f, f, 8, kRoi});
    faults("Sqr", ippiSqr_32f_C1R, {{4}, {1, 3}}, {f, 8, f, 8, kRoi});
    faults("SqrI", ippiSqr_32f_C1IR, {{2}, {1}}, {f, 8, kRoi});
    for (const auto op : {ippiThreshold_GTVal_32f_C1IR, ippiThreshold_LTVal_32f_C1IR})
        faults("Threshold", op, {{2}, {1}}, {f, 8, kRoi, 1.0f, 2.0f});
    faults("ippsDiv", ippsDiv_32f_I, {{2}, {}}, {f, f, 2});

    faults("Convert_8u32f", ippiConvert_8u32f_C1R, {{4}, {1, 3}}, {b, 2, f, 8, kRoi});
    faults("Convert_16u32f", ippiConvert_16u32f_C1R, {{4}, {1, 3}}, {s, 4, f, 8, kRoi});
    faults("Convert_32f8u", ippiConvert_32f8u_C1R, {{4}, {1, 3}}, {f, 8, b, 2, kRoi, 9});
    faults("Convert_32f16u", ippiConvert_32f16u_C1R, {{4}, {1, 3}}, {f, 8, s, 4, kRoi, 9});
    faults("Scale_8u16u", ippiScale_8u16u_C4R, {{4}, {1, 3}}, {b, 8, s, 16, kRoi});
    faults("Scale_16u8u", ippiScale_16u8u_C4R, {{4}, {1, 3}}, {s, 16, b, 8, kRoi, 9});

    for (const auto op : {ippiCopy_8u_C1R, ippiCopy_8u_C4R})
        faults("Copy_8u", op, {{4}, {1, 3}}, {b, 8, b, 8, kRoi});
    for (const auto op : {ippiCopy_16u_C1R, ippiCopy_16u_C3R, ippiCopy_16u_C4R})
        faults("Copy_16u", op, {{4}, {1, 3}}, {s, 16, s, 16, kRoi});
    faults("Copy_32f", ippiCopy_32f_C1R, {{4}, {1, 3}}, {f, 8, f, 8, kRoi});
    faults("Set_8u", ippiSet_8u_C1R, {{3}, {2}}, {1, b, 2, kRoi});
    faults("Set_16u", ippiSet_16u_C1R, {{3}, {2}}, {1, s, 4, kRoi});
    faults("Set_32f", ippiSet_32f_C1R, {{3}, {2}}, {1, f, 8, kRoi});
    faults("Set_8u_C1MR", ippiSet_8u_C1MR, {{3}, {2, 5}}, {1, b, 2, kRoi, b, 2});
    faults("ippsSet", ippsSet_32f, {{2}, {}}, {1, f, 2});
    faults("XorC", ippiXorC_8u_C1IR, {{3}, {2}}, {1, b, 2, kRoi});
    faults("Border_8u", ippiCopyReplicateBorder_8u_C1R, {{2, 5}, {1, 4}}, {b, 2, kRoi, b, 2, kRoi, -1, -1});
    faults("Border_16u", ippiCopyReplicateBorder_16u_C1R, {{2, 5}, {1, 4}}, {s, 4, kRoi, s, 4, kRoi, -1, -1});
    faults("Border_32f", ippiCopyReplicateBorder_32f_C1R, {{2, 5}, {1, 4}}, {f, 8, kRoi, f, 8, kRoi, -1, -1});
    faults("Border_32f_I", ippiCopyReplicateBorder_32f_C1IR, {{2, 3}, {1}}, {f, 8, kRoi, kRoi, -1, -1});
    faults("Ramp_8u", ippiImageRamp_8u_C1R, {{2}, {1}}, {b, 2, kRoi, 0.0f, 1.0f, 9});
    faults("Ramp_16u", ippiImageRamp_16u_C1R, {{2}, {1}}, {s, 4, kRoi, 0.0f, 1.0f, 9});

    const IppiSize none{0, 0};
    const IppiPoint off{9, 9};
    faults("Box_8u", ippiFilterBox_8u_C1R, {{4}, {1, 3}}, {b, 2, b, 2, kRoi, none, off});
    faults("Box_16u", ippiFilterBox_16u_C1R, {{4}, {1, 3}}, {s, 4, s, 4, kRoi, none, off});
    faults("Box_32f", ippiFilterBox_32f_C1R, {{4}, {1, 3}}, {f, 8, f, 8, kRoi, none, off});
    faults("Box_8u_I", ippiFilterBox_8u_C1IR, {{2}, {1}}, {b, 2, kRoi, none, off});
    faults("Box_16u_I", ippiFilterBox_16u_C1IR, {{2}, {1}}, {s, 4, kRoi, none, off});
    faults("Box_32f_I", ippiFilterBox_32f_C1IR, {{2}, {1}}, {f, 8, kRoi, none, off});
    faults("Gauss_8u", ippiFilterGauss_8u_C1R, {{4}, {1, 3}}, {b, 2, b, 2, kRoi, 9});
    faults("Gauss_32f", ippiFilterGauss_32f_C1R, {{4}, {1, 3}}, {f, 8, f, 8, kRoi, 9});
    for (const auto op : {ippiDilate_8u_C1R, ippiErode_8u_C1R})
        faults("Morphology_8u", op, {{4}, {1, 3}}, {b, 2, b, 2, kRoi, b, none, off});
    for (const auto op : {ippiDilate_16u_C1R, ippiErode_16u_C1R})
        faults("Morphology_16u", op, {{4}, {1, 3}}, {s, 4, s, 4, kRoi, b, none, off});
    for (const auto op : {ippiDilate3x3_16u_C1IR, ippiErode3x3_16u_C1IR})
        faults("3x3", op, {{2}, {1}}, {s, 4, kRoi});

    faults("LUTPalette_8u", ippiLUTPalette_8u_C1R, {{4}, {1, 3}}, {b, 2, b, 2, kRoi, b, 99});
    faults("LUTPalette_16u", ippiLUTPalette_16u_C1R, {{4}, {1, 3}}, {s, 4, s, 4, kRoi, s, 99});
    faults("LUTPalette_16u8u", ippiLUTPalette_16u8u_C1R, {{4}, {1, 3}}, {s, 4, b, 2, kRoi, b, 99});
    faults("LUT_Linear", ippiLUT_Linear_16u_C1IR, {{2}, {1}}, {s, 4, kRoi, i, i, 1});
    faults("Invert", ippmInvert_m_32f, {{7}, {1, 2, 5, 6}}, {f, 4, 4, nullptr, f, 4, 4, 1});
}

TEST(Status, MasksAndAnchorsAreTestedLastAndInOrder)
{
    unsigned char plane[64] = {}, out[4] = {5, 5, 5, 5};
    const unsigned char empty[9] = {}, cells[9] = {0, 0, 0, 0, 1, 0, 0, 0, 0};
    struct Case {
        IppiSize mask;
        IppiPoint anchor;
        IppStatus expected;
    };
    for (const Case& c : {Case{{0, 3}, {9, 9}, ippStsMaskSizeErr}, Case{{3, -1}, {9, 9}, ippStsMaskSizeErr},
                          Case{{3, 3}, {3, 0}, ippStsAnchorErr}, Case{{3, 3}, {0, 3}, ippStsAnchorErr},
                          Case{{3, 3}, {-1, 0}, ippStsAnchorErr}, Case{{3, 3}, {0, -1}, ippStsAnchorErr},
                          Case{{3, 3}, {2147483647, -2147483647}, ippStsAnchorErr}}) {
        EXPECT_EQ(ippiFilterBox_8u_C1R(plane + 27, 8, out, 2, {2, 2}, c.mask, c.anchor), c.expected);
        EXPECT_EQ(ippiFilterBox_8u_C1IR(out, 2, {2, 2}, c.mask, c.anchor), c.expected);
        EXPECT_EQ(ippiDilate_8u_C1R(plane + 27, 8, out, 2, {2, 2}, cells, c.mask, c.anchor), c.expected);
        EXPECT_EQ(ippiErode_8u_C1R(plane + 27, 8, out, 2, {2, 2}, empty, c.mask, c.anchor), ippStsMaskSizeErr);
    }
    EXPECT_EQ(out[0], 5);
    EXPECT_EQ(out[3], 5);
}

} // namespace
