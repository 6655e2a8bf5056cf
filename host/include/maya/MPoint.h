// Stand-in for Maya's MPoint: a homogeneous double-precision point (x, y, z, w), w = 1 for
// ordinary points. Transforms as a row vector (p * M).
#pragma once

#include <maya/MStatus.h>
#include <maya/MTypes.h>
#include <maya/MVector.h>

#include <cmath>
#include <ostream>

class MMatrix;

class OPENMAYA_EXPORT MPoint {
  public:
    MPoint() : x(0.0), y(0.0), z(0.0), w(1.0) {}
    MPoint(const MPoint& src) = default;
    MPoint(const MVector& src) : x(src.x), y(src.y), z(src.z), w(1.0) {}
    MPoint(double xx, double yy, double zz = 0.0, double ww = 1.0) : x(xx), y(yy), z(zz), w(ww) {}
    MPoint(const double d[4]) : x(d[0]), y(d[1]), z(d[2]), w(d[3]) {}
    MPoint& operator=(const MPoint& src) = default;

    double operator()(unsigned int i) const { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
    double operator[](unsigned int i) const { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
    double& operator[](unsigned int i) { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }

    MVector operator-(const MPoint& o) const { return MVector(x - o.x, y - o.y, z - o.z); }
    MPoint operator+(const MVector& v) const { return MPoint(x + v.x, y + v.y, z + v.z, w); }
    MPoint operator-(const MVector& v) const { return MPoint(x - v.x, y - v.y, z - v.z, w); }
    MPoint& operator+=(const MVector& v) {
        x += v.x;
        y += v.y;
        z += v.z;
        return *this;
    }
    MPoint& operator-=(const MVector& v) {
        x -= v.x;
        y -= v.y;
        z -= v.z;
        return *this;
    }
    MPoint operator*(double s) const { return MPoint(x * s, y * s, z * s, w * s); }
    MPoint operator/(double s) const { return MPoint(x / s, y / s, z / s, w / s); }
    MPoint operator*(const MMatrix& m) const;
    MPoint& operator*=(const MMatrix& m);
    bool operator==(const MPoint& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    bool operator!=(const MPoint& o) const { return !(*this == o); }

    MPoint& cartesianize() {
        if (w != 0.0 && w != 1.0) {
            x /= w;
            y /= w;
            z /= w;
            w = 1.0;
        }
        return *this;
    }
    double distanceTo(const MPoint& o) const { return (*this - o).length(); }
    bool isEquivalent(const MPoint& o, double tolerance = 1.0e-10) const {
        return std::fabs(x - o.x) <= tolerance && std::fabs(y - o.y) <= tolerance &&
               std::fabs(z - o.z) <= tolerance && std::fabs(w - o.w) <= tolerance;
    }
    MStatus get(double dest[4]) const {
        dest[0] = x;
        dest[1] = y;
        dest[2] = z;
        dest[3] = w;
        return MS::kSuccess;
    }

    friend OPENMAYA_EXPORT std::ostream& operator<<(std::ostream& os, const MPoint& p) {
        return os << "[" << p.x << ", " << p.y << ", " << p.z << ", " << p.w << "]";
    }

    static const MPoint origin;

    double x;
    double y;
    double z;
    double w;
};

inline MVector::MVector(const MPoint& src) : x(src.x), y(src.y), z(src.z) {}
