#include "thumbnails.h"
#include <pixmill/core/Threads.h>
#include <pixmill/develop/Photo.h>

#include <opencv2/imgproc.hpp>

#include <sys/resource.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <algorithm>

namespace editor {

using namespace pixmill;

namespace {

constexpr int kSide = 320, kQuality = 82, kBehind = 10;

std::string jpegOf(const cv::Mat& rgb)
{
    const std::unique_ptr<void, int (*)(tjhandle)> coder(tjInitCompress(), tjDestroy);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const int failed = tjCompress2(coder.get(), rgb.data, rgb.cols, int(rgb.step), rgb.rows, TJPF_RGB, &bytes, &size,
                                   TJSAMP_420, kQuality, 0);
    const std::string jpeg = failed ? "" : std::string(reinterpret_cast<const char*>(bytes), size);
    tjFree(bytes);
    return jpeg;
}

} // namespace

cv::Mat smallPicture(const cv::Mat& packed)
{
    const double factor = std::min(1.0, double(kSide) / std::max(packed.cols, packed.rows));
    const cv::Size size(std::max(1, int(packed.cols * factor + 0.5)), std::max(1, int(packed.rows * factor + 0.5)));
    cv::Mat small;
    cv::resize(packed, small, size, 0, 0, cv::INTER_AREA);
    return small;
}

Thumbnails::Thumbnails() : m_thread([this] { work(); })
{
}

Thumbnails::~Thumbnails()
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_ending = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void Thumbnails::make(const std::string& path, RecipePtr recipe, Take take)
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_orders.push_back({path, std::move(recipe), std::move(take)});
    }
    m_changed.notify_one();
}

void Thumbnails::keep(const std::string& path, const cv::Mat& small)
{
    const std::lock_guard<std::mutex> lock(m_guard);
    m_small[path] = small;
}

void Thumbnails::work()
{
    setpriority(PRIO_PROCESS, id_t(gettid()), kBehind);
    const ThreadScope alone(1);
    std::unique_lock<std::mutex> lock(m_guard);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ending || !m_orders.empty(); });
        if (m_ending)
            return;
        const Order order = std::move(m_orders.front());
        m_orders.pop_front();
        lock.unlock();
        order.take(made(order));
        lock.lock();
    }
}

cv::Mat Thumbnails::small(const std::string& path)
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        const auto known = m_small.find(path);
        if (known != m_small.end())
            return known->second;
    }
    PhotoReading how;
    how.lenient = true;
    how.progress = [this](float) {
        const std::lock_guard<std::mutex> lock(m_guard);
        return !m_ending;
    };
    Photo photo = readPhoto(path, how);
    if (photo.pixels.empty())
        return {};
    toScreenColours(photo);
    const cv::Mat made = smallPicture(photo.pixels);
    keep(path, made);
    return made;
}

std::string Thumbnails::made(const Order& order)
try {
    const cv::Mat undeveloped = small(order.path);
    Developer developer;
    cv::Mat shown;
    if (undeveloped.empty() || !developer.open(pixelsOf(undeveloped)))
        return "";
    developer.render({{}, developer.size()}, 1, *order.recipe, pixmill::Order::RGB, shown);
    return jpegOf(shown);
} catch (const Error&) {
    return ""; // the page shows the name alone
}

} // namespace editor
