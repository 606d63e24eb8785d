#pragma once

#include <pixmill/develop/Photo.h>
#include <pixmill/develop/detail/photo_blocks.h>

#include <OpenImageIO/imageio.h>
#include <opencv2/core/mat.hpp>

#include <memory>
#include <vector>

/// From a file's own samples to R, G, B(, A).
namespace pixmill::develop {

/// Which channels of the file are read: its colours, and alpha behind them.
struct Channels {
    int count;
    bool alpha;
};

Channels channelsOf(const OIIO::ImageSpec& spec, bool cmyk);

/// CV_8U, CV_16U or CV_32F, as samples are read.
int depthOf(const OIIO::ImageSpec& spec);

OIIO::TypeDesc typeOf(int depth);

bool isCmyk(const OIIO::ImageSpec& spec);

/// Makes R, G, B(, A) of the file's own colours; sets the profile that they then have.
cv::Mat toRgb(const cv::Mat& samples, bool alpha, bool rawCmyk, std::vector<unsigned char> bytes, Photo& photo);

/// Whether a file's colours are multiplied by its alpha as they come from the decoder.
bool isMultiplied(const OIIO::ImageInput& in);

/// Divides colours by the last channel, alpha; where that is 0 they stay.
void unmultiply(cv::Mat& samples);

/// Grey becomes three equal channels.
cv::Mat spreadGrey(const cv::Mat& samples, bool alpha);

std::shared_ptr<const PhotoMetadata> metadataOf(const OIIO::ImageSpec& spec, PhotoBlocks blocks);

} // namespace pixmill::develop
