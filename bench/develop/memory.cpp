// What an open photograph holds and what opening, a view and the whole of it need, in bytes a pixel beyond the
// photograph's own:  developer_memory [WIDTH HEIGHT]
#include <pixmill/develop/Developer.h>

#include <opencv2/core.hpp>

#include <malloc.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace pixmill;

namespace {

/// A line of /proc/self/status in bytes: VmRSS, what is held now; VmHWM, the most since `forgetPeak`.
double told(const char* name)
{
    double kilobytes = 0;
    if (std::FILE* status = std::fopen("/proc/self/status", "r")) {
        for (char line[200]; std::fgets(line, sizeof line, status);)
            if (std::strncmp(line, name, std::strlen(name)) == 0)
                kilobytes = std::atof(line + std::strlen(name) + 1);
        std::fclose(status);
    }
    return kilobytes * 1024;
}

void forgetPeak()
{
    if (std::FILE* peak = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", peak);
        std::fclose(peak);
    }
}

double processorSeconds()
{
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return double(used.ru_utime.tv_sec + used.ru_stime.tv_sec) + (used.ru_utime.tv_usec + used.ru_stime.tv_usec) * 1e-6;
}

/// Slopes, edges and grain, B, G, R.
cv::Mat scene(cv::Size size)
{
    cv::Mat out(size, CV_8UC3);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const int edge = (x / 97 + y / 71) % 2 ? 60 : 0, grain = (x * 7 + y * 13) % 23;
            out.at<cv::Vec3b>(y, x) = cv::Vec3b(uchar(40 + 90 * x / size.width + edge + grain),
                                                uchar(30 + 90 * y / size.height + edge + grain), uchar(50 + edge));
        }
    return out;
}

/// Does a step, and tells its processor time and the memory beyond `before`.
template <class Work>
void step(const char* what, double before, double pixels, const Work& work)
{
    forgetPeak();
    const double begun = processorSeconds();
    const auto started = std::chrono::steady_clock::now();
    work();
    const double seconds = processorSeconds() - begun, peak = told("VmHWM");
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    malloc_trim(0);
    std::printf("%-28s %6.2f s (%.2f of processor time), at most %5.2f bytes a pixel, %5.2f kept\n", what, wall,
                seconds, (peak - before) / pixels, (told("VmRSS") - before) / pixels);
}

} // namespace

int main(int argc, char** argv)
{
    const cv::Size size = argc > 2 ? cv::Size(std::atoi(argv[1]), std::atoi(argv[2])) : cv::Size(12288, 8192);
    const cv::Mat photo = scene(size);
    const double before = told("VmRSS"), pixels = double(photo.total());
    std::printf("%d x %d, %.1f megapixels, 8 bits\n", size.width, size.height, pixels * 1e-6);

    Developer developer;
    step("open", before, pixels, [&] {
        developer.open({photo.data, photo.cols, photo.rows, std::ptrdiff_t(photo.step), Depth::Bits8, Order::BGR});
    });
    Recipe recipe;
    recipe.light.shadows = 0.3f;
    recipe.detail.medium.base.slope = 0.2f;
    recipe.color.warmth = 0.1f;
    cv::Mat shown;
    step("a view of 1920 x 1080", before, pixels, [&] {
        const cv::Rect whole({0, 0}, size);
        developer.render(cv::Rect(size.width / 2, size.height / 2, 1920, 1080) & whole, 1, recipe, Order::BGRA, shown);
    });
    double sum = 0; // of a sample a row, so that the rows are seen to come
    step("all of it at 16 bits", before, pixels, [&] {
        developer.renderAll(
            recipe, Depth::Bits16, Order::BGR, [&](int, int rows, const void* band, std::ptrdiff_t step) {
                for (int y = 0; y < rows; ++y)
                    sum += *reinterpret_cast<const unsigned short*>(static_cast<const char*>(band) + y * step);
                return true;
            });
    });
    std::printf("mean of the first column: %.1f of 65535\n", sum / size.height);
}
