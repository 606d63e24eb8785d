#pragma once

namespace pixmill::multiscale {

/// What is left for a picture's system that the iteration does not solve: the sparse direct solver, as
/// `pardisoSolverIC`, where the library has it. Without it every such system fails.
///
/// @return false if memory ran out, with `b` as it was.
/// @throws const char*  as `pardisoSolverIC`.
bool solveDirectly(int n, float* a, int* ia, int* ja, float* b, float* work);

} // namespace pixmill::multiscale
