#include "fingerprint.h"
#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/core/TImage.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/curves/TLutImage.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/TLutYDrDb.h>
#include <pixmill/curves/TSpline.h>
#include <pixmill/engine/TQuillet3.h>

namespace pixmill::fingerprint {

namespace {

const cv::Size kSize(193, 141), kHalf(97, 71);

struct Turned : TLutYDrDb {
    Turned() : TLutYDrDb(2) {}
    void mapYDrDb(unsigned short& y, unsigned char& dr, unsigned char& db) override
    {
        y = ushort(65535 - y / 3);
        dr = uchar(255 - db / 2);
        db = uchar(db / 2 + y / 1024);
    }
};

/// What the light curve, the threshold tables and splines make of their controls.
void addCurves(Operations& all)
{
    all.push_back({"TSpline", [](Source& s, Hash& h) {
                       TSpline spline(7);
                       for (int i = 0; i < 7; ++i)
                           spline.m_y_p[i] = s.floats(1, 1, false)[0];
                       spline.update();
                       for (int i = -8; i < 72; ++i)
                           h.add(spline.value(float(i) / 64));
                   }});
    all.push_back({"TLut8U and TLut16U", [](Source& s, Hash& h) {
                       TLut8U bytes(0.0f, 4.0f, 40, 0.35f);
                       TLut16U words(0.0f, 5.0f, 9830, 0.35f);
                       cv::Mat in8 = s.plane(kSize, CV_8UC1), in16 = s.plane(kSize, CV_16UC1), out8 = in8.clone(),
                               out16 = in16.clone();
                       for (const float t : {-0.6f, 0.0f, 0.45f}) {
                           bytes.setupLinearThreshold(0.4f, t, -0.2f, 0.1f);
                           words.setupLinearThreshold(-0.3f, t, 0.2f, 0.3f);
                           bytes.apply(in8, out8);
                           words.apply(in16, out16);
                           h.add(out8);
                           h.add(out16);
                       }
                       words.setupLightAdjust(0.1f, 0.4f, 0.3f, -0.5f);
                       words.apply(in16, out16);
                       h.add(out16);
                   }});
    all.push_back({"TLightAdjLUTq3", [](Source& s, Hash& h) {
                       TLightAdjLUTq3 light;
                       light.setupParams(0.2f, 0.4f, -0.6f, 0.5f, 0.1f, -0.3f);
                       cv::Mat y = s.plane(kSize, CV_16UC1), out;
                       light.setupYLUT();
                       light.computeLUT16U(true);
                       light.applyYLUT(y, out);
                       h.add(out);
                       for (int v = 0; v < 65536; v += 37) {
                           ushort luma = ushort(v), dr = ushort(33000 + v / 9), db = 30000;
                           light.mapYDrDb(luma, dr, db);
                           for (const ushort found : {luma, dr, db})
                               h.add(found);
                       }
                   }});
    all.push_back({"TLutYDrDb", [](Source& s, Hash& h) {
                       const cv::Mat y = s.plane(kSize, CV_16UC1), dr = s.plane(kSize, CV_8UC1),
                                     db = s.plane(kSize, CV_8UC1);
                       cv::Mat outY, outDr, outDb;
                       Turned table;
                       table.proc(y, dr, db, outY, outDr, outDb);
                       for (const cv::Mat* m : {&outY, &outDr, &outDb})
                           h.add(*m);
                       table.applyCLUT(dr, db, outDr, outDb);
                       h.add(outDr);
                   }});
}

void addTables(Operations& all)
{
    all.push_back({"TLut3D", [](Source& s, Hash& h) {
                       std::vector<ushort> table(9 * 9 * 9 * 3);
                       TLut3D cube;
                       std::fill_n(cube.m_size, 3, 9);
                       cube.m_table_p = table.data();
                       cube.initialize(9, 3, TLut3D::LAST_FASTEST);
                       for (ushort& v : table)
                           v = ushort(v ^ s.next() % 4096);
                       cv::Mat in = s.plane(kSize, CV_16UC3), out(kSize, CV_16UC3);
                       cube.LookupLinear(in, out);
                       h.add(table);
                       h.add(out);
                   }});
    all.push_back({"TLutY and TLutC", [](Source& s, Hash& h) {
                       std::vector<ushort> table(65536);
                       for (ushort& v : table)
                           v = ushort(s.next());
                       TImage y(TImage::IM_Y, {64, 32}), c(TImage::IM_Y, {64, 32});
                       y.fromMat(s.plane({64, 32}, CV_16UC1), 0);
                       c.fromMat(s.plane({64, 32}, CV_16UC1), 0);
                       TLutY luma;
                       TLutC chroma;
                       luma.m_lut_p = chroma.m_lut_p = table.data();
                       luma.apply(y);
                       chroma.apply(c);
                       h.add(y.toMat(0));
                       h.add(c.toMat(0));
                   }});
    all.push_back({"TColorAdjQ3", [](Source& s, Hash& h) {
                       TColorAdjQ3 color(0.2f, 0.15f, 0.1f, 0.1f, 2.0f, 0.1f);
                       color.m_warmth = 0.4f;
                       color.m_tint = -0.3f;
                       color.m_saturation = 0.5f;
                       color.m_chromaFloor = 0.2f;
                       color.m_dirty = 1;
                       const cv::Mat y = s.plane(kHalf, CV_16UC1), to = s.plane(kHalf, CV_16UC1),
                                     dr = s.around(kHalf, 20000), db = s.around(kHalf, 15000);
                       cv::Mat outDr, outDb;
                       color.proc(y, to, dr, db, outDr, outDb);
                       h.add(outDr);
                       h.add(outDb);
                       h.bytes(color.m_gridDr, sizeof color.m_gridDr);
                       h.bytes(color.m_gridDb, sizeof color.m_gridDb);
                   }});
}

void setControls(TQuillet3& engine)
{
    const float light[6] = {0.2f, 0.3f, -0.4f, 0.5f, 0.1f, -0.2f}, weights[3] = {0.2f, -0.1f, 0.05f};
    std::copy_n(light, 6, engine.m_lightParams);
    std::copy_n(weights, 3, engine.m_colorWeights);
    engine.m_lightDirty = true;
    for (int level = 0; level < 3; ++level) {
        engine.m_levelDirty[level] = true;
        for (int zone = 0; zone < 3; ++zone) {
            engine.m_detailK[level][zone] = 0.5f - 0.3f * float(zone) + 0.1f * float(level);
            engine.m_detailT[level][zone] = 0.2f * float(zone) - 0.1f * float(level + 1);
        }
    }
}

void addEngine(Operations& all)
{
    all.push_back({"TQuillet3", [](Source& s, Hash& h) {
                       TQuillet3 engine;
                       const cv::Mat planes[] = {s.plane(kSize, CV_16UC1), s.around(kSize, 2000),
                                                 s.around(kSize, 8000),    s.around(kSize, 20000),
                                                 s.around(kHalf, 15000),   s.around(kHalf, 9000)}; // in this order
                       engine.setup(planes[0], planes[1], planes[2], planes[3], planes[4], planes[5], nullptr);
                       h.add(engine.m_fullDr);
                       h.add(engine.m_fullDb);
                       setControls(engine);
                       for (const int scale : {1, 2, 4}) {
                           engine.proc({10, 5, 160, 120}, scale, cv::Mat());
                           h.add(engine.m_result);
                       }
                   }});
    all.push_back({"TQuillet3 steps", [](Source& s, Hash& h) {
                       const cv::Mat y = s.plane(kSize, CV_16UC1), a = s.around(kSize, 9000),
                                     b = s.around(kSize, 20000);
                       cv::Mat mixed = s.around(kSize, 15000), sum = y.clone(), luma = y.clone();
                       TQuillet3::mixSMH(y, a, b, mixed);
                       TQuillet3::addEdges(a, b, mixed, sum);
                       TQuillet3::modYWithC(a, b, 0.3f, -0.2f, 0.1f, luma);
                       for (const cv::Mat* m : {&mixed, &sum, &luma})
                           h.add(*m);
                   }});
}

} // namespace

Operations adjustments()
{
    Operations all;
    addCurves(all);
    addTables(all);
    addEngine(all);
    return all;
}

} // namespace pixmill::fingerprint
