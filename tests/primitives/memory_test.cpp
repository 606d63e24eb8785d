#include <pixmill/primitives/memory.h>
#include <pixmill/rows/memory.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>

namespace {

bool aligned(const void* p, int to)
{
    return p && reinterpret_cast<std::uintptr_t>(p) % to == 0;
}

TEST(Memory, ImagesHaveAlignedRowsThatHoldTheirSamples)
{
    for (const int width : {1, 31, 64, 65})
        for (const int height : {1, 3}) {
            const auto expectImage = [&](void* image, int step, int rowBytes) {
                EXPECT_TRUE(aligned(image, 64));
                EXPECT_EQ(step, (rowBytes + 63) / 64 * 64);
                std::memset(image, 7, std::size_t(step) * height); // all of it is ours
                ippiFree(image);
            };
            int step = 0;
            void* image = ippiMalloc_8u_C1(width, height, &step);
            expectImage(image, step, width);
            image = ippiMalloc_16u_C1(width, height, &step);
            expectImage(image, step, 2 * width);
            image = ippiMalloc_8u_C4(width, height, &step);
            expectImage(image, step, 4 * width);
            image = ippiMalloc_16u_C4(width, height, &step);
            expectImage(image, step, 8 * width);
        }
}

TEST(Memory, WhatCannotBeAllocatedIsNull)
{
    int step = 5;
    EXPECT_EQ(ippiMalloc_8u_C1(0, 4, &step), nullptr);
    EXPECT_EQ(ippiMalloc_16u_C1(4, -1, &step), nullptr);
    EXPECT_EQ(ippiMalloc_8u_C4(4, 4, nullptr), nullptr);
    EXPECT_EQ(ippiMalloc_16u_C4(INT_MAX / 4, 1, &step), nullptr); // its step is no int
    EXPECT_EQ(ippiMalloc_8u_C1(INT_MAX, 1, &step), nullptr);
    EXPECT_EQ(step, 5);
    EXPECT_EQ(ippsMalloc_8u(0), nullptr);
    EXPECT_EQ(ippsMalloc_8u(-1), nullptr);
    EXPECT_EQ(MKL_malloc(0, 32), nullptr);
    EXPECT_EQ(MKL_malloc(std::size_t(-1), 32), nullptr);
    ippiFree(nullptr);
    ippsFree(nullptr);
    MKL_free(nullptr);
}

TEST(Memory, BlocksAreAlignedAsAsked)
{
    for (const int align : {1, 2, 8, 32, 64, 4096}) {
        void* block = MKL_malloc(100, align);
        EXPECT_TRUE(aligned(block, align)) << align;
        std::memset(block, 1, 100);
        MKL_free(block);
    }
    for (const int odd : {0, -32, 3, 48}) {
        void* block = MKL_malloc(100, odd);
        EXPECT_TRUE(aligned(block, 32)) << odd;
        MKL_free(block);
    }
    unsigned char* bytes = ippsMalloc_8u(3);
    EXPECT_TRUE(aligned(bytes, 64));
    ippsFree(bytes);
    EXPECT_GE(MKL_GET_MAX_THREADS(), 1);
}

TEST(AlignedArray, OwnsItsBlockAndMovesIt)
{
    pixmill::rows::AlignedArray<double> none, array(10);
    EXPECT_TRUE(none.empty());
    EXPECT_TRUE(aligned(array.data(), 64));
    array[9] = 1.5;
    pixmill::rows::AlignedArray<double> moved(std::move(array));
    EXPECT_EQ(moved[9], 1.5);
    EXPECT_TRUE(array.empty());
    none = std::move(moved);
    EXPECT_EQ(none.size(), 10u);
    auto& same = none;
    none = std::move(same);
    EXPECT_EQ(none.end()[-1], 1.5);
    double* released = none.release();
    EXPECT_EQ(released[9], 1.5);
    EXPECT_EQ(none.data(), nullptr);
    ippiFree(released);
    EXPECT_THROW(pixmill::rows::AlignedArray<double>(std::size_t(-1) / 8), std::bad_alloc);
    EXPECT_THROW(pixmill::rows::AlignedArray<double>(std::size_t(-1)), std::bad_alloc);
}

} // namespace
