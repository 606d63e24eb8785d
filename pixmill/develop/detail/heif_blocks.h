#pragma once

#include <pixmill/develop/detail/photo_blocks.h>

#include <cstdio>

namespace pixmill::develop {

/// What a HEIF file tells beside its pixels: its decoder hands on neither profile nor, of many files, Exif.
PhotoBlocks blocksOfHeif(std::FILE* file);

} // namespace pixmill::develop
