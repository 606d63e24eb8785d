// A plot as SVG.
#include "toolbox.h"

#include <opencv2/core.hpp>

#include <sstream>

std::string svgOf(const Plot& plot)
{
    std::ostringstream html;
    constexpr double kLeft = 62, kTop = 8, kWidth = 400, kHeight = 250;
    const cv::Rect2d& r = plot.range;
    const auto toX = [&](double x) { return kLeft + (x - r.x) / r.width * kWidth; };
    const auto toY = [&](double y) { return kTop + kHeight - (y - r.y) / r.height * kHeight; };
    const int below = 50 + 17 * int(plot.curves.size());
    html << cv::format("<svg viewBox=\"0 0 480 %g\" role=\"img\" aria-label=\"", kTop + kHeight + below)
         << escaped(plot.title) << ": " << escaped(plot.yName) << " over " << escaped(plot.xName) << "\">\n";
    for (int i = 0; i <= 4; ++i) {
        const double x = r.x + r.width * i / 4, y = r.y + r.height * i / 4;
        html << cv::format("<path class=\"tick\" d=\"M%.1f %gv%g M%g %.1fh%g\"/>", toX(x), kTop, kHeight, kLeft, toY(y),
                           kWidth)
             << cv::format("<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%.0f</text>", toX(x), kTop + kHeight + 15,
                           x)
             << cv::format("<text x=\"%g\" y=\"%.1f\" text-anchor=\"end\">%.0f</text>\n", kLeft - 5, toY(y) + 4, y);
    }
    html << cv::format("<path class=\"axis\" d=\"M%g %gv%gh%g\"/>\n", kLeft, kTop, kHeight, kWidth)
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
        html << "<path " << style << " d=\"";
        char verb = 'M';
        for (const cv::Point2d& p : plot.curves[i].points) {
            if (!r.contains(p))
                continue;
            html << verb << cv::format("%.1f %.1f", toX(p.x), toY(p.y));
            verb = 'L';
        }
        const double y = kTop + kHeight + 50 + 17 * double(i);
        html << "\"/>" << cv::format("<path %s d=\"M%g %gh28\"/>", style.c_str(), kLeft, y - 4)
             << cv::format("<text x=\"%g\" y=\"%g\">", kLeft + 36, y) << escaped(plot.curves[i].name) << "</text>\n";
    }
    html << "</svg>\n";
    return html.str();
}
