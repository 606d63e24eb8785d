#include <pixmill/develop/Mask.h>

namespace pixmill {

bool Mask::undoStroke()
{
    for (auto component = components.rbegin(); component != components.rend(); ++component) {
        Brush* brush = std::get_if<Brush>(&component->shape);
        if (!brush || brush->strokes.empty())
            continue;
        brush->strokes.pop_back();
        return true;
    }
    return false;
}

} // namespace pixmill
