#pragma once
// Plain form: `reference/spline.h`.

#include <pixmill/core/Export.h>

/// Cubic spline through points, and interpolating polynomials.
///
/// Piece i on [x[i], x[i+1]] is S(t) = y[i] + u * (b[i] + u * (c[i] + u * d[i])) with u = t - x[i]. Abscissae must rise
/// strictly; nothing checks it, and a repeated one spreads infinities or NaN through the coefficients. Arrays are in
/// single precision, with double steps inside. The functions that take arrays do not read the object; an array that is
/// null where it would be read throws cv::Exception.
/// Methods: C. de Boor, "A Practical Guide to Splines", 1978 (not-a-knot and clamped ends).
class PIXMILL_API TSpline {
public:
    int m_n;                ///< Number of points.
    float* m_x_p = nullptr; ///< Abscissae, m_n, owned.
    float* m_y_p = nullptr; ///< Ordinates, m_n, owned.
    float* m_b_p = nullptr; ///< Coefficients of u, m_n, owned; 0 until `update`, as the next two.
    float* m_c_p = nullptr; ///< Coefficients of u squared.
    float* m_d_p = nullptr; ///< Coefficients of u cubed.

    /// `n` evenly spaced points of the identity on 0..1; to be changed in place, then `update`. 2^24 at the most.
    explicit TSpline(int n);
    ~TSpline();
    TSpline(const TSpline&) = delete;
    TSpline& operator=(const TSpline&) = delete;

    /// `cubic_nak` on the object's points. Needs four points or more.
    void update();

    /// The object's spline at `t`, as `spline_eval`.
    float value(float t);

    /// A spline at `t`: the last piece whose first knot is at or below `t`. Outside the knots the end pieces go on.
    float spline_eval(int n, float* x, float* y, float* b, float* c, float* d, float t);

    /// Coefficients with not-a-knot ends: the two outer pieces at each end are one cubic. Needs n of 4 or more; does
    /// nothing for n of 1 or less.
    void cubic_nak(int n, float* x, float* y, float* b, float* c, float* d);

    /// Coefficients with given slopes at both ends. Does nothing for n of 1 or less.
    void cubic_clamped(int n, float* x, float* y, float* b, float* c, float* d, float slopeStart, float slopeEnd);

    /// Solves a tridiagonal system of n rows without pivoting; the solution replaces `rhs`, `upper` and `diag` are
    /// overwritten.
    ///
    /// @param lower  n - 1; lower[i] multiplies unknown i in row i + 1.
    /// @param upper  n - 1; upper[i] multiplies unknown i + 1 in row i.
    void tridiagonal(int n, float* lower, float* diag, float* upper, float* rhs);

    /// Value at `t` of the polynomial through the points (Neville's algorithm).
    float neville(int n, float* x, float* y, float t);

    /// Newton's divided differences of the points: a new array of n coefficients, which the caller releases (delete[]).
    float* divdiff(int n, float* x, float* y);

    /// Value at `t` of a polynomial in Newton form (Horner's rule).
    float nf_eval(int n, float* x, float* coef, float t);
};
