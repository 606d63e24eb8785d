// The guided filter, the fast local Laplacian filter and the recursive Gaussian in Halide, after their papers.
#include "halide.h"

#include <reference/gaussian_iir.h>
#include <reference/local_laplacian.h>

#include <vector>

using namespace Halide;
using namespace pixmill::bench;
using std::vector;

namespace {

Var x("x"), y("y"), k("k"), xo("xo"), yo("yo"), xi("xi"), yi("yi"), strip("strip"), row("row");

/// Sums of (2r + 1)^2 samples, down the columns first, in tiles that fit the second cache.
class Windows {
public:
    explicit Windows(int radius) : m_radius(radius) {}

    Func operator()(const Func& f)
    {
        Func down, across;
        Expr column = f(x, y - m_radius), line;
        for (int i = 1 - m_radius; i <= m_radius; ++i)
            column += f(x, y + i);
        down(x, y) = column;
        line = down(x - m_radius, y);
        for (int i = 1 - m_radius; i <= m_radius; ++i)
            line += down(x + i, y);
        across(x, y) = line * (1.0f / float((2 * m_radius + 1) * (2 * m_radius + 1)));
        m_stored.push_back(down);
        return across;
    }

    void computeAt(const Func& consumer)
    {
        for (Func& f : m_stored)
            f.compute_at(consumer, xo).vectorize(x, halideLanes());
    }

private:
    int m_radius;
    vector<Func> m_stored;
};

/// a = cov(I, p) / (var(I) + eps), b = mean(p) - a mean(I), both averaged over the window again; edges are repeated.
///
/// K. He, J. Sun, X. Tang, "Guided Image Filtering", 2010.
Pipeline guided(ImageParam& guide, ImageParam& source, int radius, float eps)
{
    Func I = BoundaryConditions::repeat_edge(guide), p = BoundaryConditions::repeat_edge(source);
    Func squares, products, a("a"), b("b"), out("guided");
    squares(x, y) = I(x, y) * I(x, y);
    products(x, y) = I(x, y) * p(x, y);
    Windows window(radius);
    Func meanI = window(I), meanP = window(p);
    const Func meanII = window(squares), meanIP = window(products);
    const Expr mI = meanI(x, y), mP = meanP(x, y);
    a(x, y) = (meanIP(x, y) - mI * mP) / (meanII(x, y) - mI * mI + eps);
    b(x, y) = mP - a(x, y) * mI;
    const Func meanA = window(a), meanB = window(b);
    out(x, y) = meanA(x, y) * I(x, y) + meanB(x, y);

    out.tile(x, y, xo, yo, xi, yi, 512, 64, TailStrategy::ShiftInwards).vectorize(xi, halideLanes());
    if (omp_get_max_threads() > 1)
        out.parallel(yo);
    for (Func f : {I, p, meanI, meanP, a, b})
        f.compute_at(out, xo).vectorize(f.args()[0], halideLanes());
    window.computeAt(out);
    return Pipeline(out);
}

void guidedWhole(benchmark::State& state)
{
    const int w = int(state.range(0)), h = int(state.range(1));
    cv::Mat I = scene(w, h, CV_32FC1, 0, 2), p = scene(w, h, CV_32FC1, 0, 2, 4), out(h, w, CV_32FC1);
    ImageParam guide(Float(32), 2), source(Float(32), 2);
    guide.set(halideBuffer<float>(I));
    source.set(halideBuffer<float>(p));
    runHalide<float>(state, guided(guide, source, int(state.range(2)), 0.0001f), out);
    report(state, double(out.total()), double(out.total()) * 4 * 3);
}
BENCHMARK(guidedWhole)
    ->Name("TGuidedFilter_whole:Halide")
    ->ArgNames({"w", "h", "r"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Args({1024, 1024, 1})
    ->Args({4896, 3264, 1})
    ->Args({1024, 1024, 8})
    ->Args({4896, 3264, 8});

/// The fast local Laplacian filter on 16-bit pixels, with the remapping and the roundings that ours has: the picture is
/// remapped around K references, and each level of the result lies between the two nearest ones' Laplacian pyramids.
/// References are kept from the first reduced level on; those of full size are remapped again where they are read.
///
/// S. Paris, S. Hasinoff, J. Kautz, "Local Laplacian Filters", 2011; M. Aubry and others, "Fast Local Laplacian
/// Filters: Theory and Applications", 2014; P. J. Burt, E. H. Adelson, "The Laplacian Pyramid as a Compact Image Code",
/// 1983.
class LocalLaplacian {
public:
    LocalLaplacian(ImageParam& in, Buffer<int> curve, int references, int step)
        : m_references(references), m_invStep(1.0f / float(step))
    {
        const Func edged = BoundaryConditions::mirror_interior(in);
        Func remapped("remapped"), whole("whole");
        whole(x, y) = edged(x, y);
        strips(whole.compute_root().vectorize(x, 2 * halideLanes()), y, strip, row, 64);
        const Expr v = cast<int>(whole(x, y));
        remapped(x, y, k) = pixel(v + curve(clamp(v - k * step, -65535, 65535)));
        m_picture.push_back(whole);
        m_remapped.push_back(remapped);
    }

    Pipeline operator()(int levels)
    {
        for (int l = 1; l < levels; ++l) {
            m_picture.push_back(reduced(m_picture.back(), {x, y}));
            m_remapped.push_back(reducedReferences(m_remapped.back(), l == 1));
        }
        Func result;
        for (int l = levels - 1; l >= 0; --l) {
            Func level;
            Expr v = between(l, levels);
            if (l < levels - 1)
                v += enlarged(result, {}) - 32767;
            level(x, y) = pixel(v);
            level.vectorize(x, halideLanes());
            strips(level, y, strip, row, 16);
            if (l > 0)
                level.compute_root();
            result = level;
        }
        return Pipeline(result);
    }

private:
    static Expr pixel(const Expr& v) { return cast<std::uint16_t>(clamp(v, 0, 65535)); }

    /// Weighed 1 4 6 4 1 along both axes, every second pixel.
    static Func reduced(Func f, const vector<Var>& at)
    {
        const auto weighed = [](const auto& sample, const Var& i) {
            return sample(2 * i - 2) + sample(2 * i + 2) + 4 * (sample(2 * i - 1) + sample(2 * i + 1)) +
                   6 * sample(2 * i);
        };
        const auto with = [&](int axis, const Expr& place) {
            vector<Expr> all(at.begin(), at.end());
            all[axis] = place;
            return all;
        };
        Func across, out;
        across(at) = weighed([&](const Expr& i) { return cast<int>(f(with(0, i))); }, x);
        out(at) = cast<std::uint16_t>((weighed([&](const Expr& i) { return across(with(1, i)); }, y) + 128) >> 8);

        const bool many = at.size() == 3;
        strips(out.compute_root().vectorize(x, halideLanes()), y, strip, row, 16);
        if (many)
            out.reorder(x, row, k, strip);
        across.compute_at(out, many ? k : strip).vectorize(x, halideLanes());
        return out;
    }

    /// Of all references; a strip's remapped rows are kept while they are reduced.
    static Func reducedReferences(const Func& f, bool remap)
    {
        if (!remap)
            return reduced(f, {x, y, k});
        Func kept;
        kept(x, y, k) = f(x, y, k);
        const Func out = reduced(kept, {x, y, k});
        kept.compute_at(out, k).vectorize(x, halideLanes());
        return out;
    }

    /// Zeros between the pixels, and the same weights over 8.
    static Expr enlarged(const Func& f, const vector<Expr>& reference)
    {
        const auto weighed = [](const auto& sample, const Var& i) {
            const Expr half = i / 2, odd = i % 2;
            return sample(half - 1) * (1 - odd) + sample(half) * (6 - 2 * odd) + sample(half + 1) * (1 + 3 * odd);
        };
        const auto rows = [&](const Expr& line) {
            return weighed(
                [&](const Expr& column) {
                    vector<Expr> at = {column, line};
                    at.insert(at.end(), reference.begin(), reference.end());
                    return cast<int>(f(at));
                },
                x);
        };
        return (weighed(rows, y) + 32) >> 6;
    }

    Expr between(int l, int levels) const
    {
        const Expr place = cast<float>(m_picture[l](x, y)) * m_invStep;
        const Expr below = clamp(cast<int>(place), 0, m_references - 2), share = place - cast<float>(below);
        const auto coefficient = [&](const Expr& reference) {
            const Expr here = cast<int>(m_remapped[l](x, y, reference));
            if (l == levels - 1)
                return cast<float>(here);
            return cast<float>(clamp(here - enlarged(m_remapped[l + 1], {reference}) + 32767, 0, 65535));
        };
        return cast<int>(coefficient(below + 1) * share + coefficient(below) * (1.0f - share));
    }

    int m_references;
    float m_invStep;
    vector<Func> m_picture, m_remapped;
};

/// Twice what the remapping's table adds to a pixel, by how far that is above its reference.
Buffer<int> curveOf(const vector<int>& table)
{
    Buffer<int> curve(131071);
    curve.set_min(-65535);
    for (int d = -65535; d <= 65535; ++d)
        curve(d) = 2 * table[std::min(cvRound(d * 0.5 + 32768), 65535)] - 65536;
    return curve;
}

template <int references>
void localLaplacian(benchmark::State& state)
{
    const int step = references == 24 ? 2730 : references == 16 ? 4095 : 6553;
    cv::Mat in = scene(int(state.range(0)), int(state.range(1)), CV_16UC1, 0, 65536), out = in.clone();
    ImageParam picture(UInt(16), 2);
    picture.set(halideBuffer<std::uint16_t>(in));
    LocalLaplacian filter(picture, curveOf(pixmill::reference::remapTable(-0.15f, 0.3f)), references, step);
    runHalide<std::uint16_t>(state, filter(5), out);
    report(state, double(out.total()), double(out.total()) * 4);
}

void twoSizes(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h"})->Args({1024, 1024})->Args({4896, 3264})->Unit(benchmark::kMillisecond)->UseRealTime();
}
BENCHMARK_TEMPLATE(localLaplacian, 24)->Name("LocalLaplacian_24:Halide")->Apply(twoSizes);
BENCHMARK_TEMPLATE(localLaplacian, 16)->Name("LocalLaplacian_16:Halide")->Apply(twoSizes);
BENCHMARK_TEMPLATE(localLaplacian, 10)->Name("LocalLaplacian_10:Halide")->Apply(twoSizes);

/// Sweeps down the columns and back, `steps` times, and turns the result: strips of columns, each with all of its rows
/// in the second cache.
Func sweptAndTurned(const Func& f, int rows, const pixmill::reference::GaussianIir<double>& form, int steps, float gain)
{
    Func swept, turned;
    swept(x, y) = f(x, y);
    for (int i = 0; i < 2 * steps; ++i) {
        const RDom r(1, rows - 1);
        const int first = i % 2 == 0 ? 0 : rows - 1, direction = i % 2 == 0 ? 1 : -1;
        swept(x, first) *= form.boundary;
        swept(x, first + direction * r) += form.nu * swept(x, first + direction * (r - 1));
        swept.update(2 * i).vectorize(x, halideLanes());
        swept.update(2 * i + 1).reorder(x, r).vectorize(x, halideLanes());
    }
    turned(x, y) = swept(y, x) * gain;

    turned.compute_root().split(y, yo, yi, 2 * halideLanes()).split(x, xo, xi, halideLanes());
    turned.reorder(xi, yi, xo, yo).vectorize(xi);
    if (omp_get_max_threads() > 1)
        turned.parallel(yo);
    swept.compute_at(turned, yo).vectorize(x, halideLanes());
    return turned;
}

/// Columns, then rows as columns of the turned plane. Ours sweeps in place and does not turn its plane.
///
/// L. Alvarez, L. Mazorra, "Signal and Image Restoration Using Shock Filters and Anisotropic Diffusion", 1994.
void recursiveGaussian(benchmark::State& state)
{
    const int w = int(state.range(0)), h = int(state.range(1)), steps = 2;
    cv::Mat in = plane(w, h, CV_32FC1, 0, 1), out = in.clone();
    ImageParam source(Float(32), 2);
    source.set(halideBuffer<float>(in));
    const pixmill::reference::GaussianIir<double> form(8.0f, steps, 2);
    const Func turned = sweptAndTurned(source, h, form, steps, 1.0f);
    runHalide<float>(state, Pipeline(sweptAndTurned(turned, w, form, steps, form.post)), out);
    report(state, double(out.total()), double(out.total()) * 8);
}
BENCHMARK(recursiveGaussian)->Name("gaussianiir2d_sigma8:Halide")->Apply(sizes);

} // namespace
