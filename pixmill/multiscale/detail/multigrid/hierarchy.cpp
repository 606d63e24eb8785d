#include <pixmill/multiscale/detail/multigrid/hierarchy.h>

namespace pixmill::multiscale {
namespace {

constexpr int kSmallest = 6;

int half(int size)
{
    return (size + 1) / 2;
}

bool isSmall(const Level& level)
{
    return level.width <= kSmallest && level.height <= kSmallest;
}

} // namespace

Hierarchy::Hierarchy(const PictureCouplings& fine, Workspace& space)
{
    levels.emplace_back(half(fine.width), half(fine.height), space);
    Workspace sides;
    picture = Interpolation(levels[0].width, levels[0].height, sides, space);
    coarsen(fine, picture, levels[0]);
    picture.l = picture.r = picture.u = picture.d = {};
    while (!isSmall(levels.back())) {
        Level& last = levels.back();
        Level next(half(last.width), half(last.height), space);
        last.coarser = Interpolation(next.width, next.height, space, space);
        coarsen(last, next);
        levels.push_back(next);
    }
}

} // namespace pixmill::multiscale
