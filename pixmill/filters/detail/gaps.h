#pragma once

namespace pixmill::detail {

/// How many gaps between neighbouring columns the domain transform looks at. The last one that exists is left out,
/// unless it is the only one.
inline int gapColumns(int columns)
{
    return columns < 2 ? 0 : columns == 2 ? 1 : columns - 2;
}

} // namespace pixmill::detail
