// Tables that are sampled from a mapping in Python.
#include "arrays.h"
#include "bindings.h"
#include "numbers.h"

#include <pixmill/curves/TLutY16U.h>
#include <pixmill/curves/TLutYDrDb.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <memory>
#include <vector>

namespace pixmill::python {

namespace {

constexpr int kWords = 65536;

/// A mapping of luma that Python has computed at the lumas where a table is sampled.
class SampledLuma : public TLutY16U {
public:
    explicit SampledLuma(const unsigned short* values) : m_values(values) {}
    void mapYDrDb(unsigned short& y, unsigned short&, unsigned short&) override { y = m_values[y / 16]; }

private:
    const unsigned short* m_values;
};

constexpr int kLumaSamples = 4096, kGrid = 128;

py::array_t<unsigned short> sampledLumas()
{
    py::array_t<unsigned short> lumas(kLumaSamples);
    for (int i = 0; i < kLumaSamples; ++i)
        lumas.mutable_data()[i] = static_cast<unsigned short>(16 * i);
    return lumas;
}

/// The values of a mapping, as integers of this type.
template <class T>
py::array_t<T> mapped(const char* call, const py::object& values, py::ssize_t count)
{
    const auto flat = py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(values);
    if (!flat || flat.size() != count) {
        PyErr_Clear();
        refuse(call, "mapping", "a callable whose results have its arguments' shape", describe(values));
    }
    return flat;
}

void mustBeCallable(const char* call, const py::object& mapping)
{
    if (!PyCallable_Check(mapping.ptr()))
        refuse(call, "mapping", "a callable", describe(mapping));
}

py::array lumaTable(const py::object& mapping)
{
    mustBeCallable("luma_table", mapping);
    const auto values = mapped<unsigned short>("luma_table", mapping(sampledLumas()), kLumaSamples);
    SampledLuma lut(values.data());
    released("luma_table", [&] { lut.computeLUT16U(true); });
    py::array_t<unsigned short> table(kWords);
    std::copy_n(lut.m_lutY_p, kWords, table.mutable_data());
    return table;
}

/// A mapping of luma and chroma that Python has computed where the tables are sampled.
class SampledChroma : public TLutYDrDb {
public:
    SampledChroma(const py::object& mapping, int log2Bands) : TLutYDrDb(log2Bands)
    {
        const py::array_t<unsigned short> lumas = sampledLumas();
        const py::object grey = py::module_::import("numpy").attr("full")(kLumaSamples, 128, "u1");
        const auto values = mapped<unsigned short>(kCall, firstOf(mapping(lumas, grey, grey), 0), kLumaSamples);
        m_lumas.assign(values.data(), values.data() + kLumaSamples);
        for (int band = 0; band < 1 << log2Bands; ++band)
            sample(mapping, bandLuma(band, 1 << log2Bands));
        m_count = 1 << log2Bands;
        released(kCall, [&] { computeLUT(); });
    }

    void mapYDrDb(unsigned short& y, unsigned char& dr, unsigned char& db) override
    {
        const int band = std::min(y * m_count / kWords, m_count - 1);
        const size_t node = size_t(band) * kGrid * kGrid + size_t(dr / 2) * kGrid + size_t(db / 2);
        y = m_lumas[y / 16];
        dr = m_dr[node];
        db = m_db[node];
    }

    static constexpr const char* kCall = "YDrDbTable";

private:
    static py::object firstOf(const py::object& results, int i)
    {
        if (!py::isinstance<py::tuple>(results) || py::len(results) != 3)
            refuse(kCall, "mapping", "a callable that returns (y, dr, db)", describe(results));
        return results[py::int_(i)];
    }

    /// The luma of a band at which its table is sampled.
    static int bandLuma(int band, int count)
    {
        return band * cv::saturate_cast<unsigned short>(65535 * (1.0f / float(count))) +
               cv::saturate_cast<unsigned short>(32767 * (1.0f / float(count)));
    }

    void sample(const py::object& mapping, int luma)
    {
        const py::module_ numpy = py::module_::import("numpy");
        const py::object steps = numpy.attr("arange")(0, 256, 2).attr("astype")("u1");
        const py::object dr = numpy.attr("repeat")(steps, kGrid), db = numpy.attr("tile")(steps, kGrid);
        const py::object results = mapping(numpy.attr("full")(kGrid * kGrid, luma, "u2"), dr, db);
        const auto newDr = mapped<unsigned char>(kCall, firstOf(results, 1), kGrid * kGrid);
        const auto newDb = mapped<unsigned char>(kCall, firstOf(results, 2), kGrid * kGrid);
        m_dr.insert(m_dr.end(), newDr.data(), newDr.data() + newDr.size());
        m_db.insert(m_db.end(), newDb.data(), newDb.data() + newDb.size());
    }

    std::vector<unsigned short> m_lumas;
    std::vector<unsigned char> m_dr, m_db;
    int m_count = 1;
};

std::unique_ptr<SampledChroma> makeChromaTable(const py::object& mapping, const py::object& bands)
{
    mustBeCallable(SampledChroma::kCall, mapping);
    const int count = wholeNumber(SampledChroma::kCall, "bands", bands, 1, 32);
    int log2 = 0;
    while (1 << log2 < count)
        ++log2;
    if (1 << log2 != count)
        refuse(SampledChroma::kCall, "bands", "1, 2, 4, 8, 16 or 32", std::to_string(count));
    return std::make_unique<SampledChroma>(mapping, log2);
}

py::tuple applyChromaTable(SampledChroma& table, const py::object& y, const py::object& dr, const py::object& db)
{
    constexpr const char* kCall = "YDrDbTable.apply";
    const Input luma(kCall, "y", y, {kU16, kPlane});
    const Input red(kCall, "dr", dr, {kU8, kPlane}), blue(kCall, "db", db, {kU8, kPlane});
    red.mustBe(kCall, "dr", luma.mat().size());
    blue.mustBe(kCall, "db", luma.mat().size());
    Output newY(kCall, py::none(), luma, {}, Output::kApart), newDr(kCall, py::none(), red, {}, Output::kApart),
        newDb(kCall, py::none(), blue, {}, Output::kApart);
    released(kCall, [&] {
        table.applyYLUT(luma.mat(), newY.mat());
        table.applyCLUT(luma.mat(), red.mat(), blue.mat(), newDr.mat(), newDb.mat());
    });
    return py::make_tuple(newY.finish(), newDr.finish(), newDb.finish());
}

} // namespace

void bindMappings(py::module_& module)
{
    module.def("luma_table", &lumaTable, py::arg("mapping"),
               "luma_table(mapping)\n--\n\nA table for look_up out of a mapping of luma.\n\n"
               "mapping: called once with 4096 lumas, uint16; returns as many.\n\nRaises pixmill.Error.\n");
    py::class_<SampledChroma>(module, "YDrDbTable",
                              "YDrDbTable(mapping, bands=1)\n--\n\n"
                              "Tables out of a mapping of luma and colour differences.\n\n"
                              "mapping: called with arrays y (uint16), dr and db (uint8, 128 is no colour); returns "
                              "the new (y, dr, db).\nbands: 1, 2, 4, 8, 16 or 32 of luma, a table each.\n")
        .def(py::init(&makeChromaTable), py::arg("mapping"), py::arg("bands") = 1)
        .def("apply", &applyChromaTable, py::arg("y"), py::arg("dr"), py::arg("db"),
             "apply(self, y, dr, db)\n--\n\ny: uint16 of (H, W); dr, db: uint8 of (H, W).\n\n"
             "Returns the new (y, dr, db). Raises pixmill.Error.\n");
}

} // namespace pixmill::python
