#pragma once
// Plain form: `reference/weighted_least_squares.h`.

#include <pixmill/core/Export.h>

#include <cstddef>

class TProgress;

/// Edge-preserving smoothing by weighted least squares.
///
/// The output u minimises, over all pixels p,
///     (u_p - in_p)^2 + sum over the right and lower neighbour q of w_pq (u_p - u_q)^2,
///     w_pq = lambda / (|guide_q - guide_p|^alpha + m_weightEps),
/// so it stays with the input across edges of the guide and is smooth elsewhere. That is one sparse symmetric positive
/// definite system A u = in of the order of the pixel count.
///
/// It is solved by conjugate gradients, preconditioned by a cycle of multigrid, to about half a unit in the last place,
/// with the same bits for any number of threads and on every processor. What does not converge (weights without any
/// order over many decades, a matrix that is not positive definite) goes to the sparse direct solver, where the library
/// is built with it.
///
/// Measured on 15 photographs of 8 bits with lambda 0.35 to 4 and alpha 1 to 2, beside a direct solution in double
/// precision: the largest error is 0.55 units in the last place of the largest value, and below 1e-6 of the values'
/// range. At full size, with lambda 0.35 and alpha 1.2, none needs the direct solver. Nor do 200 guides of noise over
/// four decades with lambda up to 1000; of 200 over eight decades 28 do, with lambda up to 10 none.
///
/// Z. Farbman, R. Fattal, D. Lischinski and R. Szeliski, "Edge-preserving decompositions for multi-scale tone and
/// detail manipulation", ACM Transactions on Graphics 27, 2008. J. E. Dendy, "Black box multigrid", Journal of
/// Computational Physics 48, 1982.
///
/// The arrays stay for the next call of the same size. One thread at a time per object.
class PIXMILL_API TWLSFilter {
public:
    float m_weightEps = 0.0001f; ///< Added to the gradient term in the weight's denominator.
    float m_logEps = 0.0001f;    ///< Added to the guide before its logarithm.
    int m_width = 0;             ///< Columns of the plane that the arrays now held are for; 0 for none.
    int m_height = 0;            ///< Rows of that plane.
    int m_numPixels = 0;         ///< m_width * m_height, N below.
    float* m_dy_p = nullptr;     ///< N values, -w of each pixel and the one below; the last row 0.
    float* m_dx_p = nullptr;     ///< N values, -w of each pixel and the one to the right; the last column 0.
    float* m_work_p = nullptr;   ///< N values: gradients, then A's diagonal, then the solver's work space.
    float* m_a_p = nullptr;      ///< 3 N values: A's upper triangle by rows.
    int* m_ia_p = nullptr;       ///< N + 1 row starts, 1-based.
    int* m_ja_p = nullptr;       ///< 3 N columns, 1-based.
    int m_nnzCapacity = 0;       ///< 3 N.

    TWLSFilter() = default;
    ~TWLSFilter();
    TWLSFilter(const TWLSFilter&) = delete;
    TWLSFilter& operator=(const TWLSFilter&) = delete;

    /// Replaces `in` by the smoothed plane; where memory runs out in the solver, `in` stays as it was.
    ///
    /// @param in         width * height values, without row padding.
    /// @param lambda     smoothness, 0 or more; 0 changes nothing.
    /// @param alpha      sensitivity to the guide's gradients, 1.2 to 2 as a rule.
    /// @param guide      width * height values, without row padding; may be `in`.
    /// @param logGuide   whether the guide's logarithm guides. `guide` is then overwritten by log(guide + m_logEps).
    /// @return true. A width or height below 1 does nothing.
    /// @throws const char*  "TWLSFilter::realloc - failed" for want of memory for the arrays; "pardisoSolverIC - 22" if
    ///                      the weights make no positive definite system (lambda negative or so large that single
    ///                      precision cannot hold the diagonal's 1, or values that are not finite), and, where the
    ///                      library has no direct solver, if the solution does not converge. `in` is as it was.
    bool Proc(float* in, int width, int height, float lambda, float alpha, float* guide, bool logGuide);

    /// The same with reports.
    ///
    /// @param progress  reported to at the start, after the set-up and after each step of the solution; may be null.
    /// @return false if a report was answered by cancel: `in` is then as it was, `guide` overwritten where `logGuide`.
    bool Proc(float* in, int width, int height, float lambda, float alpha, float* guide, bool logGuide,
              TProgress* progress);

    /// Makes the arrays fit a plane of this size. Arrays of this size, and a width or height below 1, change nothing.
    ///
    /// @throws const char*  "TWLSFilter::realloc - failed" if they cannot be had; none is then held.
    void realloc(int width, int height);

    /// Gives the arrays back.
    void freemem();

private:
    struct Weight;
    class LentMatrix;

    void takeLogarithm(float* guide) const;
    void weigh(const float* guide, const Weight& weight);
    void sumDiagonal();
    void storeUpperTriangle();
    bool solve(float* in, TProgress* progress);

    std::size_t m_held = 0; ///< Pixels that the arrays are for, whatever the members tell.
};
