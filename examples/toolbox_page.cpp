// The toolbox as a page: pictures, calls, times, curves. No network, no scripts.
#include "photo.h"
#include "report.h"
#include "toolbox.h"

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

const char* const kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>The toolbox of libpixmill</title>
<style>
:root { --paper: #fafaf8; --card: #fff; --ink: #1d1f21; --faint: #5d6268; --line: #dcdcd6; --code: #f0f0ec;
        --c0: #0b6bcb; --c1: #c2410c; --c2: #15803d; }
@media (prefers-color-scheme: dark) {
  :root { --paper: #16181a; --card: #1f2225; --ink: #e8e8e4; --faint: #a3a9b0; --line: #3a3e43; --code: #2a2e32;
          --c0: #6cb2ff; --c1: #ff9d66; --c2: #6fd88f; }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 86rem; padding: 1rem clamp(.75rem, 3vw, 2.5rem) 4rem; background: var(--paper);
       color: var(--ink); font: 1rem/1.5 system-ui, sans-serif; }
h1 { margin: 1rem 0 .25rem; line-height: 1.15; }
h2 { margin: 0; font-size: 1.15rem; line-height: 1.3; overflow-wrap: anywhere; }
p { margin: .25rem 0 .9rem; max-width: 62rem; }
.faint, figcaption { color: var(--faint); }
section { margin: 1.25rem 0; padding: 1rem; background: var(--card); border: 1px solid var(--line);
          border-radius: .5rem; }
.grid { display: grid; gap: 1rem; grid-template-columns: repeat(3, minmax(0, 1fr)); }
.plots { grid-template-columns: repeat(2, minmax(0, 1fr)); }
@media (max-width: 44rem) { .grid, .plots { grid-template-columns: minmax(0, 1fr); } section { padding: .75rem; } }
figure { margin: 0; min-width: 0; }
img, svg { display: block; width: 100%; height: auto; }
img { border-radius: .25rem; }
a:focus-visible { outline: 3px solid var(--c0); }
figcaption { margin-top: .4rem; font-size: .875rem; }
figcaption b { color: var(--ink); font-weight: 600; }
code { display: block; margin-top: .3rem; padding: .3rem .45rem; border-radius: .25rem; background: var(--code);
       color: var(--ink); font: .8rem/1.45 ui-monospace, monospace; overflow-wrap: anywhere; }
svg { margin-top: .5rem; font: 11px system-ui, sans-serif; }
svg .axis { stroke: var(--faint); fill: none; }
svg .tick { stroke: var(--line); fill: none; }
svg text { fill: var(--faint); }
svg .curve { fill: none; stroke-width: 2; }
</style>
</head>
<body>
)";

std::string escaped(const std::string& text)
{
    std::string out;
    for (const char c : text)
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    return out;
}

/// A heading that may break where its names do.
std::string breakable(const std::string& name)
{
    std::string out = escaped(name);
    for (size_t at = 0; (at = out.find("::", at)) != std::string::npos; at += 7)
        out.insert(at + 2, "<wbr>");
    return out;
}

/// A name for a file: letters and digits, the rest a hyphen.
std::string fileName(const std::string& text)
{
    std::string out;
    for (const unsigned char c : text)
        if (std::isalnum(c))
            out += char(std::tolower(c));
        else if (!out.empty() && out.back() != '-')
            out += '-';
    return out;
}

class Page {
public:
    explicit Page(const std::string& out) : m_folder(fs::path(out) / "toolbox") { fs::create_directories(m_folder); }

    void entry(const Entry& entry)
    {
        m_html << "<section>\n<h2>" << breakable(entry.name) << "</h2>\n<p>" << escaped(entry.purpose)
               << "</p>\n<div class=\"grid\">\n";
        const std::string name = fileName(entry.name);
        picture(entry.before, name + "-0", entry.name + ", " + entry.beforeIs);
        m_html << "<figcaption>" << escaped(entry.beforeIs) << "</figcaption></figure>\n";
        for (size_t i = 0; i < entry.after.size(); ++i) {
            const Shot& shot = entry.after[i];
            picture(shot.picture, name + cv::format("-%zu", i + 1), entry.name + ", " + shot.parameters);
            m_html << "<figcaption><b>" << escaped(shot.parameters) << "</b>"
                   << "<code>" << escaped(shot.call) << "</code></figcaption></figure>\n";
        }
        m_html << "</div>\n</section>\n";
    }

    void plot(const Plot& plot)
    {
        m_html << "<figure><h2>" << escaped(plot.title) << "</h2>\n";
        svg(plot);
        m_html << "<figcaption>" << escaped(plot.caption) << "</figcaption></figure>\n";
    }

    std::ostringstream m_html;

private:
    void picture(const cv::Mat& pixels, const std::string& name, const std::string& alt)
    {
        const std::string file = name + ".jpg";
        store((m_folder / file).string(), pixels);
        m_html << "<figure><a href=\"toolbox/" << file << "\"><img src=\"toolbox/" << file << "\" width=\""
               << pixels.cols << "\" height=\"" << pixels.rows << "\" loading=\"lazy\" alt=\"" << escaped(alt)
               << "\"></a>\n";
    }

    void svg(const Plot& plot)
    {
        constexpr double kLeft = 62, kTop = 8, kWidth = 400, kHeight = 250;
        const cv::Rect2d& r = plot.range;
        const auto toX = [&](double x) { return kLeft + (x - r.x) / r.width * kWidth; };
        const auto toY = [&](double y) { return kTop + kHeight - (y - r.y) / r.height * kHeight; };
        const int below = 50 + 17 * int(plot.curves.size());
        m_html << cv::format("<svg viewBox=\"0 0 480 %g\" role=\"img\" aria-label=\"", kTop + kHeight + below)
               << escaped(plot.title) << ": " << escaped(plot.yName) << " over " << escaped(plot.xName) << "\">\n";
        for (int i = 0; i <= 4; ++i) {
            const double x = r.x + r.width * i / 4, y = r.y + r.height * i / 4;
            m_html << cv::format("<path class=\"tick\" d=\"M%.1f %gv%g M%g %.1fh%g\"/>", toX(x), kTop, kHeight, kLeft,
                                 toY(y), kWidth)
                   << cv::format("<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%.0f</text>", toX(x),
                                 kTop + kHeight + 15, x)
                   << cv::format("<text x=\"%g\" y=\"%.1f\" text-anchor=\"end\">%.0f</text>\n", kLeft - 5, toY(y) + 4,
                                 y);
        }
        m_html << cv::format("<path class=\"axis\" d=\"M%g %gv%gh%g\"/>\n", kLeft, kTop, kHeight, kWidth)
               << cv::format("<text x=\"%g\" y=\"%g\" text-anchor=\"middle\">", kLeft + kWidth / 2, kTop + kHeight + 32)
               << escaped(plot.xName)
               << cv::format("</text><text transform=\"translate(11 %g) rotate(-90)\" text-anchor=\"middle\">",
                             kTop + kHeight / 2)
               << escaped(plot.yName) << "</text>\n";
        for (size_t i = 0; i < plot.curves.size(); ++i) {
            // Colour is not all that tells the curves apart.
            const char* dash[] = {"", "7 4", "2 3"};
            const std::string style =
                cv::format("class=\"curve\" style=\"stroke:var(--c%zu)\" stroke-dasharray=\"%s\"", i % 3, dash[i % 3]);
            m_html << "<path " << style << " d=\"";
            char verb = 'M';
            for (const cv::Point2d& p : plot.curves[i].points) {
                if (!r.contains(p))
                    continue;
                m_html << verb << cv::format("%.1f %.1f", toX(p.x), toY(p.y));
                verb = 'L';
            }
            const double y = kTop + kHeight + 50 + 17 * double(i);
            m_html << "\"/>" << cv::format("<path %s d=\"M%g %gh28\"/>", style.c_str(), kLeft, y - 4)
                   << cv::format("<text x=\"%g\" y=\"%g\">", kLeft + 36, y) << escaped(plot.curves[i].name)
                   << "</text>\n";
        }
        m_html << "</svg>\n";
    }

    fs::path m_folder;
};

} // namespace

void writePage(const std::string& out, const std::string& photo, const cv::Rect& crop,
               const std::vector<Entry>& entries, const std::vector<Plot>& plots)
{
    Page page(out);
    page.m_html << kHead << "<h1>The toolbox</h1>\n<p class=\"faint\">Every filter at two settings on "
                << cv::format("%d &times; %d pixels from (%d, %d) of ", crop.width, crop.height, crop.x, crop.y)
                << escaped(fs::path(photo).filename().string())
                << ". What each costs stands in the README. A picture opens in full size when it is clicked.</p>\n";
    for (const Entry& entry : entries)
        page.entry(entry);
    page.m_html << "<section>\n<h2>The curves behind them</h2>\n<p>Out of the library's own tables.</p>\n"
                   "<div class=\"grid plots\">\n";
    for (const Plot& plot : plots)
        page.plot(plot);
    page.m_html << "</div>\n</section>\n</body>\n</html>\n";

    const std::string path = (fs::path(out) / "toolbox.html").string();
    std::ofstream file(path, std::ios::binary);
    file << page.m_html.str();
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path);
    wrote(path);
}
