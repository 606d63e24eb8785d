#include <pixmill/develop/detail/photo_colour.h>

#include <pixmill/rows/logarithm.h>

#include <lcms2.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>

namespace pixmill::develop {

namespace {

const cmsUInt32Number kFlags = cmsFLAGS_NOCACHE | cmsFLAGS_COPY_ALPHA; // without a cache: threads may share

int colourChannels(const Profile& profile)
{
    return static_cast<int>(cmsChannelsOf(cmsGetColorSpace(profile.get())));
}

cmsUInt32Number layout(int colours, bool alpha, size_t bytes)
{
    return CHANNELS_SH(colours) | EXTRA_SH(alpha ? 1 : 0) | BYTES_SH(bytes);
}

float encoded(float light, const rows::Power& gamma)
{
    const float v = std::min(std::max(0.0f, light), 1.0f); // a NaN becomes 0
    return v <= 0.0031308f ? 12.92f * v : 1.055f * gamma(v) - 0.055f;
}

template <class T>
void cmykRow(const T* in, T* out, int n)
{
    const unsigned top = T(~T(0));
    for (int x = 0; x < n; ++x, in += 4, out += 3)
        for (int c = 0; c < 3; ++c)
            out[c] = T(((top - in[c]) * (top - in[3]) + top / 2) / top);
}

} // namespace

Profile openProfile(const std::vector<unsigned char>& bytes)
{
    cmsHPROFILE handle =
        bytes.empty() ? nullptr : cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size()));
    return handle ? Profile(handle, cmsCloseProfile) : Profile();
}

std::string coloursOf(const Profile& profile)
{
    switch (cmsGetColorSpace(profile.get())) {
    case cmsSigRgbData:
        return "RGB";
    case cmsSigGrayData:
        return "grey";
    case cmsSigCmykData:
        return "CMYK";
    case cmsSigLabData:
        return "Lab";
    default:
        return "other";
    }
}

std::string nameOf(const Profile& profile)
{
    char name[256] = "";
    cmsGetProfileInfoASCII(profile.get(), cmsInfoDescription, "en", "US", name, sizeof name);
    return name;
}

bool fits(const Profile& profile, int colours)
{
    return profile && colourChannels(profile) == colours;
}

bool toSrgb(const Profile& profile, const cv::Mat& in, bool hasAlpha, cv::Mat& out)
{
    const int colours = in.channels() - hasAlpha;
    if (!fits(profile, colours))
        return false;
    const Profile srgb(cmsCreate_sRGBProfile(), cmsCloseProfile);
    const std::shared_ptr<void> transform(cmsCreateTransform(profile.get(), layout(colours, hasAlpha, in.elemSize1()),
                                                             srgb.get(), layout(3, hasAlpha, in.elemSize1()),
                                                             INTENT_PERCEPTUAL, kFlags),
                                          [](void* made) {
                                              if (made)
                                                  cmsDeleteTransform(made);
                                          });
    if (!transform)
        return false;
    cv::Mat made(in.size(), CV_MAKETYPE(in.depth(), 3 + hasAlpha));
    for (int y = 0; y < in.rows; ++y)
        cmsDoTransform(transform.get(), in.ptr(y), made.ptr(y), static_cast<cmsUInt32Number>(in.cols));
    out = made;
    return true;
}

void cmykToRgb(const cv::Mat& in, cv::Mat& out)
{
    cv::Mat made(in.size(), CV_MAKETYPE(in.depth(), 3));
    for (int y = 0; y < in.rows; ++y)
        if (in.depth() == CV_8U)
            cmykRow(in.ptr<uchar>(y), made.ptr<uchar>(y), in.cols);
        else
            cmykRow(in.ptr<ushort>(y), made.ptr<ushort>(y), in.cols);
    out = made;
}

void encodeFloats(const cv::Mat& in, bool hasAlpha, bool isLinear, cv::Mat& out)
{
    const int n = in.channels(), light = isLinear ? n - hasAlpha : 0;
    const rows::Power gamma(1 / 2.4f);
    cv::Mat made(in.size(), CV_MAKETYPE(CV_16U, n));
    for (int y = 0; y < in.rows; ++y) {
        const float* from = in.ptr<float>(y);
        ushort* to = made.ptr<ushort>(y);
        for (int i = 0; i < in.cols * n; ++i)
            to[i] = cv::saturate_cast<ushort>((i % n < light ? encoded(from[i], gamma) : from[i]) * 65535.0f);
    }
    out = made;
}

} // namespace pixmill::develop
