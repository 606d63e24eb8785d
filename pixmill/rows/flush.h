#pragma once

#include <pixmill/rows/processor.h>

#if PIXMILL_X86
#include <xmmintrin.h>
#endif

namespace pixmill::rows {

#if PIXMILL_X86

inline unsigned floatModes()
{
    return _mm_getcsr();
}

inline void setFloatModes(unsigned modes)
{
    _mm_setcsr(modes);
}

#else

inline unsigned floatModes()
{
    return 0;
}

inline void setFloatModes(unsigned)
{
}

#endif

/// While it lives, the calling thread's arithmetic takes numbers below the least normal one, 2^-126, as 0: x86 takes a
/// hundred times longer over them. Elsewhere they stay, so where bits are promised none may depend on it.
class FlushSubnormals {
public:
    FlushSubnormals() : m_modes(floatModes()) { setFloatModes(m_modes | kFlushResults | kFlushOperands); }
    ~FlushSubnormals() { setFloatModes(m_modes); }
    FlushSubnormals(const FlushSubnormals&) = delete;
    FlushSubnormals& operator=(const FlushSubnormals&) = delete;

private:
    static constexpr unsigned kFlushResults = 0x8000, kFlushOperands = 0x0040;
    unsigned m_modes;
};

} // namespace pixmill::rows
