#pragma once

#include <cstring>
#include <type_traits>

/// One recursive sweep over a few long lines, in chunks that run side by side.
namespace pixmill::curves {

inline bool sameBits(const float& a, const float& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// A sample of each of L lines.
template <int L>
struct LineSamples {
    static_assert(L == 1 || L == 4, "a float, or a vector that every processor has");
    typedef float Four __attribute__((vector_size(16)));
    using Type = std::conditional_t<L == 1, float, Four>;

    /// Of one line samples of any type, of more than one floats.
    template <class In>
    static Type load(const In* from)
    {
        if constexpr (L == 1) {
            return float(*from);
        } else {
            Type v;
            std::memcpy(&v, static_cast<const float*>(from), sizeof v);
            return v;
        }
    }

    static void store(float* to, Type v)
    {
        if constexpr (L == 1)
            *to = v;
        else
            std::memcpy(to, &v, sizeof v);
    }
};

/// Does those chunks again that did not start from what the chunk before left, until both ways agree.
template <int L, int K, bool forward, class In>
inline void redoWrongStarts(const In* in, float* out, int n, const float (&nu)[L], const float (&guess)[K][L])
{
    const int length = n / K;
    const auto at = [=](int i) { return (forward ? i : n - 1 - i) * L; };
    for (int k = 1; k < K; ++k)
        for (int l = 0; l < L; ++l) {
            float v = out[at(k * length - 1) + l];
            if (sameBits(v, guess[k][l]))
                continue;
            for (int i = k * length; i < (k + 1) * length; ++i) {
                v = in[at(i) + l] + nu[l] * v;
                float& o = out[at(i) + l];
                if (sameBits(v, o))
                    break;
                o = v;
            }
        }
}

/// A sweep over each of L lines of n samples, the sweep's own end first, each line in K chunks at once. Sample i of
/// line l stands at i * L + l.
///
/// A chunk does not know the value the sweep comes in with, so it starts some way ahead from a guess, whose error dies
/// away; a chunk that still came out otherwise than the true value demands is then done again from its start, as far as
/// the two differ. So the result is that of the one sweep to the bit, whatever the guess.
///
/// @param out     Not `in`.
/// @param ahead   Samples that a chunk starts ahead, less than n / K.
template <int L, int K, bool forward, class In>
inline void sweepChunks(const In* in, float* out, int n, const float (&nu)[L], const float (&boundary)[L], int ahead)
{
    using Samples = typename LineSamples<L>::Type;
    const int length = n / K;
    const auto at = [=](int i) { return (forward ? i : n - 1 - i) * L; };
    const auto sample = [=](int i) { return LineSamples<L>::load(in + at(i)); };
    const auto write = [=](int i, Samples v) { LineSamples<L>::store(out + at(i), v); };
    const Samples feedback = LineSamples<L>::load(nu), first = LineSamples<L>::load(boundary);
    // Tables rise: a sweep comes from below, and to the bit settles on another number than it would from above.
    const Samples below = forward ? first * 0.999f : first;
    Samples value[K];
    float guess[K][L];
    for (int k = 1; k < K; ++k)
        value[k] = sample(k * length - ahead - 1) * below;
    for (int i = -ahead; i < 0; ++i)
        for (int k = 1; k < K; ++k)
            value[k] = sample(k * length + i) + feedback * value[k];
    write(0, value[0] = sample(0) * first);
    for (int k = 1; k < K; ++k) {
        LineSamples<L>::store(guess[k], value[k]);
        write(k * length, value[k] = sample(k * length) + feedback * value[k]);
    }
    for (int i = 1; i < length; ++i)
        for (int k = 0; k < K; ++k)
            write(k * length + i, value[k] = sample(k * length + i) + feedback * value[k]);

    redoWrongStarts<L, K, forward>(in, out, n, nu, guess);
}

} // namespace pixmill::curves
