#include <pixmill/primitives/memory.h>

#include <pixmill/rows/memory.h>
#include <pixmill/rows/team.h>

#include <climits>
#include <cstdlib>

using namespace pixmill::rows;

namespace {

constexpr int kAlignment = 64;

template <class T>
T* alignedImage(int width, int height, int channels, int* stepBytes)
{
    if (width <= 0 || height <= 0 || !stepBytes)
        return nullptr;
    const long long rowBytes = (long long)width * channels * int(sizeof(T));
    const long long step = (rowBytes + kAlignment - 1) / kAlignment * kAlignment;
    if (step > INT_MAX)
        return nullptr;
    void* block = alignedBlock(size_t(step) * size_t(height), kAlignment);
    if (block)
        *stepBytes = int(step);
    return static_cast<T*>(block);
}

} // namespace

unsigned char* ippiMalloc_8u_C1(int width, int height, int* stepBytes)
{
    return alignedImage<unsigned char>(width, height, 1, stepBytes);
}

unsigned short* ippiMalloc_16u_C1(int width, int height, int* stepBytes)
{
    return alignedImage<unsigned short>(width, height, 1, stepBytes);
}

unsigned char* ippiMalloc_8u_C4(int width, int height, int* stepBytes)
{
    return alignedImage<unsigned char>(width, height, 4, stepBytes);
}

unsigned short* ippiMalloc_16u_C4(int width, int height, int* stepBytes)
{
    return alignedImage<unsigned short>(width, height, 4, stepBytes);
}

void ippiFree(void* p)
{
    std::free(p);
}

unsigned char* ippsMalloc_8u(int len)
{
    return len <= 0 ? nullptr : static_cast<unsigned char*>(alignedBlock(size_t(len), kAlignment));
}

void ippsFree(void* p)
{
    std::free(p);
}

void* MKL_malloc(size_t size, int align)
{
    const bool powerOfTwo = align > 0 && (align & (align - 1)) == 0;
    const size_t alignment = powerOfTwo ? size_t(align) : 32;
    return alignedBlock(size, alignment < sizeof(void*) ? sizeof(void*) : alignment);
}

void MKL_free(void* p)
{
    std::free(p);
}

int MKL_GET_MAX_THREADS()
{
    return teamSize();
}
