#pragma once

/// Reductions of a row in an order that is the same everywhere: eight partial results by k mod 8, joined by pairs.
namespace pixmill::multiscale {

/// The sum of a[k] * b[k].
template <class A>
inline double rowProduct(const A* a, const double* b, int n)
{
    double s[8] = {};
    int k = 0;
    for (; k + 8 <= n; k += 8)
        for (int i = 0; i < 8; ++i)
            s[i] += a[k + i] * b[k + i];
    for (int i = 0; k < n; ++k, ++i)
        s[i] += a[k] * b[k];
    return ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7]));
}

/// The largest size of a value; one that is no number does not count.
template <class T>
inline double rowLargest(const T* a, int n)
{
    T m[8] = {};
    const auto larger = [](T size, T most) { return size > most ? size : most; };
    const auto size = [](T v) { return v < 0 ? -v : v; };
    int k = 0;
    for (; k + 8 <= n; k += 8)
        for (int i = 0; i < 8; ++i)
            m[i] = larger(size(a[k + i]), m[i]);
    for (int i = 0; k < n; ++k, ++i)
        m[i] = larger(size(a[k]), m[i]);
    T most = m[0];
    for (const T v : m)
        most = larger(v, most);
    return most;
}

} // namespace pixmill::multiscale
