#include <pixmill/develop/Photo.h>

#include <pixmill/develop/Error.h>
#include <pixmill/develop/detail/photo_colour.h>
#include <pixmill/develop/detail/photo_errors.h>
#include <pixmill/develop/detail/photo_open.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <new>

namespace pixmill {

using namespace develop;

namespace {

const char* const kRead = "readPhoto";
const char* const kInspect = "inspectPhoto";

/// Which channels of the file are read: its colours, and alpha behind them.
struct Channels {
    int count;
    bool alpha;
};

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
    return spec.get_int_attribute("tiff:PhotometricInterpretation") == separated ||
           spec.get_string_attribute("jpeg:ColorSpace") == "CMYK";
}

bool stopWanted(void* progress, float share)
{
    return !(*static_cast<const std::function<bool(float)>*>(progress))(share);
}

/// Reads the samples, none where progress cancels; what a decoder says afterwards counts, as a truncated file may pass
/// for whole.
cv::Mat readSamples(const std::string& path, OIIO::ImageInput& in, const Channels& channels, const PhotoReading& how,
                    std::string& note)
{
    const OIIO::ImageSpec& spec = in.spec();
    const int depth = depthOf(spec);
    cv::Mat samples = cv::Mat::zeros(spec.height, spec.width, CV_MAKETYPE(depth, channels.count));
    bool stopped = false;
    std::function<bool(float)> ask = [&](float share) { return !(stopped = how.progress && !how.progress(share)); };
    const bool whole = in.read_image(0, 0, 0, channels.count, typeOf(depth), samples.data, OIIO::AutoStride,
                                     OIIO::stride_t(samples.step), OIIO::AutoStride, stopWanted, &ask);
    if (stopped)
        return {};
    const std::string said = in.geterror();
    if (whole && said.empty())
        return samples;
    const std::string damage = "is truncated or damaged (" + inOneLine(said, path, "its pixels end early") + ")";
    if (!how.lenient)
        refuseFile(kRead, path, damage);
    note = damage + ", read as far as it goes";
    return samples;
}

/// Makes R, G, B(, A) of the file's own colours; sets the profile that they then have.
cv::Mat toRgb(const cv::Mat& samples, bool alpha, bool rawCmyk, std::vector<unsigned char> bytes, Photo& photo)
{
    const int colours = samples.channels() - alpha;
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
    if (rgb.channels() >= 3)
        return rgb;
    cv::Mat spread(rgb.size(), CV_MAKETYPE(rgb.depth(), 3 + alpha));
    const int fromTo[] = {0, 0, 0, 1, 0, 2, colours, 3};
    cv::mixChannels(&rgb, 1, &spread, 1, fromTo, 3 + alpha);
    return spread;
}

void turnUpright(cv::Mat& pixels, int orientation)
{
    if (orientation >= 5)
        pixels = pixels.t();
    const int flips[] = {-2, 1, -1, 0, -2, 1, -1, 0}; // what is left to do after the transposition
    const int flip = flips[orientation - 1];
    if (flip != -2)
        cv::flip(pixels, pixels, flip);
}

std::shared_ptr<const PhotoMetadata> metadataOf(const OIIO::ImageSpec& spec)
{
    const auto metadata = std::make_shared<PhotoMetadata>();
    for (const OIIO::ParamValue& value : spec.extra_attribs)
        if (!OIIO::Strutil::istarts_with(value.name(), "ICCProfile"))
            metadata->values.push_back(value);
    return metadata;
}

void addNote(std::string& note, const std::string& more)
{
    note += (note.empty() || more.empty() ? "" : "; ") + more;
}

Photo read(const std::string& path, const PhotoReading& how)
{
    checkFile(kRead, path, how.maxPixels);
    auto in = openPicture(kRead, path);
    checkClaim(kRead, path, *in, how.maxPixels);
    const bool cmyk = isCmyk(in->spec());
    const bool rawCmyk = cmyk && std::string(in->format_name()) == "tiff";
    if (rawCmyk)
        in = openPicture(kRead, path, true);

    Photo photo;
    std::string damage;
    const Channels channels = channelsOf(in->spec(), rawCmyk);
    cv::Mat samples = readSamples(path, *in, channels, how, damage);
    if (samples.empty())
        return photo;
    if (samples.depth() == CV_32F)
        encodeLinear(cv::Mat(samples), channels.alpha, samples);
    photo.pixels = toRgb(samples, channels.alpha, rawCmyk, profileOf(in->spec()), photo);
    turnUpright(photo.pixels, orientationOf(in->spec()));
    photo.metadata = metadataOf(in->spec());
    if (cmyk && !rawCmyk && photo.note.empty())
        photo.note = "converted from CMYK without a profile";
    addNote(photo.note, damage);
    return photo;
}

} // namespace

Photo readPhoto(const std::string& path, const PhotoReading& how)
{
    try {
        return read(path, how);
    } catch (const std::bad_alloc&) {
        refuseFile(kRead, path, "there is not enough memory for its pixels");
    } catch (const cv::Exception&) { // OpenCV's own way to tell the same
        refuseFile(kRead, path, "there is not enough memory for its pixels");
    }
}

PhotoInfo inspectPhoto(const std::string& path)
{
    checkFile(kInspect, path, PhotoReading().maxPixels);
    const auto in = openPicture(kInspect, path);
    const OIIO::ImageSpec& spec = in->spec();
    PhotoInfo info;
    info.format = in->format_name();
    info.channels = spec.nchannels;
    info.bits = spec.get_int_attribute("oiio:BitsPerSample", static_cast<int>(spec.format.size()) * 8);
    info.orientation = orientationOf(spec);
    const bool turned = info.orientation >= 5;
    info.width = turned ? spec.height : spec.width;
    info.height = turned ? spec.width : spec.height;
    const Profile profile = openProfile(profileOf(spec));
    info.profile = profile ? nameOf(profile) : "";
    const auto metadata = metadataOf(spec);
    for (const OIIO::ParamValue& value : metadata->values)
        info.values.emplace_back(value.name().string(), value.get_string(200));
    return info;
}

bool toScreenColours(Photo& photo)
{
    if (photo.profile.empty())
        return true;
    const bool done =
        develop::toSrgb(openProfile(photo.profile), photo.pixels, photo.pixels.channels() == 4, photo.pixels);
    if (done)
        photo.profile.clear();
    return done;
}

} // namespace pixmill
