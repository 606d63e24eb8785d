#pragma once

#include <cstring>

/// One recursive sweep over a few long lines, in chunks that run side by side.
namespace pixmill::curves {

inline bool sameBits(const float& a, const float& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Does those chunks again that did not start from what the chunk before left, until both ways agree.
template <int L, int K, bool forward, class Read>
inline void redoWrongStarts(float* out, int n, const float (&feedback)[L], const float (&guess)[K][L], const Read& read)
{
    const int length = n / K;
    const auto at = [=](int i) { return forward ? i : n - 1 - i; };
    for (int k = 1; k < K; ++k)
        for (int l = 0; l < L; ++l) {
            float v = out[at(k * length - 1) * L + l];
            if (sameBits(v, guess[k][l]))
                continue;
            for (int i = k * length; i < (k + 1) * length; ++i) {
                v = read(at(i), l) + feedback[l] * v;
                float& o = out[at(i) * L + l];
                if (sameBits(v, o))
                    break;
                o = v;
            }
        }
}

/// A sweep over each of L lines of n samples, the sweep's own end first, each line in K chunks at once.
///
/// A chunk does not know the value the sweep comes in with, so it starts some way ahead from a guess, whose error dies
/// away; a chunk that still came out otherwise than the true value demands is then done again from its start, as far as
/// the two differ. So the result is that of the one sweep to the bit, whatever the guess.
///
/// @param read    read(i, l) is the sample the sweep takes in; not from `out`.
/// @param out     Receives sample i of line l at out[i * L + l].
/// @param ahead   Samples that a chunk starts ahead, less than n / K.
template <int L, int K, bool forward, class Read>
inline void sweepChunks(float* out, int n, const float (&nu)[L], const float (&boundary)[L], const Read& read,
                        int ahead)
{
    const int length = n / K;
    const auto at = [=](int i) { return forward ? i : n - 1 - i; };
    float value[K][L], guess[K][L], feedback[L];
    for (int l = 0; l < L; ++l) {
        feedback[l] = nu[l];
        for (int k = 1; k < K; ++k)
            value[k][l] = read(at(k * length - ahead - 1), l) * boundary[l];
        out[at(0) * L + l] = value[0][l] = read(at(0), l) * boundary[l];
    }
    for (int i = -ahead; i < 0; ++i)
        for (int k = 1; k < K; ++k)
            for (int l = 0; l < L; ++l)
                value[k][l] = read(at(k * length + i), l) + feedback[l] * value[k][l];
    for (int k = 1; k < K; ++k)
        for (int l = 0; l < L; ++l) {
            guess[k][l] = value[k][l];
            out[at(k * length) * L + l] = value[k][l] = read(at(k * length), l) + feedback[l] * value[k][l];
        }
    for (int i = 1; i < length; ++i)
        for (int k = 0; k < K; ++k)
            for (int l = 0; l < L; ++l)
                out[at(k * length + i) * L + l] = value[k][l] = read(at(k * length + i), l) + feedback[l] * value[k][l];

    redoWrongStarts<L, K, forward>(out, n, feedback, guess, read);
}

} // namespace pixmill::curves
