#pragma once

/// The one place that asks what the compiler builds for.
///
/// Levels above the plain one, hand kernels and the processor's modes are those of 64-bit x86. Every other processor
/// has the plain loops, vectorised by the compiler, and the same bits.
#if defined(__x86_64__)
#define PIXMILL_X86 1
#else
#define PIXMILL_X86 0
#endif
