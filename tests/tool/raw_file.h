#pragma once

#include <opencv2/core/types.hpp>

#include <cstdint>
#include <initializer_list>
#include <string>

/// A camera raw file (DNG, which is TIFF by its tags) of one linear colour behind a mosaic of R G over G B, whose
/// camera sees as sRGB does.
class RawFile {
public:
    RawFile(cv::Size size, uint16_t red, uint16_t green, uint16_t blue)
    {
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                m_mosaic += bytes<uint16_t>({x % 2 != y % 2 ? green : x % 2 ? blue : red});
        const uint32_t width = uint32_t(size.width), height = uint32_t(size.height);
        add(254, kLong, bytes<uint32_t>({0}));
        add(256, kLong, bytes<uint32_t>({width}));
        add(257, kLong, bytes<uint32_t>({height}));
        add(258, kShort, bytes<uint16_t>({16}));
        add(259, kShort, bytes<uint16_t>({1}));     // not compressed
        add(262, kShort, bytes<uint16_t>({32803})); // a mosaic
        add(271, kText, std::string("Example", 8));
        add(272, kText, std::string("Raw", 4));
        add(273, kLong, bytes<uint32_t>({kMosaicAt}));
        add(277, kShort, bytes<uint16_t>({1}));
        add(278, kLong, bytes<uint32_t>({height}));
        add(279, kLong, bytes<uint32_t>({uint32_t(m_mosaic.size())}));
        add(33421, kShort, bytes<uint16_t>({2, 2}));
        add(33422, kByte, std::string("\0\1\1\2", 4));
        add(50706, kByte, std::string("\1\4\0\0", 4)); // the version of DNG
        add(50717, kLong, bytes<uint32_t>({65535}));   // white
        add(50721, kFraction, fractions({32405, -15371, -4985, -9693, 18760, 416, 556, -2040, 10572})); // XYZ to camera
        add(50728, kFraction, fractions({10000, 10000, 10000}));                                        // neutral
        add(50778, kShort, bytes<uint16_t>({21}));                                                      // by daylight
    }

    std::string contents() const
    {
        std::string file =
            std::string("II*\0", 4) + bytes<uint32_t>({8}) + bytes<uint16_t>({m_count}) + m_tags + bytes<uint32_t>({0});
        file.resize(kValuesAt);
        file += m_values;
        file.resize(kMosaicAt);
        return file + m_mosaic;
    }

private:
    enum Type : uint16_t { kByte = 1, kText = 2, kShort = 3, kLong = 4, kFraction = 10 };
    static constexpr uint32_t kValuesAt = 512, kMosaicAt = 1024;

    template <class T>
    static std::string bytes(std::initializer_list<T> values)
    {
        return {reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(T)};
    }

    static std::string fractions(std::initializer_list<int32_t> tenThousandths)
    {
        std::string out;
        for (const int32_t value : tenThousandths)
            out += bytes<int32_t>({value, 10000});
        return out;
    }

    void add(uint16_t tag, Type type, std::string value)
    {
        const uint32_t size = type == kFraction ? 8 : type == kLong ? 4 : type == kShort ? 2 : 1;
        m_tags += bytes<uint16_t>({tag, type}) + bytes<uint32_t>({uint32_t(value.size()) / size});
        if (value.size() > 4) {
            m_tags += bytes<uint32_t>({kValuesAt + uint32_t(m_values.size())});
            m_values += value;
        } else {
            value.resize(4);
            m_tags += value;
        }
        ++m_count;
    }

    std::string m_tags, m_values, m_mosaic;
    uint16_t m_count = 0;
};

inline std::string rawFile(cv::Size size, uint16_t red, uint16_t green, uint16_t blue)
{
    return RawFile(size, red, green, blue).contents();
}
