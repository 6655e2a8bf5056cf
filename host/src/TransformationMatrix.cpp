#include <maya/MTransformationMatrix.h>

#include <cmath>

MTransformationMatrix::MTransformationMatrix() {}
MTransformationMatrix::MTransformationMatrix(const MMatrix& src) : fMatrix(src) {}
MTransformationMatrix::~MTransformationMatrix() {}
MTransformationMatrix& MTransformationMatrix::operator=(const MMatrix& src) {
    fMatrix = src;
    return *this;
}

MMatrix MTransformationMatrix::asMatrix() const { return fMatrix; }

MStatus MTransformationMatrix::getRotation(double rotation[3], RotationOrder& order) const {
    // Axes applied first, second and third, and whether the order is an even permutation of XYZ.
    static const int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
    if (order <= kInvalid || order >= kLast)
        return MS::kInvalidParameter;
    const int* axes = kAxes[order - kXYZ];
    const int i = axes[0], j = axes[1], k = axes[2];
    const double s = order <= kZXY ? 1.0 : -1.0;

    double r[3][3];
    for (int row = 0; row < 3; ++row) {
        const double len = std::sqrt(fMatrix.matrix[row][0] * fMatrix.matrix[row][0] +
                                     fMatrix.matrix[row][1] * fMatrix.matrix[row][1] +
                                     fMatrix.matrix[row][2] * fMatrix.matrix[row][2]);
        for (int col = 0; col < 3; ++col)
            r[row][col] = len > 0.0 ? fMatrix.matrix[row][col] / len : fMatrix.matrix[row][col];
    }
    // With column vectors M = R^T = R_k(c) R_j(b) R_i(a); relabelling the axes as X, Y, Z turns
    // that into the XYZ case, with the angles negated for an odd permutation.
    auto M = [&r](int row, int col) { return r[col][row]; };
    const double sinB = std::fmax(-1.0, std::fmin(1.0, -s * M(k, i)));
    double a, b, c;
    const double cosB = std::sqrt(M(i, i) * M(i, i) + M(j, i) * M(j, i));
    if (cosB > 1e-12) {
        b = std::atan2(sinB, cosB);
        a = std::atan2(s * M(k, j), M(k, k));
        c = std::atan2(s * M(j, i), M(i, i));
    } else {
        // Only a - c (or a + c) is defined: c is set to 0 and a takes the rest.
        const double halfPi = 1.57079632679489661923;
        b = sinB > 0.0 ? halfPi : -halfPi;
        a = std::atan2((sinB > 0.0 ? 1.0 : -1.0) * M(i, j), M(j, j));
        c = 0.0;
    }
    double angles[3];
    angles[i] = a;
    angles[j] = b;
    angles[k] = c;
    for (int n = 0; n < 3; ++n)
        rotation[n] = angles[n];
    return MS::kSuccess;
}
