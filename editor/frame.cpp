// From a developer's pixels to a message.
#include "frame.h"
#include "clock.h"
#include "frame_marks.h"
#include "messages.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace editor {

using namespace pixmill;

namespace {

constexpr int kMostMoving = 3'500'000; ///< Pixels of a frame while something moves.
constexpr std::size_t kKeptFrames = 6;

/// The view at half the resolution, the same place of the picture.
View coarser(View view)
{
    const cv::Rect& p = view.place;
    view.place = {p.x / 2, p.y / 2, std::max(1, p.width / 2), std::max(1, p.height / 2)};
    view.scale *= 2;
    return view;
}

/// Sides of an I420 frame's luma: even, so that colour at half size has a whole number of pixels.
cv::Size padded(cv::Size size)
{
    return {(size.width + 1) & ~1, (size.height + 1) & ~1};
}

std::size_t bytesOf(cv::Size size, bool moving)
{
    const std::size_t area = std::size_t(moving ? padded(size).area() : size.area());
    return moving ? area * 3 / 2 : area * 4;
}

/// R, G, B, A to planes of Y, Cb, Cr, the last two at half size; full range, as in JPEG files.
void toI420(const cv::Mat& rgba, unsigned char* out)
{
    static thread_local const std::unique_ptr<void, int (*)(tjhandle)> coder(tjInitCompress(), tjDestroy);
    const cv::Size size = padded(rgba.size());
    const std::size_t area = std::size_t(size.area());
    unsigned char* planes[] = {out, out + area, out + area + area / 4};
    int strides[] = {size.width, size.width / 2, size.width / 2};
    if (tjEncodeYUVPlanes(coder.get(), rgba.data, rgba.cols, int(rgba.step), rgba.rows, TJPF_RGBA, planes, strides,
                          TJSAMP_420, 0))
        throw std::runtime_error(tjGetErrorStr2(coder.get()));
}

Json headOf(const View& view, FrameKind kind, const FrameTimes& times, const Histogram& histogram)
{
    const char* const kinds[] = {"moving", "rest", "before"};
    return {{"type", "frame"},
            {"kind", kinds[int(kind)]},
            {"format", kind == FrameKind::Moving ? "I420" : "RGBA"},
            {"x", view.place.x},
            {"y", view.place.y},
            {"width", view.place.width},
            {"height", view.place.height},
            {"scale", view.scale},
            {"times", {{"wait", times.wait}, {"render", times.render}, {"marks", times.marks}, {"pack", times.pack}}},
            {"histogram", histogram.counts},
            {"clipped", {histogram.dark, histogram.bright}}};
}

void putHead(Frame& frame, const Json& head)
{
    const std::string text = head.dump();
    const std::uint32_t length = Frame::kHead - 4;
    if (text.size() > length)
        throw std::length_error("a frame's head");
    std::memcpy(frame.bytes.get(), &length, 4); // the processors this is built for begin with the low byte
    std::memcpy(frame.bytes.get() + 4, text.data(), text.size());
    std::memset(frame.bytes.get() + 4 + text.size(), ' ', length - text.size());
}

} // namespace

void Frame::reserve(std::size_t pixels)
{
    size = kHead + pixels;
    if (capacity >= size)
        return;
    bytes.reset(new unsigned char[size]);
    capacity = size;
}

FramePtr FrameMaker::unused()
{
    for (const FramePtr& frame : m_frames)
        if (frame.use_count() == 1)
            return frame;
    auto made = std::make_shared<Frame>();
    if (m_frames.size() < kKeptFrames)
        m_frames.push_back(made);
    return made;
}

FramePtr FrameMaker::make(Developer& developer, const Recipe& recipe, View view, FrameKind kind, std::uint64_t seq,
                          double wait)
{
    const bool moving = kind == FrameKind::Moving;
    if (moving && view.place.area() > kMostMoving && view.scale <= 32)
        view = coarser(view);
    view.place &= cv::Rect({}, developer.size(view.scale));
    if (view.place.empty())
        return nullptr;

    FramePtr frame = unused();
    frame->number = ++m_number;
    frame->reserve(bytesOf(view.place.size(), moving));
    cv::Mat pixels = moving ? m_scratch : cv::Mat(view.place.size(), CV_8UC4, frame->pixels());
    FrameTimes times;
    times.wait = wait;
    Watch watch;
    developer.render(view.place, view.scale, recipe, Order::RGBA, pixels);
    times.render = watch.lap();
    const Histogram histogram = histogramOf(pixels, moving ? 4 : 2);
    if (view.clipping)
        markClipping(pixels);
    if (view.mask >= 0 && view.mask < int(recipe.locals.size()) && kind != FrameKind::Before) {
        developer.renderMask(view.place, view.scale, recipe.locals[std::size_t(view.mask)].mask, m_mask);
        showMask(pixels, m_mask);
    }
    times.marks = watch.lap();
    if (moving) {
        toI420(pixels, frame->pixels());
        m_scratch = pixels;
    }
    times.pack = watch.lap();
    Json head = headOf(view, kind, times, histogram);
    head["frame"] = frame->number;
    head["seq"] = seq;
    putHead(*frame, head);
    return frame;
}

} // namespace editor
