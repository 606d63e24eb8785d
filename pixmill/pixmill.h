#pragma once

/// Everything that libpixmill offers to a host.

#include <pixmill/core/Export.h>
#include <pixmill/core/TPixmill.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/mask/TDrawMask.h>
#include <pixmill/planar/TPImage.h>
#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/convert.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/primitives/types.h>
#include <pixmill/primitives/vector.h>
#include <pixmill/resample/BlockProcessor.h>
#include <pixmill/resample/blend.h>
#include <pixmill/resample/border.h>
#include <pixmill/resample/resample.h>
