#pragma once

/// Everything that libpixmill offers to a host.

#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/core/Export.h>
#include <pixmill/core/TImage.h>
#include <pixmill/core/TMat.h>
#include <pixmill/core/TPixmill.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/core/Threads.h>
#include <pixmill/curves/TLut1D.h>
#include <pixmill/curves/TLut2D.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/curves/TLutImage.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/TLutY16U.h>
#include <pixmill/curves/TLutYDrDb.h>
#include <pixmill/curves/TSpline.h>
#include <pixmill/engine/TQuillet3.h>
#include <pixmill/filters/BilateralFilter.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/mask/TDrawMask.h>
#include <pixmill/multiscale/ConvPyr.h>
#include <pixmill/multiscale/LocalLaplacian.h>
#include <pixmill/multiscale/TWLSFilter.h>
#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/multiscale/tFilterBox.h>
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
#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/resample/resample.h>
#include <pixmill/version.h>

#if PIXMILL_HAS_SOLVER
#include <pixmill/multiscale/pardisoSolver.h>
#endif
