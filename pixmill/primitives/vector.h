#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

/// dst = inverse of one widthHeight x widthHeight matrix. `dst` may be `src`.
///
/// The first stride of each is the bytes between rows, the second between the elements of a row. A 3 x 3 matrix is
/// inverted by its cofactors in single precision, any other by elimination in double. A determinant or pivot of exactly
/// 0 is `ippStsDivByZeroErr`, and `dst` keeps its values. `buffer` is not used and may be null.
PIXMILL_API IppStatus ippmInvert_m_32f(const float* src, int srcStride1, int srcStride2, float* buffer, float* dst,
                                       int dstStride1, int dstStride2, int widthHeight);

// Sample by sample, in single precision; `y` may be `a` or `b` exactly. Nothing happens for n <= 0;
// otherwise a null pointer throws cv::Exception.

/// y = ln(a), the nearest float.
PIXMILL_API void vsLn(int n, const float* a, float* y);

/// y = |a|
PIXMILL_API void vsAbs(int n, const float* a, float* y);

/// y = a - b
PIXMILL_API void vsSub(int n, const float* a, const float* b, float* y);

/// y = a / b
PIXMILL_API void vsDiv(int n, const float* a, const float* b, float* y);

/// y = a to the power b, with the special values of `powf`.
PIXMILL_API void vsPowx(int n, const float* a, float b, float* y);
