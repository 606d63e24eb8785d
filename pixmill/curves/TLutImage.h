#pragma once
// Plain form: `reference/table_look_up.h`.

#include <pixmill/core/Export.h>
#include <pixmill/core/TImage.h>

/// Replaces each 16-bit pixel of a picture by its entry in a host's table.
class PIXMILL_API TLutY {
public:
    unsigned short* m_lut_p = nullptr; ///< 65536 entries, the host's.

    /// pixel = table[pixel], in place. Does nothing without a table or on an empty picture.
    void apply(TImage& image);
};

/// The same with its table in the second place, and an entry point that leaves its output alone.
class PIXMILL_API TLutC {
public:
    void* m_user_p = nullptr;          ///< The host's; the library does not read it.
    unsigned short* m_lut_p = nullptr; ///< 65536 entries, the host's.

    /// pixel = table[pixel], in place. Does nothing without a table or on an empty picture.
    void apply(TImage& image);

    /// Reads `in.halfY8U()` and drops it: `out` stays as it was.
    void apply(const TImage& in, TImage& out);
};
