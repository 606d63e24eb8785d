#include "recipes.h"
#include <pixmill/develop/Error.h>
#include <pixmill/develop/recipe_table.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace editor {

namespace fs = std::filesystem;
using namespace pixmill;

namespace {

constexpr std::size_t kMostSteps = 500, kMostShapes = 64;
constexpr double kMostDots = 1e6;   ///< Of all strokes of a recipe.
constexpr double kMostCover = 4000; ///< Of all dots, in areas of the whole picture: some seconds of work.
constexpr double kSmallestDot = 1.0 / 8192;

/// Dots of a stroke, as the developer sets them: a tenth of the diameter apart, but a pixel at least.
double dotsOf(const BrushStroke& stroke)
{
    double way = 0;
    for (std::size_t i = 1; i < stroke.points.size(); ++i)
        way += std::hypot(stroke.points[i].x - stroke.points[i - 1].x, stroke.points[i].y - stroke.points[i - 1].y);
    return 1 + way / std::max(double(stroke.diameter) * 0.1, kSmallestDot);
}

void checkCost(const Recipe& recipe)
{
    double dots = 0, cover = 0;
    std::size_t shapes = 0;
    for (const LocalAdjustment& local : recipe.locals)
        for (const MaskComponent& component : local.mask.components) {
            ++shapes;
            const Brush* brush = std::get_if<Brush>(&component.shape);
            for (const BrushStroke& stroke : brush ? brush->strokes : std::vector<BrushStroke>()) {
                dots += dotsOf(stroke);
                cover += dotsOf(stroke) * std::min(1.0, double(stroke.diameter) * double(stroke.diameter));
            }
        }
    if (shapes > kMostShapes || recipe.locals.size() > kMostShapes)
        throw Error("the editor", "locals", "64 shapes at most",
                    std::to_string(std::max(shapes, recipe.locals.size())));
    if (!(dots <= kMostDots) || !(cover <= kMostCover))
        throw Error("the editor", "locals", "strokes that can be painted in some seconds", "more");
}

} // namespace

std::vector<std::string> Tables::names() const
{
    std::vector<std::string> names;
    std::error_code failed;
    for (const auto& entry : fs::directory_iterator(m_folder, failed))
        if (entry.path().extension() == ".cube")
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

Table3D Tables::load(const std::string& name)
{
    const auto known = m_known.find(name);
    if (known != m_known.end())
        return known->second;
    const std::vector<std::string> all = names();
    if (std::find(all.begin(), all.end(), name) == all.end())
        throw Error("the editor", "table.path", "a .cube file of the folder", name);
    Table3D table = Table3D::load((fs::path(m_folder) / name).string());
    table.path = name;
    return m_known[name] = table;
}

RecipePtr recipeFrom(const std::string& json, Tables& tables)
{
    auto recipe = std::make_shared<Recipe>(recipeFromJson(json));
    checkCost(*recipe);
    if (!recipe->table.path.empty()) {
        const float strength = recipe->table.strength;
        recipe->table = tables.load(recipe->table.path);
        recipe->table.strength = strength;
    }
    return recipe;
}

bool History::rest(RecipePtr recipe)
{
    m_live = std::move(recipe);
    if (*m_live == *m_states[m_at])
        return false;
    m_states.resize(++m_at);
    m_states.push_back(m_live);
    if (m_states.size() > kMostSteps) {
        m_states.erase(m_states.begin());
        --m_at;
    }
    return true;
}

bool History::undo()
{
    rest(m_live); // what is still being moved becomes a step, so that redo finds it
    if (m_at == 0)
        return false;
    m_live = m_states[--m_at];
    return true;
}

bool History::redo()
{
    if (m_at + 1 >= m_states.size() || !(*m_live == *m_states[m_at]))
        return false;
    m_live = m_states[++m_at];
    return true;
}

} // namespace editor
