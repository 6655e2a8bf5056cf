// Stand-in for Maya's MVector: a double-precision 3D vector. Points transform as row vectors
// (v * M), as everywhere in the API.
#pragma once

#include <maya/MStatus.h>
#include <maya/MTypes.h>

#include <cmath>
#include <ostream>

class MMatrix;
class MPoint;

class OPENMAYA_EXPORT MVector {
  public:
    enum Axis { kXaxis, kYaxis, kZaxis, kWaxis };

    MVector() : x(0.0), y(0.0), z(0.0) {}
    MVector(const MVector& src) = default;
    MVector(const MPoint& src);
    MVector(double xx, double yy, double zz = 0.0) : x(xx), y(yy), z(zz) {}
    MVector(const double d[3]) : x(d[0]), y(d[1]), z(d[2]) {}
    MVector& operator=(const MVector& src) = default;

    double operator()(unsigned int i) const { return i == 0 ? x : (i == 1 ? y : z); }
    double operator[](unsigned int i) const { return i == 0 ? x : (i == 1 ? y : z); }
    double& operator[](unsigned int i) { return i == 0 ? x : (i == 1 ? y : z); }

    MVector operator^(const MVector& r) const {
        return MVector(y * r.z - z * r.y, z * r.x - x * r.z, x * r.y - y * r.x);
    }
    double operator*(const MVector& r) const { return x * r.x + y * r.y + z * r.z; }
    MVector operator*(double s) const { return MVector(x * s, y * s, z * s); }
    MVector operator/(double s) const { return MVector(x / s, y / s, z / s); }
    MVector operator+(const MVector& r) const { return MVector(x + r.x, y + r.y, z + r.z); }
    MVector operator-(const MVector& r) const { return MVector(x - r.x, y - r.y, z - r.z); }
    MVector operator-() const { return MVector(-x, -y, -z); }
    MVector operator*(const MMatrix& m) const;
    MVector& operator*=(const MMatrix& m);
    MVector& operator+=(const MVector& r) {
        x += r.x;
        y += r.y;
        z += r.z;
        return *this;
    }
    MVector& operator-=(const MVector& r) {
        x -= r.x;
        y -= r.y;
        z -= r.z;
        return *this;
    }
    MVector& operator*=(double s) {
        x *= s;
        y *= s;
        z *= s;
        return *this;
    }
    MVector& operator/=(double s) {
        x /= s;
        y /= s;
        z /= s;
        return *this;
    }
    bool operator==(const MVector& r) const { return x == r.x && y == r.y && z == r.z; }
    bool operator!=(const MVector& r) const { return !(*this == r); }

    double length() const { return std::sqrt(x * x + y * y + z * z); }
    MVector normal() const {
        MVector v(*this);
        v.normalize();
        return v;
    }
    MStatus normalize() {
        double l = length();
        if (l > 0.0) {
            x /= l;
            y /= l;
            z /= l;
        }
        return MS::kSuccess;
    }
    double angle(const MVector& other) const;
    bool isEquivalent(const MVector& other, double tolerance = 1.0e-10) const {
        return std::fabs(x - other.x) <= tolerance && std::fabs(y - other.y) <= tolerance &&
               std::fabs(z - other.z) <= tolerance;
    }
    bool isParallel(const MVector& other, double tolerance = 1.0e-10) const;
    MStatus get(double dest[3]) const {
        dest[0] = x;
        dest[1] = y;
        dest[2] = z;
        return MS::kSuccess;
    }

    friend OPENMAYA_EXPORT MVector operator*(int s, const MVector& v) { return v * s; }
    friend OPENMAYA_EXPORT MVector operator*(double s, const MVector& v) { return v * s; }
    friend OPENMAYA_EXPORT std::ostream& operator<<(std::ostream& os, const MVector& v) {
        return os << "[" << v.x << ", " << v.y << ", " << v.z << "]";
    }

    static const MVector zero;
    static const MVector one;
    static const MVector xAxis;
    static const MVector yAxis;
    static const MVector zAxis;
    static const MVector xNegAxis;
    static const MVector yNegAxis;
    static const MVector zNegAxis;

    double x;
    double y;
    double z;
};
