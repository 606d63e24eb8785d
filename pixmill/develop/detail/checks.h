#pragma once

#include <pixmill/develop/Developer.h>

/// What hosts hand in, checked once before work begins. Each throws Error.
namespace pixmill::develop {

/// The pixels with the stride of tight rows put in for 0.
Pixels checked(const Pixels& pixels);
void check(const char* call, const Mask& mask, const std::string& name);
void check(const char* call, const Recipe& recipe);
void checkView(const char* call, const cv::Rect& view, int scale, cv::Size size);

/// The stride of rows of `bytes`, tight ones for 0.
std::ptrdiff_t checkedStride(const char* call, const void* data, std::ptrdiff_t stride, std::ptrdiff_t bytes);

/// Runs `work`; what the core throws as text or as cv::Exception arrives as Error.
template <class Work>
auto translated(const char* call, const Work& work) -> decltype(work());

} // namespace pixmill::develop

#include <opencv2/core.hpp>

namespace pixmill::develop {

template <class Work>
auto translated(const char* call, const Work& work) -> decltype(work())
{
    try {
        return work();
    } catch (const char* text) {
        throw Error(call, "", "", text);
    } catch (const cv::Exception& e) {
        if (e.code == cv::Error::StsNoMem)
            throw std::bad_alloc();
        throw Error(call, "", "", e.err);
    }
}

} // namespace pixmill::develop
