#pragma once

#include "frame.h"
#include "recipes.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace editor {

/// What a photograph tells, on its own thread.
struct PhotographEvents {
    std::function<void(double share)> opening;
    std::function<void(const cv::Mat& small)> read; ///< The undeveloped picture, small, soon after the start.
    std::function<void(cv::Size size)> opened;
    std::function<void(const std::string& fault)> failed;
    std::function<void(int tab, FramePtr frame)> frame;
    std::function<void()> ended; ///< The last word: joining is instant now.
};

/// An open photograph: one developer, on a thread of its own, for all the tabs that show it.
///
/// There is no queue. Each tab has a mailbox with its newest view, the photograph one with the newest settings; whoever
/// comes late overwrites what was not rendered yet. At most two frames are on the way to a tab, which acknowledges each
/// after it was painted. All members but the thread's own may be called from one other thread, and never wait for work.
class Photograph {
public:
    Photograph(std::string path, RecipePtr recipe, PhotographEvents events);
    ~Photograph();

    /// Ends opening or rendering soon; `ended` follows.
    void stop();

    /// New settings, by message `seq` of `tab`; tab -1: of none.
    void settings(RecipePtr recipe, bool moving, int tab, std::uint64_t seq);
    void view(int tab, const View& view, bool moving, std::uint64_t seq);
    void acknowledge(int tab, std::uint64_t frame);
    void leave(int tab);

private:
    struct Viewer {
        View view;
        bool moving = false;
        std::uint64_t seq = 0, viewNumber = 0;
        double since = 0; ///< When `seq` came.
        std::uint64_t shownView = 0, shownRecipe = 0, shownBefore = 0;
        bool shownMoving = false;
        std::vector<std::uint64_t> onTheWay;
    };
    struct Job {
        int tab = -1;
        FrameKind kind = FrameKind::Rest;
        View view;
        RecipePtr recipe;
        std::uint64_t seq = 0, viewNumber = 0, recipeNumber = 0;
        double since = 0;
    };

    void work();
    bool open();
    bool nextJob(Job& job);
    bool findJob(Job& job);
    bool isDue(const Viewer& viewer, FrameKind& kind) const;
    void render(const Job& job);
    void sent(const Job& job, const FramePtr& frame);

    const std::string m_path;
    const PhotographEvents m_events;
    pixmill::Developer m_developer; ///< Of the thread alone, like the maker.
    FrameMaker m_maker;

    std::mutex m_guard; ///< Of all below.
    std::condition_variable m_changed;
    std::atomic<bool> m_stop{false};
    RecipePtr m_recipe;
    bool m_moving = false;
    std::uint64_t m_recipeNumber = 1;
    std::map<int, Viewer> m_viewers;
    int m_lastTab = -1;
    std::thread m_thread;
};

} // namespace editor
