// Stand-in for Maya's MBoundingBox: an axis-aligned box of double-precision corners. A default
// box is empty (it contains nothing; expanding it by a point makes it that point).
#pragma once

#include <maya/MPoint.h>
#include <maya/MTypes.h>

class MMatrix;

class OPENMAYA_EXPORT MBoundingBox {
  public:
    MBoundingBox();
    MBoundingBox(const MBoundingBox& src) = default;
    // The box spanned by the two corners, in any order.
    MBoundingBox(const MPoint& corner1, const MPoint& corner2);
    ~MBoundingBox() = default;
    MBoundingBox& operator=(const MBoundingBox& src) = default;

    void clear();
    // The box of the eight transformed corners.
    MBoundingBox& transformUsing(const MMatrix& matrix);
    void expand(const MPoint& point);
    void expand(const MBoundingBox& box);
    bool contains(const MPoint& point) const;
    bool intersects(const MBoundingBox& box, double tol = 0.0) const;
    double width() const;
    double height() const;
    double depth() const;
    MPoint center() const;
    MPoint min() const;
    MPoint max() const;

  private:
    bool fEmpty;
    MPoint fMin, fMax;
};
