#include <pixmill/multiscale/detail/direct_solve.h>

#include <pixmill/multiscale/pardisoSolver.h>

namespace pixmill::multiscale {

bool solveDirectly(int n, float* a, int* ia, int* ja, float* b, float* work)
{
    return pardisoSolverIC(n, a, ia, ja, b, work, 1, 2);
}

} // namespace pixmill::multiscale
