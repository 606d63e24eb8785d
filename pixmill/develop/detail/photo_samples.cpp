#include <pixmill/develop/detail/photo_samples.h>

#include <pixmill/develop/detail/photo_colour.h>
#include <pixmill/develop/detail/photo_open.h>

#include <opencv2/core.hpp>

#include <algorithm>

namespace pixmill::develop {

namespace {

template <class T>
void unmultiplyRow(T* row, int channels, int n, float full)
{
    for (T* pixel = row; pixel < row + n * channels; pixel += channels) {
        const auto alpha = static_cast<float>(pixel[channels - 1]);
        for (int c = 0; alpha > 0 && c < channels - 1; ++c)
            pixel[c] = cv::saturate_cast<T>(static_cast<float>(pixel[c]) * full / alpha);
    }
}

} // namespace

Channels channelsOf(const OIIO::ImageSpec& spec, bool cmyk)
{
    const int colours = cmyk ? 4 : spec.nchannels >= 3 ? 3 : 1;
    const bool alpha = !cmyk && spec.alpha_channel == colours;
    return {std::min(spec.nchannels, colours + alpha), alpha};
}

int depthOf(const OIIO::ImageSpec& spec)
{
    if (spec.format.is_floating_point())
        return CV_32F;
    return spec.format.size() == 1 ? CV_8U : CV_16U;
}

OIIO::TypeDesc typeOf(int depth)
{
    return depth == CV_32F ? OIIO::TypeFloat : depth == CV_8U ? OIIO::TypeUInt8 : OIIO::TypeUInt16;
}

bool isCmyk(const OIIO::ImageSpec& spec)
{
    const int separated = 5; // TIFF's number for inks
    const std::string space = spec.get_string_attribute("jpeg:ColorSpace");
    return spec.get_int_attribute("tiff:PhotometricInterpretation") == separated || space == "CMYK" ||
           space == "YCbCrK";
}

bool isMultiplied(const OIIO::ImageInput& in)
{
    const std::string format = in.format_name();
    return format == "webp" || format == "openexr" ||
           (format == "tiff" && !in.spec().get_int_attribute("oiio:UnassociatedAlpha"));
}

void unmultiply(cv::Mat& samples)
{
    for (int y = 0; y < samples.rows; ++y)
        if (samples.depth() == CV_8U)
            unmultiplyRow(samples.ptr<uchar>(y), samples.channels(), samples.cols, 255.0f);
        else if (samples.depth() == CV_16U)
            unmultiplyRow(samples.ptr<ushort>(y), samples.channels(), samples.cols, 65535.0f);
        else
            unmultiplyRow(samples.ptr<float>(y), samples.channels(), samples.cols, 1.0f);
}

cv::Mat spreadGrey(const cv::Mat& samples, bool alpha)
{
    if (samples.channels() >= 3)
        return samples;
    const int colours = samples.channels() - alpha;
    cv::Mat spread(samples.size(), CV_MAKETYPE(samples.depth(), 3 + alpha));
    const int fromTo[] = {0, 0, 0, 1, 0, 2, colours, 3};
    cv::mixChannels(&samples, 1, &spread, 1, fromTo, 3 + alpha);
    return spread;
}

cv::Mat toRgb(const cv::Mat& samples, bool alpha, bool rawCmyk, std::vector<unsigned char> bytes, Photo& photo)
{
    const Profile profile = openProfile(bytes);
    cv::Mat rgb = samples;
    if (rawCmyk) {
        const bool own = toSrgb(profile, samples, false, rgb);
        if (!own)
            cmykToRgb(samples, rgb);
        photo.note = own ? "converted from CMYK to sRGB by its profile" : "converted from CMYK without a profile";
    } else if (profile && coloursOf(profile) != "RGB") {
        const bool own = toSrgb(profile, samples, alpha, rgb);
        photo.note = own ? "converted from " + coloursOf(profile) + " to sRGB by its profile"
                         : "its profile is for " + coloursOf(profile) + ", its colours are taken for sRGB";
    } else {
        photo.profile = std::move(bytes);
        if (!photo.profile.empty() && !profile)
            photo.note = "its colour profile is damaged and goes through as it is";
    }
    return spreadGrey(rgb, alpha);
}

std::shared_ptr<const PhotoMetadata> metadataOf(const OIIO::ImageSpec& spec, PhotoBlocks blocks)
{
    const auto metadata = std::make_shared<PhotoMetadata>();
    metadata->blocks = std::move(blocks);
    for (const OIIO::ParamValue& value : spec.extra_attribs)
        if (!OIIO::Strutil::istarts_with(value.name(), "ICCProfile"))
            metadata->values.push_back(value);
    return metadata;
}

} // namespace pixmill::develop
