#include <pixmill/multiscale/detail/multigrid/grid_solver.h>

#include <pixmill/core/TProgress.h>
#include <pixmill/multiscale/detail/multigrid/conjugate_gradients.h>
#include <pixmill/rows/flush.h>

#include <memory>

using namespace pixmill::rows;

namespace pixmill::multiscale {
namespace {

constexpr int kReportTotal = 1000, kSetUpShare = 50;

/// Whether to go on.
bool report(TProgress* progress, int done)
{
    return !progress || progress->prog(done, kReportTotal);
}

/// The host's callback runs in the host's floating-point modes, so these hold for our own work only.
Step advance(ConjugateGradients& iteration)
{
    const FlushSubnormals flush;
    return iteration.step();
}

GridOutcome iterate(ConjugateGradients& iteration, TProgress* progress)
{
    for (;;) {
        const Step step = advance(iteration);
        if (step == Step::failed)
            return GridOutcome::unsuitable;
        const double share = step == Step::solved ? 1.0 : iteration.convergence().share();
        if (!report(progress, kSetUpShare + int((kReportTotal - kSetUpShare) * share)))
            return GridOutcome::cancelled;
        if (step == Step::solved)
            return GridOutcome::solved;
        if (iteration.convergence().hopeless())
            return GridOutcome::unsuitable;
    }
}

std::unique_ptr<ConjugateGradients> begin(const Grid& grid, const PictureCouplings& picture, const float* in,
                                          Workspace& space)
{
    const FlushSubnormals flush;
    return std::make_unique<ConjugateGradients>(grid, picture, in, space);
}

} // namespace

GridOutcome solveGrid(const PictureCouplings& picture, float* diagonal, float* inOut, Workspace& space,
                      TProgress* progress)
{
    if (!report(progress, 0))
        return GridOutcome::cancelled;
    Grid grid;
    if (!grid.split(picture, diagonal, space))
        return GridOutcome::unsuitable;
    space.lend(diagonal, sizeof(float) * picture.width * picture.height);
    const auto iteration = begin(grid, picture, inOut, space);
    if (!report(progress, kSetUpShare))
        return GridOutcome::cancelled;
    const GridOutcome outcome = iterate(*iteration, progress);
    if (outcome == GridOutcome::solved)
        iteration->finish(inOut);
    return outcome;
}

} // namespace pixmill::multiscale
