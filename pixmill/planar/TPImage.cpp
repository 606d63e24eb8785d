#include <pixmill/planar/TPImage.h>

#include <pixmill/rows/plane.h>

using namespace pixmill::rows;

int TPImage::m_count = 0;
unsigned char* TPImage::m_lutFullToEdge_p = nullptr;
unsigned short* TPImage::m_lutEdgeToFull_p = nullptr;

namespace {

/// The low nine bits count versions of one object, the others tell objects apart.
int firstUid(int object)
{
    return int(unsigned(object) << 9);
}

} // namespace

TPImage::TPImage(int width, int height)
{
    create(width, height, false);
    m_uid = firstUid(++m_count);
}

TPImage::TPImage(const TPImage& other)
{
    *this = other;
    m_uid = firstUid(++m_count);
}

TPImage::~TPImage()
{
    --m_count; // so an id can be given out again
}

TPImage& TPImage::operator=(const TPImage& other)
{
    m_Y = other.m_Y;
    m_Dr = other.m_Dr;
    m_Db = other.m_Db;
    m_mask = other.m_mask;
    return *this;
}

void TPImage::create(int width, int height, bool)
{
    if (width == m_Y.cols && height == m_Y.rows)
        return;
    m_Y.create(height, width, CV_16UC1);
    const cv::Size half = halfSize(m_Y.size());
    ensure(m_Dr, half, CV_16UC1);
    ensure(m_Db, half, CV_16UC1);
    ensure(m_mask, half, CV_8UC1);
}

void TPImage::release()
{
    m_Y = cv::Mat();
    m_Dr = cv::Mat();
    m_Db = cv::Mat();
    m_mask = cv::Mat();
}

TPImage TPImage::clone(bool withY) const
{
    TPImage copy(0, 0);
    if (withY)
        copy.m_Y = m_Y.clone();
    copy.m_Dr = m_Dr.clone();
    copy.m_Db = m_Db.clone();
    copy.m_mask = m_mask.clone();
    return copy;
}

void TPImage::copyTo(TPImage& dst, bool withY) const
{
    if (withY)
        m_Y.copyTo(dst.m_Y);
    m_Dr.copyTo(dst.m_Dr);
    m_Db.copyTo(dst.m_Db);
    m_mask.copyTo(dst.m_mask);
}
