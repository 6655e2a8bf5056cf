#include "KTypes.h"

#include "KGL.h"

#include <algorithm>

namespace Kelno {

// ---------------------------------------------------------------------------------------------
// KVectorArray

KBoundingBox KVectorArray::boundingBox(bool skipNonFinite) const {
    KBoundingBox box;
    for (const KVector& p : *this) {
        if (skipNonFinite && !(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z)))
            continue;
        box.expand(p);
    }
    return box;
}

// ---------------------------------------------------------------------------------------------
// KBoundingBox

KBoundingBox::KBoundingBox(const KVector& a, const KVector& b)
    : m_initialized(true), m_min(std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)),
      m_max(std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)) {}

void KBoundingBox::expand(const KVector& p) {
    if (!m_initialized) {
        m_initialized = true;
        m_min = p;
        m_max = p;
        return;
    }
    m_min.x = std::min(m_min.x, p.x);
    m_min.y = std::min(m_min.y, p.y);
    m_min.z = std::min(m_min.z, p.z);
    m_max.x = std::max(m_max.x, p.x);
    m_max.y = std::max(m_max.y, p.y);
    m_max.z = std::max(m_max.z, p.z);
}

void KBoundingBox::expand(const KBoundingBox& b) {
    if (!b.m_initialized)
        return;
    if (!m_initialized) {
        *this = b;
        return;
    }
    expand(b.m_min);
    expand(b.m_max);
}

void KBoundingBox::expand(float e) {
    if (!m_initialized)
        return;
    m_min -= KVector(e, e, e);
    m_max += KVector(e, e, e);
}

void KBoundingBox::draw() const {
    if (!m_initialized)
        return;
    const float x[2] = {m_min.x, m_max.x};
    const float y[2] = {m_min.y, m_max.y};
    const float z[2] = {m_min.z, m_max.z};
    glBegin(GL_LINES);
    for (int a = 0; a < 2; ++a) {
        for (int b = 0; b < 2; ++b) {
            // Four edges along each axis.
            glVertex3f(x[0], y[a], z[b]);
            glVertex3f(x[1], y[a], z[b]);
            glVertex3f(x[a], y[0], z[b]);
            glVertex3f(x[a], y[1], z[b]);
            glVertex3f(x[a], y[b], z[0]);
            glVertex3f(x[a], y[b], z[1]);
        }
    }
    glEnd();
}

// ---------------------------------------------------------------------------------------------
// KMatrix

KMatrix::KMatrix(const float values[16]) {
    for (int i = 0; i < 16; ++i)
        m[i / 4][i % 4] = values[i];
}

void KMatrix::setToIdentity() {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            m[r][c] = r == c ? 1.0f : 0.0f;
}

bool KMatrix::isIdentity() const { return *this == KMatrix(); }

KMatrix KMatrix::operator*(const KMatrix& b) const {
    KMatrix out;
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            out.m[r][c] =
                m[r][0] * b.m[0][c] + m[r][1] * b.m[1][c] + m[r][2] * b.m[2][c] + m[r][3] * b.m[3][c];
        }
    }
    return out;
}

bool KMatrix::operator==(const KMatrix& b) const {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (m[r][c] != b.m[r][c])
                return false;
    return true;
}

KMatrix KMatrix::transpose() const {
    KMatrix t;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            t.m[r][c] = m[c][r];
    return t;
}

bool InvertMatrix4(const double in[4][4], double out[4][4], double minPivot) {
    // Gauss-Jordan elimination with partial pivoting.
    double a[4][8];
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            a[r][c] = in[r][c];
            a[r][c + 4] = r == c ? 1.0 : 0.0;
        }
    }
    for (int col = 0; col < 4; ++col) {
        int pivot = col;
        for (int r = col + 1; r < 4; ++r)
            if (std::fabs(a[r][col]) > std::fabs(a[pivot][col]))
                pivot = r;
        const double p = a[pivot][col];
        // !(x > t) also catches NaN.
        if (!(std::fabs(p) > minPivot) || !std::isfinite(p))
            return false;
        if (pivot != col)
            for (int c = 0; c < 8; ++c)
                std::swap(a[col][c], a[pivot][c]);
        for (int c = 0; c < 8; ++c)
            a[col][c] /= p;
        for (int r = 0; r < 4; ++r) {
            if (r == col)
                continue;
            const double f = a[r][col];
            if (f != 0.0)
                for (int c = 0; c < 8; ++c)
                    a[r][c] -= f * a[col][c];
        }
    }
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            out[r][c] = a[r][c + 4];
    return true;
}

KMatrix KMatrix::inverse(bool* invertible) const {
    double in[4][4], inv[4][4];
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            in[r][c] = m[r][c];
    const bool ok = InvertMatrix4(in, inv, 1e-30);
    if (invertible)
        *invertible = ok;
    KMatrix out;
    if (ok)
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                out.m[r][c] = static_cast<float>(inv[r][c]);
    return out;
}

KVector KMatrix::transformPoint(const KVector& p) const {
    const float x = p.x * m[0][0] + p.y * m[1][0] + p.z * m[2][0] + m[3][0];
    const float y = p.x * m[0][1] + p.y * m[1][1] + p.z * m[2][1] + m[3][1];
    const float z = p.x * m[0][2] + p.y * m[1][2] + p.z * m[2][2] + m[3][2];
    const float w = p.x * m[0][3] + p.y * m[1][3] + p.z * m[2][3] + m[3][3];
    if (w != 1.0f && w != 0.0f)
        return KVector(x / w, y / w, z / w);
    return KVector(x, y, z);
}

KVector KMatrix::transformVector(const KVector& v) const {
    return KVector(v.x * m[0][0] + v.y * m[1][0] + v.z * m[2][0],
                   v.x * m[0][1] + v.y * m[1][1] + v.z * m[2][1],
                   v.x * m[0][2] + v.y * m[1][2] + v.z * m[2][2]);
}

} // namespace Kelno
