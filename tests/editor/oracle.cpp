// What the canvas has to show: Developer::render, asked for a line at a time.
//   editor_oracle PHOTO   reads {"recipe", "x", "y", "width", "height", "scale"}, writes a digest of the R, G, B, A
//   pixels
#include <pixmill/develop/Developer.h>
#include <pixmill/develop/Photo.h>
#include <pixmill/develop/recipe_table.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>

using namespace pixmill;

namespace {

/// Two sums over 32-bit words that a page can compute as well.
std::string digestOf(const cv::Mat& rgba)
{
    std::uint32_t a = 2166136261u, b = 1;
    for (int y = 0; y < rgba.rows; ++y)
        for (int x = 0; x < rgba.cols; ++x) {
            std::uint32_t word;
            std::memcpy(&word, rgba.ptr(y) + 4 * x, 4);
            a = (a ^ word) * 16777619u;
            b = (b << 7 | b >> 25) + word * 2654435761u;
        }
    char text[24];
    std::snprintf(text, sizeof text, "%08x%08x", a, b);
    return text;
}

Recipe recipeIn(const nlohmann::json& json, const std::filesystem::path& folder)
{
    Recipe recipe = recipeFromJson(json.dump());
    if (recipe.table.path.empty())
        return recipe;
    const Table3D named = recipe.table;
    recipe.table = Table3D::load((folder / named.path).string());
    recipe.table.path = named.path;
    recipe.table.strength = named.strength;
    return recipe;
}

} // namespace

int main(int, char** argv)
{
    Photo photo = readPhoto(argv[1]);
    toScreenColours(photo);
    Developer developer;
    developer.open({photo.pixels.data, photo.pixels.cols, photo.pixels.rows, std::ptrdiff_t(photo.pixels.step)});
    for (std::string line; std::getline(std::cin, line);) {
        const nlohmann::json asked = nlohmann::json::parse(line);
        const Recipe recipe = recipeIn(asked["recipe"], std::filesystem::path(argv[1]).parent_path());
        cv::Mat shown;
        developer.render({asked["x"], asked["y"], asked["width"], asked["height"]}, asked["scale"], recipe, Order::RGBA,
                         shown);
        std::cout << digestOf(shown) << std::endl;
    }
}
