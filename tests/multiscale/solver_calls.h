#pragma once

#include <pixmill/multiscale/pardisoSolver.h>

#include <multiscale/systems.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

/// Calls of the sparse solver's forms, and folders for what they write.
namespace pixmill::test {

inline constexpr double kFloatError = 1e-6, kDoubleError = 1e-11;

using FloatForm = bool(int, float*, int*, int*, float*, float*, int, int);

/// The arrays of one call, so that a test can see what the call did to them.
template <class T>
struct Call {
    explicit Call(const SparseSystem& s, int columns = 1)
        : n(s.n), nrhs(columns), ia(s.ia), ja(s.ja), a(s.a.begin(), s.a.end()), x(std::size_t(s.n) * columns, T(-7))
    {
        for (int column = 0; column < columns; ++column)
            for (const double v : s.b)
                b.push_back(T(v * (1 - 3 * column)));
    }

    template <class Form>
    bool run(Form* form)
    {
        return form(n, a.data(), ia.data(), ja.data(), b.data(), x.data(), nrhs, mtype);
    }

    int n, nrhs, mtype = 2;
    std::vector<int> ia, ja;
    std::vector<T> a, b, x;
};

inline FloatForm* const inCore = pardisoSolverIC;
inline FloatForm* const outOfCore = pardisoSolverOOC;
inline bool (*const inCoreDouble)(int, double*, int*, int*, double*, double*, int, int) = pardisoSolverIC;

/// A folder for temporary files of its own.
class ScratchFolder {
public:
    ScratchFolder()
    {
        std::string name = std::filesystem::temp_directory_path() / "pixmill-test-XXXXXX";
        m_path = mkdtemp(name.data());
        setenv("TMPDIR", m_path.c_str(), 1);
    }
    ~ScratchFolder()
    {
        unsetenv("TMPDIR");
        std::filesystem::remove_all(m_path);
    }
    const std::filesystem::path& path() const { return m_path; }
    bool empty() const { return std::filesystem::is_empty(m_path); }
    std::uintmax_t bytes() const
    {
        std::uintmax_t sum = 0;
        std::error_code gone;
        for (std::filesystem::recursive_directory_iterator i(m_path, gone), end; !gone && i != end; i.increment(gone))
            if (const auto size = std::filesystem::file_size(i->path(), gone); !gone)
                sum += size;
        return sum;
    }

private:
    std::filesystem::path m_path;
};

} // namespace pixmill::test
