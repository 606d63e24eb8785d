#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

/// Every operation on fixed inputs, made by whole numbers, shifts and sums that round alike everywhere, and a hash of
/// what each one gives. Files are left to the tests of the library that reads and writes them.
namespace pixmill::fingerprint {

/// Numbers that no library has a part in.
class Source {
public:
    explicit Source(std::uint64_t seed = 1) : m_state(seed * 0x9e3779b97f4a7c15u + 1) {}

    std::uint32_t next()
    {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 7;
        m_state ^= m_state << 17;
        return std::uint32_t(m_state >> 32);
    }

    /// Slopes, blocks and noise, in samples of 8 or 16 bits, or floats of 0..256; any number of channels.
    cv::Mat plane(cv::Size size, int type);

    /// The same around the middle of 16 bits, as planes of detail and colour are.
    cv::Mat around(cv::Size size, int reach);

    /// Floats of -`reach`..`reach` or of 0..`reach`.
    std::vector<float> floats(int n, float reach, bool negative);

private:
    std::uint64_t m_state;
};

/// The 64-bit hash of Fowler, Noll and Vo over the outputs of one operation.
class Hash {
public:
    void bytes(const void* p, std::size_t n)
    {
        for (const auto* b = static_cast<const unsigned char*>(p); n > 0; --n)
            m_value = (m_value ^ *b++) * 0x100000001b3u;
    }

    void add(const cv::Mat& plane);

    template <class T>
    void add(const std::vector<T>& values)
    {
        bytes(values.data(), values.size() * sizeof(T));
    }

    template <class T, class = std::enable_if_t<std::is_arithmetic_v<T>>>
    void add(T value)
    {
        bytes(&value, sizeof value);
    }

    std::uint64_t value() const { return m_value; }

private:
    std::uint64_t m_value = 0xcbf29ce484222325u;
};

struct Operation {
    std::string name;
    std::function<void(Source&, Hash&)> run;
};

using Operations = std::vector<Operation>;

Operations primitives();
Operations pictures();
Operations adjustments();
Operations filters();
Operations steps();
Operations develop();

} // namespace pixmill::fingerprint
