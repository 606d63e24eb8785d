#include <pixmill/develop/Photo.h>

#include <pixmill/develop/Error.h>
#include <pixmill/develop/detail/jpeg_inks.h>
#include <pixmill/develop/detail/photo_colour.h>
#include <pixmill/develop/detail/photo_errors.h>
#include <pixmill/develop/detail/photo_open.h>
#include <pixmill/develop/detail/photo_samples.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <new>

namespace pixmill {

using namespace develop;

namespace {

const char* const kRead = "readPhoto";
const char* const kInspect = "inspectPhoto";

bool stopWanted(void* progress, float share)
{
    return !(*static_cast<const std::function<bool(float)>*>(progress))(share);
}

/// The rows from the top as far as they can be read: a decoder that fails amid many keeps back those that it had.
void readByRows(const std::string& path, const Channels& channels, cv::Mat& samples)
{
    const auto in = openPicture(kRead, path);
    const OIIO::ImageSpec& spec = in->spec();
    const OIIO::TypeDesc type = typeOf(samples.depth());
    for (int y = 0; y < samples.rows; ++y)
        if (!in->read_scanlines(0, 0, spec.y + y, spec.y + y + 1, spec.z, 0, channels.count, type, samples.ptr(y)))
            return;
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
    if (!whole && spec.tile_height == 0 && std::string(in.format_name()) != "tiff") // that goes on behind the damage
        readByRows(path, channels, samples);
    return samples;
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

void addNote(std::string& note, const std::string& more)
{
    note += (note.empty() || more.empty() ? "" : "; ") + more;
}

/// Takes the inks in place of what the decoder made of them.
bool takeInks(const std::string& path, cv::Mat& samples)
{
    const cv::Mat inks = jpegInks(path);
    if (inks.size() != samples.size())
        return false;
    samples = inks;
    return true;
}

Photo read(const std::string& path, const PhotoReading& how)
{
    checkFile(kRead, path, how.maxPixels);
    auto in = openPicture(kRead, path);
    checkClaim(kRead, path, *in, how.maxPixels);
    const PhotoBlocks blocks = blocksOf(path);
    const bool cmyk = isCmyk(in->spec());
    const bool rawCmyk = cmyk && std::string(in->format_name()) == "tiff";
    if (rawCmyk)
        in = openPicture(kRead, path, true);

    Photo photo;
    std::string damage;
    const OIIO::ImageSpec spec = specOf(*in, blocks);
    const Channels channels = channelsOf(spec, rawCmyk);
    cv::Mat samples = readSamples(path, *in, channels, how, damage);
    if (samples.empty())
        return photo;
    if (channels.alpha && isMultiplied(*in))
        unmultiply(samples);
    if (samples.depth() == CV_32F)
        encodeFloats(cv::Mat(samples), channels.alpha, profileOf(spec).empty(), samples);
    const bool inks = rawCmyk || (cmyk && damage.empty() && takeInks(path, samples));
    photo.pixels = toRgb(samples, channels.alpha, inks, profileOf(spec), photo);
    turnUpright(photo.pixels, orientationOf(spec));
    photo.metadata = metadataOf(spec, blocks);
    if (cmyk && !inks) // by the decoder
        photo.note =
            photo.note.empty() ? "converted from CMYK without a profile" : "converted from CMYK without its profile";
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
    const PhotoBlocks blocks = blocksOf(path);
    const OIIO::ImageSpec spec = specOf(*in, blocks);
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
    const auto metadata = metadataOf(spec, blocks);
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
