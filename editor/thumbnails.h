#pragma once

#include "recipes.h"
#include <pixmill/develop/Developer.h>

#include <opencv2/core/mat.hpp>

#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace editor {

/// Packed R, G, B(, A) as the developer takes them.
pixmill::Pixels pixelsOf(const cv::Mat& packed);

/// The picture reduced so that its longer side has some 320 pixels.
cv::Mat smallPicture(const cv::Mat& packed);

/// Small developed pictures, made on a thread that stands back for all others. The small undeveloped ones are kept.
class Thumbnails {
public:
    /// Takes a JPEG file's bytes, on the thumbnails' thread; "" where the photograph cannot be read.
    using Take = std::function<void(std::string jpeg)>;

    Thumbnails();
    ~Thumbnails();

    void make(const std::string& path, RecipePtr recipe, Take take);

    /// Keeps a small picture that another has read. Any thread.
    void keep(const std::string& path, const cv::Mat& small);

private:
    struct Order {
        std::string path;
        RecipePtr recipe;
        Take take;
    };
    void work();
    std::string made(const Order& order);
    cv::Mat small(const std::string& path);

    std::mutex m_guard;
    std::condition_variable m_changed;
    std::list<Order> m_orders;
    std::map<std::string, cv::Mat> m_small;
    bool m_ending = false;
    std::thread m_thread;
};

} // namespace editor
