#include <pixmill/curves/TLut2D.h>

#include <pixmill/curves/detail/ydrdb_tables.h>
#include <pixmill/primitives/memory.h>

#include <algorithm>

using namespace pixmill::curves;

TLut2D::TLut2D(int n) : m_N(std::min(n, 16))
{
    for (int i = 0; i < m_N; ++i)
        m_lut_p[i] = allocateTable();
}

TLut2D::~TLut2D()
{
    for (ushort* table : m_lut_p)
        ippiFree(table);
}

void TLut2D::apply(const cv::Mat&, cv::Mat&, cv::Mat&)
{
}

void TLut2D::computeLUT()
{
}
