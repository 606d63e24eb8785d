#pragma once
// Plain form: `reference/sparse_system.h`.

#include <pixmill/core/Export.h>

/// @file
/// Direct solution of a sparse symmetric system A x = b, in three stages: ordering and analysis, factorisation,
/// solution with up to 5 steps of iterative refinement on residuals in double precision. Everything the solver took,
/// memory and files, is given back before any of the functions returns or throws, and nothing is kept between calls.
///
/// Arguments of all forms:
///   n      order of A.
///   a      values of A's upper triangle by rows, the diagonal included. Zeros may be stored, and entries at the same
///          place add up.
///   ia     n + 1 row starts into `a` and `ja`, 1-based: `ia[0]` is 1 and `ia[n]` the number of entries + 1.
///   ja     1-based column of each entry, not below its row and not above n.
///   b      right-hand sides, n values each, one after another.
///   x      as large as `b`, and not `b` itself.
///   nrhs   number of right-hand sides, at least 1.
///   mtype  2 for a symmetric positive definite A, -2 for a symmetric one that need not be definite. Other kinds fail
///          in the first stage.
///
/// A is not changed. `b` is as it was unless the solution replaced it. The solver behind these functions works on one
/// system at a time: calls from several threads wait for each other. It runs on the calling thread, in a forked process
/// of its own (where the system has such) that ends before the call does: when an allocation fails where the solver
/// does not look, that process dies, and the call tells that memory ran out.
///
/// A stage that fails, other than for want of memory, throws its text as a `const char*`: the first on malformed
/// arguments (n or nrhs below 1, a null pointer, rows that do not fit these descriptions), the second on a matrix that
/// is not positive definite, is singular, or holds a value that is not finite.

/// In core, single precision: the solution replaces `b`, and `x` is work space.
///
/// @return true on success, false if memory ran out, with `b` as it was.
/// @throws const char*  "pardisoSolverIC - 11" from the first stage, "pardisoSolverIC - 22" from the second and third.
PIXMILL_API bool pardisoSolverIC(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype);

/// In core, double precision: the solution goes to `x`.
///
/// @return true.
/// @throws const char*  "pardisoSolverIC - 11", "pardisoSolverIC - 22", "pardisoSolverIC - 33" by stage, also if memory
///                      ran out.
PIXMILL_API bool pardisoSolverIC(int n, double* a, int* ia, int* ja, double* b, double* x, int nrhs, int mtype);

/// Out of core, single precision: the solution replaces `b`, and `x` is work space. The factor lies in files in a
/// folder of its own below the system's folder for temporary files; a third of the memory of the in-core form is
/// enough.
///
/// @return true on success, false if memory ran out, with `b` as it was.
/// @throws const char*  "pardisoSolverOOC - 11", "pardisoSolverOOC - 22", "pardisoSolverOOC - 33" by stage; the second
///                      also if the files cannot be written.
PIXMILL_API bool pardisoSolverOOC(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype);

/// The in-core form in single precision, its result negated.
///
/// @return true if memory ran out, false on success.
/// @throws const char*  as `pardisoSolverIC`.
PIXMILL_API bool pardisoSolver(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype);
