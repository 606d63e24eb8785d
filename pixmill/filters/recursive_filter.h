#pragma once

#include <opencv2/core/mat.hpp>

#include <memory>

namespace pixmill::filters {

struct DomainRoom;

/// `DomainTransform::RecursiveFilter` for pictures that follow each other, such as tiles: it keeps its memory, which
/// the system may hand out anew for each of them, and whose first touch then takes up to half of the filter's time.
class RecursiveFilter {
public:
    RecursiveFilter();
    ~RecursiveFilter();

    /// Filters the pixels of a picture of floats, not empty, in place.
    void run(const cv::Mat& picture, float sigmaS, float sigmaR);

private:
    std::unique_ptr<DomainRoom> m_room;
};

} // namespace pixmill::filters
