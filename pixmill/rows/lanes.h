#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

/// Rows side by side, so that a recursion which is serial along a row runs in lanes across rows.
///
/// In lane form sample x of row l stands at lanes[x * stride + l].
namespace pixmill::rows {

/// Eight lines of eight floats, line k read at from(k) and column k written at to(k). Vectors of eight, which the
/// compiler splits where the processor has only four.
template <class From, class To>
inline void turnSquare(const From& from, const To& to)
{
    typedef float Eight __attribute__((vector_size(32)));
    Eight r[8], t[8], u[8];
    for (int y = 0; y < 8; ++y)
        std::memcpy(&r[y], from(y), sizeof(Eight));
    for (int k = 0; k < 8; k += 2) {
        t[k] = __builtin_shufflevector(r[k], r[k + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        t[k + 1] = __builtin_shufflevector(r[k], r[k + 1], 2, 10, 3, 11, 6, 14, 7, 15);
    }
    for (int k = 0; k < 8; k += 4) {
        u[k] = __builtin_shufflevector(t[k], t[k + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        u[k + 1] = __builtin_shufflevector(t[k], t[k + 2], 2, 3, 10, 11, 6, 7, 14, 15);
        u[k + 2] = __builtin_shufflevector(t[k + 1], t[k + 3], 0, 1, 8, 9, 4, 5, 12, 13);
        u[k + 3] = __builtin_shufflevector(t[k + 1], t[k + 3], 2, 3, 10, 11, 6, 7, 14, 15);
    }
    for (int k = 0; k < 4; ++k) {
        r[k] = __builtin_shufflevector(u[k], u[k + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        r[k + 4] = __builtin_shufflevector(u[k], u[k + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
    for (int x = 0; x < 8; ++x)
        std::memcpy(to(x), &r[x], sizeof(Eight));
}

/// Calls `square(x, l)` for squares of eight samples of eight rows that cover n samples of L rows; the last ones take
/// some samples once more, so n is at least 8.
template <int L, class Square>
inline void forEachSquare(int n, const Square& square)
{
    static_assert(L % 8 == 0, "squares of eight rows");
    for (int x = 0; x < n; x += 8)
        for (int l = 0; l < L; l += 8)
            square(std::min(x, n - 8), l);
}

/// Rows to lanes: n samples of `rows` rows, row l from row(l) on; lanes from `rows` to L - 1 become 0.
template <int L, class Row>
inline void rowsToLanes(const Row& row, int rows, int n, float* lanes, std::ptrdiff_t stride = L)
{
    if (rows < L || n < 8) {
        for (int x = 0; x < n; ++x)
            for (int l = 0; l < L; ++l)
                lanes[x * stride + l] = l < rows ? row(l)[x] : 0.0f;
        return;
    }
    forEachSquare<L>(n, [&](int x, int l) {
        turnSquare([&](int k) { return row(l + k) + x; }, [&](int k) { return lanes + (x + k) * stride + l; });
    });
}

/// Lanes back to rows: n samples of `rows` rows, row l to row(l) on.
template <int L, class Row>
inline void lanesToRows(const float* lanes, int rows, int n, const Row& row, std::ptrdiff_t stride = L)
{
    if (rows < L || n < 8) {
        for (int l = 0; l < rows; ++l)
            for (int x = 0; x < n; ++x)
                row(l)[x] = lanes[x * stride + l];
        return;
    }
    forEachSquare<L>(n, [&](int x, int l) {
        turnSquare([&](int k) { return lanes + (x + k) * stride + l; }, [&](int k) { return row(l + k) + x; });
    });
}

} // namespace pixmill::rows
