#include <pixmill/core/detail/aligned.h>
#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/convert.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/vector.h>
#include <support/planes.h>

namespace {

TEST(Arithmetic, TwoSourceFormsTakeTheSecondSourceFirst)
{
    const float first = 2, second = 10;
    float out = 0;
    EXPECT_EQ(ippiSub_32f_C1R(&first, 4, &second, 4, &out, 4, {1, 1}), ippStsNoErr);
    EXPECT_EQ(out, 8.0f);
    EXPECT_EQ(ippiDiv_32f_C1R(&first, 4, &second, 4, &out, 4, {1, 1}), ippStsNoErr);
    EXPECT_EQ(out, 5.0f);
    vsSub(1, &first, &second, &out);
    EXPECT_EQ(out, -8.0f);
}

TEST(Smoke, EachFamilyAnswers)
{
    unsigned char ramp[256];
    EXPECT_EQ(ippiImageRamp_8u_C1R(ramp, 256, {256, 1}, 1.0f, 1.5f, 0), 0);
    EXPECT_EQ(ramp[1], 2);
    EXPECT_EQ(ramp[255], 255);

    unsigned short plane[5][5] = {
        {1, 2, 3, 4, 5}, {6, 7, 8, 9, 10}, {11, 12, 13, 14, 15}, {16, 17, 18, 19, 20}, {21, 22, 23, 24, 90}};
    EXPECT_EQ(ippiFilterBox_16u_C1IR(&plane[1][1], 10, {3, 3}, {3, 3}, {1, 1}), 0);
    EXPECT_EQ(plane[1][1], 7);
    EXPECT_EQ(plane[3][3], 26); // (13+14+15+18+19+20+23+24+90)/9 = 26.2
    EXPECT_EQ(ippiDilate3x3_16u_C1IR(&plane[1][1], 10, {3, 3}), 0);
    EXPECT_EQ(plane[3][3], 90);

    unsigned char flat[25], out = 0;
    std::fill(flat, flat + 25, 200);
    EXPECT_EQ(ippiFilterGauss_8u_C1R(flat + 12, 5, &out, 1, {1, 1}, 55), 0);
    EXPECT_EQ(out, 200);

    float m[9] = {2, 0, 0, 0, 4, 0, 0, 0, 8}, inv[9];
    EXPECT_EQ(ippmInvert_m_32f(m, 12, 4, nullptr, inv, 12, 4, 3), 0);
    EXPECT_EQ(inv[4], 0.25f);

    const int levels[] = {0, 65535}, values[] = {0, 32768};
    unsigned short v[2] = {0, 65535};
    EXPECT_EQ(ippiLUT_Linear_16u_C1IR(v, 4, {2, 1}, values, levels, 2), 0);
    EXPECT_EQ(v[1], 32768);

    pixmill::detail::AlignedArray<float> array(10);
    array[9] = 1;
    pixmill::detail::AlignedArray<float> moved(std::move(array));
    EXPECT_EQ(moved[9], 1.0f);
    EXPECT_EQ(array.size(), 0u);
}

} // namespace
