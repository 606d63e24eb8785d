#pragma once

namespace pixmill::rows {

/// An index of 0..n-1 for any other: mirrored at the first and last pixel, which stand once.
inline int mirrored(int i, int n)
{
    if (n == 1)
        return 0;
    while (i < 0 || i >= n)
        i = i < 0 ? -i : 2 * (n - 1) - i;
    return i;
}

} // namespace pixmill::rows
