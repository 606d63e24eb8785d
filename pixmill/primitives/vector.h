#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

PIXMILL_API IppStatus ippmInvert_m_32f(const float* src, int srcStride1, int srcStride2, float* buffer, float* dst,
                                       int dstStride1, int dstStride2, int widthHeight);

PIXMILL_API void vsLn(int n, const float* a, float* y);
PIXMILL_API void vsAbs(int n, const float* a, float* y);
PIXMILL_API void vsSub(int n, const float* a, const float* b, float* y);
PIXMILL_API void vsDiv(int n, const float* a, const float* b, float* y);
PIXMILL_API void vsPowx(int n, const float* a, float b, float* y);
