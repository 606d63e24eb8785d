#pragma once

#include <pixmill/develop/detail/photo_blocks.h>

#include <cstdio>

namespace pixmill::develop {

/// What a TIFF, or a camera raw file that is one by its tags, tells beside its pixels.
PhotoBlocks blocksOfTiff(std::FILE* file);

/// Writes the blocks behind a finished TIFF and has its head lead to them; one of 64-bit places stays as it is.
/// @return false where writing fails.
bool appendToTiff(std::FILE* file, const PhotoBlocks& blocks);

} // namespace pixmill::develop
