// A local adjustment: strokes from a script become a mask, and the light changes through it.
#include "options.h"
#include "photo.h"
#include "report.h"
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/mask/TDrawMask.h>
#include <pixmill/planar/TPImage.h>
#include <pixmill/resample/blend.h>
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Bounds of a document: each stroke begins with a copy of the mask, and each dot is kept as a command.
constexpr int kMostStrokes = 5000, kMostDots = 1000000;

/// Reads a brush script and queues its strokes. See strokes.txt for the commands.
class Script {
public:
    Script(std::string path, cv::Size picture, TDrawMask& mask)
        : m_path(std::move(path)), m_picture(picture), m_mask(mask)
    {
    }

    /// @throws std::runtime_error  "file:line: what is wrong".
    void run()
    {
        if (std::filesystem::is_directory(m_path))
            throw std::runtime_error("a folder, not a file of strokes: " + m_path);
        const std::map<std::string, void (Script::*)()> commands{
            {"fill", &Script::fill},     {"value", &Script::value},   {"brush", &Script::brush},
            {"stroke", &Script::stroke}, {"invert", &Script::invert}, {"undo", &Script::undo}};
        std::ifstream file(m_path);
        if (!file)
            throw std::runtime_error("cannot read the strokes in " + m_path);
        for (std::string text; std::getline(file, text);) {
            ++m_line;
            text = text.substr(0, text.find('#'));
            m_words.clear();
            std::istringstream words(text);
            for (std::string word; words >> word;)
                m_words.push_back(word);
            if (m_words.empty())
                continue;
            const auto command = commands.find(m_words[0]);
            if (command == commands.end())
                fail("no such command: " + m_words[0]);
            (this->*command->second)();
        }
        if (file.bad())
            throw std::runtime_error("cannot read the strokes in " + m_path);
    }

    int strokes() const { return m_strokes; }

private:
    [[noreturn]] void fail(const std::string& what) const
    {
        throw std::runtime_error(m_path + ":" + std::to_string(m_line) + ": " + what);
    }

    void expect(std::size_t count, const char* what) const
    {
        if (m_words.size() != count + 1)
            fail(m_words[0] + " needs " + what);
    }

    /// A number, or a percentage of `whole`.
    double number(std::size_t i, double whole) const
    {
        const std::string& word = m_words[i];
        std::size_t used = 0;
        double v = 0;
        try {
            v = std::stod(word, &used);
        } catch (const std::exception&) {
            used = 0;
        }
        const bool percent = used > 0 && word.substr(used) == "%";
        if (used == 0 || (!percent && used != word.size()) || !std::isfinite(v))
            fail("not a number: " + word);
        return percent ? v / 100 * whole : v;
    }

    /// Pixels; a share of a small picture is one at the least.
    int diameter(std::size_t i, double longer) const
    {
        const double v = std::clamp(number(i, longer), -1.0, 1e6);
        return int(m_words[i].back() == '%' && v > 0 ? std::max(1.0, v) : v);
    }

    double within(std::size_t i, double low, double high) const
    {
        const double v = number(i, high);
        if (v < low || v > high)
            fail(m_words[i] + " is not within " + std::to_string(int(low)) + " to " + std::to_string(int(high)));
        return v;
    }

    void fill()
    {
        expect(1, "one value, 0 to 255");
        m_mask.setValue((unsigned char)within(1, 0, 255));
    }

    void value()
    {
        expect(1, "one value, 0 to 255");
        m_value = (unsigned char)within(1, 0, 255);
    }

    void brush()
    {
        expect(4, "an outer and an inner diameter, an opacity and an edge sensitivity");
        const double longer = std::max(m_picture.width, m_picture.height);
        m_outer = diameter(1, longer);
        m_inner = diameter(2, longer);
        if (m_outer < 1 || m_inner < 0 || m_inner > m_outer || m_outer > 8000)
            fail("diameters must rise from 0 to the inner, to the outer, to 8000 pixels");
        m_opacity = float(within(3, 0, 1));
        m_edge = float(within(4, 0, 1));
    }

    void stroke()
    {
        if (m_words.size() < 3 || m_words.size() % 2 == 0)
            fail("stroke needs pairs of X and Y");
        std::vector<cv::Point2d> points;
        for (std::size_t i = 1; i < m_words.size(); i += 2)
            points.emplace_back(number(i, m_picture.width), number(i + 1, m_picture.height));
        if (++m_strokes > kMostStrokes)
            fail("more than " + std::to_string(kMostStrokes) + " strokes");
        m_mask.drawStart(0, 0);
        line(points[0], points[0]);
        for (std::size_t i = 1; i < points.size(); ++i)
            line(points[i - 1], points[i]);
        m_mask.drawEnd();
    }

    /// Dots from behind `from` up to `to`, those that touch the picture: the others would change nothing.
    void line(const cv::Point2d& from, const cv::Point2d& to)
    {
        const cv::Point2d way = to - from;
        const double steps = std::max(1.0, std::floor(std::hypot(way.x, way.y) / std::max(2.0, m_outer / 8.0)));
        double first = 0, last = 1;
        within(from.x, way.x, m_picture.width, first, last);
        within(from.y, way.y, m_picture.height, first, last);
        for (double k = std::max(1.0, std::ceil(first * steps)); k <= std::floor(last * steps); ++k)
            dot(from + way * (k / steps));
    }

    /// Narrows first..last to where from + t * way lies no farther than a brush outside 0..size.
    void within(double from, double way, double size, double& first, double& last) const
    {
        const double reach = m_outer / 2.0 + 4, low = -reach - from, high = size + reach - from;
        if (way == 0 && (low > 0 || high < 0))
            last = -1;
        if (way == 0)
            return;
        first = std::max(first, std::min(low / way, high / way));
        last = std::min(last, std::max(low / way, high / way));
    }

    void dot(const cv::Point2d& at)
    {
        if (++m_dots > kMostDots)
            fail("more than " + std::to_string(kMostDots) + " dots: a wider brush needs fewer");
        m_mask.drawADot(at, m_value, m_outer, m_inner, m_opacity, m_edge);
    }

    void invert()
    {
        expect(0, "nothing behind it");
        m_mask.invert();
    }

    void undo()
    {
        expect(0, "nothing behind it");
        m_mask.undo();
    }

    std::string m_path;
    cv::Size m_picture;
    TDrawMask& m_mask;
    std::vector<std::string> m_words;
    int m_line = 0, m_strokes = 0, m_dots = 0;
    unsigned char m_value = 255;
    int m_outer = 100, m_inner = 50;
    float m_opacity = 1, m_edge = 0;
};

/// The mask at the picture's size.
cv::Mat fullMask(TDrawMask& mask, cv::Size picture)
{
    const cv::Mat half = mask.getMaskRoi({}, 0);
    cv::Mat full(picture, CV_8UC1);
    upSize2X(half, full, 2);
    return full;
}

/// The picture with the light changed where the mask selects.
cv::Mat adjusted(const TPImage& picture, const cv::Mat& mask)
{
    cv::Mat bright = picture.m_Y.clone();
    TLightAdjLUTq3 light;
    light.setupParams(0.1f, 0.4f, -0.4f, 0.5f, 0.0f, 0.0f);
    light.proc(bright);
    TPImage result(picture);
    cv::Mat mixed;
    blendAlpha(picture.m_Y, bright, mask, mixed, 1.0f);
    result.m_Y = mixed;
    TColorAdjQ3 color(1, 1, 1, 1, 2, 1);
    followLuma(result, picture.m_Y, color);
    return toDisplay(result);
}

/// The mask as a red veil over the picture.
cv::Mat overlay(const cv::Mat& display, const cv::Mat& mask)
{
    cv::Mat out = display.clone();
    for (int y = 0; y < out.rows; ++y) {
        cv::Vec4b* pixel = out.ptr<cv::Vec4b>(y);
        const uchar* m = mask.ptr<uchar>(y);
        for (int x = 0; x < out.cols; ++x) {
            const int share = m[x] * 150 / 255;
            pixel[x][0] = uchar(pixel[x][0] * (255 - share) / 255);
            pixel[x][1] = uchar(pixel[x][1] * (255 - share) / 255);
            pixel[x][2] = uchar((pixel[x][2] * (255 - share) + 255 * share) / 255);
        }
    }
    return out;
}

} // namespace

int runPaint(const Options& options)
{
    if (options.strokes.empty())
        return 0;
    heading("Painting a local adjustment");
    const cv::Mat photo = as8Bit(loadPhoto(options.photo));
    TPImage picture(photo.cols, photo.rows);
    picture.convertFrom(photo.ptr(), photo.cols, photo.rows, int(photo.step));
    TDrawMask mask;
    mask.setInImage(&picture);

    Script script(options.strokes, photo.size(), mask);
    script.run();
    const std::size_t commands = mask.m_cmdStack.size();
    timed(std::to_string(script.strokes()) + " strokes of " + options.strokes + ", " + std::to_string(commands) +
              " commands",
          0, [&] { mask.proc(); });
    const cv::Mat selected = fullMask(mask, photo.size());
    cv::Mat painted;
    timed("the light through the mask", double(photo.total()), [&] { painted = adjusted(picture, selected); });
    save(options.out, "painted.jpg", painted);
    save(options.out, "painted-mask.jpg", overlay(toDisplay(picture), selected));

    if (!mask.m_cmdStack.empty()) {
        mask.undo();
        timed("the last stroke undone, the rest replayed", 0, [&] { mask.proc(); });
        save(options.out, "painted-undone-mask.jpg", overlay(toDisplay(picture), fullMask(mask, photo.size())));
    }
    return 0;
}
