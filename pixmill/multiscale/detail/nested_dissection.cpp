#include <pixmill/multiscale/detail/nested_dissection.h>

#include <cstddef>

namespace pixmill::multiscale {
namespace {

/// Rectangles of at most this many cells a side are not cut any further.
constexpr int kLeafSide = 4;

class Dissection {
public:
    Dissection(int width, int height) : m_width(width), m_position(std::size_t(width) * height)
    {
        number(0, 0, width, height);
    }

    std::vector<int> take() { return std::move(m_position); }

private:
    /// Numbers a rectangle that is not empty: cut in halves, or row by row.
    void number(int x, int y, int width, int height)
    {
        if (width <= kLeafSide && height <= kLeafSide) {
            numberRows(x, y, width, height);
        } else if (width >= height) {
            const int half = width / 2;
            number(x, y, half, height);
            number(x + half + 1, y, width - half - 1, height);
            numberRows(x + half, y, 1, height);
        } else {
            const int half = height / 2;
            number(x, y, width, half);
            number(x, y + half + 1, width, height - half - 1);
            numberRows(x, y + half, width, 1);
        }
    }

    void numberRows(int x, int y, int width, int height)
    {
        for (int i = y; i < y + height; ++i)
            for (int k = x; k < x + width; ++k)
                m_position[std::size_t(i) * m_width + k] = ++m_last;
    }

    int m_width;
    int m_last = 0;
    std::vector<int> m_position;
};

} // namespace

std::vector<int> gridEliminationOrder(int width, int height)
{
    return Dissection(width, height).take();
}

} // namespace pixmill::multiscale
