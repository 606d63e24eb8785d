// One picture from file to file.
#include "develop.h"
#include "program.h"
#include <pixmill/develop/Developer.h>

#include <opencv2/core.hpp>

#include <time.h>

#include <chrono>

using namespace pixmill;

namespace {

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double threadSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + time.tv_nsec * 1e-9;
}

Photo readFor(const Task& task, const DevelopOptions& options, const std::function<bool(double)>& share)
{
    PhotoReading how;
    how.lenient = options.lenient;
    how.maxPixels = static_cast<long long>(options.megapixels * 1e6);
    how.progress = [&](float done) { return share(0.2 * double(done)); };
    const Hush hush;
    Photo photo = readPhoto(task.in, how);
    if (photo.pixels.empty())
        throw Stopped();
    return photo;
}

Pixels asPixels(const cv::Mat& packed)
{
    Pixels pixels;
    pixels.data = packed.data;
    pixels.width = packed.cols;
    pixels.height = packed.rows;
    pixels.stride = std::ptrdiff_t(packed.step);
    pixels.depth = packed.depth() == CV_8U ? Depth::Bits8 : Depth::Bits16;
    pixels.order = packed.channels() == 4 ? Order::RGBA : Order::RGB;
    return pixels;
}

/// The picture's alpha where the output can hold it, at the output's depth.
cv::Mat alphaFor(const cv::Mat& packed, bool wanted, int depth)
{
    cv::Mat alpha;
    if (!wanted || packed.channels() != 4)
        return alpha;
    cv::extractChannel(packed, alpha, 3);
    const double factor = alpha.depth() == depth ? 1 : depth == CV_8U ? 1 / 257.0 : 257.0;
    alpha.convertTo(alpha, depth, factor);
    return alpha;
}

} // namespace

void developOne(Task& task, const DevelopOptions& options, const Recipe& recipe,
                const std::function<bool(double)>& share)
{
    const double begun = now(), processor = threadSeconds();
    Photo photo = readFor(task, options, share);
    task.words = photo.note;
    const cv::Size size = photo.pixels.size();
    task.megapixels = double(size.area()) * 1e-6;
    task.read = now() - begun;

    const std::string format = options.format.empty() ? formatOfName(task.out) : options.format;
    const bool jpeg = format == "jpeg";
    const int own = photo.pixels.depth() == CV_8U ? 8 : 16;
    const bool deep = !jpeg && (options.depth ? options.depth : own) == 16;
    const cv::Mat alpha = alphaFor(photo.pixels, !jpeg, deep ? CV_16U : CV_8U);
    const int type = CV_MAKETYPE(deep ? CV_16U : CV_8U, alpha.empty() ? 3 : 4);

    Developer developer;
    const auto opening = [&](double done) { return share(0.2 + 0.1 * done); };
    if (!developer.open(asPixels(photo.pixels), opening, Opening::Needed))
        throw Stopped();
    photo.pixels.release(); // the developer has its own
    if (!developer.prepare(recipe, [&](double done) { return share(0.3 + 0.3 * done); }))
        throw Stopped();

    PhotoWriting how;
    how.format = format;
    how.quality = options.quality;
    PhotoWriter writer(task.out, size, type, photo, how);
    const auto take = [&](int y, int rows, const void* pixels, std::ptrdiff_t stride) {
        const double started = now();
        cv::Mat band(rows, size.width, type, const_cast<void*>(pixels), size_t(stride));
        if (!alpha.empty())
            cv::insertChannel(alpha.rowRange(y, y + rows), band = band.clone(), 3);
        const Hush hush;
        writer.write(band);
        task.write += now() - started;
        return share(0.6 + 0.4 * double(y + rows) / size.height);
    };
    const Order order = alpha.empty() ? Order::RGB : Order::RGBA;
    if (!developer.renderAll(recipe, deep ? Depth::Bits16 : Depth::Bits8, order, take))
        throw Stopped();
    const double finishing = now();
    writer.finish();
    task.write += now() - finishing;
    task.develop = now() - begun - task.read - task.write;
    task.processor = threadSeconds() - processor;
}
