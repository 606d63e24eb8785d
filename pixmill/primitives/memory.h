#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

#include <cstddef>

/// @file
/// All blocks come from one allocator and start undefined. Without memory, or for a size of 0 or less, the result is
/// null.

///@{
/// An image of `width` x `height` pixels whose rows begin on 64-byte boundaries.
///
/// @param stepBytes  takes the bytes between rows, a multiple of 64; untouched when the result is null.
PIXMILL_API unsigned char* ippiMalloc_8u_C1(int width, int height, int* stepBytes);
PIXMILL_API unsigned short* ippiMalloc_16u_C1(int width, int height, int* stepBytes);
PIXMILL_API unsigned char* ippiMalloc_8u_C4(int width, int height, int* stepBytes);
PIXMILL_API unsigned short* ippiMalloc_16u_C4(int width, int height, int* stepBytes);
///@}

/// Gives such an image back; null does nothing.
PIXMILL_API void ippiFree(void* p);

/// `len` bytes on a 64-byte boundary.
PIXMILL_API unsigned char* ippsMalloc_8u(int len);

/// Gives such a block back; null does nothing.
PIXMILL_API void ippsFree(void* p);

/// `size` bytes on a boundary of `align`; of 32 where `align` is no power of two.
PIXMILL_API void* MKL_malloc(size_t size, int align);

/// Gives such a block back; null does nothing.
PIXMILL_API void MKL_free(void* p);

/// Threads that a parallel loop may use, at least 1.
PIXMILL_API int MKL_GET_MAX_THREADS();
