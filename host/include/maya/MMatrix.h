// Stand-in for Maya's MMatrix: a 4x4 double matrix, row-major, for row vectors (p' = p * M,
// translation in the last row; A * B applies A first).
#pragma once

#include <maya/MStatus.h>
#include <maya/MTypes.h>

#include <ostream>

class OPENMAYA_EXPORT MMatrix {
  public:
    MMatrix();
    MMatrix(const MMatrix& src) = default;
    MMatrix(const double m[4][4]);
    MMatrix(const float m[4][4]);
    MMatrix& operator=(const MMatrix& src) = default;

    double operator()(unsigned int row, unsigned int col) const { return matrix[row][col]; }
    double& operator()(unsigned int row, unsigned int col) { return matrix[row][col]; }
    const double* operator[](unsigned int row) const { return matrix[row]; }
    double* operator[](unsigned int row) { return matrix[row]; }

    MStatus get(double dest[4][4]) const;
    MStatus get(float dest[4][4]) const;
    MMatrix transpose() const;
    MMatrix& setToIdentity();
    MMatrix& setToProduct(const MMatrix& left, const MMatrix& right);
    MMatrix inverse() const;
    MMatrix adjoint() const;
    MMatrix homogenize() const;
    double det4x4() const;
    double det3x3() const;
    bool isEquivalent(const MMatrix& other, double tolerance = 1.0e-10) const;
    bool isSingular() const;

    MMatrix operator+(const MMatrix& right) const;
    MMatrix operator-(const MMatrix& right) const;
    MMatrix operator*(const MMatrix& right) const;
    MMatrix operator*(double s) const;
    MMatrix& operator*=(const MMatrix& right);
    bool operator==(const MMatrix& other) const;
    bool operator!=(const MMatrix& other) const;

    friend OPENMAYA_EXPORT MMatrix operator*(double s, const MMatrix& m) { return m * s; }
    friend OPENMAYA_EXPORT std::ostream& operator<<(std::ostream& os, const MMatrix& m);

    static const MMatrix identity;

    double matrix[4][4];
};
