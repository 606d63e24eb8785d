#include "photograph.h"
#include "clock.h"
#include "thumbnails.h"
#include <pixmill/develop/Photo.h>

#include <algorithm>

namespace editor {

using namespace pixmill;

namespace {

constexpr std::size_t kMostOnTheWay = 2;
constexpr double kReadShare = 0.25; ///< Of opening.

} // namespace

Pixels pixelsOf(const cv::Mat& packed)
{
    return {packed.data,
            packed.cols,
            packed.rows,
            std::ptrdiff_t(packed.step),
            packed.depth() == CV_8U ? Depth::Bits8 : Depth::Bits16,
            packed.channels() == 4 ? Order::RGBA : Order::RGB};
}

Photograph::Photograph(std::string path, RecipePtr recipe, PhotographEvents events)
    : m_path(std::move(path)), m_events(std::move(events)), m_recipe(std::move(recipe)), m_thread([this] { work(); })
{
}

Photograph::~Photograph()
{
    stop();
    m_thread.join();
}

void Photograph::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_stop = true;
    }
    m_changed.notify_one();
}

void Photograph::settings(RecipePtr recipe, bool moving, int tab, std::uint64_t seq)
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_recipe = std::move(recipe);
        m_moving = moving;
        ++m_recipeNumber;
        const auto viewer = m_viewers.find(tab);
        if (viewer != m_viewers.end()) {
            viewer->second.seq = seq;
            viewer->second.since = now();
        }
    }
    m_changed.notify_one();
}

void Photograph::view(int tab, const View& view, bool moving, std::uint64_t seq)
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        Viewer& viewer = m_viewers[tab];
        viewer.view = view;
        viewer.moving = moving;
        viewer.seq = seq;
        viewer.since = now();
        ++viewer.viewNumber;
    }
    m_changed.notify_one();
}

void Photograph::acknowledge(int tab, std::uint64_t frame)
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        const auto viewer = m_viewers.find(tab);
        if (viewer == m_viewers.end())
            return;
        std::vector<std::uint64_t>& way = viewer->second.onTheWay;
        way.erase(std::remove(way.begin(), way.end(), frame), way.end());
    }
    m_changed.notify_one();
}

void Photograph::leave(int tab)
{
    const std::lock_guard<std::mutex> lock(m_guard);
    m_viewers.erase(tab);
}

void Photograph::work()
{
    try {
        if (open())
            for (Job job; nextJob(job);)
                render(job);
    } catch (const Error& fault) {
        m_events.failed(fault.given);
    } catch (const std::exception& fault) {
        m_events.failed(fault.what());
    }
    m_events.ended();
}

/// Takes the photograph apart, in the screen's colours. @return false when stopped.
bool Photograph::open()
{
    double told = -1;
    const auto tell = [&](double share) {
        if (share - told >= 0.02)
            m_events.opening(told = share);
        return !m_stop;
    };
    PhotoReading how;
    how.progress = [&](float share) { return tell(kReadShare * double(share)); };
    Photo photo = readPhoto(m_path, how);
    if (photo.pixels.empty())
        return false;
    toScreenColours(photo);
    m_events.read(smallPicture(photo.pixels));
    const bool whole = m_developer.open(pixelsOf(photo.pixels),
                                        [&](double share) { return tell(kReadShare + (1 - kReadShare) * share); });
    if (whole)
        m_events.opened(m_developer.size());
    return whole;
}

/// Waits for a tab that wants to see something. @return false when stopped.
bool Photograph::nextJob(Job& job)
{
    std::unique_lock<std::mutex> lock(m_guard);
    m_changed.wait(lock, [&] { return m_stop || findJob(job); });
    return !m_stop;
}

/// The tabs take turns.
bool Photograph::findJob(Job& job)
{
    auto next = m_viewers.upper_bound(m_lastTab);
    for (std::size_t i = 0; i < m_viewers.size(); ++i, ++next) {
        if (next == m_viewers.end())
            next = m_viewers.begin();
        const Viewer& viewer = next->second;
        if (!isDue(viewer, job.kind))
            continue;
        job.tab = m_lastTab = next->first;
        job.view = viewer.view;
        job.recipe = m_recipe;
        job.seq = viewer.seq;
        job.since = viewer.since;
        job.viewNumber = viewer.viewNumber;
        job.recipeNumber = m_recipeNumber;
        return true;
    }
    return false;
}

bool Photograph::isDue(const Viewer& viewer, FrameKind& kind) const
{
    if (viewer.viewNumber == 0 || viewer.onTheWay.size() >= kMostOnTheWay)
        return false;
    const bool moving = m_moving || viewer.moving;
    kind = moving ? FrameKind::Moving : FrameKind::Rest;
    if (viewer.shownView != viewer.viewNumber || viewer.shownRecipe != m_recipeNumber ||
        (viewer.shownMoving && !moving))
        return true;
    kind = FrameKind::Before;
    return !moving && viewer.view.before && viewer.shownBefore != viewer.viewNumber;
}

void Photograph::render(const Job& job)
{
    const Recipe neutral;
    FramePtr frame;
    try {
        const Recipe& recipe = job.kind == FrameKind::Before ? neutral : *job.recipe;
        frame = m_maker.make(m_developer, recipe, job.view, job.kind, job.seq, now() - job.since);
    } catch (const Error& fault) {
        m_events.failed(fault.what()); // these settings cannot be shown; the next ones may
    }
    sent(job, frame);
    if (frame)
        m_events.frame(job.tab, frame);
}

/// Writes down what the tab will have seen.
void Photograph::sent(const Job& job, const FramePtr& frame)
{
    const std::lock_guard<std::mutex> lock(m_guard);
    const auto found = m_viewers.find(job.tab);
    if (found == m_viewers.end())
        return;
    Viewer& viewer = found->second;
    if (frame)
        viewer.onTheWay.push_back(frame->number);
    if (job.kind == FrameKind::Before) {
        viewer.shownBefore = job.viewNumber;
        return;
    }
    viewer.shownView = job.viewNumber;
    viewer.shownRecipe = job.recipeNumber;
    viewer.shownMoving = job.kind == FrameKind::Moving;
}

} // namespace editor
