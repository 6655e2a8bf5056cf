// Core value types and arrays of the Kelno library.
//
// Owns the small types every other part of the library and the plug-in keeps geometry in:
//   KVector       three packed floats x, y, z (arrays of it are read as runs of floats)
//   KArray<T>     std::vector<T> with an int length(), deduplicate() and remove(indices)
//   named arrays  KIntArray, KFloatArray, KFloat2Array, KInt2Array, KInt3Array, KIntArrayList,
//                 KCharArray, KVectorArray
//   KBoundingBox  axis-aligned box with an "initialised" flag (empty until something is merged)
//   KMatrix       4x4 float matrix, row-major, points as row vectors (see the class comment)
//   KColor        red, green, blue, alpha floats
//   KString       owned character string
//
// Everything here is single precision and plain C++14; no host (Maya) types are used.
// Counts and indices are `int` throughout, as in the rest of the library.
#pragma once

#include "KelnoExport.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

namespace Kelno {

// ---------------------------------------------------------------------------------------------
// KVector
// ---------------------------------------------------------------------------------------------

// A 3D vector or point of three single-precision floats, x then y then z, and nothing else:
// a KVectorArray is a packed run x0 y0 z0 x1 y1 z1 ... that may be handed to GL or read as
// floats. The default constructor gives the zero vector.
struct KVector {
    float x;
    float y;
    float z;

    KVector() : x(0.0f), y(0.0f), z(0.0f) {}
    KVector(float x_, float y_, float z_) : x(x_), y(y_), z(z_) {}

    // Component i (0 = x, 1 = y, 2 = z). Indices outside 0..2 give z.
    float operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }
    float& operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }

    KVector operator+(const KVector& v) const { return KVector(x + v.x, y + v.y, z + v.z); }
    KVector operator-(const KVector& v) const { return KVector(x - v.x, y - v.y, z - v.z); }
    KVector operator*(float s) const { return KVector(x * s, y * s, z * s); }
    KVector operator/(float s) const { return KVector(x / s, y / s, z / s); }
    KVector operator-() const { return KVector(-x, -y, -z); }

    KVector& operator+=(const KVector& v) {
        x += v.x;
        y += v.y;
        z += v.z;
        return *this;
    }
    KVector& operator-=(const KVector& v) {
        x -= v.x;
        y -= v.y;
        z -= v.z;
        return *this;
    }
    KVector& operator*=(float s) {
        x *= s;
        y *= s;
        z *= s;
        return *this;
    }
    KVector& operator/=(float s) {
        x /= s;
        y /= s;
        z /= s;
        return *this;
    }

    // Exact component-wise comparison with float ==: -0.0 equals 0.0, a NaN equals nothing.
    bool operator==(const KVector& v) const { return x == v.x && y == v.y && z == v.z; }
    bool operator!=(const KVector& v) const { return !(*this == v); }

    float dot(const KVector& v) const { return x * v.x + y * v.y + z * v.z; }
    KVector cross(const KVector& v) const {
        return KVector(y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x);
    }
    float length() const { return std::sqrt(dot(*this)); }

    // Scales this vector to unit length in place and returns it. A vector shorter than 1e-30
    // (or holding a NaN) is left unchanged, so normalising never produces NaNs from zeros.
    KVector& normalize() {
        const float len = length();
        if (len > 1e-30f) {
            x /= len;
            y /= len;
            z /= len;
        }
        return *this;
    }
    // A unit-length copy, under the same rule as normalize().
    KVector normal() const {
        KVector v(*this);
        return v.normalize();
    }
};

inline KVector operator*(float s, const KVector& v) { return v * s; }

static_assert(sizeof(KVector) == 3 * sizeof(float), "KVector must be three packed floats");
static_assert(std::is_standard_layout<KVector>::value, "KVector must be standard layout");
static_assert(std::is_trivially_copyable<KVector>::value, "KVector must be trivially copyable");

// ---------------------------------------------------------------------------------------------
// KArray<T>
// ---------------------------------------------------------------------------------------------

// A growable array: std::vector<T> (so begin, end, size, push_back, clear, resize, operator[]
// and the rest are there) with the element count as a signed int and two exact operations,
// deduplicate() and remove().
template <class T> class KArray : public std::vector<T> {
  public:
    using Base = std::vector<T>;
    using Base::Base;

    KArray() = default;
    // n value-initialised elements (zeros for numbers); a negative n gives an empty array.
    explicit KArray(int n) : Base(n > 0 ? static_cast<std::size_t>(n) : 0u) {}

    int length() const { return static_cast<int>(this->size()); }

    // Keeps the first occurrence of every value where it stands and drops later repeats; the
    // survivors keep their order. Quadratic on purpose: elements need only operator==, which
    // for KVector is exact float comparison (-0.0 == 0.0; a vector holding a NaN is never a
    // repeat, so every such vector is kept).
    void deduplicate();

    // Removes the elements at the given indices and returns the new length. Indices may come
    // in any order; negative or out-of-range ones are skipped and repeats count once. When
    // nothing is left the storage is kept; otherwise the survivors move, in order, to new
    // storage of exactly their count (capacity == size afterwards).
    int remove(const KArray<int>& indices);
};

template <class T> void KArray<T>::deduplicate() {
    Base old;
    old.swap(*this);
    const std::size_t n = old.size();
    std::vector<char> marked(n, 0);
    for (std::size_t i = 0; i + 1 < n; ++i) {
        if (marked[i])
            continue;
        for (std::size_t j = i + 1; j < n; ++j) {
            if (old[j] == old[i])
                marked[j] = 1;
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        if (!marked[i])
            this->push_back(std::move(old[i]));
    }
}

template <class T> int KArray<T>::remove(const KArray<int>& indices) {
    const int n = length();
    if (n == 0)
        return 0;
    if (indices.empty())
        return n;

    std::vector<bool> gone(static_cast<std::size_t>(n), false);
    int removals = 0;
    for (int index : indices) {
        if (index < 0 || index >= n)
            continue;
        if (!gone[static_cast<std::size_t>(index)]) {
            gone[static_cast<std::size_t>(index)] = true;
            ++removals;
        }
    }
    if (removals == n) {
        this->clear();
        return 0;
    }

    Base kept;
    kept.reserve(static_cast<std::size_t>(n - removals));
    for (int i = 0; i < n; ++i) {
        if (!gone[static_cast<std::size_t>(i)])
            kept.push_back(std::move((*this)[static_cast<std::size_t>(i)]));
    }
    this->swap(kept);
    return length();
}

// ---------------------------------------------------------------------------------------------
// Small fixed tuples held by the named arrays
// ---------------------------------------------------------------------------------------------

// Two floats (x, y), e.g. a 2D point or a UV.
struct KFloat2 {
    float x;
    float y;
    bool operator==(const KFloat2& o) const { return x == o.x && y == o.y; }
    bool operator!=(const KFloat2& o) const { return !(*this == o); }
};

// Two ints, e.g. the end vertices of an edge. Aggregate: KInt2{a, b}.
struct KInt2 {
    int v[2];
    int operator[](int i) const { return v[i]; }
    int& operator[](int i) { return v[i]; }
    bool operator==(const KInt2& o) const { return v[0] == o.v[0] && v[1] == o.v[1]; }
    bool operator!=(const KInt2& o) const { return !(*this == o); }
};

// Three ints, e.g. the corner vertices of a triangle. Aggregate: KInt3{a, b, c}.
struct KInt3 {
    int v[3];
    int operator[](int i) const { return v[i]; }
    int& operator[](int i) { return v[i]; }
    bool operator==(const KInt3& o) const { return v[0] == o.v[0] && v[1] == o.v[1] && v[2] == o.v[2]; }
    bool operator!=(const KInt3& o) const { return !(*this == o); }
};

static_assert(sizeof(KFloat2) == 2 * sizeof(float), "KFloat2 must be two packed floats");
static_assert(sizeof(KInt2) == 2 * sizeof(int), "KInt2 must be two packed ints");
static_assert(sizeof(KInt3) == 3 * sizeof(int), "KInt3 must be three packed ints");

using KIntArray = KArray<int>;
using KFloatArray = KArray<float>;
using KFloat2Array = KArray<KFloat2>;
using KInt2Array = KArray<KInt2>;
using KInt3Array = KArray<KInt3>;
using KCharArray = KArray<char>;
// A list of index lists, e.g. the edges around each vertex.
using KIntArrayList = KArray<KIntArray>;

class KBoundingBox;

// An array of points or vectors (see KVector for the packed layout).
class KELNO_API KVectorArray : public KArray<KVector> {
  public:
    using KArray<KVector>::KArray;
    KVectorArray() = default;

    // The box of the points. With skipNonFinite (what callers normally pass) points holding a
    // NaN or an infinity are left out, so one broken vertex cannot poison the box; with false
    // every point is merged as it is. An empty array (or one with no finite point) gives an
    // uninitialised box.
    KBoundingBox boundingBox(bool skipNonFinite) const;

    // Read-only view of the packed floats (3 * length() of them).
    const float* asFloats() const { return empty() ? nullptr : &front().x; }
};

// ---------------------------------------------------------------------------------------------
// KBoundingBox
// ---------------------------------------------------------------------------------------------

// An axis-aligned box: an "initialised" flag followed by the minimum and maximum corners.
// A new or reset box is uninitialised (empty); the first point or box merged into it makes it
// exactly that point or box. Boxes are closed: points on a face count as inside, and boxes
// that only touch count as overlapping.
class KELNO_API KBoundingBox {
  public:
    KBoundingBox() : m_initialized(false) {}
    // The box spanned by two corners, given in any order (min and max taken per axis).
    KBoundingBox(const KVector& a, const KVector& b);

    bool initialized() const { return m_initialized; }
    void reset() {
        m_initialized = false;
        m_min = KVector();
        m_max = KVector();
    }

    // Corners; meaningful only when initialized().
    const KVector& min() const { return m_min; }
    const KVector& max() const { return m_max; }
    // max - min (zero vector for an uninitialised box).
    KVector size() const { return m_initialized ? m_max - m_min : KVector(); }
    // Midpoint of the two corners.
    KVector center() const { return (m_min + m_max) * 0.5f; }

    // True when p lies inside the box or on its boundary; always false for an empty box.
    bool contains(const KVector& p) const {
        return m_initialized && p.x >= m_min.x && p.x <= m_max.x && p.y >= m_min.y && p.y <= m_max.y &&
               p.z >= m_min.z && p.z <= m_max.z;
    }
    // True when the two boxes share at least one point (touching counts); false if either is
    // empty.
    bool overlaps(const KBoundingBox& b) const {
        return m_initialized && b.m_initialized && b.m_min.x <= m_max.x && b.m_max.x >= m_min.x &&
               b.m_min.y <= m_max.y && b.m_max.y >= m_min.y && b.m_min.z <= m_max.z && b.m_max.z >= m_min.z;
    }

    // Grow to enclose the point; an empty box becomes the point.
    void expand(const KVector& p);
    // Grow to enclose the other box; an empty box becomes a copy of it. An empty b changes
    // nothing.
    void expand(const KBoundingBox& b);
    // Move every face outwards by e (inwards for a negative e). An empty box stays empty.
    void expand(float e);

    // Draws the twelve edges as GL_LINES in the current GL colour, in the current legacy
    // (fixed-function) GL context. Draws nothing for an empty box.
    void draw() const;

  private:
    bool m_initialized;
    KVector m_min;
    KVector m_max;
};

// ---------------------------------------------------------------------------------------------
// KMatrix
// ---------------------------------------------------------------------------------------------

// A 4x4 single-precision transformation matrix, using the same conventions as Maya's MMatrix
// so host matrices copy over element by element:
//   - storage is row-major: m[row][col], and data() is the 16 floats row after row;
//   - points are row vectors multiplied on the left, p' = p * M, so the translation sits in
//     the last row (m[3][0], m[3][1], m[3][2]);
//   - A * B therefore applies A first, then B (a child's local matrix times its parent's
//     world matrix gives the child's world matrix).
// The default constructor gives the identity.
class KELNO_API KMatrix {
  public:
    KMatrix() { setToIdentity(); }
    // From 16 floats in storage (row-major) order.
    explicit KMatrix(const float values[16]);

    void setToIdentity();
    bool isIdentity() const;

    float operator()(int row, int col) const { return m[row][col]; }
    float& operator()(int row, int col) { return m[row][col]; }
    const float* data() const { return &m[0][0]; }
    float* data() { return &m[0][0]; }

    // Matrix product: (*this) then b, under the row-vector convention.
    KMatrix operator*(const KMatrix& b) const;
    KMatrix& operator*=(const KMatrix& b) { return *this = *this * b; }
    bool operator==(const KMatrix& b) const;
    bool operator!=(const KMatrix& b) const { return !(*this == b); }

    KMatrix transpose() const;
    // General 4x4 inverse (InvertMatrix4). A singular matrix (a pivot of 1e-30 or less) yields the identity
    // and sets *invertible to false when given.
    KMatrix inverse(bool* invertible = nullptr) const;

    // p * M with w = 1; the result is divided by w when the matrix is projective and w != 0.
    KVector transformPoint(const KVector& p) const;
    // v * M with w = 0: rotation and scale only, no translation.
    KVector transformVector(const KVector& v) const;

    // Translation part (the last row).
    KVector translation() const { return KVector(m[3][0], m[3][1], m[3][2]); }
    void setTranslation(const KVector& t) {
        m[3][0] = t.x;
        m[3][1] = t.y;
        m[3][2] = t.z;
    }

    float m[4][4];
};

// The inverse of a 4x4 double matrix (Gauss-Jordan elimination with partial pivoting), for
// KMatrix and the double-precision matrices built on it. Returns false, `out` unspecified, when
// a pivot is not finite or its magnitude is not above minPivot.
KELNO_API bool InvertMatrix4(const double in[4][4], double out[4][4], double minPivot);

// ---------------------------------------------------------------------------------------------
// KColor
// ---------------------------------------------------------------------------------------------

// A colour of four floats: red, green, blue, alpha, in that order (code that fills a colour
// from a host triple writes the first three floats). The default is opaque black.
struct KColor {
    float r;
    float g;
    float b;
    float a;

    KColor() : r(0.0f), g(0.0f), b(0.0f), a(1.0f) {}
    KColor(float r_, float g_, float b_, float a_ = 1.0f) : r(r_), g(g_), b(b_), a(a_) {}

    bool operator==(const KColor& c) const { return r == c.r && g == c.g && b == c.b && a == c.a; }
    bool operator!=(const KColor& c) const { return !(*this == c); }
};

static_assert(sizeof(KColor) == 4 * sizeof(float), "KColor must be four packed floats");

// ---------------------------------------------------------------------------------------------
// KString
// ---------------------------------------------------------------------------------------------

// An owned character string. asChar() is a NUL-terminated view valid until the string changes.
class KString {
  public:
    KString() = default;
    KString(const char* s) : m_str(s ? s : "") {}
    KString(const std::string& s) : m_str(s) {}

    const char* asChar() const { return m_str.c_str(); }
    const std::string& str() const { return m_str; }
    int length() const { return static_cast<int>(m_str.size()); }
    bool empty() const { return m_str.empty(); }

    // A null pointer compares equal to nothing.
    bool operator==(const char* s) const { return s != nullptr && m_str == s; }
    bool operator!=(const char* s) const { return !(*this == s); }
    bool operator==(const KString& s) const { return m_str == s.m_str; }
    bool operator!=(const KString& s) const { return m_str != s.m_str; }

    KString& operator+=(const KString& s) {
        m_str += s.m_str;
        return *this;
    }
    KString operator+(const KString& s) const { return KString(m_str + s.m_str); }

  private:
    std::string m_str;
};

} // namespace Kelno
