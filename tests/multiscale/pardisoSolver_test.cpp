#include <support/throws.h>

#include <multiscale/solver_calls.h>

#include <algorithm>
#include <string>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

struct NamedSystem {
    const char* name;
    SparseSystem system;
};

std::vector<NamedSystem> smallSystems()
{
    std::vector<NamedSystem> all;
    for (const auto& [width, height] :
         {std::pair(1, 1), {2, 1}, {1, 2}, {2, 2}, {1, 9}, {33, 1}, {5, 3}, {16, 7}, {21, 23}})
        all.push_back({"picture", pictureSystem(width, height)});
    all.push_back({"rows that wrap round", pictureSystem(19, 11, 40, true)});
    all.push_back({"scattered", scatteredSystem(150, 400)});
    all.push_back({"dense", scatteredSystem(40, 4000)});
    SparseSystem diagonal, split, columns;
    for (int i = 1; i <= 7; ++i) {
        diagonal.add(i, i);
        diagonal.endRow(rightSide(diagonal.n));
    }
    for (int i = 1; i <= 30; ++i) { // entries at one place, out of order
        if (i < 30)
            split.add(i + 1, -0.25);
        split.add(i, 2.0);
        if (i < 30)
            split.add(i + 1, -0.5);
        split.add(i, 1.5);
        split.endRow(rightSide(split.n));
    }
    for (int i = 1; i <= 20; ++i) { // links downward only
        columns.add(i, 3.0);
        if (i <= 16)
            columns.add(i + 4, -1.0);
        columns.endRow(rightSide(columns.n));
    }
    all.insert(all.end(), {{"diagonal", diagonal}, {"entries that add up", split}, {"columns apart", columns}});
    return all;
}

} // namespace

TEST(PardisoSolver, EveryFormAgreesWithADenseSolution)
{
    for (const auto& [name, system] : smallSystems()) {
        SCOPED_TRACE(testing::Message() << name << ", order " << system.n);
        const std::vector<double> expected = denseSolution(system);
        for (FloatForm* form : {inCore, outOfCore}) {
            Call<float> call(system);
            ASSERT_TRUE(call.run(form));
            EXPECT_LT(relativeError(expected, call.b.data()), kFloatError);
        }
        Call<double> call(system);
        ASSERT_TRUE(call.run(inCoreDouble));
        EXPECT_LT(relativeError(expected, call.x.data()), kDoubleError);
        EXPECT_EQ(call.b, system.b);

        Call<float> negated(system);
        EXPECT_FALSE(negated.run(pardisoSolver)); // true would mean that memory ran out
        EXPECT_LT(relativeError(expected, negated.b.data()), kFloatError);
    }
}

TEST(PardisoSolver, RefinementHoldsSinglePrecisionToTheRoundingOfTheResult)
{
    // Links 100000 times the diagonal's own part: unrefined, the error is past 1e-3.
    const SparseSystem system = pictureSystem(150, 110, 100000);
    const std::vector<double> expected = iteratedSolution(system);
    for (FloatForm* form : {inCore, outOfCore}) {
        Call<float> call(system);
        ASSERT_TRUE(call.run(form));
        EXPECT_LT(relativeError(expected, call.b.data()), kFloatError);
    }
    Call<double> call(system);
    ASSERT_TRUE(call.run(inCoreDouble));
    EXPECT_LT(relativeError(expected, call.x.data()), 1e-9);
}

TEST(PardisoSolver, SolvesEachRightHandSideAndLeavesTheMatrix)
{
    const SparseSystem system = pictureSystem(13, 9);
    const std::vector<double> expected = denseSolution(system);
    Call<float> single(system, 3);
    const Call<float> before = single;
    ASSERT_TRUE(single.run(inCore));
    Call<double> twice(system, 3);
    ASSERT_TRUE(twice.run(inCoreDouble));
    for (int column = 0; column < 3; ++column) {
        std::vector<double> scaled = expected;
        for (double& v : scaled)
            v *= 1 - 3 * column;
        EXPECT_LT(relativeError(scaled, &single.b[std::size_t(system.n) * column]), kFloatError);
        EXPECT_LT(relativeError(scaled, &twice.x[std::size_t(system.n) * column]), kDoubleError);
    }
    EXPECT_EQ(single.a, before.a);
    EXPECT_EQ(single.ia, before.ia);
    EXPECT_EQ(single.ja, before.ja);
}

TEST(PardisoSolver, MalformedInputFailsInTheFirstStage)
{
    struct Case {
        const char* name;
        void (*spoil)(Call<double>&);
    };
    const Case cases[] = {
        {"order below 1", [](auto& c) { c.n = 0; }},
        {"negative order", [](auto& c) { c.n = -4; }},
        {"no right-hand side", [](auto& c) { c.nrhs = 0; }},
        {"first row start", [](auto& c) { c.ia[0] = 0; }},
        {"falling row starts", [](auto& c) { std::swap(c.ia[3], c.ia[5]); }},
        {"column 0", [](auto& c) { c.ja[2] = 0; }},
        {"column past the order", [](auto& c) { c.ja[4] = c.n + 1; }},
        {"column left of the diagonal", [](auto& c) { c.ja[c.ia[5] - 1] = 5; }},
        {"unsymmetric kind", [](auto& c) { c.mtype = 11; }},
    };
    const SparseSystem system = pictureSystem(6, 5);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Call<double> twice(system);
        c.spoil(twice);
        EXPECT_THROWS_TEXT(twice.run(inCoreDouble), "pardisoSolverIC - 11");

        Call<float> single(system);
        single.n = twice.n, single.nrhs = twice.nrhs, single.mtype = twice.mtype;
        single.ia = twice.ia, single.ja = twice.ja;
        const std::vector<float> b = single.b;
        EXPECT_THROWS_TEXT(single.run(inCore), "pardisoSolverIC - 11");
        EXPECT_THROWS_TEXT(single.run(outOfCore), "pardisoSolverOOC - 11");
        EXPECT_THROWS_TEXT(single.run(pardisoSolver), "pardisoSolverIC - 11");
        EXPECT_EQ(single.b, b);
    }
    EXPECT_THROWS_TEXT(pardisoSolverIC(1, nullptr, nullptr, nullptr, (float*)nullptr, nullptr, 1, 2),
                       "pardisoSolverIC - 11");
}

TEST(PardisoSolver, AMatrixThatIsNotPositiveDefiniteFailsInTheFactorisation)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    struct Case {
        const char* name;
        void (*spoil)(SparseSystem&, double value);
        double value;
    };
    const auto setDiagonal = [](SparseSystem& s, double v) { s.a[s.ia[12] - 1] = v; };
    const auto setLink = [](SparseSystem& s, double v) { s.a[s.ia[12]] = v; };
    const auto setAll = [](SparseSystem& s, double v) { s.a.assign(s.a.size(), v); };
    const auto setLast = [](SparseSystem& s, double v) { s.a.back() = v; };
    const Case cases[] = {
        {"negative diagonal", setDiagonal, -3},
        {"zero diagonal", setDiagonal, 0},
        {"large link", setLink, 1e6},
        {"NaN", setLink, nan},
        {"infinity", setDiagonal, inf},
        {"all zero", setAll, 0},
        {"last diagonal too small", setLast, 1e-3},
    };
    const ScratchFolder folder;
    for (const auto& [width, height] : {std::pair(6, 5), {30, 1}}) // the grid's order and one row
        for (const Case& c : cases) {
            SCOPED_TRACE(c.name);
            SparseSystem system = pictureSystem(width, height);
            c.spoil(system, c.value);
            Call<float> call(system);
            EXPECT_THROWS_TEXT(call.run(inCore), "pardisoSolverIC - 22");
            EXPECT_THROWS_TEXT(call.run(outOfCore), "pardisoSolverOOC - 22");
            EXPECT_EQ(call.b, Call<float>(system).b);
            EXPECT_TRUE(folder.empty());
            EXPECT_THROWS_TEXT(Call<double>(system).run(inCoreDouble), "pardisoSolverIC - 22");
        }
    SparseSystem empty;
    for (int i = 0; i < 3; ++i)
        empty.endRow(rightSide(empty.n));
    empty.ja.reserve(1), empty.a.reserve(1); // rows without an entry, but arrays
    int columns[1] = {};
    float values[1] = {}, b[3] = {}, x[3] = {};
    EXPECT_THROWS_TEXT(pardisoSolverIC(3, values, empty.ia.data(), columns, b, x, 1, 2), "pardisoSolverIC - 22");
}

TEST(PardisoSolver, AnIndefiniteMatrixCanBeDeclared)
{
    SparseSystem system = scatteredSystem(60, 150);
    for (int i = 0; i < system.n; i += 3)
        system.a[system.ia[i] - 1] *= -1;
    const std::vector<double> expected = denseSolution(system);
    Call<double> twice(system);
    EXPECT_THROWS_TEXT(twice.run(inCoreDouble), "pardisoSolverIC - 22");
    twice.mtype = -2;
    ASSERT_TRUE(twice.run(inCoreDouble));
    EXPECT_LT(relativeError(expected, twice.x.data()), kDoubleError);
    Call<float> single(system);
    single.mtype = -2;
    ASSERT_TRUE(single.run(outOfCore));
    EXPECT_LT(relativeError(expected, single.b.data()), kFloatError);
}
