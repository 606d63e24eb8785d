#include <pixmill/develop/filter_table.h>

#include <pixmill/develop/Error.h>

namespace pixmill {

namespace {

constexpr bool kWhole = true, kReal = false;

const std::vector<FilterParameter> kDomain = {
    {"sigmaS", 0.1, 1000, 40, "reach in pixels", kReal},
    {"sigmaR", 0.001, 10, 0.4, "how much of an edge stops it, of full luma", kReal}};

const std::vector<FilterParameter> kGuided = {
    {"radius", 1, 500, 8, "of the window, in pixels", kWhole},
    {"eps", 1e-6, 1, 0.01, "variance that counts as flat, of luma 0..1", kReal}};

} // namespace

const std::vector<FilterEntry>& filterTable()
{
    static const std::vector<FilterEntry> table = {
        {"recursive", "Smooths texture and stops at edges, at a cost that does not grow with its reach.", kDomain},
        {"convolution", "Averages what is near in place and in brightness: flatter areas, sharper corners.", kDomain},
        {"interpolated", "The same means, interpolated between the pixels.", kDomain},
        {"guided", "Smooths where the luma is flat and follows it where it is not, without halos.", kGuided},
        {"guided-by-colour", "The same with red, green and blue as guides: edges of colour count too.", kGuided},
        {"bilateral",
         "Smooths by distance and by brightness at once, in a coarse grid of both.",
         {{"cell", 1, 512, 8, "pixels of a cell", kWhole},
          {"range", 16, 65535, 6000, "brightness of a cell, of 65535", kWhole}}},
        {"gradient-guide",
         "Blurs, and gives the edges back: texture stays out.",
         {{"blur", 1, 53, 3, "radius of the blur, in pixels", kWhole},
          {"radius", 1, 100, 3, "of the edges' window, in pixels", kWhole}}},
        {"local-laplacian",
         "Flattens detail of all sizes, or brings it out, without halos.",
         {{"sigma", -1, 1, -0.3, "above 0 flattens, below 0 brings out; the size of an edge, of half the luma", kReal},
          {"smooth", 0, 2, 0.3, "softness of the curve", kReal},
          {"references", 10, 24, 16, "brightnesses that are worked out: 10, 16 or 24, others rounded up", kWhole},
          {"levels", 0, 16, 0, "depth of the pyramid; 0: by the picture's size", kWhole}}},
        {"gaussian",
         "A Gaussian blur by recursion: any width at the same cost.",
         {{"sigma", 0.1, 1000, 5, "in pixels", kReal},
          {"steps", 1, 16, 3, "more come closer to a true Gaussian", kWhole}}},
        {"box",
         "A blur by repeated box means.",
         {{"radius", 1, 1000, 5, "in pixels", kWhole}, {"passes", 1, 16, 3, "of the mean", kWhole}}},
        {"glow",
         "A blur with a very long tail, out of three small kernels.",
         {{"falloff", 0.1, 1, 0.8, "weight of each wider level", kReal}}},
        {"sharpen",
         "Moves every pixel to the nearer end of its surroundings: soft edges become steps.",
         {{"times", 1, 50, 1, "how often", kWhole}}},
        {"least-squares",
         "The smoothest plane that keeps the edges, from one large system of equations: slow.",
         {{"lambda", 0, 100, 0.5, "smoothness", kReal}, {"alpha", 0.1, 4, 1.2, "how much gradients count", kReal}}},
        {"finest-detail",
         "Smooths at half the size and puts the finest detail back on.",
         {{"sigmaS", 0.1, 1000, 10, "reach in half-size pixels", kReal},
          {"sigmaR", 0.001, 10, 0.3, "how much of an edge stops it, of full luma", kReal},
          {"strength", 0, 10, 2, "of the finest detail; 2 is as it was", kReal}}},
        {"light",
         "One tone curve.",
         {{"brightness", -1, 1, 0, "the whole picture darker or brighter", kReal},
          {"contrast", -1, 1, 0, "flatter or stronger", kReal},
          {"highlights", -1, 1, 0, "bright parts down or up", kReal},
          {"shadows", -1, 1, 0, "dark parts down or up", kReal},
          {"whites", -1, 1, 0, "where white begins", kReal},
          {"blacks", -1, 1, 0, "where black ends", kReal}}},
        {"colour",
         "White balance and saturation, by tables that know the luma.",
         {{"warmth", -1, 1, 0, "cooler or warmer", kReal},
          {"tint", -1, 1, 0, "greener or more magenta", kReal},
          {"saturation", -1, 1, 0.3, "less or more colour", kReal},
          {"floor", -1, 1, 0, "above 0 lifts weak colours, below 0 removes them", kReal}}},
        {"table",
         "A look as a grid of colours: a power for each channel, below 1 for more of it.",
         {{"red", 0.2, 5, 0.85, "power", kReal},
          {"green", 0.2, 5, 1, "power", kReal},
          {"blue", 0.2, 5, 1.2, "power", kReal},
          {"grey", 0, 1, 0.1, "share of the colour that goes", kReal}}},
        {"chroma",
         "Colour at half the size and enlarged again, with or without the luma's edges.",
         {{"guided", 0, 1, 1, "1: the colour ends where the luma's edges are", kWhole}}},
        {"compact",
         "8-bit colour at half the size, following a luma that is raised to a power.",
         {{"power", 0.2, 5, 0.8, "below 1 brightens", kReal}}},
    };
    return table;
}

const FilterEntry& filterEntry(const std::string& name)
{
    for (const FilterEntry& entry : filterTable())
        if (entry.name == name)
            return entry;
    throw Error("pixmill filter", "\"" + name + "\"", "one that `pixmill filter --list` tells", "no filter");
}

} // namespace pixmill
