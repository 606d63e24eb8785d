#pragma once

#include <xmmintrin.h>

namespace pixmill::rows {

/// While it lives, the calling thread's arithmetic takes numbers below the least normal one, 2^-126, as 0; processors
/// take a hundred times longer over them.
class FlushSubnormals {
public:
    FlushSubnormals() : m_modes(_mm_getcsr()) { _mm_setcsr(m_modes | kFlushResults | kFlushOperands); }
    ~FlushSubnormals() { _mm_setcsr(m_modes); }
    FlushSubnormals(const FlushSubnormals&) = delete;
    FlushSubnormals& operator=(const FlushSubnormals&) = delete;

private:
    static constexpr unsigned kFlushResults = 0x8000, kFlushOperands = 0x0040;
    unsigned m_modes;
};

} // namespace pixmill::rows
