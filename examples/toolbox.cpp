// The toolbox: every filter of the library on a part of a photograph chosen for it, as a page.
#include "toolbox.h"
#include "options.h"
#include "photo.h"
#include "report.h"
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace {

/// The rectangle of this size with the most detail: the greatest mean of the variances in small windows.
cv::Rect mostDetailed(const cv::Mat& photo, cv::Size size)
{
    const int reduction = std::clamp(std::min(photo.cols, photo.rows) / 64, 1, 4);
    const cv::Size small(photo.cols / reduction, photo.rows / reduction);
    cv::Mat gray, mean, meanOfSquares;
    cv::cvtColor(photo, gray, cv::COLOR_BGRA2GRAY);
    gray.convertTo(gray, CV_32F, 1.0 / 65535.0);
    cv::resize(gray, gray, small, 0, 0, cv::INTER_AREA);
    cv::blur(gray, mean, {9, 9});
    cv::blur(gray.mul(gray), meanOfSquares, {9, 9});
    const cv::Mat variance = cv::max(meanOfSquares - mean.mul(mean), 0.0);

    cv::Mat sums;
    cv::integral(variance, sums, CV_64F);
    const int w = std::min(size.width / reduction, small.width), h = std::min(size.height / reduction, small.height);
    cv::Point best;
    double most = -1;
    for (int y = 0; y + h <= small.height; ++y)
        for (int x = 0; x + w <= small.width; ++x) {
            const double sum = sums.at<double>(y + h, x + w) - sums.at<double>(y, x + w) - sums.at<double>(y + h, x) +
                               sums.at<double>(y, x);
            if (sum > most) {
                most = sum;
                best = {x, y};
            }
        }
    return {std::min(best.x * reduction, photo.cols - size.width),
            std::min(best.y * reduction, photo.rows - size.height), size.width, size.height};
}

/// A part of one of the photographs that come with the packages, chosen by looking at it.
struct Place {
    const char *name, *file, *words;
    double x, y;   ///< The middle of the part, as shares of the photograph.
    int reduction; ///< The part is taken from the photograph made so many times smaller.
    int width = 960;
};

const Place kPlaces[] = {
    {"spaniel", "friends_by_Aitzol_Berasategi.jpg", "a spaniel's fur", 0.43, 0.32, 1},
    {"portrait", "", "hair, skin and eyes. Portrait: NASA, public domain", 0.44, 0.27, 1, 480},
    {"haze", "aitzgorri_by_Aitzol_Berasategi.jpg", "a mountain in haze", 0.62, 0.3, 2},
    {"bridge", "Bridge_by_Sander_Klootwijk.jpg", "a bridge's cables against the sky", 0.65, 0.62, 1},
    {"brushes", "Picture_1A_by_freespace.jpg", "bristles in strong colours", 0.4, 0.45, 1},
    {"bowl", "Picture_0B_by_freespace.jpg", "the rim of a red bowl", 0.6, 0.55, 2},
    {"bird", "free_by_Peter_Nerlich.jpg", "a bird of painted wood", 0.5, 0.75, 1},
    {"lamp", "free_by_Peter_Nerlich.jpg", "a lamp on a grey ceiling", 0.62, 0.4, 2},
    {"stream", "life_by_Aitzol_Berasategi.jpg", "a stream between rocks", 0.5, 0.55, 1},
    {"dragonfly", "Dragonfly_by_Bolly.jpg", "a dragonfly before a blur", 0.56, 0.42, 1},
    {"sunset", "sunset_by_Aitzol_Berasategi.jpg", "a meadow against the sun", 0.52, 0.55, 2},
    {"sundial", "sunset_by_Aitzol_Berasategi.jpg", "grain in the shadow of a sundial", 0.75, 0.78, 1},
    {"table", "Wine_by_Jakkub_Mede.jpg", "wine by warm light", 0.5, 0.3, 2},
    {"clock", "greentock_by_Peter_Nerlich.jpg", "the hands of a clock", 0.6, 0.45, 1},
    {"dandelion", "seeding_by_Clements_Engelhardt.jpg", "a dandelion against the light", 0.42, 0.45, 1},
};

const Place& placeOf(const std::string& name)
{
    for (const Place& place : kPlaces)
        if (name == place.name)
            return place;
    throw std::logic_error("no such scene: " + name);
}

/// About so wide, and two thirds as high; even, where the picture is large enough, as the half-size planes have it.
cv::Size partOf(const cv::Mat& photo, int width)
{
    const auto side = [](int wanted, int there) { return there > 1 ? std::min(wanted, there) / 2 * 2 : there; };
    return {side(width, photo.cols), side(width * 2 / 3, photo.rows)};
}

std::unique_ptr<Scene> chosenScene(const Place& place, const std::string& file)
{
    cv::Mat photo = as16Bit(loadPhoto(file));
    if (place.reduction > 1)
        cv::resize(photo, photo, {}, 1.0 / place.reduction, 1.0 / place.reduction, cv::INTER_AREA);
    const cv::Size part = partOf(photo, place.width);
    const int x = std::clamp(int(place.x * photo.cols) - part.width / 2, 0, photo.cols - part.width);
    const int y = std::clamp(int(place.y * photo.rows) - part.height / 2, 0, photo.rows - part.height);
    const std::string from = place.file[0] ? std::string(", ") + place.file : "";
    return std::make_unique<Scene>(photo(cv::Rect({x, y}, part)).clone(), place.words + from);
}

std::unique_ptr<Scene> detailedScene(const std::string& file)
{
    const cv::Mat photo = as16Bit(loadPhoto(file));
    const cv::Rect part = mostDetailed(photo, partOf(photo, 960));
    return std::make_unique<Scene>(photo(part).clone(), "the part with the most detail of " +
                                                            std::filesystem::path(file).filename().string());
}

} // namespace

const Scene& Scenes::of(const std::string& name)
{
    const Place& place = placeOf(name);
    const bool portrait = !place.file[0];
    if (portrait && m_chosen && !std::filesystem::exists(m_portrait))
        return of("spaniel");
    const std::string beside =
        portrait ? m_portrait : (std::filesystem::path(m_photo).parent_path() / place.file).string();
    const bool chosen = m_chosen && std::filesystem::exists(beside);
    std::unique_ptr<Scene>& scene = m_scenes[chosen ? name : ""];
    if (!scene)
        scene = chosen ? chosenScene(place, beside) : detailedScene(m_photo);
    return *scene;
}

Scene::Scene(const cv::Mat& photo, std::string seen)
    : picture(photo.cols, photo.rows), packed(photo), words(std::move(seen))
{
    picture.convertFrom(photo.ptr<unsigned short>(), photo.cols, photo.rows, int(photo.step / 2));
    picture.m_Y.convertTo(luma, CV_32F, 1.0 / 65535.0);
    dr.create(photo.size(), CV_16UC1);
    db.create(photo.size(), CV_16UC1);
    upSize2X(picture.m_Dr, dr, kCubic);
    upSize2X(picture.m_Db, db, kCubic);
}

cv::Mat Scene::show(const cv::Mat& luma) const
{
    return show(luma, dr, db);
}

cv::Mat Scene::show(const cv::Mat& luma, const cv::Mat& red, const cv::Mat& blue) const
{
    cv::Mat Y = luma, rgb[3], out;
    if (luma.depth() == CV_32F)
        luma.convertTo(Y, CV_16U, 65535.0);
    for (cv::Mat& plane : rgb)
        plane.create(Y.size(), CV_16UC1);
    TPImage::YDRDB2RGB(Y, red, blue, rgb[0], rgb[1], rgb[2]);
    toFile16(rgb).convertTo(out, CV_8U, 1.0 / 257.0);
    return out;
}

EdgeTables::EdgeTables()
    : m_toEdge(65536), m_toFull(256), m_toEdgeBefore(TPImage::m_lutFullToEdge_p),
      m_toFullBefore(TPImage::m_lutEdgeToFull_p)
{
    TPImage::m_lutFullToEdge_p = m_toEdge.data();
    TPImage::m_lutEdgeToFull_p = m_toFull.data();
    TPImage::computeLUT();
}

EdgeTables::~EdgeTables()
{
    TPImage::m_lutFullToEdge_p = m_toEdgeBefore;
    TPImage::m_lutEdgeToFull_p = m_toFullBefore;
}

int runToolbox(const Options& options)
{
    heading("The toolbox");
    Scenes scenes(options.photo, options.photo == kPackagedPhoto, options.portrait);
    const std::vector<Entry> entries = runFilters(scenes);
    writePage(options.out, entries, plotCurves());
    return 0;
}
