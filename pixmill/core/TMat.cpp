#include <pixmill/core/TMat.h>

TMat::TMat(cv::Mat& m) : cv::Mat(m), m_roiX(0), m_roiY(0), m_roiScale(1), m_version(1000)
{
}

void TMat::setRoi(int x, int y, int scale)
{
    if (x == m_roiX && y == m_roiY && scale == m_roiScale)
        return;
    m_roiX = x;
    m_roiY = y;
    m_roiScale = scale;
    m_version = int(unsigned(m_version) + 1u);
    if (m_version == 0)
        m_version = 1;
}
