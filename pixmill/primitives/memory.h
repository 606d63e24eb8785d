#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

#include <cstddef>

PIXMILL_API unsigned char* ippiMalloc_8u_C1(int width, int height, int* stepBytes);
PIXMILL_API unsigned short* ippiMalloc_16u_C1(int width, int height, int* stepBytes);
PIXMILL_API unsigned char* ippiMalloc_8u_C4(int width, int height, int* stepBytes);
PIXMILL_API unsigned short* ippiMalloc_16u_C4(int width, int height, int* stepBytes);
PIXMILL_API void ippiFree(void* p);

PIXMILL_API unsigned char* ippsMalloc_8u(int len);
PIXMILL_API void ippsFree(void* p);

PIXMILL_API void* MKL_malloc(size_t size, int align);
PIXMILL_API void MKL_free(void* p);
PIXMILL_API int MKL_GET_MAX_THREADS();
