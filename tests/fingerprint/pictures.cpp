#include "fingerprint.h"
#include <pixmill/core/TImage.h>
#include <pixmill/mask/TDrawMask.h>
#include <pixmill/planar/TPImage.h>

namespace pixmill::fingerprint {

namespace {

const cv::Size kSize(193, 141), kHalf(97, 71), kEven(192, 140);

void addPicture(const TPImage& picture, Hash& hash)
{
    hash.add(picture.m_Y);
    hash.add(picture.m_Dr);
    hash.add(picture.m_Db);
}

void addImage(const TImage& image, Hash& hash)
{
    hash.add(image.toMat(0));
    if (image.type() == TImage::IM_C)
        hash.add(image.toMat(1));
}

TPImage pictureOf(Source& source)
{
    const cv::Mat packed = source.plane(kSize, CV_16UC4);
    TPImage picture(kSize.width, kSize.height);
    picture.convertFrom(packed.ptr<ushort>(), packed.cols, packed.rows, int(packed.step1()));
    return picture;
}

/// A picture of this type in packed pixels, and one of planes.
TImage imageOf(Source& source, TImage::IMTYPE type)
{
    TImage image(type, {kEven.width, kEven.height});
    for (int i = 0; i < (type == TImage::IM_C ? 2 : 1); ++i)
        source.plane({image.toMat(i).cols, image.toMat(i).rows}, image.toMat(i).type()).copyTo(image.toMat(i));
    return image;
}

template <class Body>
Operation picture(const char* name, const Body& body)
{
    return {name, [=](Source& source, Hash& hash) {
                const TPImage p = pictureOf(source);
                body(p, source, hash);
            }};
}

/// Three planes for a conversion to separate colours.
template <class T, class Body>
void colours(cv::Size size, Hash& hash, const Body& body)
{
    std::vector<cv::Mat> planes;
    T* pointers[3];
    for (T*& p : pointers)
        p = planes.emplace_back(cv::Mat::zeros(size, cv::DataType<T>::type)).template ptr<T>();
    body(pointers);
    for (const cv::Mat& plane : planes)
        hash.add(plane);
}

void addConversions(Operations& all)
{
    all.push_back(
        picture("TPImage::convertFrom, 16 bits", [](const TPImage& p, Source&, Hash& h) { addPicture(p, h); }));
    all.push_back({"TPImage::convertFrom, 8 bits", [](Source& s, Hash& h) {
                       const cv::Mat packed = s.plane(kSize, CV_8UC4);
                       TPImage p(kSize.width, kSize.height);
                       p.convertFrom(packed.data, packed.cols, packed.rows, int(packed.step));
                       addPicture(p, h);
                   }});
    all.push_back({"TPImage::convertFrompRGB and 15U", [](Source& s, Hash& h) {
                       cv::Mat planes[3];
                       ushort* rows[3];
                       for (int i = 0; i < 3; ++i)
                           rows[i] = (planes[i] = s.plane(kSize, CV_16UC1) / 2).ptr<ushort>();
                       TPImage p(kSize.width, kSize.height);
                       p.convertFrompRGB(rows, kSize.width, kSize.height, 2 * kSize.width);
                       addPicture(p, h);
                       p.convertFrompRGB15U(rows, kSize.width, kSize.height, 2 * kSize.width);
                       addPicture(p, h);
                       cv::Mat y;
                       TPImage::PRGB2Y(planes[0], planes[1], planes[2], y);
                       h.add(y);
                       TPImage::PRGB15U2Y(planes[0], planes[1], planes[2], y);
                       h.add(y);
                   }});
    all.push_back(picture("TPImage::convertTo", [](const TPImage& p, Source&, Hash& h) {
        cv::Mat out(kSize, CV_8UC4, cv::Scalar::all(0));
        p.convertTo(out.data, int(out.step));
        h.add(out);
        TPImage::YDRDBToQImage(p.m_Y, p.m_Dr, p.m_Db, out.data, out.cols, out.rows, int(out.step));
        h.add(out);
    }));
    all.push_back(picture("TPImage::convertTopRGB, 15U and 8 bits", [](const TPImage& p, Source&, Hash& h) {
        colours<ushort>(kSize, h, [&](ushort** out) { p.convertTopRGB(out, 2 * kSize.width); });
        colours<ushort>(kSize, h, [&](ushort** out) { p.convertTopRGB15U(out, 2 * kSize.width); });
        colours<uchar>(kHalf, h, [&](uchar** out) { p.convertToHalfpRGB(out, kHalf.width); });
    }));
    all.push_back({"TPImage::YDRDB2RGB, 15U and 8U", [](Source& s, Hash& h) {
                       const cv::Mat y = s.plane(kSize, CV_16UC1), dr = s.around(kSize, 20000),
                                     db = s.around(kSize, 9000);
                       cv::Mat r(kSize, CV_16UC1), g = r.clone(), b = r.clone(), r8(kSize, CV_8UC1, cv::Scalar(0)),
                                                   g8 = r8.clone(), b8 = r8.clone();
                       const auto add = [&] {
                           for (const cv::Mat* m : {&r, &g, &b, &r8, &g8, &b8})
                               h.add(*m);
                       };
                       const TPImage p(4, 4);
                       TPImage::YDRDB2RGB(y, dr, db, r, g, b);
                       add();
                       p.YDRDB2RGB15U(y, dr, db, r, g, b);
                       add();
                       p.YDRDB2RGB8U(y, dr, db, r8, g8, b8);
                       add();
                   }});
}

void addViews(Operations& all)
{
    all.push_back(picture("TPImage::MatRoi", [](const TPImage& p, Source&, Hash& h) {
        for (const int scale : {1, 2, 3, 5})
            for (const bool smooth : {false, true}) {
                h.add(TPImage::MatRoi(p.m_Y, 20, 10, 120, 90, scale, false, smooth));
                h.add(TPImage::MatRoi(p.m_Dr, 20, 10, 120, 90, scale, true, smooth));
            }
    }));
    all.push_back(picture("TPImage edges", [](const TPImage& p, Source& s, Hash& h) {
        const cv::Mat half = s.plane(kHalf, CV_16UC1), after = s.plane(kHalf, CV_16UC1);
        cv::Mat edge, full, gained = p.m_Y.clone(), table;
        std::vector<uchar> toEdge(65536);
        std::vector<ushort> toFull(256);
        TPImage::m_lutFullToEdge_p = toEdge.data();
        TPImage::m_lutEdgeToFull_p = toFull.data();
        TPImage::computeLUT();
        TPImage::fullToEdge(p.m_Y, half, edge);
        TPImage::edgeToFull(edge, half, full, 0.8f);
        TPImage::edgeToFull(edge, half, after, gained, 0.01f, 0.7f);
        TPImage::applyFullToEdgeLUT(p.m_Y, table);
        TPImage::m_lutFullToEdge_p = nullptr;
        TPImage::m_lutEdgeToFull_p = nullptr;
        for (const cv::Mat* m : {&edge, &full, &gained, &table})
            h.add(*m);
        h.add(toEdge);
        h.add(toFull);
    }));
}

void addImages(Operations& all)
{
    all.push_back({"TImage to YCM and back", [](Source& s, Hash& h) {
                       for (const bool wide : {false, true}) {
                           const TImage in = imageOf(s, wide ? TImage::IM_RGBA16U : TImage::IM_RGBA8U);
                           TImage y(TImage::IM_Y, {2, 2}), c(TImage::IM_C, {2, 2}), m(TImage::IM_M, {2, 2});
                           (wide ? TImage::rgba16uToYCM : TImage::rgba8uToYCM)(in, y, c, m);
                           TImage other(in.type(), in.size()), shifted(c);
                           (wide ? TImage::YCMToRgba16u : TImage::YCMToRgba8u)(y, c, m, other);
                           TImage::updateCfromYChange(y, c, imageOf(s, TImage::IM_Y), shifted, 0.5f);
                           for (const TImage* i : {&y, &c, &m, &other, &shifted})
                               addImage(*i, h);
                           h.add(y.halfY8U());
                       }
                   }});
    all.push_back({"TImage depths, order and bytes", [](Source& s, Hash& h) {
                       TImage in = imageOf(s, TImage::IM_RGBA8U), wide(TImage::IM_RGBA16U, in.size()), back(in);
                       in.swapC4RBCannel();
                       TImage::rgba8uTo16u(in, wide);
                       TImage::rgba16uTo8u(wide, back);
                       TImage y(TImage::IM_Y, {2, 2}), c(TImage::IM_C, {2, 2}), m(TImage::IM_M, {2, 2});
                       const cv::Mat bgra = s.plane(kEven, CV_8UC4);
                       TImage::bgra8uToTImage(bgra.data, bgra.cols, bgra.rows, int(bgra.step), y, c, m);
                       cv::Mat out(kEven, CV_8UC4);
                       TImage::timageToBgra8u(y, c, m, out.data, int(out.step));
                       for (const TImage* i : {&in, &wide, &back, &y, &c, &m})
                           addImage(*i, h);
                       h.add(out);
                   }});
}

} // namespace

Operations pictures()
{
    Operations all;
    addConversions(all);
    addViews(all);
    addImages(all);
    all.push_back(picture("TDrawMask", [](const TPImage& p, Source&, Hash& h) {
        TPImage copy = p;
        TDrawMask painter;
        painter.setInImage(&copy);
        painter.setValue(30);
        for (const float edge : {0.0f, 0.5f}) {
            painter.drawStart(0, 0);
            for (int i = 0; i < 12; ++i)
                painter.drawADot({20 + 11 * i, 30 + 5 * i}, 200, 70, 20, 0.7f, edge);
            painter.drawEnd();
        }
        painter.drawStart(0, 0);
        painter.drawADot({60, 90}, 90, 40);
        painter.drawEnd();
        painter.invert();
        painter.proc();
        h.add(painter.m_mask);
        h.add(painter.getMaskRoi({10, 10, 100, 80}, 2));
        painter.undo();
        painter.undo();
        painter.proc();
        h.add(painter.m_mask);
    }));
    return all;
}

} // namespace pixmill::fingerprint
