#include <pixmill/multiscale/detail/direct_solve.h>

namespace pixmill::multiscale {

bool solveDirectly(int, float*, int*, int*, float*, float*)
{
    throw "pardisoSolverIC - 22"; // what the solver says of a matrix that it cannot factorise
}

} // namespace pixmill::multiscale
