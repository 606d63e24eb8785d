#pragma once

#include <pixmill/develop/Developer.h>

#include <opencv2/core/mat.hpp>

#include <cstdint>
#include <memory>
#include <vector>

namespace editor {

/// What a page shows of a photograph: a place in the picture reduced by `scale`, and what is drawn over it.
struct View {
    cv::Rect place;
    int scale = 1;
    bool before = false;   ///< At rest, the neutral picture is sent too.
    bool clipping = false; ///< Pixels without drawing left are marked.
    int mask = -1;         ///< The local adjustment whose mask is shown; -1: none.
};

enum class FrameKind { Moving, Rest, Before };

/// A frame as it goes over the wire: four bytes of length, that many of JSON, padded by spaces, then the pixels.
struct Frame {
    static constexpr std::size_t kHead = 4096; ///< Length and JSON together.

    std::unique_ptr<unsigned char[]> bytes;
    std::size_t size = 0, capacity = 0;
    std::uint64_t number = 0;

    /// Room for so many bytes of pixels; what was there is lost.
    void reserve(std::size_t pixels);
    unsigned char* pixels() { return bytes.get() + kHead; }
};

using FramePtr = std::shared_ptr<Frame>;

/// Told with a frame, for the page's table of times.
struct FrameTimes {
    double wait = 0, render = 0, marks = 0, pack = 0; ///< Milliseconds.
};

/// Makes frames, and uses their memory again once nobody sends them any more. One thread.
class FrameMaker {
public:
    /// Renders and packs. At rest a frame has the bits of Developer::render in R, G, B, A; while something moves it is
    /// I420, and coarser where the view is so large that it could not keep the pace.
    ///
    /// @param seq   The page's newest message that this frame shows.
    /// @param wait  Milliseconds from that message to now.
    /// @return a frame without pixels to show is null.
    FramePtr make(pixmill::Developer& developer, const pixmill::Recipe& recipe, View view, FrameKind kind,
                  std::uint64_t seq, double wait);

private:
    FramePtr unused();

    std::vector<FramePtr> m_frames;
    cv::Mat m_scratch, m_mask;
    std::uint64_t m_number = 0;
};

} // namespace editor
