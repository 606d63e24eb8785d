#include <pixmill/primitives/resize.h>

#include <support/planes.h>

#include <vector>

using pixmill::test::randomPlane;
using pixmill::test::samePixels;

namespace {

std::vector<unsigned char> bufferFor(IppiRect from, IppiRect to, int interpolation)
{
    int size = 0;
    ippiResizeGetBufSize(from, to, 1, interpolation, &size);
    return std::vector<unsigned char>(size);
}

} // namespace

TEST(Resize, StretchingAnEvenRampGivesTheIdentityButForItsEnds)
{
    std::vector<unsigned short> steps(128), wide(256);
    for (int i = 0; i < 128; ++i)
        steps[i] = static_cast<unsigned short>(2 * i);
    const IppiRect from = {0, 0, 128, 1}, to = {0, 0, 256, 1};
    ASSERT_EQ(ippiResizeSqrPixel_16u_C1R(steps.data(), {128, 1}, 256, from, wide.data(), 512, to, 2, 1, 0, 0,
                                         IPPI_INTER_LINEAR, bufferFor(from, to, IPPI_INTER_LINEAR).data()),
              ippStsNoErr);
    for (int i = 0; i < 255; ++i)
        EXPECT_EQ(wide[i], i);
    EXPECT_EQ(wide[255], 254);
}
