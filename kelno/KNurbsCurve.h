// Non-rational open NURBS curves in double precision: interpolation through edit points,
// evaluation, arc length, point distance and reversal.
//
// Knots are kept in the host's convention: a curve of degree p with s spans has s + p CVs and
// s + 2p - 1 knots (the usual full knot vector without its first and last entries). An open
// curve's first p knots are equal, as are its last p, so the curve starts at its first CV and
// ends at its last one.
//
// Interpolation (createWithEditPoints): n >= 2 edit points become the points of the curve at
// its knot values. The parameters are 0, 1, ..., n - 1 (uniform) or the cumulative chord lengths;
// the knot vector repeats the first and last parameter p times and uses the inner parameters
// once, so the curve has n - 1 spans and n + p - 1 CVs. For degree 3 this leaves two CVs free;
// they are fixed by a zero second derivative at both ends (the "natural" end conditions), and
// the resulting banded system (one row per edit point plus the two end rows) is solved by
// Gaussian elimination with partial pivoting. Degree 1 uses the edit points as CVs.
#pragma once

#include "KelnoExport.h"

#include <array>
#include <vector>

namespace Kelno {

class KELNO_API KNurbsCurve {
  public:
    using Point = std::array<double, 3>;

    KNurbsCurve() = default;

    // Replaces this curve with the interpolating curve described above. Fails (false, curve
    // unchanged) for degree other than 1 or 3, fewer than 2 points, non-finite coordinates, or
    // (chord parameterisation) coincident consecutive points.
    bool createWithEditPoints(const std::vector<Point>& editPoints, int degree, bool uniformParam);
    // Sets the curve directly from CVs and host-convention knots; false when the counts do not fit.
    bool create(const std::vector<Point>& cvs, const std::vector<double>& knots, int degree);

    bool valid() const { return !m_cvs.empty(); }
    int degree() const { return m_degree; }
    int numCVs() const { return static_cast<int>(m_cvs.size()); }
    int numSpans() const { return valid() ? numCVs() - m_degree : 0; }
    const std::vector<Point>& cvs() const { return m_cvs; }
    // The host-convention knots (numSpans() + 2 degree() - 1 of them).
    const std::vector<double>& knots() const { return m_knots; }
    Point cv(int i) const { return m_cvs[static_cast<std::size_t>(i)]; }
    double minParam() const { return valid() ? m_knots.front() : 0.0; }
    double maxParam() const { return valid() ? m_knots.back() : 0.0; }

    // The point at parameter u (clamped into the parameter range).
    Point evaluate(double u) const;
    // First derivative at u.
    Point derivative(double u) const;
    // Arc length, integrated span by span with adaptive Gauss-Legendre quadrature until the
    // estimate changes by less than tolerance (relative to the span length, at least 1e-12).
    double length(double tolerance = 1e-3) const;
    // Distance from p to the nearest point of the curve: 32 samples per span, the best few
    // refined by a golden-section search on their neighbouring samples. +infinity for an invalid
    // curve. closest and param, when given, receive that point and its parameter.
    double distanceToPoint(const Point& p, Point* closest = nullptr, double* param = nullptr) const;
    // Reverses the direction: CVs in reverse order, knots mirrored (u -> min + max - u), same shape.
    void reverse();

  private:
    int span(double u) const;
    void basis(int spanIndex, double u, double* N) const;
    double fullKnot(int i) const; // knot of the full vector (with the two end knots)

    int m_degree = 0;
    std::vector<Point> m_cvs;
    std::vector<double> m_knots;
};

} // namespace Kelno
