#pragma once
// Plain form: `reference/box_mean.h`.

#include <pixmill/core/Export.h>

class TImage;
class TProgress;

/// Blurs one plane by `passes` box means of side 2r + 1, mirrored at the edges (the edge pixel not repeated).
///
/// A radius above 53 works on a picture reduced by s = int(radius / 54) + 1 with r = radius / s, enlarged again
/// linearly, so that the cost stays that of a few passes. With `radius` or `passes` below 1, `out` becomes a copy.
///
/// @param in_p       type 0 (16-bit), or 1 or 2 (8-bit; of type 1 the first plane).
/// @param out_p      the same type and size as `in_p`, which it may be.
/// @param passes     at most 65536.
/// @param progress_p advanced by one after every pass and at the end; may be null.
/// @return true when the host cancelled, at whichever report; `out_p` is then untouched, but for a refusal of the last.
/// @throws const char*  "tFilterBox - in_p->type() != out_p->type()", "tFilterBox - type not supported", and what
///                      `TImage::fromMat` throws.
/// @throws cv::Exception  `in_p` or `out_p` null, no pixels, too many passes.
PIXMILL_API bool tFilterBox(const TImage* in_p, TImage* out_p, int radius, int passes, TProgress* progress_p);
