#pragma once

#include <cstddef>
#include <stdexcept>

namespace pixmill::rows {

/// The element at `i`; a bad index throws the same text with every standard library.
///
/// @throws std::out_of_range  "vector::_M_range_check".
template <class Vector>
auto& checked(Vector& v, std::size_t i)
{
    if (i >= v.size())
        throw std::out_of_range("vector::_M_range_check");
    return v[i];
}

} // namespace pixmill::rows
