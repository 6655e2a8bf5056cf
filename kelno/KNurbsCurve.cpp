#include "KNurbsCurve.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Kelno {

namespace {

using Point = KNurbsCurve::Point;

Point add(const Point& a, const Point& b) { return {{a[0] + b[0], a[1] + b[1], a[2] + b[2]}}; }
Point sub(const Point& a, const Point& b) { return {{a[0] - b[0], a[1] - b[1], a[2] - b[2]}}; }
Point scale(const Point& a, double s) { return {{a[0] * s, a[1] * s, a[2] * s}}; }
double norm(const Point& a) { return std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]); }
bool finite(const Point& a) { return std::isfinite(a[0]) && std::isfinite(a[1]) && std::isfinite(a[2]); }

// Banded linear system A x = b with partial pivoting; rows keep columns [i - kLower, i + kLower +
// kUpper] so that the fill from row swaps fits.
class BandSolver {
  public:
    BandSolver(int n, int lower, int upper)
        : m_n(n), m_kl(lower), m_width(2 * lower + upper + 1),
          m_band(static_cast<std::size_t>(n) * static_cast<std::size_t>(m_width), 0.0), m_rhs(n, Point{}) {}

    double& at(int row, int col) {
        return m_band[static_cast<std::size_t>(row) * static_cast<std::size_t>(m_width) +
                      static_cast<std::size_t>(col - row + m_kl)];
    }
    bool inBand(int row, int col) const { return col - row + m_kl >= 0 && col - row + m_kl < m_width; }
    Point& rhs(int row) { return m_rhs[static_cast<std::size_t>(row)]; }

    bool solve(std::vector<Point>& x) {
        const int last = m_width - m_kl - 1; // highest column offset from the diagonal
        for (int k = 0; k < m_n; ++k) {
            int piv = k;
            for (int r = k + 1; r <= std::min(m_n - 1, k + m_kl); ++r)
                if (std::fabs(at(r, k)) > std::fabs(at(piv, k)))
                    piv = r;
            if (!(std::fabs(at(piv, k)) > 1e-300))
                return false;
            if (piv != k) {
                for (int c = k; c <= std::min(m_n - 1, k + last); ++c) {
                    const double a = inBand(k, c) ? at(k, c) : 0.0;
                    const double b = inBand(piv, c) ? at(piv, c) : 0.0;
                    if (inBand(k, c))
                        at(k, c) = b;
                    if (inBand(piv, c))
                        at(piv, c) = a;
                }
                std::swap(m_rhs[static_cast<std::size_t>(k)], m_rhs[static_cast<std::size_t>(piv)]);
            }
            for (int r = k + 1; r <= std::min(m_n - 1, k + m_kl); ++r) {
                const double f = at(r, k) / at(k, k);
                if (f == 0.0)
                    continue;
                for (int c = k; c <= std::min(m_n - 1, k + last); ++c)
                    if (inBand(r, c))
                        at(r, c) -= f * at(k, c);
                rhs(r) = sub(rhs(r), scale(rhs(k), f));
            }
        }
        x.assign(static_cast<std::size_t>(m_n), Point{});
        for (int k = m_n - 1; k >= 0; --k) {
            Point s = rhs(k);
            for (int c = k + 1; c <= std::min(m_n - 1, k + last); ++c)
                s = sub(s, scale(x[static_cast<std::size_t>(c)], at(k, c)));
            x[static_cast<std::size_t>(k)] = scale(s, 1.0 / at(k, k));
        }
        return true;
    }

  private:
    int m_n;
    int m_kl;
    int m_width;
    std::vector<double> m_band;
    std::vector<Point> m_rhs;
};

// Five-point Gauss-Legendre nodes and weights on [-1, 1].
const double kGaussX[5] = {0.0, -0.5384693101056831, 0.5384693101056831, -0.9061798459386640,
                           0.9061798459386640};
const double kGaussW[5] = {0.5688888888888889, 0.4786286704993665, 0.4786286704993665, 0.2369268850561891,
                           0.2369268850561891};

} // namespace

double KNurbsCurve::fullKnot(int i) const {
    const int m = static_cast<int>(m_knots.size()) + 2;
    if (i <= 0)
        return m_knots.front();
    if (i >= m - 1)
        return m_knots.back();
    return m_knots[static_cast<std::size_t>(i - 1)];
}

bool KNurbsCurve::create(const std::vector<Point>& cvs, const std::vector<double>& knots, int degree) {
    if (degree < 1 || cvs.size() < static_cast<std::size_t>(degree) + 1 ||
        knots.size() != cvs.size() + static_cast<std::size_t>(degree) - 1)
        return false;
    for (std::size_t i = 1; i < knots.size(); ++i)
        if (!(knots[i] >= knots[i - 1]))
            return false;
    if (!(knots.back() > knots.front()))
        return false;
    m_degree = degree;
    m_cvs = cvs;
    m_knots = knots;
    return true;
}

bool KNurbsCurve::createWithEditPoints(const std::vector<Point>& ep, int degree, bool uniformParam) {
    const int n = static_cast<int>(ep.size());
    if ((degree != 1 && degree != 3) || n < 2)
        return false;
    for (const Point& p : ep)
        if (!finite(p))
            return false;
    std::vector<double> t(static_cast<std::size_t>(n), 0.0);
    for (int i = 1; i < n; ++i) {
        const double d =
            uniformParam ? 1.0
                         : norm(sub(ep[static_cast<std::size_t>(i)], ep[static_cast<std::size_t>(i - 1)]));
        if (!(d > 0.0))
            return false;
        t[static_cast<std::size_t>(i)] = t[static_cast<std::size_t>(i - 1)] + d;
    }
    std::vector<double> knots;
    for (int k = 0; k < degree - 1; ++k)
        knots.push_back(t.front());
    knots.insert(knots.end(), t.begin(), t.end());
    for (int k = 0; k < degree - 1; ++k)
        knots.push_back(t.back());
    if (degree == 1)
        return create(ep, knots, 1);

    KNurbsCurve c;
    c.m_degree = 3;
    c.m_knots = knots;
    c.m_cvs.assign(static_cast<std::size_t>(n + 2), Point{});
    const int N = n + 2;
    BandSolver solver(N, 2, 2);
    solver.at(0, 0) = 1.0;
    solver.rhs(0) = ep.front();
    // Zero second derivative at the start: (P2 - P1) / (U5 - U2) = (P1 - P0) / (U4 - U1).
    const double a = 1.0 / (c.fullKnot(4) - c.fullKnot(1)), b = 1.0 / (c.fullKnot(5) - c.fullKnot(2));
    solver.at(1, 0) = a;
    solver.at(1, 1) = -(a + b);
    solver.at(1, 2) = b;
    for (int i = 1; i < n - 1; ++i) {
        const double u = t[static_cast<std::size_t>(i)];
        const int s = c.span(u);
        double basisValues[4];
        c.basis(s, u, basisValues);
        for (int j = 0; j < 4; ++j) {
            const int col = s - 3 + j;
            if (basisValues[j] != 0.0)
                solver.at(i + 1, col) = basisValues[j];
        }
        solver.rhs(i + 1) = ep[static_cast<std::size_t>(i)];
    }
    const double ae = 1.0 / (c.fullKnot(N + 2) - c.fullKnot(N - 1)),
                 be = 1.0 / (c.fullKnot(N + 1) - c.fullKnot(N - 2));
    solver.at(N - 2, N - 1) = ae;
    solver.at(N - 2, N - 2) = -(ae + be);
    solver.at(N - 2, N - 3) = be;
    solver.at(N - 1, N - 1) = 1.0;
    solver.rhs(N - 1) = ep.back();
    std::vector<Point> x;
    if (!solver.solve(x))
        return false;
    for (const Point& p : x)
        if (!finite(p))
            return false;
    c.m_cvs = x;
    *this = c;
    return true;
}

int KNurbsCurve::span(double u) const {
    const int n = numCVs();
    const int p = m_degree;
    if (u >= fullKnot(n))
        return n - 1;
    if (u <= fullKnot(p))
        return p;
    int lo = p, hi = n;
    while (hi - lo > 1) {
        const int mid = (lo + hi) / 2;
        if (u < fullKnot(mid))
            hi = mid;
        else
            lo = mid;
    }
    return lo;
}

void KNurbsCurve::basis(int s, double u, double* N) const {
    const int p = m_degree;
    double left[8], right[8];
    N[0] = 1.0;
    for (int j = 1; j <= p; ++j) {
        left[j] = u - fullKnot(s + 1 - j);
        right[j] = fullKnot(s + j) - u;
        double saved = 0.0;
        for (int r = 0; r < j; ++r) {
            const double den = right[r + 1] + left[j - r];
            const double tmp = den != 0.0 ? N[r] / den : 0.0;
            N[r] = saved + right[r + 1] * tmp;
            saved = left[j - r] * tmp;
        }
        N[j] = saved;
    }
}

KNurbsCurve::Point KNurbsCurve::evaluate(double u) const {
    if (!valid())
        return Point{};
    u = std::min(std::max(u, minParam()), maxParam());
    const int s = span(u);
    double N[8];
    basis(s, u, N);
    Point r{};
    for (int j = 0; j <= m_degree; ++j)
        r = add(r, scale(m_cvs[static_cast<std::size_t>(s - m_degree + j)], N[j]));
    return r;
}

KNurbsCurve::Point KNurbsCurve::derivative(double u) const {
    if (!valid())
        return Point{};
    u = std::min(std::max(u, minParam()), maxParam());
    const int p = m_degree;
    const int s = span(u);
    // The derivative is a degree p - 1 curve on the inner knots with CVs
    // p (P[i+1] - P[i]) / (U[i+p+1] - U[i+1]); only the p of them on this span are needed.
    Point d[8];
    for (int j = 0; j < p; ++j) {
        const int i = s - p + j;
        const double den = fullKnot(i + p + 1) - fullKnot(i + 1);
        d[j] = den > 0.0
                   ? scale(sub(m_cvs[static_cast<std::size_t>(i + 1)], m_cvs[static_cast<std::size_t>(i)]),
                           p / den)
                   : Point{};
    }
    // de Boor on the inner knot vector U'[k] = U[k + 1], degree p - 1, span s - 1.
    const int q = p - 1;
    for (int r = 1; r <= q; ++r) {
        for (int j = q; j >= r; --j) {
            const double lo = fullKnot(j + s - 1 - q + 1), hi = fullKnot(j + 1 + s - 1 - r + 1);
            const double alpha = hi > lo ? (u - lo) / (hi - lo) : 0.0;
            d[j] = add(scale(d[j - 1], 1.0 - alpha), scale(d[j], alpha));
        }
    }
    return d[q];
}

namespace {
double gaussSpeed(const KNurbsCurve& c, double a, double b) {
    const double h = 0.5 * (b - a), m = 0.5 * (a + b);
    double s = 0.0;
    for (int i = 0; i < 5; ++i)
        s += kGaussW[i] * norm(c.derivative(m + h * kGaussX[i]));
    return s * h;
}
double adaptiveLength(const KNurbsCurve& c, double a, double b, double whole, double tol, int depth) {
    const double m = 0.5 * (a + b);
    const double l = gaussSpeed(c, a, m), r = gaussSpeed(c, m, b);
    if (depth <= 0 || std::fabs(l + r - whole) <= tol)
        return l + r;
    return adaptiveLength(c, a, m, l, 0.5 * tol, depth - 1) +
           adaptiveLength(c, m, b, r, 0.5 * tol, depth - 1);
}
} // namespace

double KNurbsCurve::length(double tolerance) const {
    if (!valid())
        return 0.0;
    const double tol = std::max(tolerance, 1e-12);
    double total = 0.0;
    for (std::size_t i = 1; i < m_knots.size(); ++i) {
        const double a = m_knots[i - 1], b = m_knots[i];
        if (b > a)
            total += adaptiveLength(*this, a, b, gaussSpeed(*this, a, b), tol * 1e-3, 30);
    }
    return total;
}

double KNurbsCurve::distanceToPoint(const Point& p, Point* closest, double* param) const {
    if (!valid())
        return std::numeric_limits<double>::infinity();
    const int samples = 32;
    std::vector<double> us;
    for (std::size_t i = 1; i < m_knots.size(); ++i) {
        const double a = m_knots[i - 1], b = m_knots[i];
        if (!(b > a))
            continue;
        for (int k = 0; k < samples; ++k)
            us.push_back(a + (b - a) * k / samples);
    }
    us.push_back(maxParam());
    auto dist = [&](double u) { return norm(sub(evaluate(u), p)); };
    std::vector<double> ds(us.size());
    for (std::size_t i = 0; i < us.size(); ++i)
        ds[i] = dist(us[i]);
    // Refine around the best few samples (a curve may come close to p in several places).
    std::vector<std::size_t> order(us.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    const std::size_t keep = std::min<std::size_t>(4, order.size());
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(keep), order.end(),
                      [&](std::size_t x, std::size_t y) { return ds[x] < ds[y]; });
    double bestU = us[order[0]], bestD = ds[order[0]];
    const double g = 0.5 * (std::sqrt(5.0) - 1.0);
    for (std::size_t k = 0; k < keep; ++k) {
        const std::size_t i = order[k];
        double lo = us[i > 0 ? i - 1 : 0], hi = us[std::min(i + 1, us.size() - 1)];
        double x1 = hi - g * (hi - lo), x2 = lo + g * (hi - lo);
        double f1 = dist(x1), f2 = dist(x2);
        for (int it = 0; it < 80 && hi - lo > 1e-14 * (1.0 + std::fabs(hi)); ++it) {
            if (f1 < f2) {
                hi = x2;
                x2 = x1;
                f2 = f1;
                x1 = hi - g * (hi - lo);
                f1 = dist(x1);
            } else {
                lo = x1;
                x1 = x2;
                f1 = f2;
                x2 = lo + g * (hi - lo);
                f2 = dist(x2);
            }
        }
        const double u = 0.5 * (lo + hi), d = dist(u);
        if (d < bestD) {
            bestD = d;
            bestU = u;
        }
    }
    if (closest)
        *closest = evaluate(bestU);
    if (param)
        *param = bestU;
    return bestD;
}

void KNurbsCurve::reverse() {
    if (!valid())
        return;
    // In place, without reallocating: readers on other threads never see freed storage.
    std::reverse(m_cvs.begin(), m_cvs.end());
    const double a = m_knots.front(), b = m_knots.back();
    std::reverse(m_knots.begin(), m_knots.end());
    for (double& v : m_knots)
        v = a + b - v;
}

} // namespace Kelno
