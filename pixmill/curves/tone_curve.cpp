#include <pixmill/curves/tone_curve.h>

#include <pixmill/curves/TSpline.h>
#include <pixmill/rows/pixel.h>

#include <algorithm>

namespace pixmill::curves {

using namespace rows;

void sampleToneCurve(const float (&x)[5], const float (&y)[5], float (&curve)[kToneSamples])
{
    TSpline spline(5);
    std::copy(x, x + 5, spline.m_x_p);
    std::copy(y, y + 5, spline.m_y_p);
    spline.update();
    for (int i = 0; i < kToneSamples; ++i) {
        const float t = float(i) * 0.0158730168f; // 1 / 63
        const float v = t < x[0] ? 0.0f : t > x[4] ? 1.0f : spline.value(t);
        curve[i] = limit(v, 0.0f, 1.0f);
    }
}

} // namespace pixmill::curves
