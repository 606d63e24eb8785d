#include <pixmill/develop/detail/jpeg_inks.h>

#include <turbojpeg.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

namespace pixmill::develop {

cv::Mat jpegInks(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> read{std::istreambuf_iterator<char>(file), {}};
    const auto* const bytes = reinterpret_cast<const unsigned char*>(read.data());
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
    int width = 0, height = 0, sampling = 0, space = 0;
    if (!decoder || tjDecompressHeader3(decoder.get(), bytes, read.size(), &width, &height, &sampling, &space) != 0 ||
        (space != TJCS_CMYK && space != TJCS_YCCK))
        return {};
    cv::Mat inks(height, width, CV_8UC4);
    if (tjDecompress2(decoder.get(), bytes, read.size(), inks.data, width, int(inks.step), height, TJPF_CMYK, 0) != 0)
        return {};
    const auto inkOf = [](uchar paper) { return uchar(255 - paper); }; // what such files hold is what ink leaves white
    std::transform(inks.datastart, inks.dataend, inks.data, inkOf);
    return inks;
}

} // namespace pixmill::develop
