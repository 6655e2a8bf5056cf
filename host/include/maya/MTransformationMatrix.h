// Stand-in for Maya's MTransformationMatrix: a transformation taken apart into its components.
// Only what the plug-in uses is here: building one from an MMatrix, the matrix back, and the
// rotation as three Euler angles in a chosen order.
//
// Rotation orders: the angles (x, y, z), in radians, of order kXYZ compose, for row vectors, as
// Rx(x) * Ry(y) * Rz(z) (X applied first), and likewise for the other orders; Rx(a) has the rows
// (1, 0, 0), (0, cos a, sin a), (0, -sin a, cos a).
//
// Stand-in simplifications (see host/Host.h): getRotation decomposes the rotation in the order it
// is given and leaves `order` as it is; the upper 3x3 of the matrix has each row scaled to unit
// length first (scale removed, shear and negative scale not separated). The middle angle of the
// order lies in [-pi/2, pi/2], the other two in [-pi, pi]; at the middle angle +-pi/2 (gimbal
// lock) the third angle is 0 and the first takes the whole remaining rotation.
#pragma once

#include <maya/MMatrix.h>
#include <maya/MStatus.h>
#include <maya/MTypes.h>

class OPENMAYA_EXPORT MTransformationMatrix {
  public:
    enum RotationOrder { kInvalid, kXYZ, kYZX, kZXY, kXZY, kYXZ, kZYX, kLast };

    MTransformationMatrix();
    MTransformationMatrix(const MTransformationMatrix& src) = default;
    MTransformationMatrix(const MMatrix& src);
    ~MTransformationMatrix();
    MTransformationMatrix& operator=(const MTransformationMatrix& src) = default;
    MTransformationMatrix& operator=(const MMatrix& src);

    MMatrix asMatrix() const;
    // The rotation as three angles (x, y, z) in radians, decomposed in `order`. An order outside
    // kXYZ .. kZYX gives kInvalidParameter and leaves `rotation` untouched.
    MStatus getRotation(double rotation[3], RotationOrder& order) const;

  private:
    MMatrix fMatrix;
};
