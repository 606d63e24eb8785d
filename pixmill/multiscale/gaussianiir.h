#pragma once
// Plain form: `reference/gaussian_iir.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// @file
/// Recursive Gaussians: blurs whose cost an element does not depend on `sigma`, in place.
///
/// `numsteps` is the number of forward-and-backward pairs of sweeps along each axis: more come closer to a true
/// Gaussian, the width stays. Beyond an end the signal goes on with its end value. With lambda = sigma^2 / (2 numsteps)
/// and nu = (1 + 2 lambda - sqrt(1 + 4 lambda)) / (2 lambda), a sweep is a[i] += nu * a[i - 1] in single precision, its
/// first sample scaled by 1 / (1 - nu); in the end all is scaled by (nu / lambda)^(numsteps * axes). More than 65536
/// steps are refused (`cv::Exception`).
///
/// Method: L. Alvarez, L. Mazorra, "Signal and Image Restoration Using Shock Filters and Anisotropic Diffusion", 1994.

/// Blurs `length` samples. Does nothing when `data` is null, `length` < 1, `sigma` <= 0 or `numsteps` < 0.
PIXMILL_API void gaussianiir1d(float* data, long length, float sigma, int numsteps);

///@{
/// The same through floats; results are rounded to nearest even and saturated.
PIXMILL_API void gaussianiir1d(unsigned short* data, long length, float sigma, int numsteps);
PIXMILL_API void gaussianiir1d(unsigned char* data, long length, float sigma, int numsteps);
///@}

/// Blurs a plane: rows by sweeps one after the other, columns by both sweeps at once, which meet in the middle. There
/// the result is too dark: over some 4 sigma rows, down to about 0.6 of its value for a sigma of 3, 0.2 for 10. This
/// seam is meant; where none may be, gaussianiir3d with a depth of 1 gives the same blur without it.
///
/// @param inOut  CV_32FC1.
/// @throws const char*  "ERROR - gaussianiir2d - inOut.type()!=CV_32FC1",
///                      "ERROR - gaussianiir2d - sigma <= 0 || numsteps < 0".
PIXMILL_API void gaussianiir2d(cv::Mat& inOut, float sigma, int numsteps);

/// Blurs a dense volume, x fastest, by sweeps one after the other. Does nothing when `sigma` <= 0 or `numsteps` < 0.
PIXMILL_API void gaussianiir3d(float* volume, long width, long height, long depth, float sigma, int numsteps);
